// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/scarce_memory.h"
#include "fake/unit_test.h"

#include <array>
#include <numeric>

namespace tavo::test {
namespace {

class ParallelLinkTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> camera = openedCamera(RIDGE_CAMERA);
    CameraPeer peer{*camera};
};

TEST_F(ParallelLinkTest, Timeout) {
    usb().expect({frame({.code = 12, .a = 2000})});
    CapturedTrace trace;
    EXPECT_TRUE(peer.setParTimeout(2000U));
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::setParTimeout(2000)",
                                    "<- TavoCameraImpl::setParTimeout 1"}));
}

TEST_F(ParallelLinkTest, FailedTimeout) {
    usb().expect({frame({.code = 12, .a = 50}).failing(LIBUSB_ERROR_IO)});
    CapturedTrace trace;
    EXPECT_FALSE(peer.setParTimeout(50U));
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::setParTimeout(50)",
                                    "    libusb_bulk_transfer -> LIBUSB_ERROR_IO ",
                                    "<- TavoCameraImpl::setParTimeout 0"}));
}

TEST_F(ParallelLinkTest, InAsksForOneByteMore) {
    usb().expect({frame({.code = 9, .b = 3}), in(0x88, {1, 2, 3, 4})});
    std::array<unsigned char, 4> buffer{9, 9, 9, 9};
    CapturedTrace trace;
    EXPECT_TRUE(peer.parIn(buffer.data(), 3U));
    EXPECT_EQ(buffer, (std::array<unsigned char, 4>{1, 2, 3, 9}));
    EXPECT_EQ(trace.text(), "");
}

TEST_F(ParallelLinkTest, InSplitsItsLength) {
    Row request = out(0x04, {9, 0, 0, 0, 0x01, 0x00, 0x70, 0x11, 0, 0, 0, 0, 0, 0, 0, 0});
    request.anyTransaction = true;
    usb().expect({request, inZeros(0x88, 70001)});
    std::vector<unsigned char> buffer(70000);
    EXPECT_TRUE(peer.parIn(buffer.data(), 70000U));
}

TEST_F(ParallelLinkTest, InReadsNothingAfterAFailedRequest) {
    usb().expect({frame({.code = 9, .b = 2}).failing(LIBUSB_ERROR_PIPE)});
    std::array<unsigned char, 2> buffer{9, 9};
    EXPECT_FALSE(peer.parIn(buffer.data(), 2U));
    EXPECT_EQ(buffer, (std::array<unsigned char, 2>{9, 9}));
}

TEST_F(ParallelLinkTest, InCopiesWhatAFailedReadBrought) {
    peer.maxPacketSize() = 2;
    usb().expect({frame({.code = 9, .b = 4}), in(0x88, {1, 2}),
                  in(0x88, {0, 0}).failing(LIBUSB_ERROR_TIMEOUT)});
    std::array<unsigned char, 4> buffer{9, 9, 9, 9};
    EXPECT_FALSE(peer.parIn(buffer.data(), 4U));
    EXPECT_EQ(buffer, (std::array<unsigned char, 4>{1, 2, 0, 0}));
}

TEST_F(ParallelLinkTest, InBringsItsLastPacketInPieces) {
    peer.maxPacketSize() = 4;
    usb().expect({frame({.code = 9, .b = 6}), in(0x88, {1, 2, 3, 4}), in(0x88, {5, 6, 7}).moving(1),
                  in(0x88, {6, 7}).moving(1), in(0x88, {7})});
    std::array<unsigned char, 7> buffer{9, 9, 9, 9, 9, 9, 9};
    EXPECT_TRUE(peer.parIn(buffer.data(), 6U));
    EXPECT_EQ(buffer, (std::array<unsigned char, 7>{1, 2, 3, 4, 5, 6, 9}));
}

// The camera's byte too many may be all that is missing.
TEST_F(ParallelLinkTest, InEndsWithAPacketOfTheDroppedByteAlone) {
    peer.maxPacketSize() = 2;
    usb().expect({frame({.code = 9, .b = 4}), in(0x88, {1, 2}), in(0x88, {3, 4}),
                  in(0x88, {5}).failing(LIBUSB_ERROR_IO)});
    std::array<unsigned char, 5> buffer{9, 9, 9, 9, 9};
    EXPECT_FALSE(peer.parIn(buffer.data(), 4U));
    EXPECT_EQ(buffer, (std::array<unsigned char, 5>{1, 2, 3, 4, 9}));
}

// What it asked for and could not read would be taken for the next answer.
TEST_F(ParallelLinkTest, InAsksForNothingWithoutMemory) {
    constexpr unsigned kLength = 70000;
    std::vector<unsigned char> buffer(kLength, 9);
    const exposure::ScarceMemory scarce(kLength, 1);
    EXPECT_FALSE(peer.parIn(buffer.data(), kLength));
    EXPECT_TRUE(scarce.struck());
    EXPECT_TRUE(usb().calls().empty());
}

