// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The one camera class. Its members are grouped by the folder that implements them.
#pragma once

#include "accessories/filter_wheel_codec.h"
#include "accessories/gain_codec.h"
#include "bringup/property_codec.h"
#include "core/lock.h"
#include "exposure/readout_codec.h"
#include "link/port_codec.h"
#include "tavoccdusb.h"
#include "thermal/cooler_codec.h"
#include "thermal/sensor_codec.h"

#include <atomic>
#include <cstdint>
#include <libusb.h>

namespace tavo {
class CameraPeer; // gives tests the private members
}

class TavoCameraImpl : public TavoCamera {
public:
    TavoCameraImpl(libusb_device* device, const char* name, CAMERA_TYPE type);
    ~TavoCameraImpl() override = default;
    TavoCameraImpl(const TavoCameraImpl&) = delete;
    TavoCameraImpl& operator=(const TavoCameraImpl&) = delete;

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
    bool getCoolingStatus(COOLING_STATE* state, float* targetTemp, float* power) override;
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
    friend class tavo::CameraPeer;

    // core
    std::atomic<std::int64_t>* parameter(PARAM_TYPE param, const char** label);
    void lock();
    void unlock();
    bool refuse(const char* reason) {
        lastError = reason;
        return false;
    }

    // link: bulk transport
    unsigned nextReadLength(unsigned left) const;
    bool bulkReadOnce(unsigned endpoint, unsigned length, unsigned char* data, unsigned* moved);
    bool bulkRead(unsigned endpoint, unsigned length, unsigned char* data);
    bool bulkWrite(unsigned endpoint, unsigned length, const unsigned char* data);
    bool bulkTransfer(unsigned code, bool replyPhase, unsigned subCode, unsigned paramA,
                      unsigned paramB, const unsigned char* out, unsigned char* in,
                      unsigned outLength, unsigned inLength);
    void flush();

    // link: parallel link
    bool setParTimeout(unsigned timeout);
    bool parInit(const unsigned char* table);
    bool parInit(unsigned mode);
    bool parIn(unsigned char* buffer, unsigned length);
    bool parInWithLastByte(unsigned char* buffer, unsigned length);
    bool requestParallel(unsigned length);
    bool readParallel(std::span<std::uint8_t> data, std::span<std::uint8_t> last);
    bool parOut(const unsigned char* buffer, unsigned length);

    // link: on-board buses
    bool setPortDirection(unsigned port, unsigned direction);
    bool setPortState(unsigned port, unsigned state);
    bool setIODir(unsigned line, unsigned output);
    bool setIOState(unsigned line, unsigned level);
    bool getIOState(unsigned line, unsigned* state);
    bool i2cSetSpeed(unsigned speed);
    bool i2cSetTimeout(unsigned timeout);
    bool i2cWrite(unsigned address, const unsigned char* data, unsigned length);
    bool i2cRead(unsigned address, unsigned char* buffer, unsigned length);
    bool eepRead(unsigned address, unsigned char* buffer, unsigned length);
    bool sendPortDirection(const tavo::PortChange& change);
    bool sendPortState(const tavo::PortChange& change);
    bool spiInit();
    bool spiWrite(unsigned target, unsigned value);
    bool shiftOut(unsigned word);
    bool setADC();

    // link: command protocol
    bool sendCommand(unsigned command, const unsigned char* argument, unsigned char* reply,
                     unsigned argumentLength, unsigned replyLength);
    bool sendCommand(unsigned command);
    bool query(unsigned command, std::span<std::uint8_t> reply);
    bool sendCommand(unsigned command, unsigned short value);
    bool sendCommand(unsigned command, unsigned short value, unsigned char* reply,
                     unsigned replyLength);
    bool sendCommandBasin(unsigned command, const unsigned char* argument, unsigned char* reply,
                          unsigned argumentLength, unsigned replyLength);
    bool sendCommandRidge(unsigned command, const unsigned char* argument, unsigned char* reply,
                          unsigned argumentLength, unsigned replyLength);
    bool sendCommandLumen(unsigned command, const unsigned char* argument, unsigned char* reply,
                          unsigned argumentLength, unsigned replyLength);
    bool getData(unsigned char* buffer, unsigned length);
    bool getData(unsigned* value);
    bool getString(char* buffer, unsigned size);
    bool ping();
    bool pingBasin();
    bool pingRidge();
    bool pingHeron();
    bool pingLumen();
    struct PingRule {
        unsigned command, attempts;
        long pause; // microseconds
        unsigned increment;
    };
    bool pingCounting(const PingRule& rule);
    bool appInit();

