// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Takes the call trace instead of standard error and counts its entry and exit lines. Takes no
// memory while the library runs.
#pragma once

namespace tavo::sweep {

void takeOverTrace(); // once, before anything is traced

// Switches the trace on while it lives.
class CountedTrace {
public:
    explicit CountedTrace(bool on);
    ~CountedTrace(); // leaves the indentation as it was
    CountedTrace(const CountedTrace&) = delete;
    CountedTrace& operator=(const CountedTrace&) = delete;

    int balance() const; // entries without exits

private:
    bool counts;
};

} // namespace tavo::sweep
