// SPDX-License-Identifier: LGPL-2.1-or-later
#include "progress.h"

#include "program.h"

using namespace tavocam;

namespace {

using ExposeProgress = Program;

} // namespace

TEST(ProgressBar, TellsTheTimeLeft) {
    const std::string half = progressBar("exposing", 75, 150);
    EXPECT_EQ(half, "exposing [" + std::string(15, '#') + std::string(15, ' ') + "] 1:15 left");
    EXPECT_NE(progressBar("exposing", 0.2, 30).find("0:01 left"), std::string::npos);
    EXPECT_NE(progressBar("exposing", 0, 0).find("0:00 left"), std::string::npos);
    EXPECT_NE(progressBar("exposing", 40, 30).find("[ "), std::string::npos);
}

TEST_F(ExposeProgress, IsDrawnOnATerminalAndWiped) {
    terminal = true;
    EXPECT_EQ(run({"expose", "90", "-o", path("a.fits")}), 0);
    EXPECT_NE(err.find("1:30 left"), std::string::npos) << err;
    EXPECT_NE(err.find("0:45 left"), std::string::npos);
    EXPECT_EQ(err.substr(err.size() - 4), "\r\033[K");
}

TEST_F(ExposeProgress, IsSilentElsewhere) {
    EXPECT_EQ(run({"expose", "90", "-o", path("a.fits")}), 0);
    EXPECT_EQ(err, "");
    terminal = true;
    EXPECT_EQ(run({"expose", "90", "-o", path("b.fits"), "--quiet"}), 0);
    EXPECT_EQ(err, "");
}

TEST_F(ExposeProgress, NotesAreToldUnlessQuiet) {
    EXPECT_EQ(run({"expose", "1", "--bin", "2", "--window", "1,1,5x5", "-o", path("a.fits")}), 0);
    EXPECT_NE(err.find("fitted to whole binned pixels: 0,0,4x4"), std::string::npos) << err;
    EXPECT_EQ(
        run({"expose", "1", "--bin", "2", "--window", "1,1,5x5", "-o", path("b.fits"), "--quiet"}),
        0);
    EXPECT_EQ(err, "");
}

TEST_F(ExposeProgress, TimedExposuresOfMoreThanASecondTellHowLongTheyTake) {
    terminal = true;
    EXPECT_EQ(run({"expose", "2.5", "-o", path("a.fits")}), 0);
    EXPECT_NE(err.find("exposing for 2.5 s"), std::string::npos) << err;
    EXPECT_EQ(err.substr(err.size() - 4), "\r\033[K");
    EXPECT_EQ(run({"expose", "1", "-o", path("b.fits")}), 0);
    EXPECT_EQ(err.find("exposing"), std::string::npos) << err;
}
