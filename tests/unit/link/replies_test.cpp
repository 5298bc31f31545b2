// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Replies that are read outside a command: getData and getString.
#include "fake/unit_test.h"
#include "link/wire.h"

#include <array>

namespace tavo::test {
namespace {

class RepliesTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> basin = openedCamera(BASIN_CAMERA);
    std::unique_ptr<TavoCameraImpl> ridge = openedCamera(RIDGE_CAMERA);
    std::unique_ptr<TavoCameraImpl> lumen = openedCamera(LUMEN_CAMERA);
};

TEST_F(RepliesTest, BytesAreNotCompacted) {
    for (TavoCameraImpl* camera : {basin.get(), ridge.get()}) {
        usb().expect(parallelIn({1, 2, 3, 4}));
        std::array<unsigned char, 4> buffer{};
        EXPECT_TRUE(CameraPeer(*camera).getData(buffer.data(), 4U));
        EXPECT_EQ(buffer, (std::array<unsigned char, 4>{1, 2, 3, 4}));
    }
}

TEST_F(RepliesTest, LumenSendsTheBuffer) {
    usb().expect(lumenRead({0x11, 0x22}, {'I', 5}));
    std::array<unsigned char, 2> buffer{0x11, 0x22};
    CapturedTrace trace;
    EXPECT_TRUE(CameraPeer(*lumen).getData(buffer.data(), 2U));
    EXPECT_EQ(buffer, (std::array<unsigned char, 2>{'I', 5}));
    EXPECT_EQ(trace.text(), "");
}

TEST_F(RepliesTest, ValueOfBasin) {
    usb().expect(parallelIn({0x70, 0xEE, 0x05, 0xEE}));
    unsigned value = 0xFFFFFFFFU;
    EXPECT_TRUE(CameraPeer(*basin).getData(&value));
    EXPECT_EQ(value, 0x0570U);
}

TEST_F(RepliesTest, ValueOfRidgeKeepsItsUpperHalf) {
    usb().expect(parallelIn({0x70, 0x05}));
    unsigned value = 0xABCDEF01U;
    EXPECT_TRUE(CameraPeer(*ridge).getData(&value));
    EXPECT_EQ(value, 0xABCD0570U);
}

TEST_F(RepliesTest, ValueOfLumen) {
    usb().expect(lumenRead({0x01, 0xEF}, {0x70, 0x05}));
    unsigned value = 0xABCDEF01U;
    EXPECT_TRUE(CameraPeer(*lumen).getData(&value));
    EXPECT_EQ(value, 0xABCD0570U);
}

TEST_F(RepliesTest, FailedRequestLeavesTheValue) {
    for (TavoCameraImpl* camera : {ridge.get(), lumen.get()}) {
        usb().failTransfer(1, kTimeout);
        unsigned value = 0x12345678;
        EXPECT_FALSE(CameraPeer(*camera).getData(&value));
        EXPECT_EQ(value, 0x12345678U);
    }
}

// A BASIN_CAMERA's value is put together from what came, which is nothing.
TEST_F(RepliesTest, FailedRequestGivesBasinNothing) {
    for (const Fault& fault : kErrors) {
        usb().failTransfer(1, fault);
        unsigned value = 0x12345678;
        EXPECT_FALSE(CameraPeer(*basin).getData(&value));
        EXPECT_EQ(value, 0U);
    }
}

// Two bytes a read, one position a read.
TEST_F(RepliesTest, TextEndsAtItsZero) {
    for (TavoCameraImpl* camera : {basin.get(), ridge.get()}) {
        usb().expect(
            together({parallelIn({'A', 0xEE}), parallelIn({'b', 0xEE}), parallelIn({0, 0xEE})}));
        std::array<char, 32> text{};
        EXPECT_TRUE(CameraPeer(*camera).getString(text.data(), 32U));
        EXPECT_STREQ(text.data(), "Ab");
    }
}

TEST_F(RepliesTest, EmptyText) {
    usb().expect(parallelIn({0, 'x'}));
    std::array<char, 32> text{};
    EXPECT_TRUE(CameraPeer(*ridge).getString(text.data(), 32U));
    EXPECT_STREQ(text.data(), "");
}

TEST_F(RepliesTest, TextIsCutThreeBeforeTheEnd) {
    Rows rows;
    for (int i = 0; i < 29; ++i)
        rows = together({rows, parallelIn({'x', 0})});
    usb().expect(rows);
    std::array<char, 40> text;
    text.fill('?');
    EXPECT_TRUE(CameraPeer(*ridge).getString(text.data(), 32U));
    EXPECT_EQ(std::string(text.data()), std::string(29, 'x'));
    EXPECT_EQ(std::string(text.data() + 30, 10), "??????????");
}

TEST_F(RepliesTest, FailedReadEndsTheText) {
    usb().expect(together({parallelIn({'A', 0}), parallelIn({'B', 0})}));
    usb().expect({frame({.code = 9, .b = 2}), inZeros(0x88, 3).failing(LIBUSB_ERROR_TIMEOUT)});
    std::array<char, 32> text{};
    EXPECT_FALSE(CameraPeer(*ridge).getString(text.data(), 32U));
    EXPECT_STREQ(text.data(), "AB");
}

using RepliesDeathTest = RepliesTest;

TEST_F(RepliesDeathTest, FamiliesWithoutReplies) {
    for (const CAMERA_TYPE type : {HERON_CAMERA, GLINT_CAMERA, kUnknownFamily}) {
        const auto camera = openedCamera(type);
        CameraPeer peer(*camera);
        unsigned char buffer[32] = {};
        char text[32] = {};
        unsigned value = 0;
        EXPECT_EXIT(peer.getData(buffer, 2U), testing::ExitedWithCode(1), assertionText(623));
        EXPECT_EXIT(peer.getData(&value), testing::ExitedWithCode(1), assertionText(623));
        EXPECT_EXIT(peer.getString(text, 32U), testing::ExitedWithCode(1), assertionText(623));
    }
}

} // namespace
} // namespace tavo::test
