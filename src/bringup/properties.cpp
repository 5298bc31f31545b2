// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Bring-up steps that several families share.
#include "bringup/property_codec.h"
#include "core/clock.h"
#include "core/trace.h"
#include "link/eeprom.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;

namespace {

constexpr unsigned kCoolerCommand = 52;
constexpr unsigned kSensorCountCommand = 54;

// Outputs, but for the two lines that the sensor electronics drive.
constexpr unsigned kLineDirections[] = {1, 1, 1, 0, 0, 1, 1, 1};

constexpr long kWheelStartPause = 5000000; // microseconds
constexpr long kWheelPollPause = 100000;   // microseconds
constexpr int kWheelPolls = 20;

const char* coolerName(COOLER_TYPE type) {
    switch (type) {
    case COOLER_NONE: return "COOLER_NONE";
    case COOLER_ALWAYSON: return "COOLER_ALWAYSON";
    case COOLER_ONOFF: return "COOLER_ONOFF";
    case COOLER_SELECTPOWER: return "COOLER_SELECTPOWER";
    case COOLER_SETPOINT: return "COOLER_SETPOINT";
    }
    return "";
}

} // namespace

bool TavoCameraImpl::configureLines() {
    bool ok = true;
    unsigned line = 0;
    for (const unsigned direction : kLineDirections)
        ok = ok && setIODir(line++, direction);
    return ok;
}

// Reads one sensor for its side effect: the kind of sensor becomes known.
bool TavoCameraImpl::learnTemperatureSensors(SensorCountDecoder decode) {
    tavo::SensorCountReply reply{};
    if (!query(kSensorCountCommand, reply))
        return false;
    tempSensorCount = decode(reply);
    trace::inside("temperature sensor count: %d", tempSensorCount);
    if (tempSensorCount == 0)
        return true;
    const bool ok = getTemperatureSensorStatus(1, nullptr);
    trace::inside("temperature sensor type: %d", tempSensorType);
    return ok;
}

bool TavoCameraImpl::learnCooler(CoolerDecoder decode) {
    tavo::CoolerReply reply{};
    if (!query(kCoolerCommand, reply))
        return false;
    const tavo::CoolerProperties cooler = decode(reply);
    coolerType = cooler.type;
    minCoolerPower = cooler.minPower;
    maxCoolerPower = cooler.maxPower;
    trace::inside("cooler: %s", coolerName(coolerType));
    trace::inside("min cooler power: %d", minCoolerPower);
    trace::inside("max cooler power: %d", maxCoolerPower);
    return true;
}

bool TavoCameraImpl::readEepromSerial() {
    unsigned char bytes[4] = {};
    const bool ok = eepRead(tavo::eeprom::kSerialLow, bytes, 2) &&
                    eepRead(tavo::eeprom::kSerialHigh, bytes + 2, 2);
    serialNumber = tavo::u32le(bytes);
    trace::inside("serial # %010u", serialNumber);
    return ok;
}

// A wheel looks for its home position when the camera starts. One that still moves after the last
// poll is left to itself.
bool TavoCameraImpl::settleFilterWheel(bool ok) {
    tavo::sleepms(kWheelStartPause);
    bool moving = false;
    for (int poll = 0; ok && poll < kWheelPolls; ++poll) {
        ok = getFilterWheelStatus(nullptr, &moving, nullptr, nullptr);
        if (!moving)
            break;
        tavo::sleepms(kWheelPollPause);
    }
    return ok;
}
