// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Tells in words what goes on inside a virtual camera. Nothing is put together while no one
// listens.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <sstream>
#include <string>
#include <utility>

namespace tavo::virtualcamera {

using Log = std::function<void(const std::string&)>;

class Journal {
public:
    explicit Journal(Log log_ = {}) : log(std::move(log_)) {}

    template <typename... Parts>
    void operator()(const Parts&... parts) const {
        if (!log)
            return;
        std::ostringstream text;
        (text << ... << parts);
        log(text.str());
    }

private:
    Log log;
};

// "43 00 4d 00", at most `limit` bytes and then "... (n bytes)".
std::string hexDump(std::span<const std::uint8_t> bytes, std::size_t limit = 32);

// "0x0a" with at least `digits` digits.
std::string hex(std::uint64_t value, int digits = 2);

} // namespace tavo::virtualcamera
