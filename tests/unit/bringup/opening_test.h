// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A closed camera of a family that is to be opened.
#pragma once

#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"
#include "fake/camera_script.h"
#include "fake/unit_test.h"

#include <memory>

namespace tavo::test {

class OpeningTest : public UnitTest {
protected:
    explicit OpeningTest(CAMERA_TYPE type_)
        : type(type_), camera(closedCamera(type)), script(healthyCamera(type)) {
        setFirmware(kFirmware);
    }

    // Opens it while it plays.
    bool play(const CameraScript& played) {
        script = played;
        usb().respondWith(&script);
        return camera->open();
    }
    bool play(const Description& says) { return play(healthyCamera(type, says)); }

    // Opening is this conversation, byte by byte.
    void expectConversation(const Rows& rows) {
        usb().expect(rows);
        EXPECT_TRUE(camera->open());
        EXPECT_EQ(peer.handle(), usb().handle());
        EXPECT_STREQ(camera->getLastError(), "No error");
    }
    void expectTrace(const Rows& rows, const Lines& lines) {
        usb().expect(rows);
        CapturedTrace trace;
        EXPECT_TRUE(camera->open());
        expectLines(lines, trace.lines());
    }

    const CAMERA_TYPE type;
    std::unique_ptr<TavoCameraImpl> camera;
    CameraPeer peer{*camera};
    CameraScript script;
};

} // namespace tavo::test
