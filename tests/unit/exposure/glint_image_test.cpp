// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A GLINT_CAMERA sends whole frames of 8-bit samples.
#include "exposure/exposure_test.h"

#include <vector>

namespace tavo::test::exposure {
namespace {

using Pixels = std::vector<unsigned short>;

constexpr unsigned short kUnwritten = 0x7777;

class GlintImageTest : public ExposureTest {
protected:
    // A sensor of 4 x 3 pixels.
    static std::unique_ptr<TavoCameraImpl> camera(const Window& window) {
        auto made = pendingCamera(GLINT_CAMERA, window);
        CameraPeer(*made).pixelCountX() = 4;
        CameraPeer(*made).pixelCountY() = 3;
        return made;
    }

    static Pixels fetched(TavoCameraImpl& camera, unsigned size) {
        Pixels pixels(size, kUnwritten);
        EXPECT_TRUE(camera.getImage(pixels.data(), size));
        EXPECT_STREQ(camera.getLastError(), kUntouched);
        expectState(camera, {});
        return pixels;
    }
};

const Bytes kFrame{0xAB, 0x01, 0x02, 0x03, 0x10, 0x11, 0x12, 0x13, 0x20, 0x21, 0x22, 0xFF};

void converseFrame(const Bytes& frame) {
    converse({{in(0x81, frame)}});
}

TEST_F(GlintImageTest, SampleIsTheHighByte) {
    const auto glint = camera({.width = 1, .height = 1});
    converseFrame(kFrame);
    EXPECT_EQ(fetched(*glint, 1), Pixels{0xAB00});
}

TEST_F(GlintImageTest, WindowLiesDensely) {
    const auto glint = camera({.x = 1, .y = 1, .width = 3, .height = 2});
    converseFrame(kFrame);
    EXPECT_EQ(fetched(*glint, 7),
              (Pixels{0x1100, 0x1200, 0x1300, 0x2100, 0x2200, 0xFF00, kUnwritten}));
}

TEST_F(GlintImageTest, BinnedFrame) {
    const auto glint = camera({.x = 2, .width = 3, .height = 3, .binX = 2, .binY = 2});
    converseFrame({0x55, 0x66});
    EXPECT_EQ(fetched(*glint, 1), Pixels{0x6600});
}

TEST_F(GlintImageTest, PastTheBottomThereIsBlack) {
    const auto glint = camera({.x = 3, .y = 2, .width = 1, .height = 2});
    converseFrame(kFrame);
    EXPECT_EQ(fetched(*glint, 2), (Pixels{0xFF00, 0}));
}

// 0xFFFFFFFF + 4 * 1 is pixel 3.
TEST_F(GlintImageTest, WindowLeftOfTheFrameWraps) {
    const auto glint = camera({.x = 0xFFFFFFFF, .y = 1, .width = 2, .height = 1});
    converseFrame(kFrame);
    EXPECT_EQ(fetched(*glint, 2), (Pixels{0x0300, 0x1000}));
}

TEST_F(GlintImageTest, SmallerBufferTakesTheFirstPixels) {
    const auto glint = camera({.width = 4, .height = 3});
    converseFrame(kFrame);
    EXPECT_EQ(fetched(*glint, 5), (Pixels{0xAB00, 0x0100, 0x0200, 0x0300, 0x1000}));
}

TEST_F(GlintImageTest, EmptyBufferStillMovesTheFrame) {
    const auto glint = camera({.width = 4, .height = 3});
    converseFrame(kFrame);
    EXPECT_TRUE(glint->getImage(nullptr, 0));
}

TEST_F(GlintImageTest, WholeFrameComesInPackets) {
    const auto glint = camera({.width = 1, .height = 3});
    glint->setParam(MAX_PACKET_SIZE, 8);
    converse({{in(0x81, Bytes{1, 2, 3, 4, 5, 6, 7, 8}), in(0x81, Bytes{9, 10, 11, 12})}});
    EXPECT_EQ(fetched(*glint, 3), (Pixels{0x0100, 0x0500, 0x0900}));
}

TEST_F(GlintImageTest, FailedFrameLeavesTheBuffer) {
    const auto glint = camera({.width = 2, .height = 1});
    converse({{in(0x81, kFrame).moving(6), in(0x81, Bytes(6)).failing(LIBUSB_ERROR_TIMEOUT)}});
    Pixels pixels(2, kUnwritten);
    expectRefused(*glint, glint->getImage(pixels.data(), 2), "Failed to get image");
    EXPECT_EQ(pixels, Pixels(2, kUnwritten));
    expectState(*glint, {});
}

TEST_F(GlintImageTest, TimeIsThatOfTheRead) {
    for (const bool fails : {false, true}) {
        const auto glint = camera({});
        usb().eachTransferTakes(1500000);
        if (fails)
            usb().failTransfer(1, kTimeout);
        CapturedTrace trace;
        EXPECT_EQ(glint->getImage(nullptr, 0), !fails);
        EXPECT_TRUE(trace.contains("    elapsed 1.5 s"));
    }
}

} // namespace
} // namespace tavo::test::exposure
