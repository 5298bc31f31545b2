// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A HERON_CAMERA sends whole frames, from which the window is cut.
#include "exposure/exposure_test.h"

#include <vector>

namespace tavo::test::exposure {
namespace {

using Pixels = std::vector<unsigned short>;

constexpr unsigned short kUnwritten = 0x7777;
constexpr std::uint8_t kBusy = 0x10; // line 4

class HeronImageTest : public ExposureTest {
protected:
    // A sensor of 6 x 4 pixels.
    static std::unique_ptr<TavoCameraImpl> camera(const Window& window, bool precharge = false,
                                                  int offset = 0) {
        auto made = pendingCamera(HERON_CAMERA, window);
        CameraPeer peer(*made);
        peer.pixelCountX() = 6;
        peer.pixelCountY() = 4;
        peer.prechargeSubtraction() = precharge;
        peer.prechargeOffset() = offset;
        return made;
    }

    static Pixels fetched(TavoCameraImpl& camera, unsigned size, bool succeeds = true) {
        Pixels pixels(size, kUnwritten);
        EXPECT_EQ(camera.getImage(pixels.data(), size), succeeds);
        EXPECT_STREQ(camera.getLastError(), succeeds ? kUntouched : "Failed to get image");
        expectState(camera, {});
        return pixels;
    }
};

Rows dummyWord() {
    return parallelIn({0xDE, 0xAD});
}

// Pixel (x, y) of a frame is 0x100 * y + x.
Bytes numberedFrame(unsigned width, unsigned height) {
    Bytes bytes;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x)
            bytes = joined({bytes, words({0x100 * y + x})});
    }
    return bytes;
}

void converseFrame(const Bytes& frame) {
    converse({lines(0), dummyWord(), parallelIn(frame), parallelTimeout(1000)});
}

TEST_F(HeronImageTest, SquareWindowLiesDensely) {
    const auto heron = camera({.x = 2, .y = 1, .width = 3, .height = 3});
    converseFrame(numberedFrame(6, 4));
    EXPECT_EQ(fetched(*heron, 9),
              (Pixels{0x102, 0x103, 0x104, 0x202, 0x203, 0x204, 0x302, 0x303, 0x304}));
}

// The output advances by the height of the window.
TEST_F(HeronImageTest, RowsOfAWideWindowOverlap) {
    const auto heron = camera({.x = 1, .y = 2, .width = 4, .height = 2});
    converseFrame(numberedFrame(6, 4));
    EXPECT_EQ(fetched(*heron, 8),
              (Pixels{0x201, 0x202, 0x301, 0x302, 0x303, 0x304, kUnwritten, kUnwritten}));
}

TEST_F(HeronImageTest, RowsOfATallWindowHaveGapsAndEndWithTheBuffer) {
    const auto heron = camera({.x = 4, .y = 0, .width = 1, .height = 4});
    converseFrame(numberedFrame(6, 4));
    EXPECT_EQ(fetched(*heron, 4), (Pixels{0x004, kUnwritten, kUnwritten, kUnwritten}));
}

TEST_F(HeronImageTest, BinnedFrame) {
    const auto heron = camera({.x = 3, .y = 3, .width = 5, .height = 3, .binX = 2, .binY = 3});
    // 3 x 1 pixels: column 1, row 1 (none), 2 x 1.
    converseFrame(numberedFrame(3, 1));
    EXPECT_EQ(fetched(*heron, 2), (Pixels{0, 0}));
}

TEST_F(HeronImageTest, BinnedWindow) {
    const auto heron = camera({.x = 2, .y = 2, .width = 4, .height = 2, .binX = 2, .binY = 2});
    converseFrame(numberedFrame(3, 2));
    EXPECT_EQ(fetched(*heron, 2), (Pixels{0x101, 0x102}));
}

TEST_F(HeronImageTest, PastTheBottomThereIsBlack) {
    const auto heron = camera({.x = 0, .y = 3, .width = 2, .height = 2});
    converseFrame(numberedFrame(6, 4));
    EXPECT_EQ(fetched(*heron, 4), (Pixels{0x300, 0x301, 0, 0}));
}

TEST_F(HeronImageTest, LastRowRunsOutOfTheFrame) {
    const auto heron = camera({.x = 5, .y = 3, .width = 2, .height = 1});
    converseFrame(numberedFrame(6, 4));
    EXPECT_EQ(fetched(*heron, 2), (Pixels{0x305, 0}));
}

// 0xFFFFFFFF + 6 * 1 is pixel 5.
TEST_F(HeronImageTest, WindowLeftOfTheFrameWraps) {
    const auto heron = camera({.x = 0xFFFFFFFF, .y = 1, .width = 2, .height = 2});
    converseFrame(numberedFrame(6, 4));
    EXPECT_EQ(fetched(*heron, 4), (Pixels{0x005, 0x100, 0x105, 0x200}));
}

TEST_F(HeronImageTest, SmallerBufferTakesTheFirstPixels) {
    for (const bool precharge : {false, true}) {
        const auto heron = camera({.width = 6, .height = 4}, precharge);
        converseFrame(Bytes(precharge ? 96 : 48));
        EXPECT_EQ(fetched(*heron, 5), Pixels(5, 0));
    }
}

TEST_F(HeronImageTest, EmptyBufferOrWindowStillMovesTheFrame) {
    for (const Window& window :
         {Window{}, Window{.width = 0, .height = 0}, Window{.width = 0, .height = 4},
          Window{.width = 4, .height = 0}}) {
        for (const bool precharge : {false, true}) {
            const auto heron = camera(window, precharge);
            converseFrame(Bytes(precharge ? 96 : 48));
            EXPECT_TRUE(heron->getImage(nullptr, 0));
        }
    }
}

