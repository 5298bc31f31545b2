// SPDX-License-Identifier: LGPL-2.1-or-later
#include "options.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tavo::virtualcamera {
namespace {

std::variant<Options, Exit> parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "tavo-virtual");
    return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

std::string faultOf(const std::string& camera) {
    try {
        parseCamera(camera);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return {};
}

TEST(CameraOption, ModelAndOptions) {
    const auto camera = parseCamera("ridge-e,serial=7,name=a=b,empty=");
    EXPECT_EQ(camera.model, "ridge-e");
    EXPECT_EQ(camera.options, (std::map<std::string, std::string>{
                                  {"serial", "7"}, {"name", "a=b"}, {"empty", ""}}));
    EXPECT_TRUE(parseCamera("ridge-c").options.empty());
}

TEST(CameraOption, FaultsSayWhatIsAccepted) {
    for (const char* camera : {"", ",serial=7", "serial=7"})
        EXPECT_NE(faultOf(camera).find("no model"), std::string::npos) << camera;
    EXPECT_NE(faultOf("ridge-c,serial").find("\"serial\" has no value"), std::string::npos);
    EXPECT_NE(faultOf("ridge-c,=7").find("no name"), std::string::npos);
    EXPECT_NE(faultOf("ridge-c,a=1,a=2").find("given twice"), std::string::npos);
    EXPECT_NE(faultOf("ridge-c,serial").find("MODEL[,OPTION=VALUE...]"), std::string::npos);
}

TEST(CommandLine, CamerasAndCommand) {
    const auto parsed = parse({"--camera", "ridge-c", "--camera", "ridge-e,serial=7", "--log",
                               "--speed", "10", "--", "tool", "--camera", "x", "--", "-l"});
    ASSERT_TRUE(std::holds_alternative<Options>(parsed));
    const auto& options = std::get<Options>(parsed);
    ASSERT_EQ(options.cameras.size(), 2u);
    EXPECT_EQ(options.cameras[1].model, "ridge-e");
    EXPECT_TRUE(options.log);
    EXPECT_EQ(options.speed, 10.0);
    EXPECT_EQ(options.command, (std::vector<std::string>{"tool", "--camera", "x", "--", "-l"}));
}

TEST(CommandLine, Defaults) {
    const auto parsed = parse({"--", "true"});
    const auto& options = std::get<Options>(parsed);
    EXPECT_TRUE(options.cameras.empty());
    EXPECT_FALSE(options.log);
    EXPECT_EQ(options.speed, 1.0);
}

TEST(CommandLine, MissingCommandServesOtherTerminals) {
    EXPECT_TRUE(std::get<Options>(parse({"--camera", "ridge-c"})).command.empty());
    EXPECT_THROW(parse({}), std::invalid_argument) << "neither a camera nor a command";
    EXPECT_NO_THROW(parse({"--list-models"}));
}

TEST(CommandLine, FaultsArePlanned) {
    const auto options =
        std::get<Options>(parse({"--fault", "bulk-in:0.5:stall", "--fault", "unplug-after:250",
                                 "--fault", "ping:never", "--fault-seed", "9", "--", "true"}));
    ASSERT_EQ(options.faults.faults.size(), 1u);
    EXPECT_EQ(options.faults.faults[0].probability, 0.5);
    EXPECT_EQ(options.faults.unplugAfter, 250u);
    EXPECT_TRUE(options.faults.pingUnanswered);
    EXPECT_EQ(options.faults.seed, 9u);
    EXPECT_FALSE(std::get<Options>(parse({"--", "true"})).faults.touchesTraffic());
    EXPECT_THROW(parse({"--fault", "bulk-in", "--", "true"}), std::invalid_argument);
}

TEST(CommandLine, MemoryOfTransfersIsLimitedAsInAKernel) {
    EXPECT_EQ(std::get<Options>(parse({"--", "true"})).usbfsMemory, 16u);
    EXPECT_EQ(std::get<Options>(parse({"--usbfs-memory", "0", "--", "true"})).usbfsMemory, 0u);
    testing::internal::CaptureStderr();
    EXPECT_EQ(std::get<Exit>(parse({"--usbfs-memory", "-1", "--", "true"})).status, kOwnFailure);
    testing::internal::GetCapturedStderr();
}

TEST(CommandLine, WrongArgumentsEndTheProgram) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(std::get<Exit>(parse({"--speed", "fast", "--", "true"})).status, kOwnFailure);
    EXPECT_EQ(std::get<Exit>(parse({"--frobnicate", "--", "true"})).status, kOwnFailure);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("--frobnicate"), std::string::npos);
}

TEST(CommandLine, SpeedIsAPositiveNumber) {
    for (const char* speed : {"0", "-1", "inf", "nan"})
        EXPECT_THROW(parse({"--speed", speed, "--", "true"}), std::invalid_argument) << speed;
    EXPECT_EQ(std::get<Options>(parse({"--speed", "0.5", "--", "true"})).speed, 0.5);
}

TEST(CommandLine, HelpIsNoFailure) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(std::get<Exit>(parse({"--help"})).status, 0);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("--camera"), std::string::npos);
}

} // namespace
} // namespace tavo::virtualcamera
