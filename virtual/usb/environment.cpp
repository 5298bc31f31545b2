// SPDX-License-Identifier: LGPL-2.1-or-later
#include "environment.h"

#include <array>
#include <optional>
#include <string_view>

#include <unistd.h>

namespace tavo::virtualusb {
namespace {

constexpr std::string_view kPreload = "libumockdev-preload.so.0";

// A program built with AddressSanitizer refuses to start when a preloaded library comes before it.
constexpr std::string_view kSanitizerOption = "verify_asan_link_order=0";

// The value of an entry of the environment, if it is that of `name`.
std::optional<std::string_view> valueOf(std::string_view name, std::string_view entry) {
    if (!entry.starts_with(name) || entry.substr(name.size(), 1) != "=")
        return std::nullopt;
    return entry.substr(name.size() + 1);
}

// A list with `first` in it: in front, unless it is there already.
std::string joined(std::string_view first, std::string_view others) {
    if (others.find(first) != std::string_view::npos)
        return std::string(others);
    return std::string(first) + (others.empty() ? "" : ":") + std::string(others);
}

// A value that no shell takes apart or expands.
std::string quoted(std::string_view value) {
    std::string text = "'";
    for (const char character : value)
        text += character == '\'' ? std::string("'\\''") : std::string(1, character);
    return text + "'";
}

} // namespace

std::vector<std::string> environmentOn(const std::string& testbed) {
    std::vector<std::string> result;
    std::string preload(kPreload);
    std::string sanitizer(kSanitizerOption);
    for (char** entry = environ; *entry; ++entry) {
        if (const auto others = valueOf("LD_PRELOAD", *entry))
            preload = joined(kPreload, *others);
        else if (const auto options = valueOf("ASAN_OPTIONS", *entry))
            sanitizer = joined(kSanitizerOption, *options);
        else if (!valueOf("UMOCKDEV_DIR", *entry))
            result.emplace_back(*entry);
    }
    result.push_back("LD_PRELOAD=" + preload);
    result.push_back("ASAN_OPTIONS=" + sanitizer);
    result.push_back("UMOCKDEV_DIR=" + testbed);
    return result;
}

std::string shellLines(const std::vector<std::string>& environment) {
    constexpr std::array<std::string_view, 3> needed{"LD_PRELOAD", "ASAN_OPTIONS", "UMOCKDEV_DIR"};
    std::string lines;
    for (const std::string& entry : environment)
        for (const std::string_view name : needed)
            if (const auto value = valueOf(name, entry))
                lines += "export " + std::string(name) + '=' + quoted(*value) + '\n';
    return lines;
}

} // namespace tavo::virtualusb
