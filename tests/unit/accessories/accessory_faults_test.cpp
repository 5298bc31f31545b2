// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Each transfer of each operation of the accessories fails once, in every way.
#include "bringup/fault_sweep.h"

namespace tavo::test {
namespace {

using enum Effect;

// Transfers of a command with and without a reply.
std::size_t sent(CAMERA_TYPE type) {
    return type == RIDGE_CAMERA ? 3 : 2;
}
std::size_t answered(CAMERA_TYPE type) {
    return sent(type) + (type == LUMEN_CAMERA ? 0 : 2);
}

CameraScript answering(CAMERA_TYPE type) {
    CameraScript script = healthyCamera(type);
    for (const unsigned number : {20u, 21u, 22u, 23u, 24u, 131u, 132u, 140u})
        script.reply(number, {});
    script.reply(130, Bytes(4));
    script.reply(135, Bytes(8));
    script.reply(136, {1, 0});
    script.reply(141, {0, 88, 0, 0, 0, 5, 1, 1, 0, 88, 0, 0, 0, 9, 0, 0});
    return script;
}

std::vector<Operation> operationsOf(CAMERA_TYPE type) {
    const Stretches withReply{{"command and reply", answered(type), fatal}};
    const Stretches withoutReply{{"command", sent(type), fatal}};
    return {
        {type, "getFilterWheelStatus",
         [](TavoCameraImpl& camera) {
             unsigned count = 0, current = 0, target = 0;
             bool moving = false;
             return camera.getFilterWheelStatus(&count, &moving, &current, &target);
         },
         "Failed to get filter wheel status", withReply},
        {type, "setFilter", [](TavoCameraImpl& camera) { return camera.setFilter(2); },
         "Failed to set filter", withReply},
        {type,
         "setGuideRelays",
         [](TavoCameraImpl& camera) { return camera.setGuideRelays(0x0F); },
         "Failed to set guide relays",
         {{"three commands", 3 * sent(type), fatal}}},
        {type, "setGPIODirection",
         [](TavoCameraImpl& camera) { return camera.setGPIODirection(1); },
         "Failed to set GPIO direction", withoutReply},
        {type, "setGPIO", [](TavoCameraImpl& camera) { return camera.setGPIO(1); },
         "Failed to set GPIO", withoutReply},
        {type, "getGPIO",
         [](TavoCameraImpl& camera) {
             unsigned short lines = 0;
             return camera.getGPIO(&lines);
         },
         "Failed to get GPIO", withReply},
    };
}

const Operation kHeronRelays{HERON_CAMERA,
                             "setGuideRelays",
                             [](TavoCameraImpl& camera) { return camera.setGuideRelays(0x0F); },
                             "Failed to set guide relays",
                             {{"serial write", 2, fatal}}};

// The gain operations set no text of their own.
const Operation kGetGain{LUMEN_CAMERA,
                         "getGain",
                         [](TavoCameraImpl& camera) {
                             int gain = 0, offset = 0;
                             return camera.getGain(&gain, &offset);
                         },
                         "No error",
                         {{"reading", 2, fatal}}};
const Operation kSetGain{LUMEN_CAMERA,
                         "setGain",
                         [](TavoCameraImpl& camera) { return camera.setGain(1, 1); },
                         "No error",
                         {{"readings, which are repeated", 4, tolerated}, {"writing", 2, fatal}}};

class AccessoryFaults : public UnitTest {};

TEST_F(AccessoryFaults, EachTransferOnce) {
    for (const CAMERA_TYPE type : {RIDGE_CAMERA, LUMEN_CAMERA}) {
        for (const Operation& operation : operationsOf(type))
            expectOperationSurvivesFaults(operation, answering(type));
    }
    expectOperationSurvivesFaults(kHeronRelays, answering(HERON_CAMERA));
    expectOperationSurvivesFaults(kGetGain, answering(LUMEN_CAMERA));
    expectOperationSurvivesFaults(kSetGain, answering(LUMEN_CAMERA));
}

TEST_F(AccessoryFaults, ClosedCamera) {
    for (const CAMERA_TYPE type : {RIDGE_CAMERA, LUMEN_CAMERA}) {
        for (const Operation& operation : operationsOf(type))
            expectClosedCameraFails(operation);
    }
    expectClosedCameraFails(kHeronRelays);
    expectClosedCameraFails(kGetGain);
    Operation tried = kSetGain;
    tried.lastError = "Failed to set gain"; // after all its tries
    expectClosedCameraFails(tried);
}

} // namespace
} // namespace tavo::test
