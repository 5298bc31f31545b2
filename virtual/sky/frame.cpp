// SPDX-License-Identifier: LGPL-2.1-or-later
#include "frame.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tavo::virtualcamera {

namespace {

constexpr double kSeeing = 2.8;        // standard deviation of a star's image in arcseconds
constexpr double kReach = 5.0;         // standard deviations beyond which a star adds nothing
constexpr double kSkyBackground = 0.4; // electrons a second and square arcsecond
constexpr unsigned kBandRows = 64;
constexpr int kMaxDriftSteps = 64;
// Longest side of the box a star is rendered in; enough for pixels down to two micrometres.
constexpr int kBox = 64;

// Share of a Gaussian that falls on each of `count` pixels from `first` on.
void integrate(double middle, double deviation, int first, std::span<double> shares) {
    const double scale = 1.0 / (deviation * std::sqrt(2.0));
    double before = std::erf((first - middle) * scale);
    for (std::size_t i = 0; i < shares.size(); ++i) {
        const double after = std::erf((first + static_cast<int>(i) + 1 - middle) * scale);
        shares[i] = 0.5 * (after - before);
        before = after;
    }
}

struct Extent {
    int first;
    int count;
};

// The pixels from `low` up to `high` that a star at `middle` touches.
Extent touched(double middle, double deviation, int low, int high) {
    const int first = std::max(low, static_cast<int>(std::floor(middle - kReach * deviation)));
    const int last = std::min(high, static_cast<int>(std::floor(middle + kReach * deviation)) + 1);
    return {first, std::clamp(last - first, 0, kBox)};
}

} // namespace

Frame::Frame(const Sensor& sensor_, std::span<const Star> stars, std::span<const HotPixel> hot_,
             const Exposure& exposure, const Window& window)
    : sensor(sensor_), hot(hot_), area(window), darkSeconds(exposure.darkSeconds),
      readNoise(sensor_.readNoise * exposure.readNoiseFactor), noise(exposure.noiseSeed),
      light(exposure.light), sums(window.columns()) {
    sensor.gain /= exposure.amplification;
    sensor.bias += exposure.offset;
    for (const LightSpan& span : light)
        placeStars(stars, span);
}

// A drifting star is drawn as a row of images about half a pixel apart.
void Frame::placeStars(std::span<const Star> stars, const LightSpan& span) {
    const double drift = std::hypot((span.to.x - span.from.x) / sensor.arcsecondsPerColumn(),
                                    (span.to.y - span.from.y) / sensor.arcsecondsPerRow());
    const int steps = std::clamp(static_cast<int>(std::ceil(2.0 * drift)), 1, kMaxDriftSteps);
    const double marginX = kReach * kSeeing / sensor.arcsecondsPerColumn() + 1.0;
    const double marginY = kReach * kSeeing / sensor.arcsecondsPerRow() + 1.0;
    for (int step = 0; step < steps; ++step) {
        const double part = (step + 0.5) / steps;
        const Pointing shift{std::lerp(span.from.x, span.to.x, part),
                             std::lerp(span.from.y, span.to.y, part)};
        for (const Star& star : stars) {
            const Pointing place{star.place.x + shift.x, star.place.y + shift.y};
            const double column = sensor.columnOf(place);
            const double row = sensor.rowOf(place);
            if (column > area.x - marginX && column < area.x + area.width + marginX &&
                row > area.y - marginY && row < area.y + area.height + marginY)
                images.push_back(
                    {column, row, star.flux * span.seconds / steps, star.colour, span.passband});
        }
    }
}

std::span<float> Frame::bandRow(unsigned index) {
    return std::span{band}.subspan(std::size_t{index} * area.width, area.width);
}

void Frame::fillBackground(unsigned row, std::span<float> values) const {
    const unsigned inside = row >= sensor.height || area.x >= sensor.width
                                ? 0
                                : std::min(area.width, sensor.width - area.x);
    std::fill(values.begin() + inside, values.end(), 0.0F);
    const double pixelArea = sensor.arcsecondsPerColumn() * sensor.arcsecondsPerRow();
    std::array<float, 2> level{};
    for (unsigned parity = 0; parity < 2; ++parity) {
        const Passband pixel = sensor.mosaic.passbandAt(area.x + parity, row);
        double electrons = sensor.darkCurrent * darkSeconds;
        for (const LightSpan& span : light)
            electrons +=
                kSkyBackground * pixelArea * span.seconds * behind(span.passband, pixel).ofSky();
        level[parity] = static_cast<float>(electrons);
    }
    for (unsigned i = 0; i < inside; ++i)
        values[i] = level[i & 1];
}