    // link: firmware and registers
    bool writeFW();
    bool writeController(unsigned address, const unsigned char* data, unsigned length);
    std::uint32_t readRegister(std::uint64_t address);
    int writeRegister(std::uint64_t address, std::uint32_t value);
    float readAbsValue(std::uint64_t address);
    void writeAbsValue(std::uint64_t address, float value);

    // bringup: what all families share
    enum class BringUp { failed, done, retry };
    static BringUp result(bool ok) { return ok ? BringUp::done : BringUp::failed; }
    bool openDevice();
    bool claimInterface();
    bool prepareController(bool ok);
    bool readProductId(unsigned* productId);
    void checkColour();
    BringUp bringUp(bool ok, unsigned productId);
    BringUp retryAllowed() const;
    void waitForRetry();
    bool finishOpen(bool ok);

    // bringup: a family each
    BringUp bringUpBasin(bool ok);
    BringUp bringUpRidge(bool ok, unsigned productId);
    BringUp bringUpHeron(bool ok);
    BringUp bringUpGlint(bool ok);
    BringUp bringUpLumen(bool ok);
    bool contactBasin(bool ok);
    bool contactHeron(bool ok);
    bool contactLumen(bool ok);
    bool describeBasin();
    bool describeRidge(unsigned productId);
    bool describeHeron();
    bool describeLumen();
    void setGlintFeatures();
    void identifyGlint();
    bool readVregClearTime(bool ok);
    bool readGPIOLineCount();
    bool readLumenSerial();

    // bringup: steps that some families share
    struct PixelCounts {
        unsigned x = 0, y = 0;
    };
    struct PixelCountRule {
        unsigned excess;     // taken off what the camera reports
        PixelCounts instead; // replaces what it reports, unless zero
    };
    static PixelCounts knownPixelCounts(unsigned productId);
    bool configureLines();
    bool readVersion();
    bool readName(const char* label);
    bool readNames();
    bool readFlags(unsigned traced, unsigned* flags);
    bool readPixelCounts(PixelCountRule rule);
    bool readPixelSizes();
    bool readBinning();
    bool readWellCapacity();
    using SensorCountDecoder = std::uint32_t (*)(const tavo::SensorCountReply&);
    using CoolerDecoder = tavo::CoolerProperties (*)(const tavo::CoolerReply&);
    bool learnTemperatureSensors(SensorCountDecoder decode);
    bool learnCooler(CoolerDecoder decode);
    bool readEepromSerial();
    bool settleFilterWheel(bool ok);

    // exposure
    bool startByCommands();
    bool startRidge();
    bool startHeron();
    bool startLumen();
    bool awaitLumen();
    bool refuseLongExposure();
    bool beginExposure();
    bool dropExposure();
    bool moveShutter(bool open);
    std::int64_t readoutOverhead() const;
    tavo::ReadoutModes readoutModes() const;
    bool regionAllowed(const tavo::Region& region) const;
    void storeRegion(const tavo::Region& region);
    void lengthenTimeout();
    bool sendReadout(std::span<const std::uint8_t> payload);
    bool requestReadout(const tavo::Region& region);
    bool requestBasin(const tavo::Region& region);
    bool requestRidge(const tavo::Region& region);
    bool requestHeron(const tavo::Region& region);
    bool requestLumen(const tavo::Region& region);
    bool expose(const tavo::Region& region, double seconds);
    bool exposeBasin(const tavo::Region& region, double seconds);
    bool exposeRidge(const tavo::Region& region, double seconds);
    bool exposeHeron(const tavo::Region& region, double seconds);
    bool exposeGlint(const tavo::Region& region, double seconds);
    bool exposeLumen(const tavo::Region& region, double seconds);
    static const char* glintRefusal(const tavo::Region& region, double seconds);
    void setGlintFormat(unsigned bin);
    void traceGlintRegisters();
    bool finishRequest(bool ok);
    bool fetch(std::span<std::uint16_t> output);
    bool fetchPixels(std::span<std::uint16_t> output);
    bool fetchHeron(std::span<std::uint16_t> output);
    bool fetchGlint(std::span<std::uint16_t> output);
    bool fetchLumen(std::span<std::uint16_t> output);
    void awaitHeron();
    tavo::BinnedWindow readWindow() const;
    void finishTransfer(bool ok);

