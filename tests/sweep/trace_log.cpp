// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace_log.h"

#include "core/trace.h"
#include "tavoccdusb.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace tavo::sweep {
namespace {

// Which part of a line the next character belongs to.
enum class Place { indentation, arrow, rest };

struct Log {
    Place place = Place::indentation;
    char arrow = 0;
    int depth = 0;

    void read(char character) {
        if (character == '\n') {
            place = Place::indentation;
        } else if (place == Place::indentation && character != ' ') {
            arrow = character;
            place = Place::arrow;
        } else if (place == Place::arrow) {
            depth += arrow == '-' && character == '>' ? 1 : 0;
            depth -= arrow == '<' && character == '-' ? 1 : 0;
            place = Place::rest;
        }
    }
};
Log traceLog;

ssize_t take(void*, const char* text, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i)
        traceLog.read(text[i]);
    return static_cast<ssize_t>(length);
}

} // namespace

void takeOverTrace() {
    static std::array<char, 65536> buffer;
    std::FILE* log = fopencookie(
        nullptr, "w", {.read = nullptr, .write = take, .seek = nullptr, .close = nullptr});
    if (!log || std::setvbuf(log, buffer.data(), _IOFBF, buffer.size()) != 0)
        throw std::runtime_error("cannot take over the trace");
    stderr = log;
}

CountedTrace::CountedTrace(bool on) : counts(on) {
    std::fflush(stderr);
    traceLog = {};
    TavoDebug = on ? 1 : 0;
    TavoDebugOn = 1;
}

CountedTrace::~CountedTrace() {
    for (int depth = balance(); depth > 0; --depth)
        trace::leave("reset");
    std::fflush(stderr);
    TavoDebug = 0;
    TavoDebugOn = 1;
}

int CountedTrace::balance() const {
    std::fflush(stderr);
    return counts ? traceLog.depth : 0;
}

} // namespace tavo::sweep
