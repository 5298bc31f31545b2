// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Gives a frame out as the bytes that a camera sends, one row at a time.
#pragma once

#include "../controller/fifo.h"
#include "../sky/frame.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace tavo::virtualcamera {

// Appends a row's pixels in a camera's form: the same number of bytes for each row.
using RowEncoder =
    std::function<void(std::span<const std::uint16_t> row, std::vector<std::uint8_t>& bytes)>;

void littleEndianRow(std::span<const std::uint16_t> row, std::vector<std::uint8_t>& bytes);
void bigEndianRow(std::span<const std::uint16_t> row, std::vector<std::uint8_t>& bytes);

class FrameBytes final : public ByteSource {
public:
    FrameBytes(Frame frame, RowEncoder encode, std::size_t bytesPerPixel = 2);

    std::uint64_t size() const override;
    void read(std::span<std::uint8_t> target) override;

private:
    Frame frame;
    RowEncoder encode;
    std::size_t bytesPerPixel;
    std::vector<std::uint16_t> row;
    std::vector<std::uint8_t> bytes;
    std::size_t used = 0;
};

} // namespace tavo::virtualcamera
