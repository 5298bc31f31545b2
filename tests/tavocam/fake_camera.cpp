// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake_camera.h"

#include <cmath>
#include <new>
#include <utility>

#include <gtest/gtest.h>

#include "text.h"

using tavocam::text;

std::chrono::system_clock::time_point FakeClock::utc() const {
    const auto passed = std::llround((now - kStart) * 1000);
    return std::chrono::system_clock::time_point(
        std::chrono::milliseconds(kStartMilliseconds + passed));
}

void FakeClock::sleepUntil(double monotonicDeadline) {
    if (monotonicDeadline > now)
        now = monotonicDeadline + oversleep;
}

std::shared_ptr<FakeState> ridgeState() {
    auto state = std::make_shared<FakeState>();
    TavoCapabilities& record = state->capabilities;
    record.hasShutter = true;
    record.hasFilterWheel = true;
    record.pixelCountX = 64;
    record.pixelCountY = 48;
    record.pixelSizeX = 6.45;
    record.pixelSizeY = 6.5;
    record.maxBinX = 4;
    record.maxBinY = 3;
    record.tempSensorCount = 2;
    record.coolerType = COOLER_SETPOINT;
    record.colourType = COLOUR_MONO;
    record.supportsLongExposure = true;
    record.minShortExposure = 0.001;
    record.maxShortExposure = 3;
    state->image = {100, 200, 300};
    return state;
}

std::shared_ptr<FakeState> lumenState() {
    auto state = ridgeState();
    state->name = "Tavo Lumen A";
    state->type = LUMEN_CAMERA;
    state->capabilities.hasShutter = false;
    return state;
}

std::shared_ptr<FakeState> glintState() {
    auto state = ridgeState();
    state->name = "Tavo Glint M";
    state->type = GLINT_CAMERA;
    TavoCapabilities& record = state->capabilities;
    record.hasShutter = record.hasFilterWheel = record.supportsLongExposure = false;
    record.maxBinX = record.maxBinY = 2;
    record.tempSensorCount = 0;
    record.coolerType = COOLER_NONE;
    record.maxShortExposure = 0.5;
    return state;
}

std::shared_ptr<FakeState> basinState() {
    auto state = ridgeState();
    state->name = "Tavo Basin A";
    state->type = BASIN_CAMERA;
    state->readoutShare = 2;
    state->capabilities.hasShutter = state->capabilities.hasFilterWheel = false;
    state->capabilities.maxShortExposure = 2.46;
    return state;
}

FakeCamera::FakeCamera(std::shared_ptr<FakeState> shared, FakeClock& time)
    : state(std::move(shared)), clock(time) {}

FakeCamera::~FakeCamera() {
    EXPECT_FALSE(state->opened) << "destroyed without being closed";
    EXPECT_FALSE(state->locked) << "readCCD was not followed by getImage";
    state->destroyed = true;
}

// Records a call; tells whether it is to succeed.
bool FakeCamera::called(const std::string& call) {
    state->calls.push_back(call);
    if (state->onCall)
        state->onCall(call);
    return state->failing.count(call.substr(0, call.find('('))) == 0;
}

bool FakeCamera::calledLocking(const std::string& call) {
    EXPECT_TRUE(state->opened) << call << " on a closed camera";
    EXPECT_FALSE(state->locked) << call << " would wait for ever for getImage";
    return called(call);
}

bool FakeCamera::refuse(const std::string& reason) {
    if (!state->silent)
        state->error = reason;
    return false;
}

const char* FakeCamera::getName() {
    return state->name.c_str();
}

bool FakeCamera::open() {
    state->opened = called("open()");
    return state->opened || refuse("Failed to open device");
}

void FakeCamera::close() {
    EXPECT_FALSE(state->locked) << "closed between readCCD and getImage";
    called("close()");
    state->opened = false;
}

bool FakeCamera::setParam(PARAM_TYPE param, long value) {
    return called(text("setParam(", param, ", ", value, ")"));
}

long FakeCamera::getParam(PARAM_TYPE /*param*/) {
    return 0;
}

bool FakeCamera::getCapabilities(const char**, CAMERA_TYPE*, bool*, bool*, bool*, bool*, unsigned*,
                                 unsigned*, unsigned*, double*, double*, unsigned*, unsigned*,
                                 unsigned*, COOLER_TYPE*, COLOUR_TYPE*, int*, int*, bool*, double*,
                                 double*) {
    ADD_FAILURE() << "the long form is not served by this fake";
    return false;
}

bool FakeCamera::getCapabilities(const char** name, CAMERA_TYPE* type,
                                 TavoCapabilities* capabilities) {
    if (!called("getCapabilities()"))
        return refuse("Device is not opened");
    if (name != nullptr)
        *name = state->name.c_str();
    if (type != nullptr)
        *type = state->type;
    *capabilities = state->capabilities;
    return true;
}

bool FakeCamera::getTemperatureSensorStatus(unsigned sensor, float* currentTemp) {
    if (!calledLocking(text("getTemperatureSensorStatus(", sensor, ")")))
        return refuse("Failed to read temperature sensor status");
    if (!state->sensorKindKnown)
        return true;
    *currentTemp = state->temperatures.front();
    if (state->temperatures.size() > 1)
        state->temperatures.erase(state->temperatures.begin());
    return true;
}

bool FakeCamera::getCoolingStatus(COOLING_STATE* coolingState, float* targetTemp, float* power) {
    if (!calledLocking("getCoolingStatus()"))
        return refuse("Failed to set cooling status");
    EXPECT_TRUE(state->sensorKindKnown || targetTemp == nullptr) << "this ends the process";
    *coolingState = state->coolingState;
    if (targetTemp != nullptr)
        *targetTemp = state->coolingTarget;
    if (power != nullptr)
        *power = 42;
    return true;
}

