// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/fault_sweep.h"

namespace tavo::test {

std::size_t lengthOf(const Stretches& stretches) {
    std::size_t all = 0;
    for (const Stretch& stretch : stretches)
        all += stretch.transfers;
    return all;
}

void sweep(const Stretches& stretches, const std::function<void(const Fallible&)>& check) {
    constexpr std::size_t kLong = 100; // from here on each transfer meets one fault, in turn
    std::size_t number = 0;
    for (const Stretch& stretch : stretches) {
        for (std::size_t i = 0; i < stretch.transfers; ++i) {
            ++number;
            for (const Fault& fault : kAllFaults) {
                if (stretch.transfers >= kLong && &fault != &kAllFaults[i % std::size(kAllFaults)])
                    continue;
                check({number, stretch.what, fault,
                       fault.error == 0 ? stretch.onShortCount : stretch.onError});
            }
        }
    }
}

std::string describe(const Fallible& fallible) {
    return "transfer " + std::to_string(fallible.number) + " (" + fallible.what + ") fails with " +
           fallible.fault.name;
}

std::unique_ptr<TavoCameraImpl> equippedCamera(CAMERA_TYPE type) {
    auto camera = openedCamera(type);
    CameraPeer peer(*camera);
    peer.hasShutter() = peer.hasGuidePort() = peer.has8BitMode() = true;
    peer.hasFilterWheel() = peer.hasGPIO() = true;
    peer.coolerType() = COOLER_SETPOINT;
    peer.maxCoolerPower() = 255;
    peer.tempSensorCount() = 2;
    peer.tempSensorType() = 2;
    return camera;
}

void expectOperationSurvivesFaults(const Operation& operation, const CameraScript& healthy) {
    const std::string who = std::string(familyName(operation.type)) + " " + operation.name;
    {
        usb().reset();
        LosingScript script(healthy);
        usb().respondWith(&script);
        auto camera = equippedCamera(operation.type);
        EXPECT_TRUE(operation.run(*camera)) << who;
        EXPECT_EQ(usb().transferCount(), lengthOf(operation.stretches)) << who;
    }
    sweep(operation.stretches, [&](const Fallible& fallible) {
        usb().reset();
        LosingScript script(healthy);
        usb().respondWith(&script);
        usb().failTransfer(fallible.number, fallible.fault);
        auto camera = equippedCamera(operation.type);
        const bool expected = fallible.effect == Effect::tolerated;
        EXPECT_EQ(operation.run(*camera), expected) << who << ": " << describe(fallible);
        EXPECT_STREQ(camera->getLastError(), expected ? "No error" : operation.lastError)
            << who << ": " << describe(fallible);
        EXPECT_TRUE(CameraPeer(*camera).lockIsFree()) << who << ": " << describe(fallible);
    });
}

void expectClosedCameraFails(const Operation& operation) {
    usb().reset();
    auto camera = equippedCamera(operation.type);
    CameraPeer peer(*camera);
    peer.handle() = nullptr;
    EXPECT_FALSE(operation.run(*camera)) << operation.name;
    EXPECT_STREQ(camera->getLastError(), operation.lastError) << operation.name;
    EXPECT_EQ(usb().transferCount(), 0u) << operation.name;
    EXPECT_TRUE(peer.lockIsFree()) << operation.name;
}

} // namespace tavo::test
