// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ports.h"

#include "bytes.h"

namespace tavo::virtualcamera {

void Ports::apply(std::span<const std::uint8_t> pairs, Values& values) {
    for (std::size_t port = 0; port < kCount; ++port)
        values[port] = lowByte((values[port] & unsigned{pairs[2 * port]}) | pairs[2 * port + 1]);
}

Ports::Values Ports::levels() const {
    Values result{};
    for (std::size_t port = 0; port < kCount; ++port)
        result[port] = lowByte((states[port] & unsigned{directions[port]}) |
                               (inputs[port] & ~unsigned{directions[port]}));
    return result;
}

void Ports::hold(std::size_t line, bool level) {
    const unsigned bit = 1U << (line % 8);
    std::uint8_t& port = inputs.at(line / 8);
    port = lowByte(level ? port | bit : port & ~bit);
}

} // namespace tavo::virtualcamera
