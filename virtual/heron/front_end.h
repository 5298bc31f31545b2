// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The analogue front end of the Heron cameras: a converter with eight registers, which the host
// fills over three lines of the controller. It converts nothing of use before that.
#pragma once

#include "../controller/journal.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace tavo::virtualcamera {

class FrontEnd {
public:
    static constexpr std::size_t kRegisters = 8;
    // Bit 15 is 0 for a write, bits 14 to 12 are the register's number, the rest is its content.
    using Words = std::array<std::uint16_t, kRegisters>;

    struct Pins {
        bool selected;
        bool clock;
        bool data;
    };

    explicit FrontEnd(Journal journal_) : journal(std::move(journal_)) {}

    // All registers lose their content, and a word that is on its way is lost.
    void reset();
    // A bit is taken with every rising edge of the clock, the most significant first, and the word
    // when the front end is released after exactly 16 of them.
    void follow(const Pins& now);

    bool holds(const Words& words) const;

private:
    void takeWord();

    Journal journal;
    Pins pins{false, true, false};
    std::uint16_t shifted = 0;
    unsigned bits = 0;
    std::array<std::optional<std::uint16_t>, kRegisters> registers;
};

} // namespace tavo::virtualcamera