// Answers with zeros, and changes the packet size when asked for data.
class PacketSizeChange : public Responder {
public:
    explicit PacketSizeChange(TavoCameraImpl& cameraToChange) : camera(cameraToChange) {}
    int bulkOut(unsigned, std::span<const std::uint8_t>) override { return 0; }
    Answer bulkIn(unsigned, std::size_t wanted) override {
        camera.setParam(MAX_PACKET_SIZE, 100);
        lengths.push_back(wanted);
        return {0, Bytes(wanted, 5)};
    }
    int controlOut(const Row&) override { return 0; }
    Answer controlIn(const Row&) override { return {}; }

    TavoCameraImpl& camera;
    std::vector<std::size_t> lengths;
};

TEST_F(ParallelLinkTest, InOutlivesPacketsThatGrowMeanwhile) {
    for (const long size : {2L, 0L}) {
        camera->setParam(MAX_PACKET_SIZE, size);
        PacketSizeChange responder(*camera);
        usb().respondWith(&responder);
        std::array<unsigned char, 7> buffer{};
        EXPECT_TRUE(peer.parIn(buffer.data(), 6U));
        EXPECT_EQ(buffer, (std::array<unsigned char, 7>{5, 5, 5, 5, 5, 5, 0}));
        EXPECT_EQ(responder.lengths, size == 0 ? (std::vector<std::size_t>{0, 7})
                                               : (std::vector<std::size_t>{2, 2, 2, 1}));
        usb().respondWith(nullptr);
    }
}

TEST_F(ParallelLinkTest, OutIsCommitted) {
    usb().expect({out(0x02, {1, 2, 3}), frame({.code = 10, .flag = true}), inZeros(0x86, 4)});
    const std::array<unsigned char, 3> data{1, 2, 3};
    CapturedTrace trace;
    EXPECT_TRUE(peer.parOut(data.data(), 3U));
    EXPECT_EQ(trace.text(), "");
}

TEST_F(ParallelLinkTest, OutFailsWithEachOfItsTransfers) {
    for (const Fault& fault : kErrors) {
        for (std::size_t number = 1; number <= 3; ++number) {
            usb().forgetCalls();
            usb().failTransfer(number, fault);
            const unsigned char data = 1;
            EXPECT_FALSE(peer.parOut(&data, 1U)) << fault.name << " " << number;
            EXPECT_EQ(usb().transferCount(), number);
        }
    }
}

TEST_F(ParallelLinkTest, TableLengthFollowsItsTopBit) {
    Bytes table(172);
    std::iota(table.begin(), table.end(), static_cast<std::uint8_t>(0));
    const struct {
        std::uint8_t first;
        std::size_t length;
    } rows[]{{0x00, 152}, {0x01, 152}, {0x7F, 152}, {0x80, 172}, {0x81, 172}, {0xFF, 172}};
    for (const auto& row : rows) {
        table[0] = row.first;
        const Bytes sent(table.begin(), table.begin() + static_cast<std::ptrdiff_t>(row.length));
        usb().expect(framedExchange({.code = 8, .flag = true, .payload = sent}, {}));
        EXPECT_TRUE(peer.parInit(static_cast<const unsigned char*>(table.data())));
    }
}

TEST_F(ParallelLinkTest, OtherModesSendNothing) {
    for (const unsigned mode : {0U, 2U, 3U, 8U, 10U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(peer.parInit(mode)) << mode;
    }
    CapturedTrace trace;
    EXPECT_FALSE(peer.parInit(2U));
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::parInit(2)", "<- TavoCameraImpl::parInit 0"}));
    EXPECT_TRUE(usb().calls().empty());
}

TEST_F(ParallelLinkTest, TraceOfAMode) {
    CapturedTrace trace;
    EXPECT_TRUE(peer.parInit(9U));
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::parInit(9)", " -> TavoCameraImpl::parInit(...)",
                     " <- TavoCameraImpl::parInit 1", "<- TavoCameraImpl::parInit 1"}));
}

TEST_F(ParallelLinkTest, FailedTable) {
    for (const unsigned mode : {1U, 9U}) {
        usb().failTransfer(1, kPipe);
        CapturedTrace trace;
        EXPECT_FALSE(peer.parInit(mode));
        EXPECT_EQ(trace.lines(),
                  (Lines{"-> TavoCameraImpl::parInit(" + std::to_string(mode) + ")",
                         " -> TavoCameraImpl::parInit(...)",
                         "     libusb_bulk_transfer -> LIBUSB_ERROR_PIPE ",
                         " <- TavoCameraImpl::parInit 0", "<- TavoCameraImpl::parInit 0"}));
        usb().failTransfer(2, kPipe);
        EXPECT_FALSE(peer.parInit(mode));
    }
}

} // namespace
} // namespace tavo::test
