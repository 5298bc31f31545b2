// SPDX-License-Identifier: LGPL-2.1-or-later
#include "session/process.h"

#include "core/trace.h"
#include "input.h"
#include "tavoccdusb.h"

#include <new>
#include <pthread.h>
#include <string_view>

namespace tavo::fuzz {
namespace {

bool watched = false;
std::size_t largest = 0;
int traceDepth = 0;
std::string unfinished; // a line of the trace

void skipBlanks(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
}

void readLine(std::string_view line) {
    // The one text that the trace does not end with a line feed.
    constexpr std::string_view kUnended = "Can't get device list";
    skipBlanks(line);
    if (line.starts_with(kUnended))
        line.remove_prefix(kUnended.size());
    skipBlanks(line);
    if (line.starts_with("-> "))
        ++traceDepth;
    if (line.starts_with("<- "))
        require(--traceDepth >= 0, "an operation is left that was entered");
}

ssize_t readTrace(void*, const char* text, std::size_t size) {
    unfinished.append(text, size);
    std::size_t begin = 0;
    for (std::size_t end; (end = unfinished.find('\n', begin)) != std::string::npos;
         begin = end + 1)
        readLine(std::string_view(unfinished).substr(begin, end - begin));
    unfinished.erase(0, begin);
    return static_cast<ssize_t>(size);
}

} // namespace

WatchedProcess::WatchedProcess(std::size_t largestArray) {
    watched = true;
    largest = largestArray;
}

WatchedProcess::~WatchedProcess() {
    watched = false;
}

WatchedTrace::WatchedTrace() : original(stderr) {
    traceDepth = 0;
    unfinished.clear();
    std::FILE* stream = fopencookie(nullptr, "w", {nullptr, readTrace, nullptr, nullptr});
    require(stream != nullptr, "a stream for the trace");
    stderr = stream;
    TavoDebug = 1;
    TavoDebugOn = 1;
}

WatchedTrace::~WatchedTrace() {
    TavoDebug = 0;
    TavoDebugOn = 1;
    std::fclose(stderr);
    stderr = original;
}

int WatchedTrace::depth() {
    std::fflush(stderr);
    return traceDepth;
}

void WatchedTrace::forget() {
    TavoDebugOn = 1;
    while (depth() > 0)
        trace::leave("forgotten");
}

} // namespace tavo::fuzz

// The linker leads these calls here. Findings are told on the true standard error by abort() alone.
extern "C" {

void* __real__Znam(std::size_t size);
void* __wrap__Znam(std::size_t size) {
    if (tavo::fuzz::watched && size > tavo::fuzz::largest)
        throw std::bad_alloc();
    return __real__Znam(size);
}

void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    if (tavo::fuzz::watched && size > tavo::fuzz::largest)
        return nullptr;
    return __real__ZnamRKSt9nothrow_t(size, tag);
}

// Discovery keeps each list of devices for as long as the process lives. All of them get the same
// place here, or every session would seem to leak.
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
    alignas(std::max_align_t) static unsigned char kept[2 * sizeof(void*)];
    if (tavo::fuzz::watched && size == sizeof kept)
        return kept;
    return __real__ZnwmRKSt9nothrow_t(size, tag);
}

[[noreturn]] void __real_exit(int status);
[[noreturn]] void __wrap_exit(int status) {
    if (tavo::fuzz::watched)
        throw tavo::fuzz::ProcessEnded();
    __real_exit(status);
}

int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    if (tavo::fuzz::watched)
        tavo::fuzz::fail("the lock is free where it is taken");
    return __real_pthread_cond_wait(condition, mutex);
}
}
