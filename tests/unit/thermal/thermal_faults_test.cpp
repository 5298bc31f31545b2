// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Each transfer of each thermal operation fails once, in every way.
#include "bringup/fault_sweep.h"

namespace tavo::test {
namespace {

using enum Effect;

constexpr CAMERA_TYPE kServed[]{BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA};

// Transfers of a command with and without a reply.
std::size_t sent(CAMERA_TYPE type) {
    return type == RIDGE_CAMERA ? 3 : 2;
}
std::size_t answered(CAMERA_TYPE type) {
    return sent(type) + (type == LUMEN_CAMERA ? 0 : 2);
}

CameraScript answering(CAMERA_TYPE type) {
    CameraScript script = healthyCamera(type);
    script.reply(53, Bytes(8));
    script.reply(56, type == LUMEN_CAMERA ? Bytes{0, 1} : Bytes{1, 0});
    script.reply(57, {});
    return script;
}

std::vector<Operation> operations() {
    std::vector<Operation> all;
    for (const CAMERA_TYPE type : kServed) {
        const Stretches withReply{{"command and reply", answered(type), fatal}};
        all.push_back({type, "getTemperatureSensorStatus",
                       [](TavoCameraImpl& camera) {
                           float celsius = 0;
                           return camera.getTemperatureSensorStatus(1, &celsius);
                       },
                       "Failed to read temperature sensor status", withReply});
        all.push_back({type, "getCoolingStatus",
                       [](TavoCameraImpl& camera) {
                           COOLING_STATE state{};
                           float target = 0, power = 0;
                           return camera.getCoolingStatus(&state, &target, &power);
                       },
                       "Failed to set cooling status", withReply});
        all.push_back({type, "setCooling",
                       [](TavoCameraImpl& camera) { return camera.setCooling(-10.0f); },
                       "Failed to set temperature", withReply});
        all.push_back({type,
                       "initiateWarmUp",
                       [](TavoCameraImpl& camera) { return camera.initiateWarmUp(); },
                       "Failed to initiate warmup",
                       {{"command", sent(type), fatal}}});
    }
    return all;
}

class ThermalFaults : public UnitTest {};

TEST_F(ThermalFaults, EachTransferOnce) {
    for (const Operation& operation : operations())
        expectOperationSurvivesFaults(operation, answering(operation.type));
}

TEST_F(ThermalFaults, ClosedCamera) {
    for (const Operation& operation : operations())
        expectClosedCameraFails(operation);
}

TEST_F(ThermalFaults, ClosedGlintReadsAbsoluteZero) {
    auto camera = closedCamera(GLINT_CAMERA);
    float celsius = 0;
    EXPECT_TRUE(camera->getTemperatureSensorStatus(0, &celsius));
    EXPECT_FLOAT_EQ(celsius, -273.15f);
    EXPECT_TRUE(usb().calls().empty());
}

} // namespace
} // namespace tavo::test