    // thermal
    float sensorToCelsius(std::int32_t raw);
    std::uint32_t celsiusToSensor(float celsius);
    bool readSensor(unsigned sensor, float* currentTemp);
    using SensorDecoder = tavo::SensorReading (*)(const tavo::SensorReply&);
    bool readSensorByValue(unsigned sensor, SensorDecoder decode, float* currentTemp);
    bool readSensorGlint(float* currentTemp);
    bool readSensorLumen(unsigned sensor, float* currentTemp);
    static void reportTemperature(float* currentTemp, float celsius);
    bool coolerControllable() const;
    using CoolingDecoder = tavo::CoolingStatus (*)(const tavo::CoolingReply&);
    bool queryCooling(unsigned length, CoolingDecoder decode, tavo::CoolingStatus* status);
    bool readCooling(tavo::CoolingStatus* status);
    void reportCooling(const tavo::CoolingStatus& status, COOLING_STATE* state, float* targetTemp,
                       float* power);
    std::uint16_t coolingValue(float value);
    bool sendCooling(float value);
    bool startWarmUp();

    // accessories
    using WheelDecoder = tavo::WheelStatus (*)(const tavo::WheelReply&);
    bool queryWheel(WheelDecoder decode, tavo::WheelStatus* status);
    bool readWheel(tavo::WheelStatus* status);
    bool sendFilter(unsigned position);
    bool setRelays(unsigned pattern);
    bool setRelaysHeron(unsigned pattern);
    bool setRelaysByCommand(unsigned pattern);
    bool sendLines(unsigned command, std::uint16_t lines);
    bool readLines(std::uint16_t* lines);
    enum class GainBlockRead { ready, failed, noResponse };
    GainBlockRead readGainBlock(tavo::GainBlock* block);
    bool awaitGainBlock(tavo::GainBlock* block);

    libusb_device* const device;
    const char* const name;
    const CAMERA_TYPE type;

    // What the camera is, as the last open left it.
    bool hasShutter = false;
    bool hasGuidePort = false;
    bool has8BitMode = false;
    bool hasFilterWheel = false;
    bool hasGPIO = false;
    std::uint32_t pixelCountX = 0, pixelCountY = 0;
    double pixelSizeX = 0.0, pixelSizeY = 0.0; // micrometres
    std::uint32_t maxBinX = 0, maxBinY = 0;
    std::uint32_t tempSensorCount = 0;
    std::uint32_t tempSensorType = 0; // 0 until a status read names it
    std::uint32_t gpioLineCount = 0;
    COOLER_TYPE coolerType = COOLER_NONE;
    COLOUR_TYPE colourType = COLOUR_MONO;
    std::int32_t offsetX = 0, offsetY = 0;
    std::int32_t minCoolerPower = 0, maxCoolerPower = 0; // the camera's units
    std::int64_t vregClearTime = 0;                      // microseconds
    bool prechargeSubtraction = false;
    std::int32_t prechargeOffset = 0;
    std::uint32_t serialNumber = 0;
    std::uint32_t versionMajor = 0, versionMinor = 0;

    // The exposure cycle. These flags and the last error are read and written outside the lock,
    // where several threads may share a camera.
    std::atomic<bool> exposureStarted{false};
    std::atomic<bool> readoutPending{false};
    std::atomic<bool> startOption{false};
    std::atomic<bool> previewMode{false};
    std::atomic<bool> eightBitMode{false};
    std::atomic<bool> darkFrameMode{false};
    std::uint32_t readX = 0, readY = 0, readWidth = 0, readHeight = 0;
    std::uint32_t readXBin = 0, readYBin = 0;
    std::uint16_t guideRelayState = 0;

    // Set without the lock.
    std::atomic<std::int64_t> quickerStartExposureDelay{200000}; // microseconds
    std::atomic<std::int64_t> quickerReadCCDDelay{100000};       // microseconds
    std::atomic<std::int64_t> maxPacketSize{0x1800000};          // bytes

    libusb_device_handle* handle = nullptr; // null: not opened
    std::uint32_t bulkTimeout;              // milliseconds
    tavo::CameraLock mutex;
    std::int32_t openRetryCounter = 0;
    std::atomic<const char*> lastError{"No error"};
};
