// SPDX-License-Identifier: LGPL-2.1-or-later
#include "star_field.h"

#include "random.h"

#include <array>
#include <cmath>

namespace tavo::virtualcamera {

namespace {

constexpr std::size_t kStarCount = 6000;
constexpr double kBrightest = 5.0; // magnitudes
constexpr double kFaintest = 15.0;
// The count of stars grows by this power of ten a magnitude, as in the real sky at these depths.
constexpr double kGrowth = 0.35;
constexpr double kReferenceMagnitude = 6.0;
constexpr double kReferenceFlux = 300000.0;

constexpr std::array<Filter, 10> kFilters{{
    {"clear", {1.00, 1.00, 1.00}},
    {"luminance", {0.90, 0.92, 0.90}},
    {"red", {0.00, 0.02, 0.90}},
    {"green", {0.02, 0.90, 0.02}},
    {"blue", {0.90, 0.03, 0.00}},
    {"hydrogen alpha", {0.00, 0.00, 0.06}},
    {"oxygen III", {0.02, 0.03, 0.00}},
    {"sulphur II", {0.00, 0.00, 0.05}},
    {"light pollution", {0.70, 0.45, 0.80}},
    {"opaque", {0.00, 0.00, 0.00}},
}};

constexpr Passband kRedPixel{0.03, 0.10, 0.80};
constexpr Passband kGreenPixel{0.10, 0.85, 0.10};
constexpr Passband kBluePixel{0.75, 0.12, 0.02};

} // namespace

StarField::StarField(std::uint64_t seed) {
    Random random{seed};
    const double few = std::pow(10.0, kGrowth * kBrightest);
    const double many = std::pow(10.0, kGrowth * kFaintest);
    catalogue.reserve(kStarCount);
    for (std::size_t i = 0; i < kStarCount; ++i) {
        const double x = (random.uniform() - 0.5) * kExtent;
        const double y = (random.uniform() - 0.5) * kExtent;
        const double magnitude = std::log10(few + random.uniform() * (many - few)) / kGrowth;
        const double flux =
            kReferenceFlux * std::pow(10.0, -0.4 * (magnitude - kReferenceMagnitude));
        catalogue.push_back({{x, y}, flux, 2.0 * random.uniform() - 1.0});
    }
}

double Passband::ofStar(double colour) const {
    constexpr double kSlope = 0.5; // how far the colour tilts the spectrum
    return (blue * (1.0 - kSlope * colour) + green + red * (1.0 + kSlope * colour)) / 3.0;
}

std::span<const Filter> filters() {
    return kFilters;
}

Passband Mosaic::passbandAt(unsigned column, unsigned row) const {
    if (!coloured)
        return {1.0, 1.0, 1.0};
    const bool redColumnHere = ((column ^ redColumn) & 1) == 0;
    const bool redRowHere = ((row ^ redRow) & 1) == 0;
    if (redColumnHere && redRowHere)
        return kRedPixel;
    return redColumnHere == redRowHere ? kBluePixel : kGreenPixel;
}

Passband behind(const Passband& front, const Passband& back) {
    return {front.blue * back.blue, front.green * back.green, front.red * back.red};
}

} // namespace tavo::virtualcamera
