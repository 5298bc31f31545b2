// SPDX-License-Identifier: LGPL-2.1-or-later
#include "preview.h"

#include <algorithm>
#include <cmath>

#include "frame_statistics.h"

namespace tavocam {
namespace {

constexpr double kFullScale = 65535;
constexpr double kBackground = 0.25;       // of full brightness, where the median lands
constexpr double kShadowDeviations = -2.8; // from the median, what becomes black

// The midtones transfer function: 0, midtone and 1 become 0, one half and 1.
double midtones(double midtone, double value) {
    if (value <= 0)
        return 0;
    if (value >= 1)
        return 1;
    return (midtone - 1) * value / ((2 * midtone - 1) * value - midtone);
}

std::uint16_t blockMean(const Frame& frame, std::size_t left, std::size_t top, std::size_t factor) {
    const std::size_t right = std::min(left + factor, frame.width);
    const std::size_t bottom = std::min(top + factor, frame.height);
    std::uint64_t sum = 0;
    for (std::size_t y = top; y < bottom; ++y) {
        for (std::size_t x = left; x < right; ++x)
            sum += frame.pixels[y * frame.width + x];
    }
    const std::uint64_t count = (right - left) * (bottom - top);
    return static_cast<std::uint16_t>((sum + count / 2) / count);
}

} // namespace

std::size_t previewFactor(std::size_t width, bool mosaic) {
    const std::size_t factor =
        std::max<std::size_t>((width + kLargestPreviewWidth - 1) / kLargestPreviewWidth, 1);
    return mosaic ? factor + factor % 2 : factor;
}

Frame shrink(const Frame& frame, std::size_t factor) {
    Frame small;
    if (frame.pixels.empty())
        return small;
    small.width = std::max<std::size_t>(frame.width / factor, 1);
    small.height = std::max<std::size_t>(frame.height / factor, 1);
    small.pixels.reserve(small.width * small.height);
    for (std::size_t y = 0; y < small.height; ++y) {
        for (std::size_t x = 0; x < small.width; ++x)
            small.pixels.push_back(blockMean(frame, x * factor, y * factor, factor));
    }
    return small;
}

GreyImage stretch(const Frame& frame) {
    const Statistics statistics = statisticsOf(frame.pixels);
    const double median = statistics.median / kFullScale;
    const double deviation = statistics.deviation / kFullScale;
    const double black = std::clamp(median + kShadowDeviations * deviation, 0.0, 1.0);
    const double range = std::max(1 - black, 1 / kFullScale);
    // The midtone that takes the median to the background level.
    const double midtone = midtones(kBackground, (median - black) / range);
    std::vector<std::uint8_t> table(65536);
    for (std::size_t value = 0; value < table.size(); ++value) {
        const double position = (static_cast<double>(value) / kFullScale - black) / range;
        table[value] = static_cast<std::uint8_t>(std::lround(255 * midtones(midtone, position)));
    }
    GreyImage image{frame.width, frame.height, {}};
    image.pixels.reserve(frame.pixels.size());
    for (const std::uint16_t pixel : frame.pixels)
        image.pixels.push_back(table[pixel]);
    return image;
}

GreyImage makePreview(const Frame& frame, bool mosaic) {
    return stretch(shrink(frame, previewFactor(frame.width, mosaic)));
}

} // namespace tavocam
