// SPDX-License-Identifier: LGPL-2.1-or-later
#include "png_file.h"

#include <stdexcept>

#include <png.h>

#include "text.h"

namespace tavocam {
namespace {

// The library's simplified interface: its full one reports errors by longjmp, past destructors.
void write(png_image& header, const GreyImage& image, void* memory, png_alloc_size_t& size) {
    constexpr int kKeepAsIs = 0;
    constexpr int kPackedRows = 0;
    if (png_image_write_to_memory(&header, memory, &size, kKeepAsIs, image.pixels.data(),
                                  kPackedRows, nullptr) == 0)
        throw std::runtime_error(text("the PNG file cannot be made: ", &header.message[0]));
}

} // namespace

std::vector<std::byte> encodePng(const GreyImage& image) {
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(image.width);
    header.height = static_cast<png_uint_32>(image.height);
    header.format = PNG_FORMAT_GRAY;
    png_alloc_size_t size = 0;
    write(header, image, nullptr, size);
    std::vector<std::byte> file(size);
    write(header, image, file.data(), size);
    file.resize(size);
    return file;
}

} // namespace tavocam
