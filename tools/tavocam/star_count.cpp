// SPDX-License-Identifier: LGPL-2.1-or-later
#include "star_count.h"

#include <algorithm>
#include <vector>

namespace tavocam {
namespace {

constexpr double kThresholdDeviations = 5;
constexpr std::size_t kSmallestStar = 3; // pixels

// Erases the group that a pixel belongs to and returns its size. A list in place of recursion: a
// saturated frame is one group of millions of pixels.
std::size_t eraseGroup(std::vector<bool>& bright, const Frame& frame, std::size_t start) {
    std::vector<std::size_t> pending{start};
    bright[start] = false;
    std::size_t size = 0;
    while (!pending.empty()) {
        const std::size_t index = pending.back();
        pending.pop_back();
        ++size;
        const std::size_t column = index % frame.width;
        const std::size_t row = index / frame.width;
        const std::size_t lastColumn = std::min(column + 1, frame.width - 1);
        const std::size_t lastRow = std::min(row + 1, frame.height - 1);
        for (std::size_t y = row - (row > 0 ? 1 : 0); y <= lastRow; ++y) {
            for (std::size_t x = column - (column > 0 ? 1 : 0); x <= lastColumn; ++x) {
                const std::size_t neighbour = y * frame.width + x;
                if (bright[neighbour]) {
                    bright[neighbour] = false;
                    pending.push_back(neighbour);
                }
            }
        }
    }
    return size;
}

} // namespace

std::size_t countStars(const Frame& frame, const Statistics& statistics) {
    const double threshold = statistics.median + kThresholdDeviations * statistics.deviation;
    std::vector<bool> bright(frame.pixels.size());
    for (std::size_t index = 0; index < bright.size(); ++index)
        bright[index] = frame.pixels[index] > threshold;
    std::size_t stars = 0;
    for (std::size_t index = 0; index < bright.size(); ++index) {
        if (bright[index] && eraseGroup(bright, frame, index) >= kSmallestStar)
            ++stars;
    }
    return stars;
}

} // namespace tavocam