void Frame::addHotPixels(unsigned firstRow, unsigned rows) {
    auto pixel = std::lower_bound(hot.begin(), hot.end(), firstRow,
                                  [](const HotPixel& a, unsigned row) { return a.row < row; });
    for (; pixel != hot.end() && pixel->row < firstRow + rows; ++pixel)
        if (pixel->column >= area.x && pixel->column < area.x + area.width)
            bandRow(pixel->row - firstRow)[pixel->column - area.x] +=
                pixel->current * static_cast<float>(darkSeconds);
}

void Frame::addStar(const Image& image, unsigned firstRow, unsigned rows) {
    const double deviationX = kSeeing / sensor.arcsecondsPerColumn();
    const double deviationY = kSeeing / sensor.arcsecondsPerRow();
    const Extent across = touched(image.column, deviationX, static_cast<int>(area.x),
                                  static_cast<int>(std::min(area.x + area.width, sensor.width)));
    const Extent down = touched(image.row, deviationY, static_cast<int>(firstRow),
                                static_cast<int>(std::min(firstRow + rows, sensor.height)));
    if (across.count == 0 || down.count == 0)
        return;
    std::array<double, kBox> shareX{};
    std::array<double, kBox> shareY{};
    integrate(image.column, deviationX, across.first,
              std::span{shareX}.first(static_cast<std::size_t>(across.count)));
    integrate(image.row, deviationY, down.first,
              std::span{shareY}.first(static_cast<std::size_t>(down.count)));
    for (unsigned j = 0; j < static_cast<unsigned>(down.count); ++j) {
        const unsigned row = static_cast<unsigned>(down.first) + j;
        std::array<double, 2> electrons{};
        for (unsigned parity = 0; parity < 2; ++parity)
            electrons[parity] =
                image.electrons * shareY[j] *
                behind(image.passband, sensor.mosaic.passbandAt(parity, row)).ofStar(image.colour);
        const std::span<float> values = bandRow(row - firstRow);
        for (unsigned i = 0; i < static_cast<unsigned>(across.count); ++i) {
            const unsigned column = static_cast<unsigned>(across.first) + i;
            values[column - area.x] += static_cast<float>(electrons[column & 1] * shareX[i]);
        }
    }
}

void Frame::renderBand() {
    bandStart = nextBinnedRow * area.binY;
    const unsigned wholeBins = std::max(1U, kBandRows / area.binY) * area.binY;
    bandRows = std::min(wholeBins, area.rows() * area.binY - bandStart);
    band.resize(std::size_t{bandRows} * area.width);
    const unsigned firstRow = area.y + bandStart;
    for (unsigned i = 0; i < bandRows; ++i)
        fillBackground(firstRow + i, bandRow(i));
    addHotPixels(firstRow, bandRows);
    for (const Image& image : images)
        addStar(image, firstRow, bandRows);
}

void Frame::addUp(std::span<const float> row) {
    const float fullWell = static_cast<float>(sensor.fullWell);
    if (area.binX == 1) {
        for (std::size_t i = 0; i < sums.size(); ++i)
            sums[i] += std::min(row[i], fullWell);
        return;
    }
    for (std::size_t i = 0; i < sums.size(); ++i)
        for (std::size_t j = 0; j < area.binX; ++j)
            sums[i] += std::min(row[i * area.binX + j], fullWell);
}

// Charge is added up before it is digitised, so bias and read noise come once a binned pixel.
void Frame::nextRow(std::span<std::uint16_t> target) {
    const unsigned start = nextBinnedRow * area.binY;
    if (start >= bandStart + bandRows)
        renderBand();
    std::fill(sums.begin(), sums.end(), 0.0F);
    for (unsigned i = 0; i < area.binY; ++i)
        addUp(bandRow(start - bandStart + i));
    ++nextBinnedRow;

    const float variance = static_cast<float>(readNoise * readNoise);
    const float unitsPerElectron = static_cast<float>(1.0 / sensor.gain);
    const float pedestal = static_cast<float>(sensor.bias) + 0.5F;
    for (std::size_t i = 0; i < sums.size(); ++i) {
        const float electrons = sums[i] + std::sqrt(sums[i] + variance) * noise.next();
        const float value = electrons * unitsPerElectron + pedestal;
        target[i] = static_cast<std::uint16_t>(std::clamp(value, 0.0F, 65535.0F));
    }
}

} // namespace tavo::virtualcamera
