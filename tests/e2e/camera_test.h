// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera found and opened once for all tests of a program: opening takes seconds.
#pragma once

#include "frame.h"

#include <gtest/gtest.h>
#include <tavoccdusb.h>

#include <memory>

struct DestroyCamera {
    void operator()(TavoCamera* camera) const {
        if (camera)
            camera->close();
        TavoCamera_destroy(camera);
    }
};
using CameraPointer = std::unique_ptr<TavoCamera, DestroyCamera>;

struct Window {
    unsigned x, y, width, height, bin;
};

class CameraTest : public testing::Test {
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();

    static Window fullFrame(unsigned bin = 1);

    // Long exposures last `seconds` of the wall's time; the virtual camera's run faster by the
    // speed that it was started with.
    static Frame exposeLong(double seconds, const Window& window);
    static Frame exposeTimed(double seconds, const Window& window);
    static void selectFilter(unsigned position);
    static void waitForTemperature(float celsius);

    static CameraPointer camera;
    static TavoCapabilities caps;

private:
    static Frame fetch(const Window& window);
};
