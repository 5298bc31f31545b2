// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Operations whose command does not get through.
#include "fault_test.h"

namespace {

class CommandFault : public FaultTest {
protected:
    // Repeats an operation until it fails, which must leave that text. What is left of a command
    // that got through by half may be what spoils the next, so that the time-out may lie before.
    void expectFailure(const char* text, const std::function<bool()>& operation) {
        SCOPED_TRACE(text);
        for (int tries = 0; tries < kMostCommands; ++tries) {
            if (operation())
                continue;
            EXPECT_STREQ(camera->getLastError(), text);
            EXPECT_GE(trace.count("LIBUSB_ERROR_TIMEOUT"), 1u);
            expectLockFree();
            return;
        }
        ADD_FAILURE() << "it never failed: no fault has struck";
    }

    void exposures() {
        expectFailure("Failed to start exposure", [&] { return camera->startExposure(false); });
        expectFailure("Failed to read CCD", [&] { return !startOver() || readAndFetch(); });
        expectFailure("Failed to read CCD", [&] {
            return !camera->readCCD(0, 0, 8, 8, 1, 1, kShortest) ? false : (fetch(), true);
        });
    }

    void thermal() {
        if (type != HERON_CAMERA)
            expectFailure("Failed to read temperature sensor status",
                          [&] { return camera->getTemperatureSensorStatus(1, nullptr); });
        if (type == HERON_CAMERA || caps.coolerType <= COOLER_ALWAYSON)
            return;
        expectFailure("Failed to set temperature", [&] { return camera->setCooling(0); });
        expectFailure("Failed to set cooling status", [&] {
            COOLING_STATE state{};
            return camera->getCoolingStatus(&state, nullptr, nullptr);
        });
        expectFailure("Failed to initiate warmup", [&] { return camera->initiateWarmUp(); });
    }

    void accessories() {
        if (caps.hasGuidePort)
            expectFailure("Failed to set guide relays", [&] { return camera->setGuideRelays(0); });
        if (caps.hasShutter)
            expectFailure("Failed to set shutter", [&] { return camera->setShutter(false); });
        if (caps.hasFilterWheel) {
            expectFailure("Failed to get filter wheel status", [&] {
                return camera->getFilterWheelStatus(nullptr, nullptr, nullptr, nullptr);
            });
            expectFailure("Failed to set filter", [&] { return camera->setFilter(1); });
        }
        if (caps.gpioLineCount == 0)
            return;
        unsigned short lines = 0;
        expectFailure("Failed to set GPIO direction", [&] { return camera->setGPIODirection(0); });
        expectFailure("Failed to get GPIO", [&] { return camera->getGPIO(&lines); });
        expectFailure("Failed to set GPIO", [&] { return camera->setGPIO(0); });
    }

    const TraceCapture trace;

private:
    static constexpr int kMostCommands = 20000;
    static constexpr double kShortest = 0.001; // seconds

    // An exposure that does not start is not what is looked for here.
    bool startOver() { return camera->startExposure(false); }

    bool readAndFetch() {
        if (!camera->readCCD(0, 0, 8, 8, 1, 1))
            return false;
        fetch();
        return true;
    }

    // Frees the lock; whether the image arrives is another test's matter.
    void fetch() {
        std::vector<unsigned short> pixels(8 * 8);
        camera->getImage(pixels.data(), static_cast<unsigned>(pixels.size()));
    }
};

} // namespace

TEST_F(CommandFault, EachOperationLeavesItsText) {
    openDespiteFaults();
    exposures();
    thermal();
    accessories();
    takeFrameDespiteFaults();
}
