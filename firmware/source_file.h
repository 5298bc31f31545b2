// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The C++ source file that carries an image into the library.
#ifndef TAVO_FIRMWARE_SOURCE_FILE_H
#define TAVO_FIRMWARE_SOURCE_FILE_H

#include "records.h"

#include <filesystem>
#include <string>

namespace tavo::firmware {

// The text of a source file that defines tavo::kBuiltInFirmware. It depends on the image alone, so
// that equal images give equal builds.
std::string sourceFile(const Image& image);

// Writes the file whole or leaves what was there. Throws std::system_error.
void writeWhole(const std::filesystem::path& path, const std::string& text);

} // namespace tavo::firmware

#endif
