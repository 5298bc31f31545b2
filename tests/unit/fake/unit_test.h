// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The fixture of all unit tests: a fresh fake, and afterwards the checks that hold for every
// operation - the conversation is over, the trace is balanced - and the process-wide settings as
// they were. A test that hangs ends the program.
#pragma once

#include "fake/camera_peer.h"
#include "fake/captured_trace.h"
#include "fake/fake_usb.h"
#include "fake/firmware.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace tavo::test {

class UnitTest : public ::testing::Test {
protected:
    UnitTest();
    ~UnitTest() override;
    void TearDown() override;

    // For tests that leave the indentation shifted on purpose.
    void allowTraceDrift() { driftAllowed = true; }

private:
    bool driftAllowed = false;
};

inline constexpr CAMERA_TYPE kFamilies[]{BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, GLINT_CAMERA,
                                         LUMEN_CAMERA};
// A type value that is no family.
inline constexpr auto kUnknownFamily = static_cast<CAMERA_TYPE>(9);

const char* familyName(CAMERA_TYPE type);

// What an assertion prints, as a pattern for EXPECT_EXIT: nothing else may be written.
std::string assertionText(int line);
std::string assertionText(const std::string& condition, int line);

// A camera made without listing, closed.
std::unique_ptr<TavoCameraImpl> closedCamera(CAMERA_TYPE type);
// The same with a device handle, without the traffic of open.
std::unique_ptr<TavoCameraImpl> openedCamera(CAMERA_TYPE type);

} // namespace tavo::test
