// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The operations of a fuzzed session.
#pragma once

#include "session/fuzzed_usb.h"
#include "session/last_error.h"

#include "exposure/region.h"
#include "fake/camera_peer.h"

namespace tavo::fuzz {

class Session {
public:
    Session(Input& given, FuzzedUsb& fuzzedUsb, TavoCameraImpl& driven)
        : input(given), usb(fuzzedUsb), camera(driven), peer(driven), lastError(driven) {}

    void operation();
    void finish();
    // Whether the operation under way may end the process.
    bool mayEnd() { return endAllowed && peer.tempSensorType() == 0; }

private:
    void open();
    void close();
    void abort();
    void parameter();
    void capabilities();
    void temperature();
    void cooling();
    void wheel();
    void modes();
    void expose();
    void exposeTimed();
    void betweenReadAndImage();
    void image();
    void lines();
    void gain();
    void arithmetic();

    Input& input;
    FuzzedUsb& usb;
    TavoCameraImpl& camera;
    CameraPeer peer;
    LastError lastError;
    Region region;
    bool endAllowed = false;
};

} // namespace tavo::fuzz
