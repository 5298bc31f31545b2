// SPDX-License-Identifier: LGPL-2.1-or-later
#include <algorithm>
#include <csignal>

#include <sys/resource.h>

#include "program.h"

namespace {

struct FailureCase {
    std::string operation;
    std::string seconds;
    int exitCode;
    std::string message;
    bool aborted;
};

void PrintTo(const FailureCase& failure, std::ostream* stream) {
    *stream << failure.operation << " in " << failure.seconds << " s";
}

class EveryFailure : public Program, public testing::WithParamInterface<FailureCase> {};

using ExposeFailures = Program;

} // namespace

TEST_P(EveryFailure, EndsWithItsReasonAndWithoutAFile) {
    const FailureCase& expected = GetParam();
    camera().failing = {expected.operation};
    camera().temperatures = {-10};
    EXPECT_EQ(run({"expose", expected.seconds, "--dark", "--filter", "3", "--temperature", "-10",
                   "-o", path("a.fits"), "--preview", path("a.png")}),
              expected.exitCode);
    EXPECT_NE(err.find(expected.message), std::string::npos) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
    EXPECT_EQ(countCalls("abortExposure()"), expected.aborted ? 1 : 0);
    EXPECT_EQ(camera().calls.back(), "close()");
    EXPECT_TRUE(camera().destroyed);
    EXPECT_TRUE(files().empty());
    EXPECT_EQ(out, "");
}

INSTANTIATE_TEST_SUITE_P(
    Expose, EveryFailure,
    testing::Values(FailureCase{"open", "1", 4, "udev rule", false},
                    FailureCase{"getCapabilities", "1", 5, "Device is not opened", false},
                    FailureCase{"getFilterWheelStatus", "1", 5, "Failed to get filter wheel status",
                                false},
                    FailureCase{"getTemperatureSensorStatus", "1", 5,
                                "Failed to read temperature sensor status", false},
                    FailureCase{"setCooling", "1", 5, "Failed to set temperature", false},
                    FailureCase{"setFilter", "1", 5, "Failed to set filter", false},
                    FailureCase{"getCoolingStatus", "1", 5, "Failed to set cooling status", false},
                    FailureCase{"setDarkFrameMode", "1", 5, "--covered", false},
                    FailureCase{"readCCD", "1", 5, "Failed to read CCD", true},
                    FailureCase{"getImage", "1", 5, "Failed to get image", false},
                    FailureCase{"startExposure", "30", 5, "Failed to start exposure", true},
                    FailureCase{"readCCD", "30", 5, "Failed to read CCD", true},
                    FailureCase{"getImage", "30", 5, "Failed to get image", false}));

TEST_F(ExposeFailures, ARefusalWithoutATextIsStillTold) {
    cameras = {glintState()};
    camera().silent = true;
    camera().failing = {"readCCD"};
    EXPECT_EQ(run({"expose", "0.1", "-o", path("a.fits")}), 5);
    EXPECT_NE(err.find("gave no reason"), std::string::npos) << err;
}

TEST_F(ExposeFailures, ARegisterThatDoesNotAnswerIsNoTemperature) {
    cameras = {glintState()};
    camera().temperatures = {-273.15F};
    EXPECT_EQ(run({"expose", "0.1", "-o", path("a.fits")}), 5);
    EXPECT_NE(err.find("does not answer"), std::string::npos) << err;
    EXPECT_TRUE(files().empty());
}

TEST_F(ExposeFailures, ARegisterMappedCameraThatSaysNothingIsNotUsed) {
    cameras = {glintState()};
    camera().serial = 0;
    camera().version = {0, 0};
    EXPECT_EQ(run({"expose", "0.1", "-o", path("a.fits")}), 4);
    EXPECT_NE(err.find("does not answer"), std::string::npos) << err;
    EXPECT_EQ(camera().calls.back(), "close()");
}

TEST_F(ExposeFailures, ACameraThatIsUnpluggedWhileItOpensIsToldSo) {
    camera().failing = {"open"};
    camera().onCall = [this](const std::string& call) {
        if (call == "open()")
            camera().plugged = false;
    };
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 4);
    EXPECT_NE(err.find("no longer connected"), std::string::npos) << err;
    EXPECT_NE(err.find("Plug it in again"), std::string::npos) << err;
    EXPECT_EQ(err.find("udev"), std::string::npos) << err;
}

TEST_F(ExposeFailures, ACameraThatIsUnpluggedLaterIsToldSo) {
    camera().failing = {"getImage"};
    camera().onCall = [this](const std::string& call) {
        if (call.find("getImage") == 0)
            camera().plugged = false;
    };
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 5);
    EXPECT_NE(err.find("Failed to get image"), std::string::npos) << err;
    EXPECT_NE(err.find("no longer connected"), std::string::npos) << err;
}

TEST_F(ExposeFailures, MissingMemoryIsTold) {
    camera().memoryShort = true;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 5);
    EXPECT_NE(err.find("memory"), std::string::npos) << err;
    EXPECT_TRUE(files().empty());
}

TEST_F(ExposeFailures, NoCamera) {
    cameras.clear();
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"list"}, {"info"}, {"expose", "1", "-o", path("a.fits")}}) {
        EXPECT_EQ(run(arguments), 3);
        EXPECT_NE(err.find("no camera found"), std::string::npos);
        EXPECT_NE(err.find("lsusb"), std::string::npos);
    }
}

TEST_F(ExposeFailures, ACameraThatCannotBeInitialisedGetsAnotherHint) {
    camera().failing = {"open"};
    camera().silent = true;
    camera().error = "Failed to initialize device";
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 4);
    EXPECT_NE(err.find("switch it off and on"), std::string::npos) << err;
}

TEST_F(ExposeFailures, LimitsOfTheCameraAreToldBeforeAnythingMoves) {
    EXPECT_EQ(run({"expose", "1", "--bin", "9", "--filter", "2", "-o", path("a.fits")}), 2);
    EXPECT_NE(err.find("1x1 to 4x3"), std::string::npos) << err;
    EXPECT_EQ(countCalls("setFilter(2)"), 0);
}
