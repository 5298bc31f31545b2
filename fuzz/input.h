// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a fuzzer is given, taken off the front. Past the end every value is 0 and every string
// empty, so that a shorter input is always a simpler one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace tavo::fuzz {

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : left(data, size) {}

    bool empty() const { return left.empty(); }
    std::size_t size() const { return left.size(); }

    std::uint8_t u8() { return number<std::uint8_t>(); }
    std::uint16_t u16() { return number<std::uint16_t>(); }
    std::uint32_t u32() { return number<std::uint32_t>(); }
    bool flag() { return (u8() & 1) != 0; }
    // REQUIRES: 0 < limit <= 256.
    unsigned below(unsigned limit) { return u8() % limit; }

    // Any pattern of bits that the type has.
    template <typename Number>
    Number number() {
        static_assert(std::is_arithmetic_v<Number>);
        Number value{};
        const auto taken = take(sizeof value);
        if (!taken.empty())
            std::memcpy(&value, taken.data(), taken.size());
        return value;
    }

    // At most so many bytes, in memory of just that size: a read past them is seen.
    std::vector<std::uint8_t> bytes(std::size_t most) {
        const auto taken = take(most);
        return {taken.begin(), taken.end()};
    }
    std::vector<std::uint8_t> rest() { return bytes(left.size()); }

    // As many bytes as the next one says.
    std::string text() {
        const auto taken = take(u8());
        return {taken.begin(), taken.end()};
    }

private:
    std::span<const std::uint8_t> take(std::size_t most) {
        const auto taken = left.first(std::min(most, left.size()));
        left = left.subspan(taken.size());
        return taken;
    }

    std::span<const std::uint8_t> left;
};

// The input as a text, cut at line feeds: the arguments of a command line.
inline std::vector<std::string> lines(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> all;
    std::string_view left(reinterpret_cast<const char*>(data), size);
    while (!left.empty()) {
        const std::size_t end = std::min(left.find('\n'), left.size());
        all.emplace_back(left.substr(0, end));
        left.remove_prefix(std::min(end + 1, left.size()));
    }
    return all;
}

// Ends the process as a finding, told on the true standard error whatever `stderr` is.
[[noreturn]] inline void fail(const char* what) {
    dprintf(STDERR_FILENO, "broken: %s\n", what);
    std::abort();
}

// What has to hold whatever the input.
inline void require(bool holds, const char* what) {
    if (!holds)
        fail(what);
}

} // namespace tavo::fuzz
