// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The options of tavo-virtual that tell where the cameras are plugged in.
#include "options.h"

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

TEST(HostOptions, AHostWithoutACameraIsAFault) {
    EXPECT_THROW(parse({"--usbip"}), std::invalid_argument);
    EXPECT_THROW(parse({"--vhci", "--", "true"}), std::invalid_argument);
}

} // namespace
} // namespace tavo::virtualcamera
