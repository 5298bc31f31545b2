// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace_capture.h"

#include <tavoccdusb.h>

#include <cstdio>
#include <sstream>
#include <stdexcept>

#include <sys/mman.h>
#include <unistd.h>

TraceCapture::TraceCapture()
    : file(memfd_create("trace", MFD_CLOEXEC)), standardError(dup(STDERR_FILENO)) {
    if (file < 0 || standardError < 0 || dup2(file, STDERR_FILENO) < 0)
        throw std::runtime_error("standard error cannot be redirected");
    TavoDebug = 1;
}

TraceCapture::~TraceCapture() {
    TavoDebug = 0;
    std::fflush(stderr);
    dup2(standardError, STDERR_FILENO);
    close(standardError);
    close(file);
}

std::string TraceCapture::text() const {
    std::fflush(stderr);
    std::string text;
    char part[4096];
    off_t place = 0;
    for (ssize_t count = 0; (count = pread(file, part, sizeof part, place)) > 0; place += count)
        text.append(part, static_cast<std::size_t>(count));
    return text;
}

unsigned TraceCapture::count(const std::string& words) const {
    std::istringstream lines(text());
    unsigned found = 0;
    for (std::string line; std::getline(lines, line);)
        found += line.find(words) != std::string::npos;
    return found;
}
