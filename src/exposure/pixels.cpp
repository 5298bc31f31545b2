// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/pixels.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tavo {
namespace {

// Rows are worked in blocks that fill a vector register of the smallest processors and overlap
// nothing, so that compilers keep them in registers even where they weigh size against speed.
// Longer blocks are slower: they go through the stack.
constexpr std::size_t kBlock = 8;
using Block = std::array<std::uint16_t, kBlock>;

template <typename Sample>
Sample at(std::span<const Sample> samples, std::uint32_t index) {
    return index < samples.size() ? samples[index] : Sample{0};
}

// The part of a window's row that lies inside both the frame and the output.
std::size_t usable(std::size_t width, std::size_t available, std::size_t position) {
    return position < available ? std::min(width, available - position) : 0;
}

// Rows of a window and where they go: calls row(source index, output index, pixels that fit).
template <typename Row>
void forEachRow(const BinnedWindow& window, std::uint32_t step, std::span<std::uint16_t> output,
                Row row) {
    if (window.width == 0)
        return;
    std::uint32_t source = window.firstPixel();
    std::uint64_t position = 0;
    for (std::uint32_t i = 0; i < window.height && position < output.size(); ++i) {
        const auto start = static_cast<std::size_t>(position);
        row(source, output.subspan(start, usable(window.width, output.size(), start)));
        source += window.frameWidth;
        position += step;
    }
}

// Twice the largest difference of two samples, and the pedestals beyond which a pixel is 0 or 65535
// whatever its samples are. Held to these, no sum leaves 32 bits.
constexpr std::int32_t kMostDifference = 2 * 0xFFFF;
constexpr std::int32_t kLeastPedestal = -kMostDifference;
constexpr std::int32_t kMostPedestal = kMostDifference + 0xFFFF;

std::uint16_t subtracted(std::int32_t pedestal, std::int32_t first, std::int32_t second) {
    return static_cast<std::uint16_t>(std::clamp(pedestal + 2 * (second - first), 0, 0xFFFF));
}

// By hand on x86: compilers find neither the multiplication that adds pairs nor the narrowing that
// clamps, and take twice as long. Both are signed, so samples and result are moved by 0x8000.
#if defined(__SSE2__)
Block subtractedBlock(const std::uint16_t* samples, std::int32_t pedestal) {
    const __m128i sign = _mm_set1_epi16(-0x8000);
    const __m128i weights = _mm_set1_epi32(0x0002FFFE); // second: 2, first: -2
    const __m128i offset = _mm_set1_epi32(pedestal - 0x8000);
    const auto four = [&](const std::uint16_t* pairs) {
        const __m128i moved =
            _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pairs)), sign);
        return _mm_add_epi32(_mm_madd_epi16(moved, weights), offset);
    };
    const __m128i clamped = _mm_packs_epi32(four(samples), four(samples + kBlock));
    return std::bit_cast<Block>(_mm_xor_si128(clamped, sign));
}
#else
Block subtractedBlock(const std::uint16_t* samples, std::int32_t pedestal) {
    Block block;
    for (std::size_t i = 0; i < kBlock; ++i)
        block[i] = subtracted(pedestal, samples[2 * i], samples[2 * i + 1]);
    return block;
}
#endif

std::uint16_t highByte(std::uint32_t sample) {
    return static_cast<std::uint16_t>(sample << 8);
}

// The samples must hold the whole of the row.
void subtractRow(const std::uint16_t* samples, std::int32_t pedestal,
                 std::span<std::uint16_t> row) {
    std::size_t done = 0;
    for (; row.size() - done >= kBlock; done += kBlock) {
        const Block block = subtractedBlock(samples + 2 * done, pedestal);
        std::memcpy(&row[done], block.data(), sizeof block);
    }
    for (; done < row.size(); ++done)
        row[done] = subtracted(pedestal, samples[2 * done], samples[2 * done + 1]);
}

void expandRow(const std::uint8_t* samples, std::span<std::uint16_t> row) {
    std::size_t done = 0;
    for (; row.size() - done >= kBlock; done += kBlock) {
        Block block;
        for (std::size_t i = 0; i < kBlock; ++i)
            block[i] = highByte(samples[done + i]);
        std::memcpy(&row[done], block.data(), sizeof block);
    }
    for (; done < row.size(); ++done)
        row[done] = highByte(samples[done]);
}

template <typename Sample>
void moveDown(std::span<Sample> pixels) {
    constexpr std::size_t kLeading = 2;
    if (pixels.size() > kLeading)
        std::memmove(pixels.data(), pixels.data() + kLeading,
                     (pixels.size() - kLeading) * sizeof(Sample));
}

} // namespace

void subtractPrecharge(std::span<const std::uint16_t> samples, const BinnedWindow& window,
                       std::int32_t offset, std::span<std::uint16_t> output) {
    const std::int32_t pedestal = std::clamp(offset, kLeastPedestal, kMostPedestal);
    forEachRow(window, window.width, output, [&](std::uint32_t source, auto row) {
        std::uint32_t index = 2 * source;
        const std::size_t inside = usable(row.size(), samples.size() / 2, index / 2);
        subtractRow(samples.data() + (inside ? index : 0), pedestal, row.first(inside));
        index += 2 * static_cast<std::uint32_t>(inside);
        for (std::uint16_t& pixel : row.subspan(inside)) {
            pixel = subtracted(pedestal, at(samples, index), at(samples, index + 1));
            index += 2;
        }
    });
}

void copyWindow(std::span<const std::uint16_t> frame, const BinnedWindow& window,
                std::span<std::uint16_t> output) {
    forEachRow(window, window.height, output, [&](std::uint32_t source, auto row) {
        const std::size_t inside = usable(row.size(), frame.size(), source);
        std::copy_n(frame.begin() + static_cast<std::ptrdiff_t>(inside ? source : 0), inside,
                    row.begin());
        std::fill(row.begin() + static_cast<std::ptrdiff_t>(inside), row.end(), std::uint16_t{0});
    });
}

void expandHighBytes(std::span<const std::uint8_t> frame, const BinnedWindow& window,
                     std::span<std::uint16_t> output) {
    forEachRow(window, window.width, output, [&](std::uint32_t source, auto row) {
        const std::size_t inside = usable(row.size(), frame.size(), source);
        expandRow(frame.data() + (inside ? source : 0), row.first(inside));
        source += static_cast<std::uint32_t>(inside);
        for (std::uint16_t& pixel : row.subspan(inside))
            pixel = highByte(at(frame, source++));
    });
}

// From the end, so that no byte is overwritten before it is used.
void widenBytes(std::span<std::uint16_t> output) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(output.data());
    std::size_t left = output.size();
    for (; left % kBlock != 0; --left)
        output[left - 1] = bytes[left - 1];
    while (left > 0) {
        left -= kBlock;
        Block block;
        for (std::size_t i = 0; i < kBlock; ++i)
            block[i] = bytes[left + i];
        std::memcpy(&output[left], block.data(), sizeof block);
    }
}

void dropLeadingPixels(std::span<std::uint16_t> pixels) {
    moveDown(pixels);
}

void dropLeadingPixels(std::span<std::uint8_t> pixels) {
    moveDown(pixels);
}

} // namespace tavo
