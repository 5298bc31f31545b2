// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Applications that were compiled earlier call the operations by their place in the virtual table.
#include "tavoccdusb.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <new>
#include <string>

// Calls below go through pointers to plain functions, as a caller without the header would make
// them: on the platforms served, a member function takes its object as first argument.
#define TAVO_CALLS_BY_SLOT __attribute__((no_sanitize("undefined")))

namespace {

// Every operation notes its name and returns something of its own; the arguments that tell two
// overloads apart are noted too.
class Probe : public TavoCamera {
public:
    explicit Probe(std::string& notebook) : note(notebook) {}
    ~Probe() override { note = "destructor"; }

    const char* getName() override { return text("getName"); }
    bool open() override { return yes("open"); }
    void close() override { note = "close"; }
    bool setParam(PARAM_TYPE param, long value) override {
        return yes("setParam " + std::to_string(param) + " " + std::to_string(value));
    }
    long getParam(PARAM_TYPE param) override { return 10 * number<long>("getParam", param); }
    bool getCapabilities(const char**, CAMERA_TYPE*, bool*, bool*, bool*, bool*, unsigned*,
                         unsigned*, unsigned*, double*, double*, unsigned*, unsigned*, unsigned*,
                         COOLER_TYPE*, COLOUR_TYPE*, int*, int*, bool*, double*,
                         double* maxShortExposure) override {
        *maxShortExposure = 3.0;
        return yes("getCapabilities long");
    }
    bool getCapabilities(const char**, CAMERA_TYPE*, TavoCapabilities* capabilities) override {
        capabilities->maxBinX = 8;
        return yes("getCapabilities record");
    }
    bool getTemperatureSensorStatus(unsigned sensor, float* currentTemp) override {
        *currentTemp = -10.5F;
        return yes("getTemperatureSensorStatus " + std::to_string(sensor));
    }
    bool getCoolingStatus(COOLING_STATE* state, float*, float*) override {
        *state = WARMING_UP;
        return yes("getCoolingStatus");
    }
    bool setCooling(float target) override { return yes("setCooling " + std::to_string(target)); }
    bool initiateWarmUp() override { return yes("initiateWarmUp"); }
    bool getFilterWheelStatus(unsigned*, bool*, unsigned*, unsigned* target) override {
        *target = 5;
        return yes("getFilterWheelStatus");
    }
    bool setFilter(unsigned index) override { return yes("setFilter " + std::to_string(index)); }
    bool setPreviewMode(bool) override { return yes("setPreviewMode"); }
    bool set8BitMode(bool) override { return yes("set8BitMode"); }
    bool setDarkFrameMode(bool) override { return yes("setDarkFrameMode"); }
    bool startExposure(bool) override { return yes("startExposure"); }
    bool abortExposure() override { return yes("abortExposure"); }
    bool readCCD(unsigned, unsigned, unsigned, unsigned, unsigned, unsigned binY) override {
        return yes("readCCD " + std::to_string(binY));
    }
    bool readCCD(unsigned, unsigned, unsigned, unsigned, unsigned, unsigned binY,
                 double seconds) override {
        return yes("readCCD " + std::to_string(binY) + " " + std::to_string(seconds));
    }
    bool getImage(unsigned short* buffer, unsigned size) override {
        buffer[0] = 65000;
        return yes("getImage " + std::to_string(size));
    }
    bool setShutter(bool) override { return yes("setShutter"); }
    bool setGuideRelays(unsigned short mask) override {
        return yes("setGuideRelays " + std::to_string(mask));
    }
    bool setGPIODirection(unsigned short mask) override {
        return yes("setGPIODirection " + std::to_string(mask));
    }
    bool getGPIO(unsigned short* lines) override {
        *lines = 60000;
        return yes("getGPIO");
    }
    bool setGPIO(unsigned short lines) override { return yes("setGPIO " + std::to_string(lines)); }
    bool getGain(int* gain, int* offset) override {
        *gain = 63;
        *offset = 512;
        return yes("getGain");
    }
    bool setGain(int gain, int offset) override {
        return yes("setGain " + std::to_string(gain) + " " + std::to_string(offset));
    }
    unsigned delay(double seconds) override {
        note = "delay";
        return static_cast<unsigned>(seconds * 1e6);
    }
    unsigned imageWidth(unsigned width, unsigned bin) override {
        note = "imageWidth";
        return width / bin;
    }
    unsigned imageHeight(unsigned height, unsigned bin) override {
        note = "imageHeight";
        return height / bin;
    }
    unsigned getSerialNumber() override { return number("getSerialNumber", 4000000001U); }
    unsigned getVersionMajor() override { return number("getVersionMajor", 11U); }
    unsigned getVersionMinor() override { return number("getVersionMinor", 12U); }
    const char* getLastError() override { return text("getLastError"); }

private:
    bool yes(const std::string& name) {
        note = name;
        return true;
    }
    template <typename Number>
    Number number(const std::string& name, Number value) {
        note = name;
        return value;
    }
    const char* text(const char* name) {
        note = name;
        return name;
    }

    std::string& note;
};

class Slots : public testing::Test {
protected:
    ~Slots() override { delete probe; }

    // Calls the operation in a slot, counted from 1.
    template <typename Result, typename... Arguments>
    TAVO_CALLS_BY_SLOT Result call(std::size_t slot, Arguments... arguments) {
        using Operation = Result (*)(TavoCamera*, Arguments...);
        const Operation* table = nullptr;
        std::memcpy(&table, static_cast<const void*>(probe), sizeof table);
        return table[slot - 1](probe, arguments...);
    }

