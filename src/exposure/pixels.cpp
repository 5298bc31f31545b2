// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/pixels.h"

#include <algorithm>
#include <cstring>

namespace tavo {
namespace {

template <typename Sample>
std::uint32_t at(std::span<const Sample> samples, std::uint32_t index) {
    return index < samples.size() ? samples[index] : 0u;
}

std::uint16_t clampToPixel(std::int64_t value) {
    return static_cast<std::uint16_t>(std::clamp<std::int64_t>(value, 0, 0xFFFF));
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

} // namespace

void subtractPrecharge(std::span<const std::uint16_t> samples, const BinnedWindow& window,
                       std::int32_t offset, std::span<std::uint16_t> output) {
    forEachRow(window, window.width, output, [&](std::uint32_t source, auto row) {
        std::uint32_t index = 2 * source;
        for (std::uint16_t& pixel : row) {
            const std::int64_t first = at(samples, index), second = at(samples, index + 1);
            pixel = clampToPixel(offset + 2 * (second - first));
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
        for (std::uint16_t& pixel : row)
            pixel = static_cast<std::uint16_t>(at(frame, source++) << 8);
    });
}

// From the end, so that no byte is overwritten before it is used.
void widenBytes(std::span<std::uint16_t> output) {
    auto* bytes = reinterpret_cast<const unsigned char*>(output.data());
    for (std::size_t i = output.size(); i-- > 0;)
        output[i] = bytes[i];
}

void dropLeadingPixels(std::span<std::uint16_t> output) {
    constexpr std::size_t kLeading = 2;
    if (output.size() > kLeading)
        std::memmove(output.data(), output.data() + kLeading,
                     (output.size() - kLeading) * sizeof output[0]);
}

} // namespace tavo
