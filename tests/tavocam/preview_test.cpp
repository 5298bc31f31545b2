// SPDX-License-Identifier: LGPL-2.1-or-later
#include "preview.h"

#include <gtest/gtest.h>
#include <png.h>

#include "frame_statistics.h"
#include "png_file.h"

using namespace tavocam;

namespace {

Frame noise(std::size_t width, std::size_t height) {
    Frame frame{width, height, std::vector<std::uint16_t>(width * height)};
    std::uint32_t state = 1;
    for (std::uint16_t& pixel : frame.pixels) {
        state = state * 1664525U + 1013904223U;
        pixel = static_cast<std::uint16_t>(1000 + (state >> 24U));
    }
    return frame;
}

} // namespace

TEST(Preview, IsAtMostSixteenHundredPixelsWide) {
    EXPECT_EQ(previewFactor(1600, false), 1U);
    EXPECT_EQ(previewFactor(1601, false), 2U);
    EXPECT_EQ(previewFactor(4499, false), 3U);
    EXPECT_EQ(previewFactor(1, false), 1U);
}

TEST(Preview, MixesTheColoursOfAMosaic) {
    EXPECT_EQ(previewFactor(1392, true), 2U);
    EXPECT_EQ(previewFactor(4499, true), 4U);
}

TEST(Preview, ShrinksByAveraging) {
    const Frame frame{5, 2, {10, 20, 1, 2, 99, 30, 41, 3, 4, 99}};
    const Frame small = shrink(frame, 2);
    EXPECT_EQ(small.width, 2U);
    EXPECT_EQ(small.height, 1U);
    EXPECT_EQ(small.pixels, (std::vector<std::uint16_t>{25, 3}));
}

TEST(Preview, ShrinksSliversToOnePixel) {
    const Frame small = shrink(Frame{3, 1, {10, 20, 60}}, 4);
    EXPECT_EQ(small.pixels, (std::vector<std::uint16_t>{30}));
}

TEST(Preview, BringsTheSkyToAQuarterOfFullBrightness) {
    Frame frame = noise(100, 100);
    frame.pixels[17] = 65535;
    frame.pixels[18] = 0;
    const GreyImage image = stretch(frame);
    const std::vector<std::uint16_t> levels(image.pixels.begin(), image.pixels.end());
    EXPECT_NEAR(statisticsOf(levels).median, 255 * 0.25, 2);
    EXPECT_EQ(image.pixels[17], 255);
    EXPECT_EQ(image.pixels[18], 0);
}

TEST(Preview, SurvivesFlatFrames) {
    for (const unsigned level : {0U, 1U, 1000U, 65535U}) {
        const auto pixel = static_cast<std::uint16_t>(level);
        const GreyImage image = stretch(Frame{4, 4, std::vector<std::uint16_t>(16, pixel)});
        EXPECT_EQ(image.pixels.size(), 16U);
        EXPECT_EQ(image.pixels.front(), image.pixels.back());
    }
}

TEST(Png, CanBeReadBack) {
    const GreyImage image = makePreview(noise(1700, 30), false);
    EXPECT_EQ(image.width, 850U);
    EXPECT_EQ(image.height, 15U);
    const auto file = encodePng(image);
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_memory(&header, file.data(), file.size()), 0);
    EXPECT_EQ(header.width, 850U);
    EXPECT_EQ(header.height, 15U);
    EXPECT_EQ(header.format, static_cast<png_uint_32>(PNG_FORMAT_GRAY));
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(header));
    ASSERT_NE(png_image_finish_read(&header, nullptr, pixels.data(), 0, nullptr), 0);
    EXPECT_EQ(pixels, image.pixels);
}

TEST(Png, RefusesAnImageWithoutPixels) {
    EXPECT_THROW(encodePng(GreyImage{}), std::runtime_error);
}
