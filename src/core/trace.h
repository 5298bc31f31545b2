// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The call trace on standard error. Lines go out only while TavoDebug and TavoDebugOn are both set.
// The indentation depth serves all cameras of the process: traces of two threads interleave, and
// switching the trace in the middle of an operation leaves the depth off by one.
#pragma once

#include <cstddef>

namespace tavo::trace {

bool on();

// "<indent>-> text", "<indent>    text", "<indent><- text", each with a line feed. Every enter is
// matched by exactly one leave.
[[gnu::format(printf, 1, 2)]] void enter(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void inside(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void leave(const char* format, ...);

// Like inside, without the line feed.
[[gnu::format(printf, 1, 2)]] void insideUnended(const char* format, ...);

// The first bytes of a buffer for a trace line; nothing while the trace is off. The text lives
// until the thread's next dump.
const char* dump(const unsigned char* bytes, std::size_t length);

// A polling loop whose calls would flood the trace. The end sets TavoDebugOn to 1 whatever it was
// before.
class QuietSection {
public:
    QuietSection();
    ~QuietSection();
    QuietSection(const QuietSection&) = delete;
    QuietSection& operator=(const QuietSection&) = delete;
};

} // namespace tavo::trace