struct Samples {
    unsigned first, second;
    int offset;
    unsigned short pixel;
};

TEST_F(HeronImageTest, PrechargeIsSubtractedTwiceAndClamped) {
    for (const Samples& each :
         {Samples{1000, 1010, 100, 120}, Samples{1010, 1000, 100, 80},
          Samples{0, 40000, 100, 65535}, Samples{40000, 0, 100, 0}, Samples{0, 32767, 1, 65535},
          Samples{0, 32767, 0, 65534}, Samples{1, 0, 2, 0}, Samples{1, 0, 1, 0},
          Samples{5, 5, 0, 0}, Samples{65535, 65535, -1, 0}, Samples{0, 65535, -131070, 0},
          Samples{65535, 0, 131071, 1}, Samples{0, 0, 70000, 65535}}) {
        SCOPED_TRACE(::testing::Message() << each.first << " " << each.second);
        const auto heron = camera({.width = 1, .height = 1}, true, each.offset);
        converseFrame(joined({words({each.first, each.second}), Bytes(92)}));
        EXPECT_EQ(fetched(*heron, 1), Pixels{each.pixel});
    }
}

// Second samples number the pixels, first samples are zero.
Bytes prechargeFrame() {
    Bytes bytes;
    for (unsigned pixel = 0; pixel < 24; ++pixel)
        bytes = joined({bytes, words({0, pixel})});
    return bytes;
}

TEST_F(HeronImageTest, PrechargeWindowLiesDensely) {
    const auto heron = camera({.x = 1, .y = 2, .width = 4, .height = 2}, true);
    converseFrame(prechargeFrame());
    EXPECT_EQ(fetched(*heron, 8), (Pixels{26, 28, 30, 32, 38, 40, 42, 44}));
}

TEST_F(HeronImageTest, PrechargePastTheBottomIsThePedestal) {
    const auto heron = camera({.x = 5, .y = 3, .width = 1, .height = 2}, true, 7);
    converseFrame(prechargeFrame());
    EXPECT_EQ(fetched(*heron, 2), (Pixels{53, 7}));
}

TEST_F(HeronImageTest, WaitsWhileTheLineIsHigh) {
    const auto heron = camera({.width = 1, .height = 1});
    converse({lines(kBusy),
              lines(0xFF),
              {pause(5000)},
              lines(kBusy),
              {pause(5000)},
              lines(0xEF),
              {pause(5000)},
              dummyWord(),
              parallelIn(numberedFrame(6, 4)),
              parallelTimeout(1000)});
    fetched(*heron, 1);
}

TEST_F(HeronImageTest, LineThatCannotBeReadEndsTheWait) {
    const auto heron = camera({.width = 1, .height = 1});
    converse({refused(lines(kBusy)), dummyWord(), parallelIn(numberedFrame(6, 4)),
              parallelTimeout(1000)});
    fetched(*heron, 1);
}

TEST_F(HeronImageTest, LineLostDuringTheWaitEndsIt) {
    const auto heron = camera({.width = 1, .height = 1});
    converse({lines(kBusy),
              endingIn(lines(kBusy), LIBUSB_ERROR_TIMEOUT),
              {pause(5000)},
              dummyWord(),
              parallelIn(numberedFrame(6, 4)),
              parallelTimeout(1000)});
    fetched(*heron, 1);
}

TEST_F(HeronImageTest, MissingDummyWordFailsTheImage) {
    const auto heron = camera({.width = 1, .height = 1});
    converse({lines(0), endingIn(dummyWord(), LIBUSB_ERROR_TIMEOUT), parallelTimeout(1000)});
    CapturedTrace trace;
    EXPECT_EQ(fetched(*heron, 1, false), Pixels{kUnwritten});
    EXPECT_TRUE(trace.contains("    failed to read dummy word"));
}

TEST_F(HeronImageTest, FailedFrameIsCutAllTheSame) {
    const auto heron = camera({.width = 2, .height = 1});
    converse(
        {lines(0),
         dummyWord(),
         {frame({.code = 9, .b = 48}), in(0x88, joined({words({7, 8, 9}), Bytes(43)})).moving(6),
          in(0x88, Bytes(43)).failing(LIBUSB_ERROR_PIPE)},
         parallelTimeout(1000)});
    EXPECT_EQ(fetched(*heron, 2, false), (Pixels{7, 8}));
}

TEST_F(HeronImageTest, FailedPrechargeFrameIsProcessedAllTheSame) {
    const auto heron = camera({.width = 2, .height = 1}, true, 50);
    converse(
        {lines(0),
         dummyWord(),
         {frame({.code = 9, .b = 96}), in(0x88, joined({words({1, 2, 0}), Bytes(91)})).moving(6),
          in(0x88, Bytes(91)).failing(LIBUSB_ERROR_PIPE)},
         refused(parallelTimeout(1000))});
    CapturedTrace trace;
    EXPECT_EQ(fetched(*heron, 2, false), (Pixels{52, 50}));
    EXPECT_TRUE(trace.contains("    set timeout 1000 failed"));
}

TEST_F(HeronImageTest, PrechargeIsTracedWithFrameAndWindow) {
    const auto heron = camera({.x = 2, .y = 2, .width = 4, .height = 2, .binX = 2}, true);
    CapturedTrace trace;
    heron->getImage(nullptr, 0);
    EXPECT_TRUE(
        trace.contains("    copying buffer with precharge substraction 3 x 4 to 1, 2 - 2, 2"));
}

} // namespace
} // namespace tavo::test::exposure
