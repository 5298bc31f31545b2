// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"

#include <csignal>
#include <unistd.h>

namespace tavo::test {
namespace {

constexpr int kDefaultBulkTimeout = 30000;

// No test takes a tenth of it. One that waits for a lock that nobody frees would wait for ever.
constexpr unsigned kPatience = 100; // seconds

void giveUp(int) {
    constexpr char kText[] = "the test waits for what never comes; is a lock still held?\n";
    const ssize_t written = write(STDERR_FILENO, kText, sizeof kText - 1);
    _exit(written > 0 ? 1 : 2);
}

void resetSettings() {
    TavoDebug = 0;
    TavoDebugOn = 1;
    TavoHostBulkTimeout = kDefaultBulkTimeout;
}

} // namespace

UnitTest::UnitTest() {
    GTEST_FLAG_SET(death_test_style, "fast");
    std::signal(SIGALRM, giveUp);
    alarm(kPatience);
    usb().reset();
    setFirmware({});
    resetSettings();
}

UnitTest::~UnitTest() {
    alarm(0);
    usb().reset();
    resetSettings();
    resetTraceDepth();
}

void UnitTest::TearDown() {
    usb().verify();
    if (!driftAllowed) {
        EXPECT_EQ(traceDepth(), 0) << "entry and exit lines of the trace are out of balance";
    }
}

const char* familyName(CAMERA_TYPE type) {
    switch (type) {
    case BASIN_CAMERA: return "Basin";
    case RIDGE_CAMERA: return "Ridge";
    case HERON_CAMERA: return "Heron";
    case GLINT_CAMERA: return "Glint";
    case LUMEN_CAMERA: return "Lumen";
    }
    return "Unknown";
}

std::string assertionText(int line) {
    return "^Assertion failed \\(src/tavoccdusb\\.cpp, " + std::to_string(line) + "\\)\n$";
}

std::string assertionText(const std::string& condition, int line) {
    return "^Assertion \"" + condition + "\" failed \\(src/tavoccdusb\\.cpp, " +
           std::to_string(line) + "\\)\n$";
}

std::unique_ptr<TavoCameraImpl> closedCamera(CAMERA_TYPE type) {
    return std::make_unique<TavoCameraImpl>(usb().device(), familyName(type), type);
}

std::unique_ptr<TavoCameraImpl> openedCamera(CAMERA_TYPE type) {
    auto camera = closedCamera(type);
    CameraPeer(*camera).handle() = usb().handle();
    return camera;
}

} // namespace tavo::test
