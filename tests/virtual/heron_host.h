// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A host that brings a Heron camera up and takes pictures with it, line by line and word by word.
#pragma once

#include "heron/heron.h"
#include "raw_host.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tavo::virtualcamera::test {

// 320 x 240 pixels, so that whole frames are quick; two samples a pixel.
Model smallHeron();
Model singleSampledHeron();

class HeronHost : public RawHost {
public:
    explicit HeronHost(const Model& model = smallHeron(), double speed = 1.0);

    // One line of port 0.
    bool setDirection(unsigned line, bool output);
    bool setState(unsigned line, bool level);
    bool setDirections(std::uint8_t mask, std::uint8_t value);
    bool setStates(std::uint8_t mask, std::uint8_t value);

    // The steps of a bring-up, in their order.
    void prepareController();
    bool loadTables();
    void prepareLines();
    void prepareSerialPath();
    void pulseReset();
    // The words that the camera's memory holds, or others.
    std::vector<std::uint16_t> frontEndWords();
    void programFrontEnd(const std::vector<std::uint16_t>& words);
    void bringUp();

    // Writes a register; what came back, or nothing when the transfer was refused.
    std::optional<Bytes> write(unsigned number, unsigned value);
    bool busy();

    // An exposure that the host times, without its end.
    void expose(double seconds, unsigned relays = 0);
    void setBinning(unsigned x, unsigned y);
    void readOut(unsigned relays = 0);
    void readOutTimed(unsigned code);

    // What lies behind the dummy word: `words` words, or nothing when they do not come.
    std::vector<std::uint16_t> fetchWords(std::size_t words);
    // The pixels of a frame of a camera that gives two samples a pixel, as a host works them out.
    std::vector<std::uint16_t> fetchDifferences(std::size_t pixels);
    std::vector<std::uint16_t> frame(double seconds, std::size_t pixels);
};

// 0 when there are no pixels.
double median(std::vector<std::uint16_t> pixels);
// The root of the mean square of what differs; huge when there is nothing to compare.
double difference(const std::vector<std::uint16_t>& one, const std::vector<std::uint16_t>& other);

Bytes flowStateTable();
Bytes slowLinkTable();

} // namespace tavo::virtualcamera::test
