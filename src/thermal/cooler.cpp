// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/messages.h"
#include "core/trace.h"
#include "tavocameraimpl.h"
#include "thermal/cooler_codec.h"

namespace message = tavo::message;
namespace trace = tavo::trace;

namespace {

constexpr unsigned kGetCooling = 53;
constexpr unsigned kSetCooling = 56;
constexpr unsigned kWarmUp = 57;

const char* stateName(COOLING_STATE state) {
    switch (state) {
    case COOLING_INACTIVE: return "COOLING_INACTIVE";
    case COOLING_ON: return "COOLING_ON";
    case COOLING_SETPOINT: return "COOLING_SETPOINT";
    case WARMING_UP: return "WARMING_UP";
    }
    return "";
}

} // namespace

bool TavoCameraImpl::queryCooling(unsigned length, CoolingDecoder decode,
                                  tavo::CoolingStatus* status) {
    tavo::CoolingReply reply{};
    const bool ok = query(kGetCooling, std::span(reply).first(length));
    *status = decode(reply);
    return ok;
}

bool TavoCameraImpl::readCooling(tavo::CoolingStatus* status) {
    switch (type) {
    case BASIN_CAMERA:
        return queryCooling(tavo::kCoolingReplyLength, tavo::decodeBasinCooling, status);
    case RIDGE_CAMERA:
        return queryCooling(tavo::kRidgeCoolingReplyLength, tavo::decodeRidgeCooling, status);
    case LUMEN_CAMERA:
        return queryCooling(tavo::kCoolingReplyLength, tavo::decodeLumenCooling, status);
    case HERON_CAMERA:
    case GLINT_CAMERA: break;
    }
    return false;
}

void TavoCameraImpl::reportCooling(const tavo::CoolingStatus& status, COOLING_STATE* state,
                                   float* targetTemp, float* power) {
    *state = status.state;
    trace::inside("cooler state: %s", stateName(*state));
    if (targetTemp) {
        *targetTemp = sensorToCelsius(status.rawTarget);
        trace::inside("target temperature: %4.1f", double{*targetTemp});
    }
    if (power) {
        *power = tavo::powerPercent(status.rawPower, static_cast<std::uint32_t>(minCoolerPower),
                                    static_cast<std::uint32_t>(maxCoolerPower));
        trace::inside("power: %d%%", tavo::truncateToInt32(double{*power}));
    }
}

// Without a place for the state nothing is reported, not even the rest.
bool TavoCameraImpl::getCoolingStatus(COOLING_STATE* state, float* targetTemp, float* power) {
    trace::enter("TavoCameraImpl::getCoolingStatus(...)");
    if (!coolerControllable()) {
        trace::leave("TavoCameraImpl::getCoolingStatus 00");
        return refuse(message::kUnsupported);
    }
    lock();
    tavo::CoolingStatus status{};
    const bool ok = readCooling(&status);
    if (ok && state)
        reportCooling(status, state, targetTemp, power);
    unlock();
    if (!ok)
        refuse(message::kCoolingStatusFailed);
    trace::leave("TavoCameraImpl::getCoolingStatus %d", ok);
    return ok;
}

bool TavoCameraImpl::coolerControllable() const {
    return coolerType > COOLER_ALWAYSON;
}

std::uint16_t TavoCameraImpl::coolingValue(float value) {
    // A switch has one position: the least power that cools. The argument does not matter.
    if (coolerType == COOLER_ONOFF)
        return tavo::powerLevel(static_cast<std::uint32_t>(minCoolerPower) + 1);
    if (coolerType == COOLER_SELECTPOWER)
        return tavo::powerLevel(static_cast<std::uint32_t>(tavo::truncateToInt32(double{value})));
    return static_cast<std::uint16_t>(celsiusToSensor(value));
}

bool TavoCameraImpl::sendCooling(float value) {
    unsigned char reply[2] = {};
    bool ok = false, accepted = false;
    switch (type) {
    case BASIN_CAMERA:
    case RIDGE_CAMERA:
        ok = sendCommand(kSetCooling, coolingValue(value), reply, sizeof reply);
        accepted = reply[0] == 1;
        break;
    case LUMEN_CAMERA: {
        // A temperature whatever kind of cooler it is.
        const auto payload = tavo::Payload<2>{}.u16be(celsiusToSensor(value)).done();
        ok = sendCommand(kSetCooling, payload.data(), reply, payload.size(), sizeof reply);
        accepted = reply[1] == 1;
        break;
    }
    case HERON_CAMERA:
    case GLINT_CAMERA: break;
    }
    if (ok && !accepted)
        trace::inside("invalid response");
    return ok && accepted;
}

// Enters the trace by a shorter name than it leaves it.
bool TavoCameraImpl::setCooling(float value) {
    trace::enter("tavoSetCooling(%4.1f)", double{value});
    if (!coolerControllable()) {
        trace::leave("TavoCameraImpl::tavoSetCooling 00");
        return refuse(message::kUnsupported);
    }
    lock();
    const bool ok = sendCooling(value);
    unlock();
    if (!ok)
        refuse(message::kSetTemperatureFailed);
    trace::leave("TavoCameraImpl::setCooling %d", ok);
    return ok;
}

bool TavoCameraImpl::startWarmUp() {
    switch (type) {
    case BASIN_CAMERA:
    case RIDGE_CAMERA:
    case LUMEN_CAMERA: return sendCommand(kWarmUp);
    case HERON_CAMERA:
    case GLINT_CAMERA: break;
    }
    return false;
}

bool TavoCameraImpl::initiateWarmUp() {
    trace::enter("TavoCameraImpl::initiateWarmUp()");
    if (!coolerControllable()) {
        trace::leave("TavoCameraImpl::initiateWarmUp 00");
        return refuse(message::kUnsupported);
    }
    lock();
    const bool ok = startWarmUp();
    unlock();
    if (!ok)
        refuse(message::kWarmUpFailed);
    trace::leave("TavoCameraImpl::initiateWarmUp %d", ok);
    return ok;
}
