// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The options of tavo-virtual: where the cameras are plugged in, and what it refuses.
#include "options.h"
#include "serial_numbers.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tavo::virtualcamera {
namespace {

std::variant<Options, Exit> parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "tavo-virtual");
    return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

Options optionsOf(const std::vector<const char*>& arguments) {
    return std::get<Options>(parse(arguments));
}

std::string complaint(const std::vector<const char*>& arguments) {
    try {
        parse(arguments);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "none";
}

// The cameras as they are told of once they are told apart; the models' own numbers start at 100.
std::vector<std::string> toldApart(const std::vector<const char*>& texts) {
    std::vector<CameraRequest> cameras;
    for (const char* text : texts)
        cameras.push_back(parseCamera(text));
    tellApart(cameras, [](const std::string& model) { return model == "heron-a" ? 200U : 100U; });
    std::vector<std::string> result;
    for (const CameraRequest& camera : cameras) {
        result.push_back(camera.text);
        // What a camera is told of is what it is made by.
        EXPECT_EQ(parseCamera(camera.text).options, camera.options);
    }
    return result;
}

TEST(HostOptions, TestbedIsTheDefault) {
    EXPECT_EQ(optionsOf({"--", "true"}).host, Host::testbed);
}

TEST(HostOptions, UsbipTakesAnAddressOrNone) {
    const Options plain = optionsOf({"--usbip", "--camera", "ridge-c"});
    EXPECT_EQ(plain.host, Host::usbip);
    EXPECT_EQ(plain.usbipAddress, "127.0.0.1:3240");
    EXPECT_TRUE(plain.command.empty());
    EXPECT_EQ(optionsOf({"--camera", "ridge-c", "--usbip", "[::1]:0"}).usbipAddress, "[::1]:0");
    const Options both = optionsOf({"--camera", "ridge-c", "--usbip", "--", "lsusb", "-v"});
    EXPECT_EQ(both.usbipAddress, "127.0.0.1:3240");
    EXPECT_EQ(both.command, (std::vector<std::string>{"lsusb", "-v"}));
}

TEST(HostOptions, VhciNeedsNoCommand) {
    EXPECT_EQ(optionsOf({"--vhci", "--camera", "ridge-c"}).host, Host::vhci);
    EXPECT_EQ(optionsOf({"--vhci", "--camera", "ridge-c", "--", "true"}).command.size(), 1u);
}

TEST(HostOptions, OneHostAtATime) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(std::get<Exit>(parse({"--vhci", "--usbip", "--camera", "ridge-c"})).status,
              kOwnFailure);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("excludes"), std::string::npos);
}

TEST(HostOptions, MemoryOfTheVirtualBusIsNoneOfAKernel) {
    for (const char* host : {"--usbip", "--vhci"})
        EXPECT_NE(complaint({host, "--usbfs-memory", "16", "--camera", "ridge-c"})
                      .find("--usbfs-memory is a limit of the virtual bus and cannot go with "
                            "--usbip or --vhci"),
                  std::string::npos)
            << host;
    EXPECT_EQ(complaint({"--usbfs-memory", "16", "--camera", "ridge-c"}), "none");
}

TEST(Speed, FaultsNameTheRange) {
    for (const char* speed : {"0", "-1", "0.0009", "100001", "1e300", "inf", "nan"})
        EXPECT_EQ(complaint({"--speed", speed, "--", "true"}),
                  "--speed: accepted is a number from 0.001 to 100000, e.g. 10")
            << speed;
    EXPECT_EQ(optionsOf({"--speed", "0.001", "--", "true"}).speed, 0.001);
    EXPECT_EQ(optionsOf({"--speed", "100000", "--", "true"}).speed, 100000);
}

TEST(FaultSeed, IsAWholeNumber) {
    EXPECT_EQ(optionsOf({"--", "true"}).faults.seed, 1U);
    EXPECT_EQ(optionsOf({"--fault-seed", "18446744073709551615", "--", "true"}).faults.seed,
              UINT64_MAX);
    EXPECT_EQ(optionsOf({"--fault-seed", "010", "--", "true"}).faults.seed, 10U);
    for (const std::string seed :
         {"", "-1", "+1", " 1", "1 ", "0x10", "1e3", "1.5", "seven", "18446744073709551616"})
        EXPECT_EQ(complaint({"--fault-seed", seed.c_str(), "--", "true"}),
                  "--fault-seed \"" + seed +
                      "\": accepted is a whole number from 0 to 18446744073709551615");
}

TEST(SerialNumbers, AreKeptWhereTheyDiffer) {
    EXPECT_EQ(toldApart({"ridge-c", "ridge-c,serial=7", "heron-a"}),
              (std::vector<std::string>{"ridge-c", "ridge-c,serial=7", "heron-a"}));
    EXPECT_EQ(toldApart({"ridge-c,serial=7", "heron-a,serial=7"}),
              (std::vector<std::string>{"ridge-c,serial=7", "heron-a,serial=7"}))
        << "of different models";
}

TEST(SerialNumbers, AreTheFirstFreeOnesWhereNoneIsGiven) {
    EXPECT_EQ(toldApart({"ridge-c", "heron-a", "ridge-c", "ridge-c,seed=2", "heron-a"}),
              (std::vector<std::string>{"ridge-c", "heron-a", "ridge-c,serial=101",
                                        "ridge-c,seed=2,serial=102", "heron-a,serial=201"}));
    EXPECT_EQ(toldApart({"ridge-c", "ridge-c", "ridge-c,serial=101", "ridge-c,serial=100"}),
              (std::vector<std::string>{"ridge-c,serial=102", "ridge-c,serial=103",
                                        "ridge-c,serial=101", "ridge-c,serial=100"}))
        << "what is asked for goes first";
}

TEST(SerialNumbers, GivenTwiceToAModelAreRefused) {
    try {
        toldApart({"ridge-c,serial=7", "ridge-c,seed=2,serial=007"});
        ADD_FAILURE() << "both were taken";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "--camera \"ridge-c,seed=2,serial=007\": there is a ridge-c with the serial "
                     "number 7 already; give each camera of a model another one");
    }
    EXPECT_EQ(toldApart({"ridge-c,serial=x", "ridge-c,serial=x"}).size(), 2U)
        << "the camera refuses that by itself";
}

TEST(HostOptions, AHostWithoutACameraIsAFault) {
    EXPECT_THROW(parse({"--usbip"}), std::invalid_argument);
    EXPECT_THROW(parse({"--vhci", "--", "true"}), std::invalid_argument);
}

} // namespace
} // namespace tavo::virtualcamera
