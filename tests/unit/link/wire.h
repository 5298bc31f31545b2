// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Rows of the exchanges above the framed request.
#pragma once

#include "fake/conversation.h"

#include <string>

namespace tavo::test {

inline Rows i2cWriteRows(Bytes payload) {
    return framedExchange({.code = 4, .flag = true, .b = 1, .payload = std::move(payload)}, {});
}

inline Rows i2cReadRows(std::uint8_t address, const Bytes& reply) {
    return framedExchange({.code = 4, .flag = true, .b = 1, .payload = {address}}, reply);
}

inline Rows eepromRows(std::uint8_t address, const Bytes& reply) {
    return together({i2cWriteRows({0xA2, 0x00, address}), i2cReadRows(0xA3, reply)});
}

inline Rows portDirectionRows(Bytes pairs) {
    return {frame({.code = 2, .payload = std::move(pairs)})};
}

inline Rows portStateRows(Bytes pairs) {
    pairs.resize(16);
    return {frame({.code = 1, .payload = std::move(pairs)})};
}

inline Rows ridgeCommand(std::uint8_t command, const Bytes& argument = {}) {
    return parallelOut(joined({{'C', 0, 'M', 0, 'D', 0, command, 0}, argument}));
}

inline Rows basinCommand(std::uint8_t command, const Bytes& argument = {}) {
    return i2cWriteRows(joined({{0x80, 'V', 'R', 'Q', command}, argument}));
}

// `packet` is what follows the command number, `answer` what follows it in the echo.
inline Rows lumenCommand(std::uint8_t command, const Bytes& packet, const Bytes& answer) {
    const Bytes lead{'C', 'M', 'D', command};
    return framedExchange(
        {.code = 6, .subCode = 2, .a = 3, .b = 1, .payload = joined({lead, packet})},
        joined({lead, answer}));
}

inline Rows lumenRead(const Bytes& sent, const Bytes& reply) {
    return framedExchange({.code = 6, .subCode = 2, .a = 3, .b = 1, .payload = sent}, reply);
}

} // namespace tavo::test
