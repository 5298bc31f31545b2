// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Images of the families that send their window as it was asked for.
#include "exposure/exposure_test.h"

#include <vector>

namespace tavo::test::exposure {
namespace {

class TransferTest : public ExposureTest {};

using Pixels = std::vector<unsigned short>;

// The buffer starts with a pattern, so that what is not written shows.
Pixels patterned(std::size_t size) {
    Pixels pixels;
    for (std::size_t i = 0; i < size; ++i)
        pixels.push_back(static_cast<unsigned short>(0x7700 + i));
    return pixels;
}

Pixels fetched(TavoCameraImpl& camera, unsigned size, bool succeeds = true) {
    Pixels pixels = patterned(size);
    if (succeeds) {
        EXPECT_TRUE(camera.getImage(pixels.data(), size));
        EXPECT_STREQ(camera.getLastError(), kUntouched);
    } else {
        expectRefused(camera, camera.getImage(pixels.data(), size), "Failed to get image");
    }
    expectState(camera, {});
    return pixels;
}

const Bytes kSixBytes{0x01, 0x02, 0xFF, 0x00, 0x34, 0x12};
const Pixels kThreePixels{0x0201, 0x00FF, 0x1234};

TEST_F(TransferTest, Basin) {
    const auto camera = pendingCamera(BASIN_CAMERA);
    converse({parallelIn(kSixBytes)});
    EXPECT_EQ(fetched(*camera, 3), kThreePixels);
}

TEST_F(TransferTest, RidgeShortensItsTimeoutAgain) {
    const auto camera = pendingCamera(RIDGE_CAMERA);
    converse({parallelIn(kSixBytes), parallelTimeout(1000)});
    EXPECT_EQ(fetched(*camera, 3), kThreePixels);
}

TEST_F(TransferTest, RidgeShortensItsTimeoutAfterAFailureToo) {
    const auto camera = pendingCamera(RIDGE_CAMERA);
    converse({refused(parallelIn(kSixBytes)), parallelTimeout(1000)});
    EXPECT_EQ(fetched(*camera, 3, false), patterned(3));
}

TEST_F(TransferTest, RidgeTimeoutThatStaysLongIsOnlyTraced) {
    const auto camera = pendingCamera(RIDGE_CAMERA);
    converse({parallelIn(kSixBytes), refused(parallelTimeout(1000))});
    CapturedTrace trace;
    EXPECT_EQ(fetched(*camera, 3), kThreePixels);
    EXPECT_TRUE(trace.contains("    set timeout 1000 failed"));
}

TEST_F(TransferTest, ModesOfOtherFamiliesDoNotCount) {
    const auto camera = pendingCamera(BASIN_CAMERA);
    CameraPeer(*camera).eightBitMode() = true;
    CameraPeer(*camera).prechargeSubtraction() = true;
    converse({parallelIn(kSixBytes)});
    EXPECT_EQ(fetched(*camera, 3), kThreePixels);
}

TEST_F(TransferTest, EmptyImage) {
    const auto basin = pendingCamera(BASIN_CAMERA), lumen = pendingCamera(LUMEN_CAMERA);
    converse({parallelIn({}), parallelIn({})});
    EXPECT_TRUE(basin->getImage(nullptr, 0));
    EXPECT_TRUE(lumen->getImage(nullptr, 0));
    expectState(*lumen, {});
}

TEST_F(TransferTest, LengthBeyond16BitsIsSplitOverTwoParameters) {
    const auto camera = pendingCamera(BASIN_CAMERA);
    Bytes bytes(2 * 70000);
    bytes[2 * 69999] = 0xAB;
    converse({parallelIn(bytes)});
    EXPECT_EQ(fetched(*camera, 70000)[69999], 0xAB);
}

TEST_F(TransferTest, PacketSizeSplitsTheRead) {
    const auto camera = pendingCamera(BASIN_CAMERA);
    camera->setParam(MAX_PACKET_SIZE, 4);
    converse({{frame({.code = 9, .b = 6}), in(0x88, Bytes{0x01, 0x02, 0xFF, 0x00}),
               in(0x88, Bytes{0x34, 0x12, 0xEE})}});
    EXPECT_EQ(fetched(*camera, 3), kThreePixels);
}

TEST_F(TransferTest, ShortReadsAreContinued) {
    const auto camera = pendingCamera(BASIN_CAMERA);
    converse({{frame({.code = 9, .b = 6}), in(0x88, Bytes{0x01, 0x02, 0xFF, 0, 0, 0, 0}).moving(3),
               in(0x88, Bytes{0x00, 0x34, 0x12, 0xEE})}});
    EXPECT_EQ(fetched(*camera, 3), kThreePixels);
}

TEST_F(TransferTest, FailedReadLeavesWhatHadArrived) {
    const auto camera = pendingCamera(BASIN_CAMERA);
    converse({{frame({.code = 9, .b = 6}), in(0x88, Bytes{0x01, 0x02, 0xFF, 0, 0, 0, 0}).moving(3),
               in(0x88, Bytes(4)).failing(LIBUSB_ERROR_TIMEOUT)}});
    EXPECT_EQ(fetched(*camera, 3, false), (Pixels{0x0201, 0x00FF, 0}));
}

// The two pixels at the front are no image; the last two of the buffer are not moved over.
TEST_F(TransferTest, LumenDropsTheFirstTwoPixels) {
    const auto camera = pendingCamera(LUMEN_CAMERA);
    converse({parallelIn(words({10, 20, 30, 40, 50}))});
    const Pixels pixels = fetched(*camera, 5);
    EXPECT_EQ(Pixels(pixels.begin(), pixels.begin() + 3), (Pixels{30, 40, 50}));
}

TEST_F(TransferTest, LumenWidens8BitsThenDropsTheFirstTwoPixels) {
    const auto camera = pendingCamera(LUMEN_CAMERA);
    camera->set8BitMode(true);
    converse({parallelIn({10, 20, 30, 40})});
    const Pixels pixels = fetched(*camera, 4);
    EXPECT_EQ(Pixels(pixels.begin(), pixels.begin() + 2), (Pixels{30, 40}));
}

TEST_F(TransferTest, LumenWidensWithoutScalingOrSign) {
    const auto camera = pendingCamera(LUMEN_CAMERA);
    camera->set8BitMode(true);
    Bytes bytes{0, 0};
    Pixels expected;
    for (unsigned i = 0; i < 256; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(255 - i));
        expected.push_back(static_cast<unsigned short>(255 - i));
    }
    converse({parallelIn(bytes)});
    Pixels pixels = fetched(*camera, 258);
    pixels.resize(256);
    EXPECT_EQ(pixels, expected);
}

// What stays of images too small for the pixels that are dropped.
TEST_F(TransferTest, LumenImagesOfUpToTwoPixelsStayInTheirBuffer) {
    for (const std::size_t size : {1u, 2u}) {
        const auto camera = pendingCamera(LUMEN_CAMERA);
        const Bytes bytes{0x11, 0x22, 0x33, 0x44};
        converse({parallelIn(Bytes(bytes.begin(), bytes.begin() + 2 * static_cast<long>(size)))});
        fetched(*camera, static_cast<unsigned>(size));
    }
}

TEST_F(TransferTest, LumenDropsPixelsOfAFailedReadToo) {
    const auto camera = pendingCamera(LUMEN_CAMERA);
    converse({refused(parallelIn(words({0, 0, 0, 0})))});
    const Pixels pixels = fetched(*camera, 4, false);
    EXPECT_EQ(pixels[0], 0x7702);
    EXPECT_EQ(pixels[1], 0x7703);
}

TEST_F(TransferTest, LumenWidensWhatAFailedReadBrought) {
    const auto camera = pendingCamera(LUMEN_CAMERA);
    camera->set8BitMode(true);
    converse({{frame({.code = 9, .b = 4}), in(0x88, Bytes{1, 2, 3, 0, 0}).moving(3),
               in(0x88, Bytes(2)).failing(LIBUSB_ERROR_IO)}});
    const Pixels pixels = fetched(*camera, 4, false);
    EXPECT_EQ(pixels[0], 3);
    EXPECT_EQ(pixels[1], 0);
}

TEST_F(TransferTest, TimeIsThatOfTheRead) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}) {
        for (const bool eightBit : {false, true}) {
            SCOPED_TRACE(familyName(type));
            const auto camera = pendingCamera(type);
            CameraPeer(*camera).eightBitMode() = eightBit;
            usb().reset();
            usb().eachTransferTakes(250000);
            CapturedTrace trace;
            fetched(*camera, 4);
            EXPECT_TRUE(trace.contains("    elapsed 0.5 s"));
        }
    }
}

} // namespace
} // namespace tavo::test::exposure
