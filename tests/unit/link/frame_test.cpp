// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The framed exchange: a header of 16 bytes and the payload out, a leading byte, the data and three
// more bytes in.
#include "exposure/scarce_memory.h"
#include "fake/unit_test.h"

#include <array>

namespace tavo::test {
namespace {

class FrameTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> camera = openedCamera(LUMEN_CAMERA);
    CameraPeer peer{*camera};

    bool send(unsigned code, bool replyPhase) {
        return peer.bulkTransfer(code, replyPhase, 0U, 0U, 0U, nullptr, nullptr, 0U, 0U);
    }
};

TEST_F(FrameTest, HeaderIsLittleEndian) {
    Row request = out(0x04, {0x78, 0x00, 0x00, 0xBC, 0x34, 0x12, 0x78, 0x56, 0x02, 0x00, 0x00, 0x00,
                             0x03, 0x00, 0x00, 0x00, 0xA1, 0xA2, 0xA3});
    request.anyTransaction = true;
    usb().expect({request, in(0x86, {0xFF, 0x11, 0x22, 0xEE, 0xEE, 0xEE})});
    const std::array<unsigned char, 3> payload{0xA1, 0xA2, 0xA3};
    std::array<unsigned char, 4> reply{9, 9, 9, 9};
    EXPECT_TRUE(peer.bulkTransfer(0x5678U, false, 0x9ABCU, 0xF1234U, 0xF5678U, payload.data(),
                                  reply.data(), 3U, 2U));
    EXPECT_EQ(reply, (std::array<unsigned char, 4>{0x11, 0x22, 9, 9}));
}

TEST_F(FrameTest, LengthsTakeFourBytes) {
    const std::vector<unsigned char> payload(70000, 0x5C);
    std::vector<unsigned char> reply(66000);
    EXPECT_TRUE(
        peer.bulkTransfer(1U, false, 0U, 0U, 0U, payload.data(), reply.data(), 70000U, 66000U));
    const Rows calls = usb().calls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].length, 70016U);
    const Bytes lengths(calls[0].data.begin() + 8, calls[0].data.begin() + 17);
    EXPECT_EQ(lengths, (Bytes{0xD0, 0x01, 0x01, 0x00, 0x70, 0x11, 0x01, 0x00, 0x5C}));
    EXPECT_EQ(calls[1].length, 66004U);
}

TEST_F(FrameTest, WithoutReplyPhaseNothingIsRead) {
    Row request = out(0x04, {12, 0, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    request.anyTransaction = true;
    usb().expect({request});
    EXPECT_TRUE(send(12, false));
}

TEST_F(FrameTest, ReplyPhaseWithoutDataReadsFourBytes) {
    Row request = out(0x04, {12, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    request.anyTransaction = true;
    usb().expect({request, in(0x86, {1, 2, 3, 4})});
    unsigned char untouched = 7;
    EXPECT_TRUE(peer.bulkTransfer(12U, true, 0U, 0U, 0U, nullptr, &untouched, 0U, 0U));
    EXPECT_EQ(untouched, 7);
}

TEST_F(FrameTest, NothingIsAskedWithoutMemoryForTheReply) {
    constexpr unsigned kLength = 60000;
    std::vector<unsigned char> reply(kLength, 9);
    const exposure::ScarceMemory scarce(kLength, 1);
    EXPECT_FALSE(peer.bulkTransfer(1U, false, 0U, 0U, 0U, nullptr, reply.data(), 0U, kLength));
    EXPECT_TRUE(scarce.struck());
    EXPECT_TRUE(usb().calls().empty());
}

TEST_F(FrameTest, RequestsAreNumberedAcrossCameras) {
    const auto other = openedCamera(RIDGE_CAMERA);
    EXPECT_TRUE(send(1, false));
    unsigned expected = usb().calls().back().data[1];
    for (int i = 0; i < 300; ++i) {
        CameraPeer sender(i % 2 == 0 ? *other : *camera);
        EXPECT_TRUE(sender.bulkTransfer(1U, false, 0U, 0U, 0U, nullptr, nullptr, 0U, 0U));
        expected = (expected + 1) % 256;
        EXPECT_EQ(usb().calls().back().data[1], expected);
    }
}

TEST_F(FrameTest, BytesOfTheReplyAreNotChecked) {
    usb().queueIn(0x86, Bytes{0xDE, 0x42, 0xFF, 0xFF, 0xFF});
    unsigned char reply = 0;
    EXPECT_TRUE(peer.bulkTransfer(1U, false, 0U, 0U, 0U, nullptr, &reply, 0U, 1U));
    EXPECT_EQ(reply, 0x42);
}

TEST_F(FrameTest, PayloadAndReplyMayShareABuffer) {
    std::array<unsigned char, 3> both{1, 2, 3};
    usb().expect(
        framedExchange({.code = 6, .subCode = 2, .a = 3, .b = 1, .payload = {1, 2, 3}}, {7, 8, 9}));
    EXPECT_TRUE(peer.bulkTransfer(6U, false, 2U, 3U, 1U, both.data(), both.data(), 3U, 3U));
    EXPECT_EQ(both, (std::array<unsigned char, 3>{7, 8, 9}));
}

TEST_F(FrameTest, FailedRequestReadsNothing) {
    for (const Fault& fault : kErrors) {
        usb().forgetCalls();
        usb().failTransfer(1, fault);
        unsigned char reply = 9;
        EXPECT_FALSE(peer.bulkTransfer(1U, false, 0U, 0U, 0U, nullptr, &reply, 0U, 1U));
        EXPECT_EQ(usb().transferCount(), 1U);
        EXPECT_EQ(reply, 9);
    }
}

TEST_F(FrameTest, FailedReplyIsNotCopied) {
    for (const Fault& fault : kErrors) {
        usb().failTransfer(2, fault);
        unsigned char reply = 9;
        EXPECT_FALSE(peer.bulkTransfer(1U, false, 0U, 0U, 0U, nullptr, &reply, 0U, 1U));
        EXPECT_EQ(reply, 9);
        usb().failTransfer(2, fault);
        EXPECT_FALSE(send(1, true));
    }
}

TEST_F(FrameTest, ShortReplyIsReadOn) {
    usb().expect({frame({.code = 3, .replyLength = 5}),
                  in(0x86, {0, 1, 2, 3, 4, 5, 0, 0, 0}).moving(4), in(0x86, {4, 5, 0, 0, 0})});
    std::array<unsigned char, 5> reply{};
    EXPECT_TRUE(peer.bulkTransfer(3U, false, 0U, 0U, 0U, nullptr, reply.data(), 0U, 5U));
    EXPECT_EQ(reply, (std::array<unsigned char, 5>{1, 2, 3, 4, 5}));
}

} // namespace
} // namespace tavo::test
