// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"
#include "link/wire.h"

#include <array>

namespace tavo::test {
namespace {

class CommandsTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> basin = openedCamera(BASIN_CAMERA);
    std::unique_ptr<TavoCameraImpl> ridge = openedCamera(RIDGE_CAMERA);
    std::unique_ptr<TavoCameraImpl> lumen = openedCamera(LUMEN_CAMERA);
};

constexpr unsigned char* kNoReply = nullptr;
constexpr const unsigned char* kNoArgument = nullptr;
constexpr std::array<unsigned char, 3> kArgument{0xA1, 0xA2, 0xA3};

TEST_F(CommandsTest, RidgePacketsAreEven) {
    usb().expect({out(0x02, {'C', 0, 'M', 0, 'D', 0, 0x2C, 0}), frame({.code = 10, .flag = true}),
                  inZeros(0x86, 4)});
    usb().expect(ridgeCommand(7, {0xA1, 0xA2}));
    usb().expect(ridgeCommand(7, {0xA1, 0xA2, 0xA3, 0}));
    usb().expect(ridgeCommand(7, {0xA1, 0}));
    EXPECT_TRUE(CameraPeer(*ridge).sendCommand(0x12CU));
    EXPECT_TRUE(CameraPeer(*ridge).sendCommand(7U, kArgument.data(), kNoReply, 2U, 0U));
    EXPECT_TRUE(CameraPeer(*ridge).sendCommand(7U, kArgument.data(), kNoReply, 3U, 0U));
    EXPECT_TRUE(CameraPeer(*ridge).sendCommand(7U, kArgument.data(), kNoReply, 1U, 0U));
}

TEST_F(CommandsTest, RidgeArgumentLengths) {
    const std::array<unsigned char, 13> argument{};
    const struct {
        unsigned argument;
        std::size_t packet;
    } rows[]{{0, 8}, {1, 10}, {2, 10}, {3, 12}, {4, 12}, {13, 22}};
    for (const auto& row : rows) {
        usb().forgetCalls();
        CameraPeer(*ridge).sendCommand(1U, argument.data(), kNoReply, row.argument, 0U);
        EXPECT_EQ(usb().calls().front().length, row.packet) << row.argument;
    }
}

TEST_F(CommandsTest, RidgeReply) {
    usb().expect(together({ridgeCommand(52), parallelIn({1, 2, 3})}));
    std::array<unsigned char, 4> reply{9, 9, 9, 9};
    EXPECT_TRUE(CameraPeer(*ridge).sendCommand(52U, kNoArgument, reply.data(), 0U, 3U));
    EXPECT_EQ(reply, (std::array<unsigned char, 4>{1, 2, 3, 9}));
}

TEST_F(CommandsTest, BasinPacket) {
    usb().expect(basinCommand(0x2C));
    usb().expect(basinCommand(7, {0xA1, 0xA2, 0xA3}));
    EXPECT_TRUE(CameraPeer(*basin).sendCommand(0x12CU));
    EXPECT_TRUE(CameraPeer(*basin).sendCommand(7U, kArgument.data(), kNoReply, 3U, 0U));
}

// Byte i of the result is byte 2 i of what came; the rest stays as it came.
TEST_F(CommandsTest, BasinReplyIsCompacted) {
    usb().expect(together({basinCommand(54), parallelIn({1, 2, 3, 4})}));
    usb().expect(together({basinCommand(54), parallelIn({1, 2, 3, 4, 5, 6})}));
    usb().expect(together({basinCommand(54), parallelIn({1, 2, 3, 4, 5})}));
    std::array<unsigned char, 6> reply{};
    EXPECT_TRUE(CameraPeer(*basin).sendCommand(54U, kNoArgument, reply.data(), 0U, 4U));
    EXPECT_EQ(reply[0], 1);
    EXPECT_EQ(reply[1], 3);
    EXPECT_TRUE(CameraPeer(*basin).sendCommand(54U, kNoArgument, reply.data(), 0U, 6U));
    EXPECT_EQ(reply, (std::array<unsigned char, 6>{1, 3, 5, 4, 5, 6}));
    EXPECT_TRUE(CameraPeer(*basin).sendCommand(54U, kNoArgument, reply.data(), 0U, 5U));
    EXPECT_EQ(reply[0], 1);
    EXPECT_EQ(reply[1], 3);
    EXPECT_EQ(reply[2], 3);
}

TEST_F(CommandsTest, LumenReplyStandsBehindTheArgument) {
    usb().expect(lumenCommand(55, {0xA1, 0xA2, 0xA3, 0, 0}, {0xA1, 0xA2, 0xA3, 7, 8}));
    std::array<unsigned char, 3> reply{9, 9, 9};
    EXPECT_TRUE(CameraPeer(*lumen).sendCommand(55U, kArgument.data(), reply.data(), 3U, 2U));
    EXPECT_EQ(reply, (std::array<unsigned char, 3>{7, 8, 9}));
}

TEST_F(CommandsTest, LumenAlwaysHasAReplyPhase) {
    usb().expect(lumenCommand(0x2C, {}, {}));
    EXPECT_TRUE(CameraPeer(*lumen).sendCommand(0x12CU));
}

TEST_F(CommandsTest, FailedLumenExchangeLeavesTheReply) {
    usb().failTransfer(2, kTimeout);
    std::array<unsigned char, 2> reply{9, 9};
    EXPECT_FALSE(CameraPeer(*lumen).sendCommand(54U, kNoArgument, reply.data(), 0U, 2U));
    EXPECT_EQ(reply, (std::array<unsigned char, 2>{9, 9}));
}

TEST_F(CommandsTest, ValueWithoutReply) {
    constexpr unsigned short value = 0x1234;
    usb().expect(ridgeCommand(9, {0x34, 0x12}));
    usb().expect(basinCommand(9, {0x34, 0x12}));
    usb().expect(lumenCommand(9, {0x12, 0x34}, {0x12, 0x34}));
    EXPECT_TRUE(CameraPeer(*ridge).sendCommand(9U, value));
    EXPECT_TRUE(CameraPeer(*basin).sendCommand(9U, value));
    EXPECT_TRUE(CameraPeer(*lumen).sendCommand(9U, value));
}

// Low byte first on every family.
TEST_F(CommandsTest, ValueWithReply) {
    constexpr unsigned short value = 0x1234;
    unsigned char reply = 0;
    usb().expect(together({ridgeCommand(9, {0x34, 0x12}), parallelIn({5})}));
    usb().expect(together({basinCommand(9, {0x34, 0x12}), parallelIn({6})}));
    usb().expect(lumenCommand(9, {0x34, 0x12, 0}, {0x34, 0x12, 7}));
    EXPECT_TRUE(CameraPeer(*ridge).sendCommand(9U, value, &reply, 1U));
    EXPECT_EQ(reply, 5);
    EXPECT_TRUE(CameraPeer(*basin).sendCommand(9U, value, &reply, 1U));
    EXPECT_EQ(reply, 6);
    EXPECT_TRUE(CameraPeer(*lumen).sendCommand(9U, value, &reply, 1U));
    EXPECT_EQ(reply, 7);
}

TEST_F(CommandsTest, TemperatureCommandPausesBeforeItsReply) {
    const Rows read = parallelIn({1, 2});
    std::array<unsigned char, 2> reply{};
    usb().expect(together({ridgeCommand(55), {pause(100000)}, read}));
    EXPECT_TRUE(CameraPeer(*ridge).sendCommand(55U, kNoArgument, reply.data(), 0U, 2U));
    usb().expect(together({basinCommand(55), {pause(100000)}, read}));
    EXPECT_TRUE(CameraPeer(*basin).sendCommand(55U, kNoArgument, reply.data(), 0U, 2U));
    usb().expect(lumenCommand(55, {0, 0}, {0, 0}));
    EXPECT_TRUE(CameraPeer(*lumen).sendCommand(55U, kNoArgument, reply.data(), 0U, 2U));
}

TEST_F(CommandsTest, PausesThoughTheCommandFailed) {
    std::array<unsigned char, 2> reply{};
    for (TavoCameraImpl* camera : {ridge.get(), basin.get()}) {
        usb().forgetCalls();
        usb().failTransfer(1, kTimeout);
        EXPECT_FALSE(CameraPeer(*camera).sendCommand(55U, kNoArgument, reply.data(), 0U, 2U));
        EXPECT_EQ(usb().pauses(), (std::vector<long>{100000}));
        EXPECT_EQ(usb().transferCount(), 1U);
    }
}

TEST_F(CommandsTest, Trace) {
    usb().queueIn(0x88, {0xAB, 0xCD, 0});
    std::array<unsigned char, 2> reply{};
    CapturedTrace trace;
    CameraPeer(*ridge).sendCommand(300U, kArgument.data(), reply.data(), 3U, 2U);
    CameraPeer(*ridge).sendCommand(44U);
    usb().failTransfer(1, kPipe);
    CameraPeer(*ridge).sendCommand(1U, kArgument.data(), reply.data(), 0U, 0U);
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::sendCommand(300, [0xa1 0xa2 0xa3], ..., 3, 2)",
                     "<- TavoCameraImpl::sendCommand 1 [0xab 0xcd]",
                     "-> TavoCameraImpl::sendCommand(44, NULL, ..., 0, 0)",
                     "<- TavoCameraImpl::sendCommand 1 NULL",
                     "-> TavoCameraImpl::sendCommand(1, ], ..., 0, 0)",
                     "    libusb_bulk_transfer -> LIBUSB_ERROR_PIPE ",
                     "<- TavoCameraImpl::sendCommand 0 ]"}));
    EXPECT_STREQ(ridge->getLastError(), "No error");
}

using CommandsDeathTest = CommandsTest;

TEST_F(CommandsDeathTest, FamiliesWithoutCommands) {
    for (const CAMERA_TYPE type : {HERON_CAMERA, GLINT_CAMERA, kUnknownFamily}) {
        const auto camera = openedCamera(type);
        CameraPeer peer(*camera);
        constexpr unsigned short value = 1;
        unsigned char reply = 0;
        EXPECT_EXIT(peer.sendCommand(1U), testing::ExitedWithCode(1), assertionText(486));
        EXPECT_EXIT(peer.sendCommand(1U, value), testing::ExitedWithCode(1), assertionText(505));
        EXPECT_EXIT(peer.sendCommand(1U, value, &reply, 1U), testing::ExitedWithCode(1),
                    assertionText(486));
    }
}

} // namespace
} // namespace tavo::test
