// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The pixel corrections against a plain reference, for windows in and out of the frame and outputs
// of any size.
#include "input.h"

#include "exposure/pixels.h"

using tavo::BinnedWindow;
using tavo::fuzz::Input;
using tavo::fuzz::require;

namespace {

using Pixels = std::vector<std::uint16_t>;

template <typename Sample>
std::int64_t at(const std::vector<Sample>& samples, std::uint64_t index) {
    return index < samples.size() ? samples[index] : 0;
}

// Pixel (column, row) of the window stands at row * step + column; `value` takes its row's index in
// the frame, which wraps like the library's, and its column. A position that rows share keeps the
// last.
template <typename Value>
Pixels reference(Pixels output, const BinnedWindow& window, std::uint64_t step, Value value) {
    for (std::uint32_t row = 0; row < window.height && row * step < output.size(); ++row) {
        const std::uint32_t source = window.firstPixel() + row * window.frameWidth;
        for (std::uint32_t column = 0; column < window.width; ++column) {
            const std::uint64_t position = row * step + column;
            if (position >= output.size())
                break;
            output[position] = static_cast<std::uint16_t>(value(source, column));
        }
        if (window.width == 0)
            break;
    }
    return output;
}

// Sizes around which mistakes gather: small ones, and a few that wrap.
std::uint32_t length(Input& input) {
    const std::uint8_t byte = input.u8();
    return byte < 0xF0 ? byte % 40 : input.u32();
}

template <typename Sample>
std::vector<Sample> samples(Input& input, std::size_t count) {
    std::vector<Sample> all(count);
    std::uint32_t state = input.u32();
    for (Sample& sample : all) {
        state = state * 1664525 + 1013904223;
        sample = static_cast<Sample>((state & 0x700) == 0 ? 0xFFFF : state >> 16);
    }
    return all;
}

void precharge(Input& input, const BinnedWindow& window, Pixels output) {
    const auto given = samples<std::uint16_t>(input, input.u16() % 4000);
    const auto offset = static_cast<std::int32_t>(input.u32());
    const auto value = [&](std::uint32_t source, std::uint32_t column) {
        const std::uint32_t index = 2 * (source + column);
        return std::clamp<std::int64_t>(offset + 2 * (at(given, index + 1) - at(given, index)), 0,
                                        0xFFFF);
    };
    const Pixels expected = reference(output, window, window.width, value);
    tavo::subtractPrecharge(given, window, offset, output);
    require(output == expected, "subtracted precharge");
}

// Rows lie apart by the window's height. A row that starts in the frame does not wrap.
void copy(Input& input, const BinnedWindow& window, Pixels output) {
    const auto given = samples<std::uint16_t>(input, input.u16() % 4000);
    const auto value = [&](std::uint32_t source, std::uint32_t column) {
        return at(given, std::uint64_t{source} + column);
    };
    const Pixels expected = reference(output, window, window.height, value);
    tavo::copyWindow(given, window, output);
    require(output == expected, "copied window");
}

void expand(Input& input, const BinnedWindow& window, Pixels output) {
    const auto given = samples<std::uint8_t>(input, input.u16() % 4000);
    const auto value = [&](std::uint32_t source, std::uint32_t column) {
        return at(given, source + column) << 8;
    };
    const Pixels expected = reference(output, window, window.width, value);
    tavo::expandHighBytes(given, window, output);
    require(output == expected, "expanded bytes");
}

void widen(Input&, const BinnedWindow&, Pixels output) {
    const Pixels before = output;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(before.data());
    tavo::widenBytes(output);
    for (std::size_t i = 0; i < output.size(); ++i)
        require(output[i] == bytes[i], "widened byte");
}

template <typename Sample>
void dropped(std::vector<Sample> given) {
    std::vector<Sample> expected = given;
    if (expected.size() > 2)
        std::copy(given.begin() + 2, given.end(), expected.begin());
    tavo::dropLeadingPixels(std::span(given));
    require(given == expected, "moved pixels");
}

void drop(Input&, const BinnedWindow&, Pixels output) {
    dropped(output);
    // 8-bit pixels lie at the output's start, and may be dropped before or after they are widened.
    auto* const bytes = reinterpret_cast<std::uint8_t*>(output.data());
    dropped(std::vector<std::uint8_t>(bytes, bytes + output.size()));
    Pixels widened = output;
    tavo::widenBytes(widened);
    tavo::dropLeadingPixels(widened);
    tavo::dropLeadingPixels(std::span(bytes, output.size()));
    tavo::widenBytes(output);
    require(output == widened, "pixels that were moved as bytes");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    constexpr void (*kCorrections[])(Input&, const BinnedWindow&, Pixels) = {precharge, copy,
                                                                             expand, widen, drop};
    const auto correct = kCorrections[input.below(std::size(kCorrections))];
    const BinnedWindow window{length(input), length(input), length(input),
                              length(input), length(input), length(input)};
    correct(input, window, samples<std::uint16_t>(input, input.u16() % 2000));
    return 0;
}
