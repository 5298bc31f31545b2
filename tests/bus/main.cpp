// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Bus and libusb live in this one process, which has to run under umockdev's preload library. The
// program starts itself again under it, so that it can be called like any other test. Testbeds go
// to a directory of its own: every bus that starts cleans up behind dead ones, and tests that
// leave some on purpose run beside others.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

namespace {

constexpr const char* kPreload = "libumockdev-preload.so.0";

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

void putInFront(const char* name, const std::string& item) {
    const std::string others = variable(name);
    setenv(name, (others.empty() ? item : item + ":" + others).c_str(), 1);
}

} // namespace

int main(int argc, char** argv) {
    if (variable("LD_PRELOAD").find(kPreload) == std::string::npos) {
        putInFront("LD_PRELOAD", kPreload);
        // AddressSanitizer would insist on coming before the preloaded library.
        putInFront("ASAN_OPTIONS", "verify_asan_link_order=0");
        execv("/proc/self/exe", argv);
        std::perror("cannot start again under umockdev");
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    std::string directory = std::filesystem::temp_directory_path() / "bus-test.XXXXXX";
    if (!mkdtemp(directory.data())) {
        std::perror("cannot make a directory for the testbeds");
        return 1;
    }
    setenv("TMPDIR", directory.c_str(), 1);
    const int status = RUN_ALL_TESTS();
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    return status;
}