    template <typename... Arguments>
    void expectOperation(std::size_t slot, const std::string& wanted, Arguments... arguments) {
        EXPECT_TRUE((call<bool>(slot, arguments...))) << "slot " << slot;
        EXPECT_EQ(note, wanted) << "slot " << slot;
    }

    std::string note;
    TavoCamera* probe = new Probe(note);
};

TEST_F(Slots, OfLifeAndParameters) {
    EXPECT_STREQ(call<const char*>(1), "getName");
    expectOperation(2, "open");
    call<void>(3);
    EXPECT_EQ(note, "close");
    constexpr long kLargest = std::numeric_limits<long>::max();
    expectOperation(4, "setParam 3 " + std::to_string(kLargest), MAX_PACKET_SIZE, kLargest);
    EXPECT_EQ(call<long>(5, QUICKER_READ_CCD_DELAY), 20);
    EXPECT_EQ(note, "getParam");
}

TEST_F(Slots, OfCapabilities) {
    const char** const noText = nullptr;
    CAMERA_TYPE* const noType = nullptr;
    bool* const noBool = nullptr;
    unsigned* const noCount = nullptr;
    double* const noDouble = nullptr;
    COOLER_TYPE* const noCooler = nullptr;
    COLOUR_TYPE* const noColour = nullptr;
    int* const noInt = nullptr;
    double maxShortExposure = 0.0;
    expectOperation(6, "getCapabilities long", noText, noType, noBool, noBool, noBool, noBool,
                    noCount, noCount, noCount, noDouble, noDouble, noCount, noCount, noCount,
                    noCooler, noColour, noInt, noInt, noBool, noDouble, &maxShortExposure);
    EXPECT_EQ(maxShortExposure, 3.0);

    TavoCapabilities record = {};
    expectOperation(7, "getCapabilities record", noText, noType, &record);
    EXPECT_EQ(record.maxBinX, 8U);
}

TEST_F(Slots, OfCooling) {
    float temperature = 0.0F;
    float* const noFloat = nullptr;
    expectOperation(8, "getTemperatureSensorStatus 1", 1U, &temperature);
    EXPECT_EQ(temperature, -10.5F);
    COOLING_STATE state = COOLING_INACTIVE;
    expectOperation(9, "getCoolingStatus", &state, noFloat, noFloat);
    EXPECT_EQ(state, WARMING_UP);
    expectOperation(10, "setCooling -20.500000", -20.5F);
    expectOperation(11, "initiateWarmUp");
}

TEST_F(Slots, OfFilterWheelAndModes) {
    unsigned target = 0;
    unsigned* const noCount = nullptr;
    bool* const noBool = nullptr;
    expectOperation(12, "getFilterWheelStatus", noCount, noBool, noCount, &target);
    EXPECT_EQ(target, 5U);
    expectOperation(13, "setFilter 4", 4U);
    expectOperation(14, "setPreviewMode", true);
    expectOperation(15, "set8BitMode", true);
    expectOperation(16, "setDarkFrameMode", true);
}

TEST_F(Slots, OfExposureAndReadout) {
    expectOperation(17, "startExposure", true);
    expectOperation(18, "abortExposure");
    expectOperation(19, "readCCD 6", 1U, 2U, 3U, 4U, 5U, 6U);
    expectOperation(20, "readCCD 6 2.500000", 1U, 2U, 3U, 4U, 5U, 6U, 2.5);
    unsigned short pixel = 0;
    expectOperation(21, "getImage 77", &pixel, 77U);
    EXPECT_EQ(pixel, 65000);
}

TEST_F(Slots, OfAccessories) {
    using Mask = unsigned short;
    Mask lines = 0;
    expectOperation(22, "setShutter", true);
    expectOperation(23, "setGuideRelays 5", Mask{5});
    expectOperation(24, "setGPIODirection 6", Mask{6});
    expectOperation(25, "getGPIO", &lines);
    EXPECT_EQ(lines, 60000);
    expectOperation(26, "setGPIO 7", Mask{7});
    int gain = 0;
    int offset = 0;
    expectOperation(27, "getGain", &gain, &offset);
    EXPECT_EQ(gain, 63);
    EXPECT_EQ(offset, 512);
    expectOperation(28, "setGain 1 2", 1, 2);
}

TEST_F(Slots, OfArithmeticAndIdentity) {
    EXPECT_EQ(call<unsigned>(29, 1.5), 1500000U);
    EXPECT_EQ(note, "delay");
    EXPECT_EQ(call<unsigned>(30, 100U, 2U), 50U);
    EXPECT_EQ(note, "imageWidth");
    EXPECT_EQ(call<unsigned>(31, 90U, 3U), 30U);
    EXPECT_EQ(note, "imageHeight");
    EXPECT_EQ(call<unsigned>(32), 4000000001U);
    EXPECT_EQ(note, "getSerialNumber");
    EXPECT_EQ(call<unsigned>(33), 11U);
    EXPECT_EQ(call<unsigned>(34), 12U);
    EXPECT_STREQ(call<const char*>(35), "getLastError");
}

// A virtual destructor has two slots: the first destroys the object, the second frees it as well.
TEST_F(Slots, OfDestruction) {
    call<void>(37);
    probe = nullptr;
    EXPECT_EQ(note, "destructor");

    alignas(Probe) unsigned char storage[sizeof(Probe)];
    note.clear();
    probe = new (storage) Probe(note);
    call<void>(36);
    probe = nullptr;
    EXPECT_EQ(note, "destructor");
}

} // namespace
