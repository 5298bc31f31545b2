// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fits_reader.h"
#include "program.h"

namespace {

using FilterWheel = Program;

} // namespace

TEST_F(FilterWheel, MovesBeforeTheExposure) {
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--filter", "4"}), 0) << err;
    const std::vector<std::string> expected{
        "getFilterWheelStatus()", "setFilter(4)",           "getFilterWheelStatus()",
        "getFilterWheelStatus()", "getFilterWheelStatus()", "getTemperatureSensorStatus(1)"};
    const auto calls = callsFrom("getFilterWheelStatus()");
    ASSERT_GE(calls.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(calls.begin(), calls.begin() + 6), expected);
    EXPECT_EQ(FitsReader(path("a.fits")).textOf("FILTER"), "4");
}

TEST_F(FilterWheel, PositionIsToldAlsoWhenNotAskedFor) {
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 0) << err;
    EXPECT_EQ(FitsReader(path("a.fits")).textOf("FILTER"), "1");
}

TEST_F(FilterWheel, RefusesAPositionThatNoWheelHas) {
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--filter", "6"}), 2);
    EXPECT_NE(err.find("no filter 6"), std::string::npos) << err;
    EXPECT_NE(err.find("5 positions, which it counts from 0 or 1, and stands at 1"),
              std::string::npos)
        << err;
    EXPECT_EQ(countCalls("setFilter(6)"), 0);
}

TEST_F(FilterWheel, ARefusalTellsWhatTheWheelHas) {
    camera().filter = camera().filterTarget = 0;
    camera().failing = {"setFilter"};
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--filter", "5"}), 5);
    EXPECT_NE(err.find("the camera refused filter position 5 (Failed to set filter); its wheel has "
                       "5 positions, which it counts from 0 or 1, and stands at 0"),
              std::string::npos)
        << err;
}

TEST_F(FilterWheel, BothEndsAreLeftToTheCamera) {
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--filter", "0"}), 0) << err;
    EXPECT_EQ(run({"expose", "1", "-o", path("b.fits"), "--filter", "5"}), 0) << err;
}

TEST_F(FilterWheel, RefusesACameraWithoutOne) {
    cameras = {basinState()};
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--filter", "1"}), 2);
    EXPECT_NE(err.find("no filter wheel"), std::string::npos);
}

TEST_F(FilterWheel, GivesUpOnOneThatNeverArrives) {
    camera().pollsPerMove = 1000000;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--filter", "3"}), 7);
    EXPECT_NE(err.find("did not arrive at 3"), std::string::npos) << err;
    EXPECT_TRUE(files().empty());
}

TEST_F(FilterWheel, GivesUpOnOneThatStandsElsewhere) {
    camera().wheelStuck = true;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--filter", "3"}), 7);
    EXPECT_NE(err.find("at 1, standing"), std::string::npos) << err;
}

TEST_F(FilterWheel, CanBeInterrupted) {
    camera().pollsPerMove = 1000000;
    interruptAt = FakeClock::kStart + 3;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--filter", "3"}), 130);
    EXPECT_LT(clock.monotonic(), interruptAt + 1);
}