bool FakeCamera::setCooling(float target) {
    if (!calledLocking(text("setCooling(", target, ")")))
        return refuse("Failed to set temperature");
    EXPECT_TRUE(state->sensorKindKnown) << "this ends the process";
    state->coolingState = COOLING_SETPOINT;
    state->coolingTarget = target;
    return true;
}

bool FakeCamera::initiateWarmUp() {
    return calledLocking("initiateWarmUp()") || refuse("Failed to initiate warmup");
}

bool FakeCamera::getFilterWheelStatus(unsigned* filterCount, bool* moving, unsigned* current,
                                      unsigned* target) {
    if (!calledLocking("getFilterWheelStatus()"))
        return refuse("Failed to get filter wheel status");
    if (state->wheelPolls > 0)
        --state->wheelPolls;
    else
        state->filter = state->wheelStuck ? state->filter : state->filterTarget;
    *filterCount = state->filterCount;
    *moving = !state->wheelStuck && state->filter != state->filterTarget;
    *current = state->filter;
    *target = state->filterTarget;
    return true;
}

bool FakeCamera::setFilter(unsigned index) {
    if (!calledLocking(text("setFilter(", index, ")")))
        return refuse("Failed to set filter");
    state->filterTarget = index;
    state->wheelPolls = state->pollsPerMove;
    return true;
}

bool FakeCamera::setPreviewMode(bool on) {
    return called(text("setPreviewMode(", on, ")"));
}

bool FakeCamera::set8BitMode(bool on) {
    return called(text("set8BitMode(", on, ")"));
}

bool FakeCamera::setDarkFrameMode(bool on) {
    return called(text("setDarkFrameMode(", on, ")"));
}

bool FakeCamera::startExposure(bool startOption) {
    exposureStarted = calledLocking(text("startExposure(", startOption, ")"));
    return exposureStarted || refuse("Failed to start exposure");
}

bool FakeCamera::abortExposure() {
    exposureStarted = false;
    return calledLocking("abortExposure()");
}

bool FakeCamera::readCCD(unsigned x, unsigned y, unsigned width, unsigned height, unsigned binX,
                         unsigned binY) {
    EXPECT_TRUE(exposureStarted) << "operation out of sequence";
    exposureStarted = false;
    const bool succeeds = calledLocking(
        text("readCCD(", x, ",", y, ",", width, ",", height, ",", binX, ",", binY, ")"));
    clock.advance(state->readoutShare);
    state->locked = succeeds;
    return succeeds || refuse("Failed to read CCD");
}

bool FakeCamera::readCCD(unsigned x, unsigned y, unsigned width, unsigned height, unsigned binX,
                         unsigned binY, double seconds) {
    const bool succeeds = calledLocking(text("readCCD(", x, ",", y, ",", width, ",", height, ",",
                                             binX, ",", binY, ",", seconds, ")"));
    if (state->type != GLINT_CAMERA)
        clock.advance(seconds);
    state->locked = succeeds;
    return succeeds || refuse("Failed to read CCD");
}

bool FakeCamera::getImage(unsigned short* buffer, unsigned size) {
    EXPECT_TRUE(state->locked) << "operation out of sequence";
    state->locked = false;
    const bool succeeds = called(text("getImage(", size, ")"));
    if (state->memoryShort)
        throw std::bad_alloc();
    for (unsigned index = 0; index < size; ++index)
        buffer[index] = state->image[index % state->image.size()];
    return succeeds || refuse("Failed to get image");
}

bool FakeCamera::setShutter(bool open) {
    return calledLocking(text("setShutter(", open, ")"));
}

bool FakeCamera::setGuideRelays(unsigned short mask) {
    return calledLocking(text("setGuideRelays(", mask, ")"));
}

bool FakeCamera::setGPIODirection(unsigned short mask) {
    return calledLocking(text("setGPIODirection(", mask, ")"));
}

bool FakeCamera::getGPIO(unsigned short* lines) {
    *lines = 0;
    return calledLocking("getGPIO()");
}

bool FakeCamera::setGPIO(unsigned short lines) {
    return calledLocking(text("setGPIO(", lines, ")"));
}

bool FakeCamera::getGain(int* gain, int* offset) {
    if (!calledLocking("getGain()"))
        return refuse("Failed to set gain");
    *gain = 12;
    *offset = 34;
    return true;
}

bool FakeCamera::setGain(int gain, int offset) {
    return calledLocking(text("setGain(", gain, ", ", offset, ")"));
}

unsigned FakeCamera::delay(double seconds) {
    EXPECT_LE(seconds, 2147) << "delay() serves no longer exposures";
    return static_cast<unsigned>(std::max(0.0, seconds - state->readoutShare) * 1e6);
}

unsigned FakeCamera::imageWidth(unsigned width, unsigned bin) {
    return state->type == LUMEN_CAMERA ? (width + bin - 1) / bin : width / bin;
}

unsigned FakeCamera::imageHeight(unsigned height, unsigned bin) {
    return height / bin;
}

unsigned FakeCamera::getSerialNumber() {
    return state->opened ? state->serial : 0;
}

unsigned FakeCamera::getVersionMajor() {
    return state->version[0];
}

unsigned FakeCamera::getVersionMinor() {
    return state->version[1];
}

const char* FakeCamera::getLastError() {
    return state->error.c_str();
}
