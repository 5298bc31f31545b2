// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/lumen_description.h"

#include "link/bytes.h"

namespace tavo {
namespace {

// Of each character only the low byte counts. A name that fills all its characters has no
// terminator.
LumenName readName(Reader& reader) {
    LumenName name{};
    for (unsigned i = 0; i < kLumenNameLength; ++i) {
        const auto character = static_cast<std::uint8_t>(reader.u16be());
        if (character == 0)
            break;
        name[i] = static_cast<char>(character);
    }
    return name;
}

// The first byte of a version number never counts.
unsigned readVersion(Reader& reader) {
    return reader.u16be() & 0xFF;
}

} // namespace

LumenDescription parseLumenDescription(std::span<const std::uint8_t> bytes) {
    Reader reader(bytes);
    LumenDescription description;
    description.versionMinor = readVersion(reader);
    description.versionMajor = readVersion(reader);
    description.model = readName(reader);
    description.manufacturer = readName(reader);
    description.flags = reader.u16be();
    description.pixelCountX = reader.u16be();
    description.pixelCountY = reader.u16be();
    description.pixelSizeX = reader.u16be() / 100.0;
    description.pixelSizeY = reader.u16be() / 100.0;
    description.maxBinX = reader.u16be();
    description.maxBinY = reader.u16be();
    description.wellCapacity = reader.u16be();
    return description;
}

} // namespace tavo
