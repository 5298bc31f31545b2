// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/trace.h"

#include "tavoccdusb.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

unsigned char TavoDebug = 0;
unsigned char TavoDebugOn = 1;

namespace tavo::trace {
namespace {

constexpr int kBlankCount = 16;
constexpr char kBlanks[kBlankCount + 1] = "                ";

std::atomic<std::int8_t> depth{0};

// The depth may have drifted past either end; the text never leaves the blanks.
const char* blanks(int count) {
    return kBlanks + kBlankCount - std::clamp(count, 0, kBlankCount);
}

void write(const char* indentation, const char* mark, const char* format, va_list arguments,
           const char* ending) {
    flockfile(stderr);
    std::fputs(indentation, stderr);
    std::fputs(mark, stderr);
    std::vfprintf(stderr, format, arguments);
    std::fputs(ending, stderr);
    funlockfile(stderr);
}

} // namespace

// The switches are plain bytes in the public interface and shared by all threads.
bool on() {
    return std::atomic_ref(TavoDebug).load(std::memory_order_relaxed) != 0 &&
           std::atomic_ref(TavoDebugOn).load(std::memory_order_relaxed) != 0;
}

void enter(const char* format, ...) {
    if (!on())
        return;
    va_list arguments;
    va_start(arguments, format);
    write(blanks(depth.fetch_add(1, std::memory_order_relaxed)), "-> ", format, arguments, "\n");
    va_end(arguments);
}

void inside(const char* format, ...) {
    if (!on())
        return;
    va_list arguments;
    va_start(arguments, format);
    write(blanks(depth.load(std::memory_order_relaxed) - 1), "    ", format, arguments, "\n");
    va_end(arguments);
}

void insideUnended(const char* format, ...) {
    if (!on())
        return;
    va_list arguments;
    va_start(arguments, format);
    write(blanks(depth.load(std::memory_order_relaxed) - 1), "    ", format, arguments, "");
    va_end(arguments);
}

void leave(const char* format, ...) {
    if (!on())
        return;
    va_list arguments;
    va_start(arguments, format);
    const int left = depth.fetch_sub(1, std::memory_order_relaxed) - 1;
    write(blanks(left), "<- ", format, arguments, "\n");
    va_end(arguments);
}

const char* dump(const unsigned char* bytes, std::size_t length) {
    constexpr std::size_t kShown = 4;
    // A buffer a thread, so that dumps of two cameras never mix.
    thread_local char buffer[1024];
    if (!on())
        return "";
    if (!bytes)
        return "NULL";
    if (length == 0)
        return "]"; // not "[]": readers of old traces know this form
    char* end = buffer;
    *end++ = '[';
    for (std::size_t i = 0; i < std::min(length, kShown); ++i)
        end += std::snprintf(end, 8, "0x%02x ", bytes[i]);
    std::snprintf(end - 1, 8, "%s", length > kShown ? "...]" : "]");
    return buffer;
}

QuietSection::QuietSection() {
    inside("----- DEBUG OFF -----");
    std::atomic_ref(TavoDebugOn).store(0, std::memory_order_relaxed);
}

QuietSection::~QuietSection() {
    std::atomic_ref(TavoDebugOn).store(1, std::memory_order_relaxed);
    inside("----- DEBUG ON -----");
}

} // namespace tavo::trace
