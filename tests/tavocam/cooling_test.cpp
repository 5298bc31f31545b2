// SPDX-License-Identifier: LGPL-2.1-or-later
#include <csignal>

#include "fits_reader.h"
#include "program.h"

namespace {

using Cooling = Program;

} // namespace

TEST_F(Cooling, WaitsUntilTheTemperatureHasSettled) {
    camera().temperatures = {20, 5, -9.9F, -11, -10.4F, -10, -9.8F};
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--temperature", "-10"}), 0) << err;
    // One reading makes the kind of sensor known, then five until the third good one in a row.
    EXPECT_EQ(camera().calls.at(3), "getTemperatureSensorStatus(1)");
    EXPECT_EQ(camera().calls.at(4), "setCooling(-10)");
    EXPECT_EQ(countCalls("setCooling(-10)"), 1);
    EXPECT_GE(clock.monotonic(), FakeClock::kStart + 5 * 2);
    FitsReader fits(path("a.fits"));
    EXPECT_NEAR(fits.numberOf("SET-TEMP"), -10, 1e-6);
    EXPECT_NEAR(fits.numberOf("CCD-TEMP"), -9.8, 1e-5);
}

TEST_F(Cooling, GivesUpAfterTheTimeOut) {
    camera().temperatures = {3};
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--temperature", "-10",
                   "--temperature-timeout", "60"}),
              7);
    EXPECT_NE(err.find("did not settle at -10.0"), std::string::npos) << err;
    EXPECT_NE(err.find("within 60 s"), std::string::npos);
    EXPECT_NE(err.find("3.0 degrees"), std::string::npos);
    EXPECT_NE(err.find("--temperature-timeout"), std::string::npos);
    EXPECT_NE(err.find("goes on cooling to -10.0 degrees Celsius: switch it off with tavocam warm"),
              std::string::npos)
        << err;
    EXPECT_NEAR(clock.monotonic(), FakeClock::kStart + 60, 3);
    EXPECT_TRUE(files().empty());
}

TEST_F(Cooling, CanBeInterrupted) {
    camera().temperatures = {3};
    interruptAt = FakeClock::kStart + 11;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--temperature", "-10"}), 130);
    EXPECT_LT(clock.monotonic(), interruptAt + 1);
    EXPECT_NE(err.find("tavocam warm"), std::string::npos) << err;
    EXPECT_EQ(camera().calls.back(), "close()");
    EXPECT_TRUE(files().empty());
}

TEST_F(Cooling, IsNotToldToRunWhereItWasNotStarted) {
    interruptAt = FakeClock::kStart + 1;
    EXPECT_EQ(run({"expose", "30", "-o", path("a.fits")}), 130);
    EXPECT_EQ(err.find("cooler"), std::string::npos) << err;
    signal = SIGINT;
    EXPECT_EQ(run({"expose", "30", "-o", path("a.fits"), "--temperature", "-10"}), 130);
    EXPECT_EQ(err.find("cooler"), std::string::npos) << err;
    EXPECT_EQ(countCalls("setCooling(-10)"), 0);
}

TEST_F(Cooling, IsNotAskedOfACameraThatHidesItsSensor) {
    cameras = {lumenState()};
    camera().sensorKindKnown = false;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--temperature", "-10"}), 5);
    EXPECT_NE(err.find("kind of temperature sensor"), std::string::npos) << err;
    EXPECT_EQ(countCalls("setCooling(-10)"), 0);
}

TEST_F(Cooling, DrawsItsProgressOnATerminalOnly) {
    camera().temperatures = {20, 5, -10};
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--temperature", "-10"}), 0);
    EXPECT_EQ(err, "");
    terminal = true;
    camera().temperatures = {20, 5, -10};
    EXPECT_EQ(run({"expose", "1", "-o", path("b.fits"), "--temperature", "-10"}), 0);
    EXPECT_NE(err.find("cooling to -10.0 degrees Celsius, now 5.0"), std::string::npos) << err;
}

TEST_F(Cooling, WarmsUp) {
    EXPECT_EQ(run({"warm"}), 0) << err;
    EXPECT_EQ(countCalls("initiateWarmUp()"), 1);
    camera().failing = {"initiateWarmUp"};
    EXPECT_EQ(run({"warm"}), 5);
    EXPECT_NE(err.find("Failed to initiate warmup"), std::string::npos);
    cameras = {glintState()};
    EXPECT_EQ(run({"warm"}), 2);
    EXPECT_EQ(countCalls("initiateWarmUp()"), 0);
}
