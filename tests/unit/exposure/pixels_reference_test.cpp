// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The pixel corrections work many pixels at a time; here they are held against what they mean, one
// pixel after another and in numbers that cannot overflow, for windows within and outside the
// frame.
#include "exposure/pixels.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace tavo::test::exposure {
namespace {

using Pixels = std::vector<std::uint16_t>;

constexpr int kRounds = 4000;
constexpr std::uint16_t kUnwritten = 0x7777;

template <typename Sample>
std::int64_t sampleAt(const std::vector<Sample>& samples, std::uint32_t index) {
    return index < samples.size() ? samples[index] : 0;
}

// Calls put(output position, first pixel of the window's row, column) for each pixel of the window
// that the output has room for. Where the row starts is counted in 32 bits.
template <typename Put>
void eachPixel(const BinnedWindow& window, std::uint32_t step, std::size_t room, Put put) {
    for (std::uint32_t row = 0; row < window.height; ++row) {
        const std::uint32_t start = (window.y + row) * window.frameWidth + window.x;
        for (std::uint32_t column = 0; column < window.width; ++column)
            if (const std::size_t position = std::size_t{row} * step + column; position < room)
                put(position, start, column);
    }
}

class PixelsReferenceTest : public ::testing::Test {
protected:
    std::uint32_t below(std::uint32_t limit) {
        return static_cast<std::uint32_t>(random() % limit);
    }

    // Often at the ends of its range, where clamping and overflow are.
    template <typename Sample>
    Sample sample() {
        switch (below(8)) {
        case 0: return 0;
        case 1: return static_cast<Sample>(-1);
        default: return static_cast<Sample>(random());
        }
    }

    template <typename Sample>
    std::vector<Sample> frame(std::size_t size) {
        std::vector<Sample> samples(size);
        for (Sample& each : samples)
            each = sample<Sample>();
        return samples;
    }

    // A window of a frame of up to 40 x 12 pixels: mostly about where the frame is, some of them
    // near the ends of the 32 bits in which pixels are counted.
    BinnedWindow window() {
        BinnedWindow cut{.x = below(45),
                         .y = below(14),
                         .width = below(45),
                         .height = 1 + below(14),
                         .frameWidth = below(41),
                         .frameHeight = below(13)};
        constexpr std::uint32_t kCorners[]{0, 0x40000000, 0x7FFFFFE0, 0x80000000, 0xFFFFFFE0};
        if (below(4) == 0)
            cut.x += kCorners[below(5)];
        if (below(8) == 0)
            cut.y += kCorners[below(5)];
        return cut;
    }

    Pixels output(const BinnedWindow& cut) {
        return Pixels(below(2) == 0 ? std::size_t{cut.width} * cut.height : below(600), kUnwritten);
    }

    std::int32_t pedestal() {
        constexpr std::int32_t kCorners[]{0,      -131071, -131070, -131069,    65534,      65535,
                                          196604, 196605,  196606,  0x7FFFFFFF, -0x7FFFFFFF};
        return below(2) == 0 ? kCorners[below(11)] : static_cast<std::int32_t>(below(8192)) - 4096;
    }

    std::mt19937_64 random{20};
};

TEST_F(PixelsReferenceTest, PrechargeSubtraction) {
    for (int round = 0; round < kRounds; ++round) {
        const BinnedWindow cut = window();
        // Now and then a sample more, or fewer, than the frame should have.
        const auto samples =
            frame<std::uint16_t>(2 * std::size_t{cut.framePixels()} + below(4) / 3 * below(3));
        const std::int32_t offset = pedestal();
        Pixels actual = output(cut), expected = actual;
        subtractPrecharge(samples, cut, offset, actual);
        eachPixel(cut, cut.width, expected.size(),
                  [&](std::size_t position, std::uint32_t start, std::uint32_t column) {
                      const std::uint32_t pixel = start + column;
                      const std::int64_t value =
                          std::int64_t{offset} +
                          2 * (sampleAt(samples, 2 * pixel + 1) - sampleAt(samples, 2 * pixel));
                      expected[position] = static_cast<std::uint16_t>(value < 0       ? 0
                                                                      : value > 65535 ? 65535
                                                                                      : value);
                  });
        ASSERT_EQ(actual, expected) << "round " << round;
    }
}

TEST_F(PixelsReferenceTest, HighByteExpansion) {
    for (int round = 0; round < kRounds; ++round) {
        const BinnedWindow cut = window();
        const auto samples = frame<std::uint8_t>(cut.framePixels());
        Pixels actual = output(cut), expected = actual;
        expandHighBytes(samples, cut, actual);
        eachPixel(cut, cut.width, expected.size(),
                  [&](std::size_t position, std::uint32_t start, std::uint32_t column) {
                      expected[position] =
                          static_cast<std::uint16_t>(256 * sampleAt(samples, start + column));
                  });
        ASSERT_EQ(actual, expected) << "round " << round;
    }
}

// Unlike the other corrections it does not count on from the last pixel of 32 bits to the first.
TEST_F(PixelsReferenceTest, WindowCopy) {
    for (int round = 0; round < kRounds; ++round) {
        const BinnedWindow cut = window();
        const auto samples = frame<std::uint16_t>(cut.framePixels());
        Pixels actual = output(cut), expected = actual;
        copyWindow(samples, cut, actual);
        eachPixel(cut, cut.height, expected.size(),
                  [&](std::size_t position, std::uint32_t start, std::uint32_t column) {
                      const std::uint64_t pixel = std::uint64_t{start} + column;
                      expected[position] = pixel < samples.size()
                                               ? samples[static_cast<std::size_t>(pixel)]
                                               : std::uint16_t{0};
                  });
        ASSERT_EQ(actual, expected) << "round " << round;
    }
}

TEST_F(PixelsReferenceTest, Widening) {
    for (std::size_t size = 0; size < 300; ++size) {
        Pixels actual = frame<std::uint16_t>(size);
        const auto* bytes = reinterpret_cast<const unsigned char*>(actual.data());
        const Pixels expected(bytes, bytes + size);
        widenBytes(actual);
        ASSERT_EQ(actual, expected);
    }
}

} // namespace
} // namespace tavo::test::exposure
