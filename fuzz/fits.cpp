// SPDX-License-Identifier: LGPL-2.1-or-later
//
// FITS files of frames and descriptions of any kind: refused, or made of whole blocks with a header
// of plain cards, from which the pixels and the object's name can be read again.
#include "input.h"

#include "fits_file.h"

#include <stdexcept>

using tavo::fuzz::Input;
using tavo::fuzz::require;

namespace {

constexpr std::size_t kBlock = 2880, kCard = 80;

std::optional<double> maybeNumber(Input& input) {
    return input.flag() ? std::optional(input.number<double>()) : std::nullopt;
}

tavocam::FrameDescription description(Input& input) {
    tavocam::FrameDescription says;
    // Any second of the years 1970 to 2106.
    says.start = std::chrono::system_clock::time_point(std::chrono::seconds(input.u32()));
    says.exposure = input.number<double>();
    says.window = {input.u32(), input.u32(), input.u32(), input.u32()};
    says.binning = {1u + input.u8(), 1u + input.u8()};
    says.pixelSizeX = input.u16() / 100.0;
    says.pixelSizeY = input.u16() / 100.0;
    says.chipTemperature = maybeNumber(input);
    says.targetTemperature = maybeNumber(input);
    if (input.flag())
        says.filter = input.u32();
    if (input.flag())
        says.bayerPattern = input.text();
    if (input.flag())
        says.object = input.text();
    says.instrument = input.text();
    says.dark = input.flag();
    for (unsigned count = input.below(4); count > 0; --count)
        says.comments.push_back(input.text());
    return says;
}

tavocam::Frame frame(Input& input) {
    tavocam::Frame made{1u + input.below(20), 1u + input.below(20), {}};
    made.pixels.resize(made.width * made.height);
    for (std::uint16_t& pixel : made.pixels)
        pixel = input.u16();
    return made;
}

// What the command line lets through.
bool isPlain(const std::string& name) {
    const auto plain = [](char c) { return c >= ' ' && c <= '~'; };
    const auto quotes = std::count(name.begin(), name.end(), '\'');
    return !name.empty() && std::all_of(name.begin(), name.end(), plain) &&
           name.size() + static_cast<std::size_t>(quotes) <= 68;
}

// The value of a card that holds a string: quotes stand twice, blanks at the end do not count.
std::string stringOf(std::string_view card) {
    std::string value;
    for (std::size_t i = 11; i < card.size(); ++i) {
        if (card[i] == '\'' && (++i == card.size() || card[i] != '\''))
            break;
        value += card[i];
    }
    return value.substr(0, value.find_last_not_of(' ') + 1);
}

// Gives where the pixels begin.
std::size_t checkHeader(std::string_view file, const tavocam::FrameDescription& says) {
    for (std::size_t at = 0; at + kCard <= file.size(); at += kCard) {
        const std::string_view card = file.substr(at, kCard);
        require(std::all_of(card.begin(), card.end(), [](char c) { return c >= ' ' && c <= '~'; }),
                "cards of printable characters");
        if (card.starts_with("OBJECT  = '") && says.object && isPlain(*says.object))
            require(stringOf(card) ==
                        says.object->substr(0, says.object->find_last_not_of(' ') + 1),
                    "the object's name");
        if (card.starts_with("END     "))
            return (at / kBlock + 1) * kBlock;
    }
    tavo::fuzz::fail("a header with an end");
}

void check(const std::vector<std::byte>& bytes, const tavocam::Frame& frame,
           const tavocam::FrameDescription& says) {
    const std::string_view file(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    require(file.size() % kBlock == 0, "whole blocks");
    const std::size_t begin = checkHeader(file, says);
    require(begin + 2 * frame.pixels.size() <= file.size(), "room for the pixels");
    for (std::size_t i = 0; i < frame.pixels.size(); ++i) {
        const auto high = static_cast<unsigned char>(file[begin + 2 * i]);
        const auto low = static_cast<unsigned char>(file[begin + 2 * i + 1]);
        require((high << 8 | low) == (frame.pixels[i] ^ 0x8000), "a pixel");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto says = description(input);
    const auto pixels = frame(input);
    try {
        check(tavocam::encodeFits(pixels, says), pixels, says);
    } catch (const std::runtime_error& error) {
        require(error.what()[0] != '\0', "a reason");
    }
    return 0;
}
