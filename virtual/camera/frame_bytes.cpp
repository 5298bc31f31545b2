// SPDX-License-Identifier: LGPL-2.1-or-later
#include "frame_bytes.h"

#include "../controller/bytes.h"

#include <algorithm>
#include <utility>

namespace tavo::virtualcamera {

void littleEndianRow(std::span<const std::uint16_t> row, std::vector<std::uint8_t>& bytes) {
    for (const std::uint16_t value : row)
        appendU16le(bytes, value);
}

void bigEndianRow(std::span<const std::uint16_t> row, std::vector<std::uint8_t>& bytes) {
    for (const std::uint16_t value : row) {
        bytes.push_back(highByte(value));
        bytes.push_back(lowByte(value));
    }
}

FrameBytes::FrameBytes(Frame frame_, RowEncoder encode_, std::size_t bytesPerPixel_)
    : frame(std::move(frame_)), encode(std::move(encode_)), bytesPerPixel(bytesPerPixel_),
      row(frame.window().columns()) {}

std::uint64_t FrameBytes::size() const {
    return std::uint64_t{bytesPerPixel} * frame.window().columns() * frame.window().rows();
}

void FrameBytes::read(std::span<std::uint8_t> target) {
    while (!target.empty()) {
        if (used == bytes.size()) {
            frame.nextRow(row);
            bytes.clear();
            encode(row, bytes);
            used = 0;
        }
        const std::size_t count = std::min(target.size(), bytes.size() - used);
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(used), count, target.begin());
        target = target.subspan(count);
        used += count;
    }
}

} // namespace tavo::virtualcamera
