// SPDX-License-Identifier: LGPL-2.1-or-later
#include "gain_stage.h"

#include "../controller/bytes.h"

#include <array>

namespace tavo::virtualcamera {

namespace {

constexpr unsigned kMarker = 88;    // opens either half of a valid block
constexpr unsigned kWriteWord = 25; // opens a block that is to be written
constexpr std::uint8_t kNotReady = 1;
// What the chip's other registers hold; the host carries it back as it is.
constexpr std::array<unsigned, 2> kConfiguration{0x00C8, 0x00D8};

constexpr unsigned kGreatestGain = 63;
constexpr unsigned kGreatestRawOffset = 512;
constexpr unsigned kFirstNegative = 256;
constexpr double kUnitsAStep = 8.0; // digital units

// The chip's amplifier: not linear, 1 to 5.8.
double amplificationOf(unsigned gain) {
    constexpr double kGreatest = 5.8;
    return kGreatest / (1.0 + (kGreatest - 1.0) * (kGreatestGain - gain) / kGreatestGain);
}

double stepsOf(unsigned rawOffset) {
    return rawOffset < kFirstNegative ? double{1} * rawOffset
                                      : -double{1} * (rawOffset - kFirstNegative);
}

constexpr std::size_t kHalfBytes = 8;

} // namespace

void GainStage::reset() {
    *this = GainStage{};
}

std::vector<std::uint8_t> GainStage::block() {
    std::vector<std::uint8_t> bytes;
    if (readsToCome != 0 && --readsToCome != 0) {
        bytes.resize(kBlockBytes);
        bytes[0] = kNotReady;
        return bytes;
    }
    for (std::size_t i = 0; i < halves.size(); ++i) {
        appendU16be(bytes, kMarker);
        appendU16be(bytes, kConfiguration[i]);
        appendU16be(bytes, halves[i].gain);
        appendU16be(bytes, halves[i].rawOffset);
    }
    return bytes;
}

// REQUIRES: kWriteBytes bytes.
std::string GainStage::write(std::span<const std::uint8_t> bytes) {
    if (!ready())
        return "the block has not been read to its end";
    if (u16be(bytes, 0) != kWriteWord)
        return "the leading word is " + std::to_string(u16be(bytes, 0)) + ", accepted is 25";
    std::array<Half, 2> wanted{};
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const auto half = bytes.subspan(2 + i * kHalfBytes, kHalfBytes);
        if (u16be(half, 0) != kMarker)
            return "a marker is " + std::to_string(u16be(half, 0)) + ", accepted is 88";
        if (u16be(half, 2) != kConfiguration[i])
            return "the word after a marker is not the one that was read";
        wanted[i] = {u16be(half, 4), u16be(half, 6)};
        if (wanted[i].gain > kGreatestGain)
            return "a gain is " + std::to_string(wanted[i].gain) + ", accepted is 0 to 63";
        if (wanted[i].rawOffset > kGreatestRawOffset)
            return "an offset is " + std::to_string(wanted[i].rawOffset) + ", accepted is 0 to 512";
    }
    halves = wanted;
    readsToCome = kReadsUntilReady;
    return {};
}

double GainStage::amplification(bool preview) const {
    return amplificationOf(half(preview).gain) / amplificationOf(kNormal.gain);
}

double GainStage::offset(bool preview) const {
    return (stepsOf(half(preview).rawOffset) - stepsOf(kNormal.rawOffset)) * kUnitsAStep;
}

} // namespace tavo::virtualcamera
