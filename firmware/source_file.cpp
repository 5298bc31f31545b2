// SPDX-License-Identifier: LGPL-2.1-or-later
#include "source_file.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace tavo::firmware {

std::string sourceFile(const Image& image) {
    constexpr std::size_t kBytesInRow = 16;
    const std::vector<std::uint8_t> bytes = writeRecords(image);
    std::string text = "// SPDX-License-Identifier: LGPL-2.1-or-later\n"
                       "// Written by tavo-firmware: " +
                       std::to_string(image.size()) +
                       " records.\n"
                       "namespace tavo {\n"
                       "extern const unsigned char kBuiltInFirmware[];\n"
                       "const unsigned char kBuiltInFirmware[] = {";
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        text += index % kBytesInRow == 0 ? "\n    " : " ";
        text += hexadecimal(bytes[index], 2) + ",";
    }
    return text + "\n};\n} // namespace tavo\n";
}

void writeWhole(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::path partial = path;
    partial += ".partial";
    errno = 0;
    std::ofstream file(partial, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file) {
        const int reason = errno != 0 ? errno : EIO;
        std::error_code ignored;
        std::filesystem::remove(partial, ignored);
        throw std::system_error(reason, std::generic_category());
    }
    std::error_code failure;
    std::filesystem::rename(partial, path, failure);
    if (failure) {
        std::error_code ignored;
        std::filesystem::remove(partial, ignored);
        throw std::system_error(failure);
    }
}

} // namespace tavo::firmware
