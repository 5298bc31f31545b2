// SPDX-License-Identifier: LGPL-2.1-or-later
#include "field_search.h"

#include "photometry.h"

#include <algorithm>
#include <cmath>

namespace acceptance {

namespace {

constexpr unsigned kLeastStars = 4;

// Light in the 3 x 3 pixels around a place.
double lightAt(const Frame& frame, const Background& sky, unsigned x, unsigned y) {
    double light = 0;
    for (unsigned j = y - 1; j <= y + 1; ++j)
        for (unsigned i = x - 1; i <= x + 1; ++i)
            light += frame.at(i, j) - sky.at(i, j);
    return light;
}

struct Score {
    unsigned met = 0, inside = 0;
};

// How many stars meet a good part of their light when the field is moved by whole pixels.
Score scoreOf(const Frame& frame, const Background& sky, const std::vector<ExpectedStar>& stars,
              double shiftX, double shiftY, double brightness) {
    constexpr double kGoodPart = 0.3;
    Score score;
    for (const ExpectedStar& star : stars) {
        const double x = std::round(star.x + shiftX), y = std::round(star.y + shiftY);
        if (x < 1 || y < 1 || x + 1 >= frame.width || y + 1 >= frame.height)
            continue;
        ++score.inside;
        const double light =
            lightAt(frame, sky, static_cast<unsigned>(x), static_cast<unsigned>(y));
        score.met += light > kGoodPart * brightness * star.electrons;
    }
    return score;
}

std::vector<ExpectedStar> brightStars(const Window& window, const Background& sky,
                                      const FieldSearch& search) {
    // Wider than the frame: stars move into it.
    Window wide = window;
    const unsigned marginX = search.farthest * window.binX, marginY = search.farthest * window.binY;
    wide.x -= std::min(wide.x, marginX);
    wide.y -= std::min(wide.y, marginY);
    wide.width += 2 * marginX;
    wide.height += 2 * marginY;
    auto stars = search.stars.in(wide, search.around, search.filter);
    const double left = (window.x - wide.x) / window.binX, top = (window.y - wide.y) / window.binY;
    const double least = 30 * sky.noise / search.brightness;
    std::erase_if(stars, [&](const ExpectedStar& star) { return star.electrons < least; });
    for (ExpectedStar& star : stars) {
        star.x -= left;
        star.y -= top;
    }
    return stars;
}

} // namespace

std::optional<PixelOffset> findShift(const Frame& frame, const FieldSearch& search) {
    const Background sky = background(frame);
    if (search.brightness <= 0)
        return std::nullopt;
    const auto stars = brightStars(frame.window, sky, search);
    const int reach = static_cast<int>(search.farthest);
    Score best;
    PixelOffset found;
    for (int y = -reach; y <= reach; ++y)
        for (int x = -reach; x <= reach; ++x) {
            const Score score = scoreOf(frame, sky, stars, x, y, search.brightness);
            if (score.met > best.met) {
                best = score;
                found = {static_cast<double>(x), static_cast<double>(y)};
            }
        }
    if (best.met < kLeastStars || 2 * best.met < best.inside)
        return std::nullopt;
    const PixelOffset coarse{search.around.x + found.x * frame.window.binX,
                             search.around.y + found.y * frame.window.binY};
    const auto fine = compare(frame, search.stars.in(frame.window, coarse, search.filter),
                              search.stars.reach(frame.window), search.unitsPerElectron);
    return PixelOffset{coarse.x + fine.offset.x * frame.window.binX,
                       coarse.y + fine.offset.y * frame.window.binY};
}

} // namespace acceptance
