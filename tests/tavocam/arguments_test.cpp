// SPDX-License-Identifier: LGPL-2.1-or-later
#include "arguments.h"

#include <gtest/gtest.h>

#include "failure.h"

using namespace tavocam;

TEST(Window, IsReadFromText) {
    EXPECT_EQ(parseWindow("10,20,640x480"), (Window{10, 20, 640, 480}));
    EXPECT_EQ(parseWindow("0,0,1x1"), (Window{0, 0, 1, 1}));
}

TEST(Window, RefusesEverythingElse) {
    for (const char* argument : {"", "10", "10,20", "10,20,640", "10,20,640x", "10,20,640x480 ",
                                 " 10,20,640x480", "-1,0,2x2", "1.5,0,2x2", "1,0,2X2", "1;0;2x2",
                                 "1,0,2x2,", "4294967296,0,2x2", "1,2,0x5", "1,2,5x0"}) {
        try {
            parseWindow(argument);
            ADD_FAILURE() << argument;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.exitCode, kUsage);
            EXPECT_NE(std::string(failure.what()).find(argument), std::string::npos);
        }
    }
}

TEST(Binning, IsReadFromText) {
    EXPECT_EQ(parseBinning("2"), (Binning{2, 2}));
    EXPECT_EQ(parseBinning("2x1"), (Binning{2, 1}));
}

TEST(Binning, RefusesEverythingElse) {
    for (const char* argument :
         {"", "0", "x", "2x", "x2", "0x1", "1x0", "-2", "2x2x2", "2,2", "two"})
        EXPECT_THROW(parseBinning(argument), Failure) << argument;
}

TEST(Number, TakesDigitsOnly) {
    EXPECT_EQ(parseNumber("42"), 42U);
    for (const char* argument : {"", "4 2", "42x", "+4", "-4", "99999999999"})
        EXPECT_EQ(parseNumber(argument), std::nullopt) << argument;
}
