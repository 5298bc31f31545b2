// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/captured_trace.h"

#include "core/trace.h"
#include "tavoccdusb.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace tavo::test {

CapturedStderr::CapturedStderr() {
    std::fflush(stderr);
    caught = memfd_create("stderr", MFD_CLOEXEC);
    original = dup(STDERR_FILENO);
    if (caught < 0 || original < 0 || dup2(caught, STDERR_FILENO) < 0)
        throw std::runtime_error("cannot catch standard error");
}

CapturedStderr::~CapturedStderr() {
    std::fflush(stderr);
    dup2(original, STDERR_FILENO);
    close(original);
    close(caught);
}

std::string CapturedStderr::text() const {
    std::fflush(stderr);
    std::string all;
    char buffer[4096];
    for (off_t at = 0;;) {
        const ssize_t count = pread(caught, buffer, sizeof buffer, at);
        if (count <= 0)
            return all;
        all.append(buffer, static_cast<std::size_t>(count));
        at += count;
    }
}

void CapturedStderr::forget() {
    std::fflush(stderr);
    if (ftruncate(caught, 0) != 0 || lseek(caught, 0, SEEK_SET) != 0)
        throw std::runtime_error("cannot forget what was caught");
}

CapturedTrace::CapturedTrace() : debugBefore(TavoDebug), debugOnBefore(TavoDebugOn) {
    TavoDebug = 1;
    TavoDebugOn = 1;
}

CapturedTrace::~CapturedTrace() {
    TavoDebug = debugBefore;
    TavoDebugOn = debugOnBefore;
}

std::vector<std::string> CapturedTrace::lines() const {
    std::vector<std::string> all;
    const std::string written = text();
    for (std::size_t start = 0; start < written.size();) {
        const std::size_t end = std::min(written.find('\n', start), written.size());
        all.push_back(written.substr(start, end - start));
        start = end + 1;
    }
    return all;
}

bool CapturedTrace::contains(const std::string& line) const {
    const std::vector<std::string> all = lines();
    return std::find(all.begin(), all.end(), line) != all.end();
}

namespace {

// The indentation of an entry line, 0 to 16. Leaves the depth one higher.
int indentationOfEntry(CapturedTrace& trace) {
    trace.forget();
    trace::enter("probe");
    return static_cast<int>(trace.text().find("->"));
}

} // namespace

// A depth outside the 16 blanks does not show; it is walked back until it does.
int traceDepth() {
    CapturedTrace trace;
    constexpr int kBlankCount = 16;
    int entries = 0;
    int leaves = 0;
    int shown = indentationOfEntry(trace);
    ++entries;
    while (shown == 0 && entries < 300) {
        shown = indentationOfEntry(trace);
        ++entries;
    }
    while (shown == kBlankCount && leaves < 600) {
        trace::leave("probe");
        trace::leave("probe");
        leaves += 2;
        shown = indentationOfEntry(trace);
        ++entries;
    }
    const int depth = shown + 1 - entries + leaves;
    for (; entries > leaves; --entries)
        trace::leave("probe");
    for (; leaves > entries; --leaves)
        trace::enter("probe");
    return depth;
}

void resetTraceDepth() {
    const int depth = traceDepth();
    CapturedTrace trace;
    for (int i = 0; i < depth; ++i)
        trace::leave("reset");
    for (int i = depth; i < 0; ++i)
        trace::enter("reset");
}

} // namespace tavo::test
