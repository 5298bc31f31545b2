// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/heron_description.h"

#include "link/bytes.h"

#include <algorithm>

namespace tavo {
namespace {

// Takes a zero-terminated string off the front of the bytes.
std::string_view takeString(std::span<const std::uint8_t>& bytes) {
    const auto end = std::find(bytes.begin(), bytes.end(), std::uint8_t{0});
    const auto length = static_cast<std::size_t>(end - bytes.begin());
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), length);
    bytes = bytes.subspan(std::min(length + 1, bytes.size()));
    return text;
}

} // namespace

HeronDescription parseHeronDescription(std::span<const std::uint8_t> bytes) {
    HeronDescription description;
    Reader version(bytes);
    description.versionMinor = version.u8();
    description.versionMajor = version.u8();

    auto rest = bytes.subspan(std::min<std::size_t>(2, bytes.size()));
    description.model = takeString(rest);
    description.manufacturer = takeString(rest);

    Reader fields(rest);
    description.flags = fields.u8();
    description.pixelCountX = static_cast<std::int16_t>(fields.u16le());
    description.pixelCountY = static_cast<std::int16_t>(fields.u16le());
    description.pixelSizeX = fields.u8() / 10.0;
    description.pixelSizeY = fields.u8() / 10.0;
    description.maxBinX = fields.u8();
    description.maxBinY = fields.u8();
    description.prechargeOffset = static_cast<std::int8_t>(fields.u8()) * 32;
    return description;
}

} // namespace tavo
