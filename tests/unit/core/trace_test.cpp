// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/trace.h"

#include "fake/unit_test.h"

namespace tavo::test {
namespace {

class TraceTest : public UnitTest {};

std::string dumpOf(const Bytes& bytes) {
    return trace::dump(bytes.data(), bytes.size());
}

void writeAll() {
    trace::enter("enter");
    trace::inside("inside");
    trace::leave("leave");
    closedCamera(RIDGE_CAMERA)->getParam(MAX_PACKET_SIZE);
}

TEST_F(TraceTest, SilentByDefault) {
    EXPECT_EQ(TavoDebug, 0);
    EXPECT_EQ(TavoDebugOn, 1);
}

TEST_F(TraceTest, WrittenOnlyWhileBothSwitchesAreOn) {
    const struct {
        unsigned char debug, on;
        bool written;
    } rows[]{{0, 0, false}, {0, 1, false},  {0, 255, false}, {1, 0, false},
             {1, 1, true},  {255, 1, true}, {1, 2, true}};
    for (const auto& row : rows) {
        CapturedTrace captured;
        TavoDebug = row.debug;
        TavoDebugOn = row.on;
        writeAll();
        EXPECT_EQ(!captured.text().empty(), row.written) << int{row.debug} << " " << int{row.on};
    }
}

TEST_F(TraceTest, IndentsByDepth) {
    CapturedTrace captured;
    trace::enter("one");
    trace::inside("in one");
    trace::enter("two");
    trace::inside("in two");
    trace::leave("two");
    trace::inside("in one");
    trace::leave("one");
    EXPECT_EQ(captured.text(), "-> one\n"
                               "    in one\n"
                               " -> two\n"
                               "     in two\n"
                               " <- two\n"
                               "    in one\n"
                               "<- one\n");
}

TEST_F(TraceTest, DepthStandsStillWhileOff) {
    trace::enter("unseen");
    trace::enter("unseen");
    trace::leave("unseen");
    EXPECT_EQ(traceDepth(), 0);
}

// Entry, exit and inner lines at any depth begin with at most 16 blanks.
TEST_F(TraceTest, IndentationStaysInItsBlanks) {
    allowTraceDrift();
    CapturedTrace captured;
    for (int i = 0; i < 40; ++i)
        trace::enter("deep");
    EXPECT_EQ(captured.lines()[16], std::string(16, ' ') + "-> deep");
    EXPECT_EQ(captured.lines()[39], std::string(16, ' ') + "-> deep");
    captured.forget();
    trace::inside("deep");
    EXPECT_EQ(captured.text(), std::string(16 + 4, ' ') + "deep\n");
    for (int i = 0; i < 40; ++i)
        trace::leave("back");
    captured.forget();
    for (int i = 0; i < 50; ++i)
        trace::leave("too far");
    trace::inside("too far");
    EXPECT_EQ(captured.lines().front(), "<- too far");
    EXPECT_EQ(captured.lines()[49], "<- too far");
    EXPECT_EQ(captured.lines().back(), "    too far");
}

TEST_F(TraceTest, SurvivesAnyDrift) {
    allowTraceDrift();
    CapturedTrace captured;
    for (int i = 0; i < 600; ++i)
        trace::enter("drift");
    for (int i = 0; i < 1200; ++i)
        trace::leave("drift");
    for (const std::string& line : captured.lines())
        ASSERT_LE(line.find_first_not_of(' '), 16U);
}

TEST_F(TraceTest, SwitchingOffInsideLeavesTheDepthOffByOne) {
    allowTraceDrift();
    CapturedTrace captured;
    trace::enter("one");
    TavoDebug = 0;
    trace::leave("one");
    TavoDebug = 1;
    captured.forget();
    trace::enter("two");
    EXPECT_EQ(captured.text(), " -> two\n");
}

TEST_F(TraceTest, InsideAtDepthZero) {
    CapturedTrace captured;
    trace::inside("text");
    EXPECT_EQ(captured.text(), "    text\n");
}

TEST_F(TraceTest, Dump) {
    CapturedTrace captured;
    EXPECT_EQ(dumpOf({1, 2, 3, 4, 5, 6}), "[0x01 0x02 0x03 0x04...]");
    EXPECT_EQ(dumpOf({1, 2, 3, 4, 5}), "[0x01 0x02 0x03 0x04...]");
    EXPECT_EQ(dumpOf({1, 2, 3, 4}), "[0x01 0x02 0x03 0x04]");
    EXPECT_EQ(dumpOf({0xAB, 0xCD}), "[0xab 0xcd]");
    EXPECT_EQ(dumpOf({0x00}), "[0x00]");
    EXPECT_EQ(dumpOf(Bytes(100000, 0xFF)), "[0xff 0xff 0xff 0xff...]");
    const unsigned char byte = 1;
    EXPECT_STREQ(trace::dump(&byte, 0), "]");
    EXPECT_STREQ(trace::dump(nullptr, 0), "NULL");
    EXPECT_STREQ(trace::dump(nullptr, 8), "NULL");
}

TEST_F(TraceTest, QuietSectionSwitchesOffAndOn) {
    CapturedTrace captured;
    {
        trace::QuietSection quiet;
        EXPECT_EQ(TavoDebugOn, 0);
        trace::inside("unseen");
    }
    EXPECT_EQ(TavoDebugOn, 1);
    EXPECT_EQ(captured.lines(), (Lines{"    ----- DEBUG OFF -----", "    ----- DEBUG ON -----"}));
}

TEST_F(TraceTest, QuietSectionEndsWithTheSwitchOnWhateverItWas) {
    CapturedTrace captured;
    TavoDebugOn = 0;
    { trace::QuietSection quiet; }
    EXPECT_EQ(TavoDebugOn, 1);
    EXPECT_EQ(captured.lines(), (Lines{"    ----- DEBUG ON -----"}));
    TavoDebugOn = 5;
    { trace::QuietSection quiet; }
    EXPECT_EQ(TavoDebugOn, 1);
}

TEST_F(TraceTest, ProbeFindsTheDepth) {
    allowTraceDrift();
    for (const int depth : {0, 1, 5, 15, 16, 17, 40, -1, -7}) {
        resetTraceDepth();
        CapturedTrace captured;
        for (int i = 0; i < depth; ++i)
            trace::enter("x");
        for (int i = depth; i < 0; ++i)
            trace::leave("x");
        EXPECT_EQ(traceDepth(), depth);
        EXPECT_EQ(traceDepth(), depth) << "asking changes nothing";
    }
}

} // namespace
} // namespace tavo::test
