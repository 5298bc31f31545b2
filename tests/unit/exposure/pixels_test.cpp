// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The pixel corrections by themselves, above all with windows that no camera would grant.
#include "exposure/pixels.h"

#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace tavo::test::exposure {
namespace {

using Pixels = std::vector<std::uint16_t>;

constexpr std::uint32_t kMost = 0xFFFFFFFF;
constexpr std::uint16_t kUnwritten = 0x7777;

// 1, 2, 3, ...
template <typename Sample>
std::vector<Sample> counted(std::size_t size) {
    std::vector<Sample> samples(size);
    std::iota(samples.begin(), samples.end(), Sample{1});
    return samples;
}

// Of a frame of 4 x 3 pixels.
BinnedWindow window(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) {
    return {.x = x, .y = y, .width = width, .height = height, .frameWidth = 4, .frameHeight = 3};
}

Pixels copied(const BinnedWindow& cut, std::size_t size) {
    Pixels output(size, kUnwritten);
    copyWindow(counted<std::uint16_t>(12), cut, output);
    return output;
}

Pixels expanded(const BinnedWindow& cut, std::size_t size) {
    Pixels output(size, kUnwritten);
    expandHighBytes(counted<std::uint8_t>(12), cut, output);
    return output;
}

// First samples 1, 3, 5, ..., second ones 2, 4, 6, ...: every pixel of the frame is 2.
Pixels subtracted(const BinnedWindow& cut, std::size_t size, std::int32_t offset = 0) {
    Pixels output(size, kUnwritten);
    subtractPrecharge(counted<std::uint16_t>(24), cut, offset, output);
    return output;
}

TEST(PixelsTest, WholeFrame) {
    EXPECT_EQ(expanded(window(0, 0, 4, 3), 12)[11], 0x0C00);
    EXPECT_EQ(subtracted(window(0, 0, 4, 3), 12, 5), Pixels(12, 7));
    // Rows advance by 3.
    EXPECT_EQ(copied(window(0, 0, 4, 3), 12),
              (Pixels{1, 2, 3, 5, 6, 7, 9, 10, 11, 12, kUnwritten, kUnwritten}));
}

TEST(PixelsTest, EmptyWindowsWriteNothing) {
    for (const BinnedWindow& cut :
         {window(0, 0, 0, 0), window(0, 0, 0, kMost), window(0, 0, kMost, 0)}) {
        EXPECT_EQ(copied(cut, 3), Pixels(3, kUnwritten));
        EXPECT_EQ(expanded(cut, 3), Pixels(3, kUnwritten));
        EXPECT_EQ(subtracted(cut, 3), Pixels(3, kUnwritten));
    }
}

TEST(PixelsTest, EmptyOutput) {
    EXPECT_TRUE(copied(window(0, 0, 4, 3), 0).empty());
    EXPECT_TRUE(expanded(window(0, 0, 4, 3), 0).empty());
    EXPECT_TRUE(subtracted(window(0, 0, 4, 3), 0).empty());
}

TEST(PixelsTest, HugeWindowsFillTheOutput) {
    const BinnedWindow cut = window(2, 2, kMost, kMost);
    EXPECT_EQ(copied(cut, 4), (Pixels{11, 12, 0, 0}));
    EXPECT_EQ(expanded(cut, 4), (Pixels{0x0B00, 0x0C00, 0, 0}));
    EXPECT_EQ(subtracted(cut, 4, 9), (Pixels{11, 11, 9, 9}));
}

TEST(PixelsTest, TallWindows) {
    const BinnedWindow cut = window(0, 1, 1, kMost);
    EXPECT_EQ(copied(cut, 3), (Pixels{5, kUnwritten, kUnwritten}));
    EXPECT_EQ(expanded(cut, 3), (Pixels{0x0500, 0x0900, 0}));
    EXPECT_EQ(subtracted(cut, 3), (Pixels{2, 2, 0}));
}

TEST(PixelsTest, WideWindowsOfOneRow) {
    const BinnedWindow cut = window(3, 2, kMost, 1);
    EXPECT_EQ(copied(cut, 2), (Pixels{12, 0}));
    EXPECT_EQ(expanded(cut, 2), (Pixels{0x0C00, 0}));
    EXPECT_EQ(subtracted(cut, 2), (Pixels{2, 0}));
}

TEST(PixelsTest, FirstPixelOutsideTheFrame) {
    EXPECT_EQ(copied(window(0, 3, 2, 1), 2), Pixels(2, 0));
    EXPECT_EQ(expanded(window(kMost, 0, 1, 1), 1), Pixels{0});
    EXPECT_EQ(subtracted(window(0, 0x40000000, 1, 1), 1), Pixels{2}); // wraps to the first pixel
}

TEST(PixelsTest, FrameWithoutPixels) {
    const BinnedWindow cut{
        .x = 0, .y = 0, .width = 2, .height = 2, .frameWidth = 0, .frameHeight = 0};
    Pixels output(4, kUnwritten);
    copyWindow({}, cut, output);
    EXPECT_EQ(output, Pixels(4, 0));
    expandHighBytes({}, cut, output);
    EXPECT_EQ(output, Pixels(4, 0));
    subtractPrecharge({}, cut, 3, output);
    EXPECT_EQ(output, Pixels(4, 3));
}

TEST(PixelsTest, PedestalAtItsLimits) {
    EXPECT_EQ(subtracted(window(0, 0, 1, 1), 1, -2), Pixels{0});
    EXPECT_EQ(subtracted(window(0, 0, 1, 1), 1, -1), Pixels{1});
    EXPECT_EQ(subtracted(window(0, 0, 1, 1), 1, 65533), Pixels{65535});
    EXPECT_EQ(subtracted(window(0, 0, 1, 1), 1, 65534), Pixels{65535});
    EXPECT_EQ(subtracted(window(0, 0, 1, 1), 1, -2147483647), Pixels{0});
}

TEST(PixelsTest, WidenedBytes) {
    Pixels pixels{0x0201, 0xFF80, kUnwritten, kUnwritten};
    widenBytes(pixels);
    EXPECT_EQ(pixels, (Pixels{0x01, 0x02, 0x80, 0xFF}));
    Pixels odd{0x0201, 0xFF80, kUnwritten};
    widenBytes(odd);
    EXPECT_EQ(odd, (Pixels{0x01, 0x02, 0x80}));
    widenBytes({});
}

TEST(PixelsTest, DroppedLeadingPixels) {
    for (std::size_t size = 0; size < 6; ++size) {
        Pixels pixels = counted<std::uint16_t>(size);
        dropLeadingPixels(pixels);
        for (std::size_t i = 0; i + 2 < size; ++i)
            EXPECT_EQ(pixels[i], i + 3);
    }
}

TEST(PixelsTest, DroppedBeforeOrAfterWidening) {
    for (std::size_t size = 0; size < 50; ++size) {
        Pixels before = counted<std::uint16_t>(size), after = before;
        dropLeadingPixels({reinterpret_cast<std::uint8_t*>(before.data()), size});
        widenBytes(before);
        widenBytes(after);
        dropLeadingPixels(after);
        EXPECT_EQ(before, after) << size << " pixels";
    }
}

} // namespace
} // namespace tavo::test::exposure
