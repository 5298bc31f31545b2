// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera of the public header. Every operation is told to the host while it runs, and what the
// header promises is looked at afterwards.
#pragma once

#include "host.h"

#include <tavoccdusb.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tavo::soak {

struct Window {
    unsigned x = 0, y = 0, width = 0, height = 0, binX = 1, binY = 1;
};

struct Image {
    bool arrived = false;
    std::vector<unsigned short> pixels;
};

class WatchedCamera {
public:
    // Takes the camera over; it is not closed at the end.
    WatchedCamera(Host& host, TavoCamera* camera);

    bool open();
    void close();
    bool isOpen() const { return opened; }
    CAMERA_TYPE type() const { return kind; }
    // As last read by open or readCapabilities.
    const TavoCapabilities& capabilities() const { return caps; }

    bool setParameter(PARAM_TYPE parameter, long value);
    void readCapabilities();
    bool readTemperature(unsigned sensor, float* celsius);
    bool readCooling();
    bool setCooling(float target);
    bool warmUp();
    bool readWheel(bool* moving, unsigned* current);
    bool setFilter(unsigned position);
    bool setMode(int mode, bool on);
    bool startExposure(bool option);
    bool abortExposure();
    bool readCCD(const Window& window);
    bool readCCD(const Window& window, double seconds);
    // Of as many pixels as wanted.
    Image getImage(std::size_t size);
    bool setShutter(bool open);
    bool setRelays(unsigned short mask);
    bool setDirection(unsigned short mask);
    bool readLines();
    bool setLines(unsigned short lines);
    bool readGain(int* gain, int* offset);
    bool setGain(int gain, int offset);
    unsigned delay(double seconds) { return camera->delay(seconds); }
    std::size_t pixelCount(const Window& window);
    void readNumbers();

    // An exposure has been started, and its image not been asked for.
    bool isExposing() const { return exposing; }
    // The lock is held until the image is fetched.
    bool isImagePending() const { return pending; }

    // For a second thread, while this one calls: a question without a record of its own. The two
    // overwrite each other's text of the last error, which nobody may look at then.
    bool pollTemperature() { return camera->getTemperatureSensorStatus(0, nullptr); }
    void expectTexts(bool expect) { textsExpected = expect; }

private:
    using Texts = std::vector<const char*>;

    // A failure may leave one of the texts, or none where there are none (or `silent` says so).
    bool call(const std::string& text, const Texts& texts, bool silent,
              const std::function<bool()>& operation);
    void expectText(const std::string& text, bool ok, const Texts& texts, bool silent,
                    const std::string& before);

    struct Destroy {
        void operator()(TavoCamera* unwanted) const { TavoCamera_destroy(unwanted); }
    };

    Host& host;
    std::unique_ptr<TavoCamera, Destroy> camera;
    TavoCapabilities caps{};
    CAMERA_TYPE kind{};
    bool opened = false, exposing = false, pending = false;
    bool textsExpected = true;
};

} // namespace tavo::soak
