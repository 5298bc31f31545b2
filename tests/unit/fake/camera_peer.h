// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Opens the private members of a camera to the tests: fields by reference, operations by name.
#pragma once

#include "tavocameraimpl.h"

#include <utility>

namespace tavo {

class CameraPeer {
public:
    explicit CameraPeer(TavoCameraImpl& peeredCamera) : camera(peeredCamera) {}

    libusb_device* device() { return camera.device; }
    const char* name() { return camera.name; }
    CAMERA_TYPE type() { return camera.type; }
    auto& hasShutter() { return camera.hasShutter; }
    auto& hasGuidePort() { return camera.hasGuidePort; }
    auto& has8BitMode() { return camera.has8BitMode; }
    auto& hasFilterWheel() { return camera.hasFilterWheel; }
    auto& hasGPIO() { return camera.hasGPIO; }
    auto& pixelCountX() { return camera.pixelCountX; }
    auto& pixelCountY() { return camera.pixelCountY; }
    auto& pixelSizeX() { return camera.pixelSizeX; }
    auto& pixelSizeY() { return camera.pixelSizeY; }
    auto& maxBinX() { return camera.maxBinX; }
    auto& maxBinY() { return camera.maxBinY; }
    auto& tempSensorCount() { return camera.tempSensorCount; }
    auto& tempSensorType() { return camera.tempSensorType; }
    auto& gpioLineCount() { return camera.gpioLineCount; }
    auto& coolerType() { return camera.coolerType; }
    auto& colourType() { return camera.colourType; }
    auto& offsetX() { return camera.offsetX; }
    auto& offsetY() { return camera.offsetY; }
    auto& minCoolerPower() { return camera.minCoolerPower; }
    auto& maxCoolerPower() { return camera.maxCoolerPower; }
    auto& vregClearTime() { return camera.vregClearTime; }
    auto& prechargeSubtraction() { return camera.prechargeSubtraction; }
    auto& prechargeOffset() { return camera.prechargeOffset; }
    auto& serialNumber() { return camera.serialNumber; }
    auto& versionMajor() { return camera.versionMajor; }
    auto& versionMinor() { return camera.versionMinor; }
    auto& exposureStarted() { return camera.exposureStarted; }
    auto& readoutPending() { return camera.readoutPending; }
    auto& startOption() { return camera.startOption; }
    auto& previewMode() { return camera.previewMode; }
    auto& eightBitMode() { return camera.eightBitMode; }
    auto& darkFrameMode() { return camera.darkFrameMode; }
    auto& readX() { return camera.readX; }
    auto& readY() { return camera.readY; }
    auto& readWidth() { return camera.readWidth; }
    auto& readHeight() { return camera.readHeight; }
    auto& readXBin() { return camera.readXBin; }
    auto& readYBin() { return camera.readYBin; }
    auto& guideRelayState() { return camera.guideRelayState; }
    auto& quickerStartExposureDelay() { return camera.quickerStartExposureDelay; }
    auto& quickerReadCCDDelay() { return camera.quickerReadCCDDelay; }
    auto& maxPacketSize() { return camera.maxPacketSize; }
    auto& handle() { return camera.handle; }
    auto& bulkTimeout() { return camera.bulkTimeout; }
    auto& mutex() { return camera.mutex; }
    auto& openRetryCounter() { return camera.openRetryCounter; }
    auto& lastError() { return camera.lastError; }

    // Leaves the lock as it was.
    bool lockIsFree() {
        const bool free = camera.mutex.tryAcquire();
        if (free)
            camera.mutex.release();
        return free;
    }

    void lock() { camera.lock(); }
    void unlock() { camera.unlock(); }
    void flush() { camera.flush(); }
    void checkColour() { camera.checkColour(); }

    template <typename... Arguments>
    auto bulkRead(Arguments&&... arguments) {
        return camera.bulkRead(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto bulkWrite(Arguments&&... arguments) {
        return camera.bulkWrite(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto bulkTransfer(Arguments&&... arguments) {
        return camera.bulkTransfer(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto setParTimeout(Arguments&&... arguments) {
        return camera.setParTimeout(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto parInit(Arguments&&... arguments) {
        return camera.parInit(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto parIn(Arguments&&... arguments) {
        return camera.parIn(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto parOut(Arguments&&... arguments) {
        return camera.parOut(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto setPortDirection(Arguments&&... arguments) {
        return camera.setPortDirection(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto setPortState(Arguments&&... arguments) {
        return camera.setPortState(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto setIODir(Arguments&&... arguments) {
        return camera.setIODir(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto setIOState(Arguments&&... arguments) {
        return camera.setIOState(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto getIOState(Arguments&&... arguments) {
        return camera.getIOState(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto i2cSetSpeed(Arguments&&... arguments) {
        return camera.i2cSetSpeed(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto i2cSetTimeout(Arguments&&... arguments) {
        return camera.i2cSetTimeout(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto i2cWrite(Arguments&&... arguments) {
        return camera.i2cWrite(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto i2cRead(Arguments&&... arguments) {
        return camera.i2cRead(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto eepRead(Arguments&&... arguments) {
        return camera.eepRead(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto spiInit(Arguments&&... arguments) {
        return camera.spiInit(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto spiWrite(Arguments&&... arguments) {
        return camera.spiWrite(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto setADC(Arguments&&... arguments) {
        return camera.setADC(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto sendCommand(Arguments&&... arguments) {
        return camera.sendCommand(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto getData(Arguments&&... arguments) {
        return camera.getData(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto getString(Arguments&&... arguments) {
        return camera.getString(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto ping(Arguments&&... arguments) {
        return camera.ping(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto appInit(Arguments&&... arguments) {
        return camera.appInit(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto writeFW(Arguments&&... arguments) {
        return camera.writeFW(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto readRegister(Arguments&&... arguments) {
        return camera.readRegister(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto writeRegister(Arguments&&... arguments) {
        return camera.writeRegister(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto readAbsValue(Arguments&&... arguments) {
        return camera.readAbsValue(std::forward<Arguments>(arguments)...);
    }

    template <typename... Arguments>
    auto writeAbsValue(Arguments&&... arguments) {
        return camera.writeAbsValue(std::forward<Arguments>(arguments)...);
    }

private:
    TavoCameraImpl& camera;
};

} // namespace tavo

namespace tavo::test {
using tavo::CameraPeer;
}
