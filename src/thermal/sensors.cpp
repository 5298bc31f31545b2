// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/messages.h"
#include "core/trace.h"
#include "link/registers.h"
#include "tavocameraimpl.h"
#include "thermal/conversion.h"
#include "thermal/sensor_codec.h"

namespace trace = tavo::trace;

namespace {
constexpr unsigned kReadSensor = 55;
}

void TavoCameraImpl::reportTemperature(float* currentTemp, float celsius) {
    *currentTemp = celsius;
    trace::inside("current temperature: %4.1f", double{celsius});
}

bool TavoCameraImpl::readSensorByValue(unsigned sensor, SensorDecoder decode, float* currentTemp) {
    tavo::SensorReply reply{};
    if (!sendCommand(kReadSensor, static_cast<unsigned short>(sensor), reply.data(), reply.size()))
        return false;
    const tavo::SensorReading reading = decode(reply);
    tempSensorType = reading.type;
    if (currentTemp)
        reportTemperature(currentTemp, sensorToCelsius(reading.raw));
    return true;
}

// Unlike the other two, this family may leave its kind of sensor open: then there is nothing to
// report, and no reason to stop.
bool TavoCameraImpl::readSensorLumen(unsigned sensor, float* currentTemp) {
    const auto payload = tavo::Payload<2>{}.u16be(sensor).done();
    tavo::SensorReply reply{};
    if (!sendCommand(kReadSensor, payload.data(), reply.data(), payload.size(), reply.size()))
        return false;
    const tavo::SensorReading reading = tavo::decodeLumenSensor(reply);
    tempSensorType = reading.type;
    trace::inside("temperature senzor type: %d", tempSensorType);
    if (currentTemp && tempSensorType != tavo::sensortype::kUnknown)
        reportTemperature(currentTemp, sensorToCelsius(reading.raw));
    return true;
}

bool TavoCameraImpl::readSensorGlint(float* currentTemp) {
    float unwanted = 0.0f;
    reportTemperature(currentTemp ? currentTemp : &unwanted,
                      tavo::glintCelsius(readRegister(tavo::reg::kTemperature)));
    return true;
}

bool TavoCameraImpl::readSensor(unsigned sensor, float* currentTemp) {
    switch (type) {
    case BASIN_CAMERA: return readSensorByValue(sensor, tavo::decodeBasinSensor, currentTemp);
    case RIDGE_CAMERA: return readSensorByValue(sensor, tavo::decodeRidgeSensor, currentTemp);
    case GLINT_CAMERA: return readSensorGlint(currentTemp);
    case LUMEN_CAMERA: return readSensorLumen(sensor, currentTemp);
    case HERON_CAMERA: break;
    }
    return false;
}

// Numbers 0 to tempSensorCount inclusive are accepted.
bool TavoCameraImpl::getTemperatureSensorStatus(unsigned sensor, float* currentTemp) {
    trace::enter("TavoCameraImpl::getTemperatureSensorStatus(%d, ...)", sensor);
    if (sensor > tempSensorCount) {
        trace::leave("TavoCameraImpl::getTemperatureSensorStatus 00");
        return refuse(tavo::message::kInvalidParameter);
    }
    lock();
    const bool ok = readSensor(sensor, currentTemp);
    unlock();
    if (!ok)
        refuse(tavo::message::kTemperatureSensorFailed);
    trace::leave("TavoCameraImpl::getTemperatureSensorStatus %d", ok);
    return ok;
}
