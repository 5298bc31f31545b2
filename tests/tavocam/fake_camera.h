// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_TESTS_FAKE_CAMERA_H
#define TAVOCAM_TESTS_FAKE_CAMERA_H

#include <array>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "clock.h"
#include "tavoccdusb.h"

// A clock that stands still until somebody sleeps.
class FakeClock : public tavocam::Clock {
public:
    double monotonic() const override { return now; }
    std::chrono::system_clock::time_point utc() const override;
    void sleepUntil(double monotonicDeadline) override;
    void advance(double seconds) { now += seconds; }

    double oversleep = 0; // seconds by which every sleep takes too long

    // 2026-01-31T22:15:00.250 UTC
    static constexpr long long kStartMilliseconds = 1769897700250;
    static constexpr double kStart = 5000;

private:
    double now = kStart;
};

// What a fake camera is and does; outlives the camera, so that a test can look at it afterwards.
struct FakeState {
    std::string name = "Tavo Ridge C";
    CAMERA_TYPE type = RIDGE_CAMERA;
    TavoCapabilities capabilities{};
    unsigned serial = 4711;
    std::array<unsigned, 2> version{2, 7};
    bool plugged = true;     // listed
    double readoutShare = 0; // seconds that delay() takes off

    std::vector<float> temperatures{20.0F}; // readings in turn; the last one repeats
    bool sensorKindKnown = true;
    COOLING_STATE coolingState = COOLING_INACTIVE;
    float coolingTarget = 0;
    unsigned filterCount = 5;
    unsigned filter = 1;
    unsigned filterTarget = 1;
    unsigned wheelPolls = 0;           // status reads until a move has arrived
    bool wheelStuck = false;           // stands still wherever it is told to go
    unsigned pollsPerMove = 2;         // what a move sets wheelPolls to
    std::vector<unsigned short> image; // what getImage delivers, repeated to fill the buffer

    std::set<std::string> failing;                  // operations that fail
    bool silent = false;                            // failures leave no text
    bool memoryShort = false;                       // getImage finds no memory
    std::function<void(const std::string&)> onCall; // told each recorded call
    std::vector<std::string> calls; // device operations in order, with their arguments
    bool opened = false;
    bool destroyed = false;
    bool locked = false; // between readCCD and getImage
    std::string error = "No error";
};

std::shared_ptr<FakeState> ridgeState();
std::shared_ptr<FakeState> lumenState();
std::shared_ptr<FakeState> glintState();
std::shared_ptr<FakeState> basinState();

// A camera that keeps the driver's rules and reports a test failure when they are broken.
class FakeCamera : public TavoCamera {
public:
    FakeCamera(std::shared_ptr<FakeState> shared, FakeClock& time);
    ~FakeCamera() override;

    const char* getName() override;
    bool open() override;
    void close() override;
    bool setParam(PARAM_TYPE param, long value) override;
    long getParam(PARAM_TYPE param) override;
    bool getCapabilities(const char** name, CAMERA_TYPE* type, bool* hasShutter, bool* hasGuidePort,
                         bool* has8BitMode, bool* hasFilterWheel, unsigned* gpioLineCount,
                         unsigned* pixelCountX, unsigned* pixelCountY, double* pixelSizeX,
                         double* pixelSizeY, unsigned* maxBinX, unsigned* maxBinY,
                         unsigned* tempSensorCount, COOLER_TYPE* coolerType,
                         COLOUR_TYPE* colourType, int* offsetX, int* offsetY,
                         bool* supportsLongExposure, double* minShortExposure,
                         double* maxShortExposure) override;
    bool getCapabilities(const char** name, CAMERA_TYPE* type,
                         TavoCapabilities* capabilities) override;
    bool getTemperatureSensorStatus(unsigned sensor, float* currentTemp) override;
    bool getCoolingStatus(COOLING_STATE* coolingState, float* targetTemp, float* power) override;
    bool setCooling(float target) override;
    bool initiateWarmUp() override;
    bool getFilterWheelStatus(unsigned* filterCount, bool* moving, unsigned* current,
                              unsigned* target) override;
    bool setFilter(unsigned index) override;
    bool setPreviewMode(bool on) override;
    bool set8BitMode(bool on) override;
    bool setDarkFrameMode(bool on) override;
    bool startExposure(bool startOption) override;
    bool abortExposure() override;
    bool readCCD(unsigned x, unsigned y, unsigned width, unsigned height, unsigned binX,
                 unsigned binY) override;
    bool readCCD(unsigned x, unsigned y, unsigned width, unsigned height, unsigned binX,
                 unsigned binY, double seconds) override;
    bool getImage(unsigned short* buffer, unsigned size) override;
    bool setShutter(bool open) override;
    bool setGuideRelays(unsigned short mask) override;
    bool setGPIODirection(unsigned short mask) override;
    bool getGPIO(unsigned short* lines) override;
    bool setGPIO(unsigned short lines) override;
    bool getGain(int* gain, int* offset) override;
    bool setGain(int gain, int offset) override;
    unsigned delay(double seconds) override;
    unsigned imageWidth(unsigned width, unsigned bin) override;
    unsigned imageHeight(unsigned height, unsigned bin) override;
    unsigned getSerialNumber() override;
    unsigned getVersionMajor() override;
    unsigned getVersionMinor() override;
    const char* getLastError() override;

private:
    bool called(const std::string& call);
    bool calledLocking(const std::string& call);
    bool refuse(const std::string& reason);

    std::shared_ptr<FakeState> state;
    FakeClock& clock;
    bool exposureStarted = false;
};

#endif
