// SPDX-License-Identifier: LGPL-2.1-or-later
#include "glint.h"

#include <cstdint>

namespace tavo::virtualcamera {

namespace {

// Hosts know the geometry by heart, so that all of the family have the same.
constexpr unsigned kWidth = 1280;
constexpr unsigned kHeight = 960;

struct Identity {
    const char* key;
    const char* name;
    const char* summary;
    std::uint16_t productId;
    std::uint32_t serial;
};

Model glint(const Identity& identity) {
    return {
        .key = identity.key,
        .name = identity.name,
        .summary = identity.summary,
        .productId = identity.productId,
        .versionMajor = 1,
        .versionMinor = 2,
        .sensor = {.width = kWidth,
                   .height = kHeight,
                   .pixelWidth = 3.75,
                   .pixelHeight = 3.75,
                   // Set for stars in fractions of a second: 4 electrons a step of 8 bits, far
                   // below what a pixel holds.
                   .gain = 4.0 / 256.0,
                   .bias = 0.0, // the brightness register sets the black level
                   .readNoise = 6.0,
                   .fullWell = 15000.0,
                   .darkCurrent = 5.0},
        .describedWidth = kWidth,
        .describedHeight = kHeight,
        .wellCapacity = 15000,
        .maxBin = 2,
        .pixelsPerSecond = 20.0e6,
        .hasShutter = false,
        .hasGuidePort = false,
        .cooler = CoolerKind::none,
        .serial = identity.serial,
    };
}

Model glintColour() {
    Model model =
        glint({"glint-c", "Tavo Glint C",
               "1280 x 960 pixels of 3.75 um behind a colour mosaic, 8 bits, up to 0.53 s", 0x2004,
               9220401});
    makeColour(model, 0);
    return model;
}

Model glintMono() {
    return glint({"glint-m", "Tavo Glint M", "1280 x 960 pixels of 3.75 um, 8 bits, up to 0.53 s",
                  0x2005, 9220502});
}

} // namespace

std::span<const Model> glintModels() {
    static const Model models[] = {glintColour(), glintMono()};
    return models;
}

} // namespace tavo::virtualcamera
