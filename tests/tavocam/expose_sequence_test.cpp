// SPDX-License-Identifier: LGPL-2.1-or-later
#include <csignal>

#include "program.h"

namespace {

using Calls = std::vector<std::string>;
using Sequence = Program;

const Calls kOpening{"setParam(3, 1048576)", "open()", "getCapabilities()"};
const Calls kState{"getTemperatureSensorStatus(1)", "getTemperatureSensorStatus(1)",
                   "getCoolingStatus()", "getFilterWheelStatus()"};

Calls join(std::initializer_list<Calls> parts) {
    Calls all;
    for (const Calls& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

} // namespace

TEST_F(Sequence, ShortExposuresAreTimedByTheCamera) {
    EXPECT_EQ(run({"expose", "3", "-o", path("a.fits")}), 0) << err;
    EXPECT_EQ(camera().calls,
              join({kOpening, kState, {"readCCD(0,0,64,48,1,1,3)", "getImage(3072)", "close()"}}));
    EXPECT_TRUE(camera().destroyed);
}

TEST_F(Sequence, LongExposuresAreTimedByTheHost) {
    EXPECT_EQ(run({"expose", "30", "--bin", "2", "--window", "10,4,20x8", "-o", path("a.fits")}), 0)
        << err;
    EXPECT_EQ(camera().calls,
              join({kOpening,
                    kState,
                    {"startExposure(0)", "readCCD(10,4,20,8,2,2)", "getImage(40)", "close()"}}));
    EXPECT_NEAR(clock.monotonic(), FakeClock::kStart + 30, 1e-3);
}

TEST_F(Sequence, TheReadoutsShareIsTakenOffTheWait) {
    cameras = {basinState()};
    EXPECT_EQ(run({"expose", "10", "-o", path("a.fits")}), 0) << err;
    // The fake spends its share of two seconds in the readout request.
    EXPECT_NEAR(clock.monotonic(), FakeClock::kStart + 10, 1e-3);
}

TEST_F(Sequence, ExposuresPastTheDriversLimitAreWaitedOut) {
    cameras = {basinState()};
    EXPECT_EQ(run({"expose", "5000", "-o", path("a.fits")}), 0) << err;
    EXPECT_NEAR(clock.monotonic(), FakeClock::kStart + 5000, 1e-3);
}

TEST_F(Sequence, DarkFramesKeepTheShutterClosed) {
    EXPECT_EQ(run({"expose", "30", "--dark", "-o", path("a.fits")}), 0) << err;
    EXPECT_EQ(callsFrom("setDarkFrameMode(1)"),
              (Calls{"setDarkFrameMode(1)", "startExposure(0)", "readCCD(0,0,64,48,1,1)",
                     "getImage(3072)", "close()"}));
    EXPECT_EQ(run({"expose", "1", "--dark", "-o", path("b.fits")}), 0) << err;
    EXPECT_EQ(callsFrom("readCCD(0,0,64,48,1,1,1)"),
              (Calls{"readCCD(0,0,64,48,1,1,1)", "getImage(3072)", "close()"}));
    EXPECT_EQ(countCalls("setDarkFrameMode(1)"), 2);
}

TEST_F(Sequence, LightFramesLeaveTheDarkModeAlone) {
    EXPECT_EQ(run({"expose", "30", "-o", path("a.fits")}), 0);
    EXPECT_EQ(countCalls("setDarkFrameMode(1)"), 0);
}

TEST_F(Sequence, CoveredDarkFramesNeedNoShutter) {
    cameras = {lumenState()};
    EXPECT_EQ(run({"expose", "30", "--dark", "-o", path("a.fits")}), 2);
    EXPECT_NE(err.find("--covered"), std::string::npos);
    EXPECT_EQ(run({"expose", "30", "--dark", "--covered", "-o", path("a.fits")}), 0) << err;
    EXPECT_EQ(countCalls("setDarkFrameMode(1)"), 0);
}

TEST_F(Sequence, CoolingStartsBeforeTheWheelTurns) {
    camera().temperatures = {-10};
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--temperature", "-10", "--filter", "2"}),
              0);
    const auto calls = callsFrom("setCooling(-10)");
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[1], "setFilter(2)");
}

TEST_F(Sequence, InterruptedExposuresAreAborted) {
    interruptAt = FakeClock::kStart + 12.3;
    EXPECT_EQ(run({"expose", "30", "-o", path("a.fits"), "--preview", path("a.png")}), 130);
    EXPECT_EQ(callsFrom("startExposure(0)"),
              (Calls{"startExposure(0)", "abortExposure()", "close()"}));
    EXPECT_LT(clock.monotonic(), interruptAt + 0.3);
    EXPECT_NE(err.find("interrupted"), std::string::npos);
    EXPECT_TRUE(files().empty());
}

TEST_F(Sequence, TerminationHasItsOwnExitCode) {
    camera().onCall = [this](const std::string& call) {
        if (call == "startExposure(0)")
            signal = SIGTERM;
    };
    EXPECT_EQ(run({"expose", "30", "-o", path("a.fits")}), 143);
    EXPECT_EQ(countCalls("abortExposure()"), 1);
}

TEST_F(Sequence, AfterTheReadoutRequestTheImageIsFetchedAndThrownAway) {
    for (const std::string seconds : {"2", "30"}) {
        signal = 0;
        camera().calls.clear();
        camera().onCall = [this](const std::string& call) {
            if (call.find("readCCD") == 0)
                signal = SIGINT;
        };
        EXPECT_EQ(run({"expose", seconds, "-o", path("a.fits")}), 130);
        EXPECT_EQ(countCalls("getImage(3072)"), 1);
        EXPECT_EQ(countCalls("abortExposure()"), 0);
        EXPECT_TRUE(files().empty());
    }
}

TEST_F(Sequence, ASignalBeforeTheExposurePreventsIt) {
    signal = SIGINT;
    EXPECT_EQ(run({"expose", "30", "-o", path("a.fits")}), 130);
    EXPECT_EQ(countCalls("startExposure(0)"), 0);
}

TEST_F(Sequence, AFailedAbortIsTold) {
    camera().failing = {"abortExposure"};
    interruptAt = FakeClock::kStart + 3;
    EXPECT_EQ(run({"expose", "30", "-o", path("a.fits")}), 130);
    EXPECT_NE(err.find("shutter may still be open"), std::string::npos) << err;
}
