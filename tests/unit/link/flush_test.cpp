// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/scarce_memory.h"
#include "fake/unit_test.h"

namespace tavo::test {
namespace {

class FlushTest : public UnitTest {};

Rows readOf(unsigned length) {
    return {frame({.code = 9, .a = length >> 16, .b = length & 0xFFFF}).within(100),
            inZeros(0x88, std::size_t{length} + 1).within(100)};
}

Rows failedReadOf(unsigned length) {
    Rows rows = readOf(length);
    rows.back() = rows.back().failing(LIBUSB_ERROR_TIMEOUT);
    return rows;
}

TEST_F(FlushTest, ReadsSingleBytesUntilOneFails) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}) {
        const auto camera = openedCamera(type);
        usb().expect(together({readOf(1), readOf(1), readOf(1), failedReadOf(1)}));
        CapturedTrace trace;
        CameraPeer(*camera).flush();
        EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::flush()",
                                        "    libusb_bulk_transfer -> LIBUSB_ERROR_TIMEOUT",
                                        "    3 bytes flushed", "<- TavoCameraImpl::flush"}));
    }
}

TEST_F(FlushTest, HeronReadsBlocksFirst) {
    const auto camera = openedCamera(HERON_CAMERA);
    usb().expect(together(
        {readOf(200000), readOf(200000), failedReadOf(200000), readOf(1), failedReadOf(1)}));
    CapturedTrace trace;
    CameraPeer(*camera).flush();
    EXPECT_TRUE(trace.contains("    400001 bytes flushed"));
}

TEST_F(FlushTest, FailedRequestEndsItToo) {
    const auto camera = openedCamera(RIDGE_CAMERA);
    usb().expect({frame({.code = 9, .b = 1}).failing(LIBUSB_ERROR_IO)});
    CapturedTrace trace;
    CameraPeer(*camera).flush();
    EXPECT_TRUE(trace.contains("    0 bytes flushed"));
}

// Not the value that the camera had before.
TEST_F(FlushTest, LeavesTheProcessWideTimeout) {
    const auto camera = openedCamera(RIDGE_CAMERA);
    CameraPeer peer(*camera);
    peer.bulkTimeout() = 555;
    TavoHostBulkTimeout = 4321;
    usb().failTransfer(1, kTimeout);
    peer.flush();
    EXPECT_EQ(peer.bulkTimeout(), 4321U);
}

TEST_F(FlushTest, HeronDoesWithoutItsBlock) {
    const auto camera = openedCamera(HERON_CAMERA);
    CameraPeer peer(*camera);
    peer.bulkTimeout() = 555;
    TavoHostBulkTimeout = 4321;
    usb().expect(together({readOf(1), failedReadOf(1)}));
    const exposure::ScarceMemory scarce(200000, 1);
    peer.flush();
    EXPECT_TRUE(scarce.struck());
    EXPECT_EQ(peer.bulkTimeout(), 4321U);
}

} // namespace
} // namespace tavo::test
