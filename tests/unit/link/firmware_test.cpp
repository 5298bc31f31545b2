// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"

#include <numeric>

namespace tavo::test {
namespace {

class FirmwareTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> camera = openedCamera(RIDGE_CAMERA);
    CameraPeer peer{*camera};
};

Row memory(unsigned address, Bytes data) {
    return controlOut(0xA0, address, 0, std::move(data));
}

const Row kStop = memory(0xE600, {1});
const Row kStart = memory(0xE600, {0});

Bytes record(unsigned address, const Bytes& data) {
    return joined({{static_cast<std::uint8_t>(data.size()), static_cast<std::uint8_t>(address),
                    static_cast<std::uint8_t>(address >> 8)},
                   data});
}

const Bytes kThree =
    joined({record(0x0100, {1}), record(0x0200, {2, 2}), record(0x0300, {3, 3, 3})});

TEST_F(FirmwareTest, EmptyImageStillRestartsTheProcessor) {
    setFirmware({0});
    usb().expect({kStop, kStart});
    CapturedTrace trace;
    EXPECT_TRUE(peer.writeFW());
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::writeFW()", "    cpu stopped 1",
                                    "    cpu started 1", "<- TavoCameraImpl::writeFW 1"}));
}

TEST_F(FirmwareTest, RecordsGoToTheirAddresses) {
    Bytes sixteen(16);
    std::iota(sixteen.begin(), sixteen.end(), static_cast<std::uint8_t>(0x40));
    const Bytes longest(255, 0x77);
    setFirmware(joined({record(0x1234, sixteen), record(0xFFFF, {9}), record(0x0000, longest)}));
    usb().expect(
        {kStop, memory(0x1234, sixteen), memory(0xFFFF, {9}), memory(0x0000, longest), kStart});
    EXPECT_TRUE(peer.writeFW());
}

TEST_F(FirmwareTest, NothingBehindTheEndIsRead) {
    setFirmware(joined({record(0x10, {1, 0, 0}), {0}, record(0x20, {2})}));
    usb().expect({kStop, memory(0x10, {1, 0, 0}), kStart});
    EXPECT_TRUE(peer.writeFW());
}

TEST_F(FirmwareTest, FailedStopSkipsTheUpload) {
    setFirmware(kThree);
    for (const Fault& fault : kErrors) {
        usb().reset();
        usb().failTransfer(1, fault);
        CapturedTrace trace;
        EXPECT_FALSE(peer.writeFW());
        EXPECT_EQ(usb().transferCount(), 1U);
        EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::writeFW()", "    cpu stopped 0",
                                        "    incomplete firmware upload", "    cpu started 0",
                                        "<- TavoCameraImpl::writeFW 0"}));
    }
}

TEST_F(FirmwareTest, FailedRecordLeavesTheProcessorStopped) {
    setFirmware(kThree);
    for (std::size_t number = 2; number <= 3; ++number) {
        usb().reset();
        usb().failTransfer(number, kPipe);
        CapturedTrace trace;
        EXPECT_FALSE(peer.writeFW());
        EXPECT_EQ(usb().transferCount(), number);
        EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::writeFW()", "    cpu stopped 1",
                                        "    incomplete firmware upload", "    cpu started 0",
                                        "<- TavoCameraImpl::writeFW 0"}));
    }
}

TEST_F(FirmwareTest, FailedThirdRecordOfFour) {
    setFirmware(joined({kThree, record(0x0400, {4})}));
    usb().expect({kStop, memory(0x0100, {1}), memory(0x0200, {2, 2}),
                  memory(0x0300, {3, 3, 3}).failing(LIBUSB_ERROR_IO)});
    CapturedTrace trace;
    EXPECT_FALSE(peer.writeFW());
    EXPECT_TRUE(trace.contains("    incomplete firmware upload"));
}

// The walk goes past a failed record, so behind the last one it stands at the end.
TEST_F(FirmwareTest, FailedLastRecordIsNotCalledIncomplete) {
    setFirmware(kThree);
    usb().failTransfer(4, kPipe);
    CapturedTrace trace;
    EXPECT_FALSE(peer.writeFW());
    EXPECT_EQ(usb().transferCount(), 4U);
    EXPECT_FALSE(trace.contains("    incomplete firmware upload"));
    EXPECT_TRUE(trace.contains("    cpu started 0"));
}

TEST_F(FirmwareTest, FailedStart) {
    setFirmware(kThree);
    usb().failTransfer(5, kTimeout);
    CapturedTrace trace;
    EXPECT_FALSE(peer.writeFW());
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::writeFW()", "    cpu stopped 1",
                                    "    cpu started 0", "<- TavoCameraImpl::writeFW 0"}));
    EXPECT_STREQ(camera->getLastError(), "No error");
}

TEST_F(FirmwareTest, RequestThatMovesSomethingSucceeded) {
    setFirmware(record(0x0100, {1, 2, 3}));
    usb().expect({kStop, memory(0x0100, {1, 2, 3}).moving(1), kStart});
    EXPECT_TRUE(peer.writeFW());
}

TEST_F(FirmwareTest, RequestThatMovesNothingFailed) {
    setFirmware(kThree);
    usb().expect({kStop, memory(0x0100, {1}).moving(0)});
    EXPECT_FALSE(peer.writeFW());
}

// Half of a single byte is nothing; half of more is a success.
TEST_F(FirmwareTest, EveryRequestFailsOnce) {
    setFirmware(kThree);
    const bool singleByte[]{true, true, false, false, true};
    for (std::size_t number = 1; number <= std::size(singleByte); ++number) {
        for (const Fault& fault : kErrors) {
            usb().forgetCalls();
            usb().failTransfer(number, fault);
            EXPECT_FALSE(peer.writeFW()) << fault.name << number;
            EXPECT_EQ(usb().transferCount(), number);
        }
        usb().forgetCalls();
        usb().failTransfer(number, kShortCount);
        EXPECT_EQ(peer.writeFW(), !singleByte[number - 1]) << number;
        EXPECT_EQ(usb().transferCount(), singleByte[number - 1] ? number : 5U);
    }
}

} // namespace
} // namespace tavo::test
