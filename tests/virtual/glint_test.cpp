// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The registers of a Glint camera and the requests that reach them.
#include "camera/catalogue.h"
#include "glint_host.h"

#include <gtest/gtest.h>

#include <limits>

namespace tavo::virtualcamera::test {

using virtualusb::Bytes;
using virtualusb::Outcome;

TEST(Glint, HasOneBulkPipeInItsOnlySetting) {
    GlintHost host{glintModel("glint-c")};
    const Bytes descriptors = host.device().descriptors();
    EXPECT_EQ(descriptors[10], 0x04);
    EXPECT_EQ(descriptors[11], 0x20);
    EXPECT_EQ(Bytes(descriptors.begin() + 18, descriptors.end()),
              (Bytes{9, 2,    25,   0,    1, 1, 0, 0xC0, 0, 9, 4, 0, 0,
                     1, 0xFF, 0xFF, 0xFF, 0, 7, 5, 0x81, 2, 0, 2, 0}));
    EXPECT_EQ(host.device().setAlternateSetting(0, 0), Outcome::done);
    EXPECT_EQ(host.device().setAlternateSetting(0, 1), Outcome::stalled);
    EXPECT_EQ(host.device().setAlternateSetting(1, 0), Outcome::stalled);
    EXPECT_EQ(host.device().bulkOut(0x04, Bytes(16)), Outcome::stalled);
    EXPECT_EQ(host.device().bulkIn(0x86, 4).outcome, Outcome::stalled);
}

TEST(Glint, NamesItself) {
    GlintHost host{glintModel("glint-m")};
    const auto text = host.device().controlIn({0x80, 6, 0x0302, 0x0409, 255});
    ASSERT_EQ(text.data.size(), 26U);
    EXPECT_EQ(text.data[2], 'T');
    EXPECT_EQ(text.data[24], 'M');
}

TEST(Glint, IsBroughtUpByPlainBytes) {
    GlintHost host;
    const auto write = [&host](std::uint16_t offset, const Bytes& data) {
        EXPECT_EQ(host.device().controlOut({0x40, 0x7F, offset, 0xF0F0, 4}, data), Outcome::done)
            << offset;
    };
    write(0x0000, {0, 0, 0, 0x80});
    host.wait(0.001);
    write(0x081C, {0, 0, 0, 0xC2});
    write(0x083C, {0, 0, 0, 0xC2});
    write(0x0804, {0, 0, 0, 0xC0});
    write(0x0800, {0, 0, 0, 0xC2});
    write(0x0938, {0, 0, 0, 0x40});
    write(0x0818, {0, 0, 0, 0xC2});
    write(0x0948, {0, 0, 0x80, 0x3F});
    write(0x0820, {0, 0, 0, 0xC2});
    write(0x0928, {0, 0, 0x80, 0x3F});
    EXPECT_EQ(host.log(),
              (std::vector<std::string>{
                  "write initialise: all registers as at power-up",
                  "write shutter control: on, in absolute values",
                  "write frame rate control: on, in absolute values",
                  "write automatic exposure control: off, in absolute values",
                  "write brightness control: on, in absolute values", "write brightness: 2 %",
                  "write gamma control: on, in absolute values", "write gamma: 1",
                  "write gain control: on, in absolute values", "write gain: 1 dB"}));
    const auto gain = host.device().controlIn({0xC0, 0x7F, 0x0928, 0xF0F0, 4});
    EXPECT_EQ(gain.outcome, Outcome::done);
    EXPECT_EQ(gain.data, (Bytes{0, 0, 0x80, 0x3F}));
}

TEST(Glint, TellsWhatItIsAtAnyTime) {
    Model model = glintModel("glint-m");
    model.versionMajor = 1;
    model.versionMinor = 2;
    model.serial = 0xFEDCBA98;
    GlintHost host{model};
    const std::uint32_t version = host.read(0x1F60).value_or(0);
    EXPECT_EQ(version & 0xFFFFF000, 0x01020000U);
    EXPECT_NE(version & 0xFFF, 0U) << "revision";
    EXPECT_EQ(host.read(0x1F20), 0xFEDCBA98);
    const std::uint32_t board = host.read(0x1F24).value_or(0);
    EXPECT_EQ(board >> 20, 0x45U);
    EXPECT_TRUE(host.logged("read version: 1.2 revision "));
    EXPECT_TRUE(host.logged("read serial number: 4275878552"));
    EXPECT_TRUE(host.logged("read board: 0x45"));
    EXPECT_NE(GlintHost{glintModel("glint-c")}.read(0x1F24), board);
}

TEST(Glint, CountsItsSecondsBelowAFlag) {
    GlintHost host;
    host.wait(75.9);
    EXPECT_EQ(host.read(0x12E0), 0x10000000U + 75);
    host.bringUp();
    EXPECT_EQ(host.read(0x12E0), 0x10000000U + 75) << "goes on through an initialisation";
    host.device().reset();
    host.wait(2.0);
    EXPECT_EQ(host.read(0x12E0), 0x10000000U + 2);
}

TEST(Glint, IsWarmerThanItsSurroundings) {
    for (const double ambient : {-40.0, 20.0, 50.0}) {
        Model model = smallGlint();
        model.ambient = ambient;
        GlintHost host{model};
        const std::uint32_t word = host.read(0x082C).value_or(0);
        EXPECT_NEAR((word & 0xFFF) / 10.0 - 273.15, ambient + 8.0, 0.051);
        EXPECT_NE(word & ~0xFFFU, 0U) << "a host must mask the reading";
    }
}

TEST(Glint, RefusesWhatReachesNoRegister) {
    GlintHost host;
    const auto in = [&host](const virtualusb::SetupPacket& setup) {
        return host.device().controlIn(setup).outcome;
    };
    const auto out = [&host](const virtualusb::SetupPacket& setup) {
        return host.device().controlOut(setup, Bytes(setup.length));
    };
    ASSERT_EQ(in({0xC0, 0x7F, 0x1F60, 0xF0F0, 4}), Outcome::done);
    EXPECT_EQ(in({0xC0, 0x7F, 0x1F64, 0xF0F0, 4}), Outcome::stalled) << "no such register";
    EXPECT_EQ(in({0xC0, 0x7F, 0x1F60, 0xFFFF, 4}), Outcome::stalled) << "elsewhere";
    EXPECT_EQ(in({0xC0, 0x7F, 0x1F60, 0xF0F0, 2}), Outcome::stalled) << "half of it";
    EXPECT_EQ(in({0xC0, 0x7F, 0x1F60, 0xF0F0, 8}), Outcome::stalled) << "two of them";
    EXPECT_EQ(in({0xC1, 0x7F, 0x1F60, 0xF0F0, 4}), Outcome::stalled) << "to the interface";
    EXPECT_EQ(in({0xC0, 0xA0, 0x1F60, 0xF0F0, 4}), Outcome::stalled) << "no microcontroller";
    EXPECT_EQ(in({0xC0, 0x7F, 0x0000, 0xF0F0, 4}), Outcome::stalled) << "write-only";

    ASSERT_EQ(out({0x40, 0x7F, 0x0800, 0xF0F0, 4}), Outcome::done);
    EXPECT_EQ(out({0x40, 0x7F, 0x0808, 0xF0F0, 4}), Outcome::stalled) << "no such register";
    EXPECT_EQ(out({0x40, 0x7F, 0x0800, 0x0000, 4}), Outcome::stalled) << "elsewhere";
    EXPECT_EQ(out({0x40, 0x7F, 0x0800, 0xF0F0, 3}), Outcome::stalled) << "too short";
    EXPECT_EQ(out({0x41, 0x7F, 0x0800, 0xF0F0, 4}), Outcome::stalled) << "to the interface";
    EXPECT_EQ(out({0x40, 0xA0, 0xE600, 0x0000, 1}), Outcome::stalled) << "no microcontroller";
    for (const int readOnly : {0x0628, 0x082C, 0x12E0, 0x1F20, 0x1F24, 0x1F60})
        EXPECT_FALSE(host.write(static_cast<std::uint16_t>(readOnly), 0)) << readOnly;
    EXPECT_TRUE(host.logged("0x1f64: refused, there is none"));
    EXPECT_TRUE(host.logged("0x0000: refused, it is write-only"));
    EXPECT_TRUE(host.logged("0x0628: refused, it is read-only"));
    EXPECT_TRUE(host.logged("refused, a register has 4 bytes"));
    EXPECT_TRUE(host.logged("refused, there is nothing at that address"));
    EXPECT_TRUE(host.logged("refused, there is no such request"));
}

TEST(Glint, TakesNothingBeforeItIsInitialised) {
    GlintHost host;
    EXPECT_TRUE(host.write(0x0800, 0xC2000000));
    EXPECT_EQ(host.read(0x0800), 0x83000000U);
    EXPECT_TRUE(host.write(0x0608, 0x40000000));
    EXPECT_EQ(host.read(0x0608), 0U);
    EXPECT_TRUE(host.logged("brightness control: the camera has not been initialised, ignored"));
    host.write(0x0000, 0x00000080);
    host.write(0x0800, 0xC2000000);
    EXPECT_EQ(host.read(0x0800), 0x83000000U) << "another value does not initialise";
}

TEST(Glint, NeedsAMomentToStart) {
    GlintHost host;
    host.write(0x0000, 0x80000000);
    EXPECT_FALSE(host.write(0x0800, 0xC2000000));
    EXPECT_FALSE(host.read(0x1F60));
    host.wait(0.001);
    EXPECT_TRUE(host.write(0x0800, 0xC2000000));
    EXPECT_TRUE(host.read(0x1F60));
}

TEST(Glint, InitialisingAndAResetForgetTheFeatures) {
    GlintHost host;
    host.bringUp();
    host.initialise();
    EXPECT_EQ(host.read(0x0820), 0x83000000U);
    EXPECT_EQ(host.readFloat(0x0928), 0.0F);
    host.bringUp();
    EXPECT_EQ(host.readFloat(0x0928), 1.0F);
    host.device().reset();
    EXPECT_EQ(host.readFloat(0x0928), 0.0F);
    host.write(0x0820, 0xC2000000);
    EXPECT_EQ(host.read(0x0820), 0x83000000U) << "is to be initialised again";
}

// Every bit of the control word matters.
TEST(Glint, TakesValuesOnlyWhenItsHostIsInCharge) {
    for (const std::uint32_t control : {0x83000000U, 0x80000000U, 0xC0000000U, 0x82000000U,
                                        0xC3000000U, 0x42000000U, 0x02000000U, 0xC2000001U}) {
        GlintHost host;
        host.bringUp();
        host.initialise();
        host.write(0x0800, control);
        host.writeFloat(0x0938, 3.0F);
        EXPECT_EQ(host.readFloat(0x0938), 0.0F) << std::hex << control;
        EXPECT_TRUE(host.logged("write brightness: 3 %, ignored, the camera is in charge of it"));
    }
    GlintHost host;
    host.initialise();
    host.write(0x0800, 0xC2000000);
    host.writeFloat(0x0938, 3.0F);
    EXPECT_EQ(host.readFloat(0x0938), 3.0F);
    host.write(0x0800, 0x82000000);
    EXPECT_EQ(host.readFloat(0x0938), 0.0F) << "is taken back";
}

TEST(Glint, KeepsItsControlRegistersFromBitsItDoesNotKnow) {
    GlintHost host;
    host.bringUp();
    for (const std::uint32_t bits : {0x42000000U, 0xC2000001U, 0xC6000000U, 0x000000C2U}) {
        host.write(0x0800, bits);
        EXPECT_EQ(host.read(0x0800), 0xC2000000U) << std::hex << bits;
        EXPECT_EQ(host.readFloat(0x0938), 2.0F) << std::hex << bits;
    }
    EXPECT_TRUE(host.logged("write brightness control: 0x000000c2 means nothing, ignored"));
}

TEST(Glint, ValuesNeedTheirOwnControlRegister) {
    const std::pair<std::uint16_t, std::uint16_t> pairs[] = {
        {0x0800, 0x0938}, {0x0818, 0x0948}, {0x081C, 0x0918}, {0x0820, 0x0928}, {0x083C, 0x0968}};
    for (const auto& [control, value] : pairs) {
        GlintHost host;
        host.bringUp();
        host.writeFloat(value, 2.0F);
        const float set = host.readFloat(value);
        host.write(control, 0x83000000);
        const float automatic = host.readFloat(value);
        EXPECT_NE(set, automatic) << control;
        host.writeFloat(value, 2.0F);
        EXPECT_EQ(host.readFloat(value), automatic) << control;
    }
}

TEST(Glint, AutomaticExposureKeepsShutterAndGain) {
    for (const std::uint32_t control : {0x83000000U, 0xC2000000U, 0xC1000000U}) {
        GlintHost host;
        host.bringUp();
        host.write(0x0804, control);
        host.writeFloat(0x0918, 0.05F);
        host.writeFloat(0x0928, 5.0F);
        host.writeFloat(0x0938, 5.0F);
        EXPECT_EQ(host.readFloat(0x0918), 0.01F) << std::hex << control;
        EXPECT_EQ(host.readFloat(0x0928), 0.0F) << std::hex << control;
        EXPECT_EQ(host.readFloat(0x0938), 5.0F) << "brightness is no part of it";
    }
}

TEST(Glint, KeepsValuesWithinTheirLimits) {
    GlintHost host;
    host.bringUp();
    struct Limits {
        std::uint16_t offset;
        float low;
        float high;
    };
    for (const Limits& each : {Limits{0x0938, 0.0F, 6.25F},
                               {0x0948, 0.5F, 4.0F},
                               {0x0928, 0.0F, 24.0F},
                               {0x0918, 0.00001F, 0.066657F},
                               {0x0968, 1.875F, 15.0F}}) {
        host.writeFloat(each.offset, -1000.0F);
        EXPECT_EQ(host.readFloat(each.offset), each.low) << each.offset;
        host.writeFloat(each.offset, std::numeric_limits<float>::quiet_NaN());
        EXPECT_EQ(host.readFloat(each.offset), each.low) << each.offset;
        if (each.offset == 0x0968)
            host.writeFloat(0x0918, 0.00001F);
        host.writeFloat(each.offset, std::numeric_limits<float>::infinity());
        EXPECT_EQ(host.readFloat(each.offset), each.high) << each.offset;
    }
    EXPECT_TRUE(host.logged("write gain: inf dB, becomes 24 dB"));
    EXPECT_TRUE(host.logged("write gain: nan dB, ignored, it is no number"));
}

TEST(Glint, TheFrameRateLimitsTheShutter) {
    GlintHost host;
    host.bringUp();
    const std::pair<float, float> limits[] = {
        {15.0F, 0.066657F}, {7.5F, 0.133282F}, {3.75F, 0.266282F}, {1.875F, 0.532782F}};
    for (const auto& [rate, longest] : limits) {
        host.writeFloat(0x0968, rate);
        host.writeFloat(0x0918, longest);
        EXPECT_EQ(host.readFloat(0x0918), longest) << rate;
        host.writeFloat(0x0918, longest + 0.001F);
        EXPECT_EQ(host.readFloat(0x0918), longest) << rate;
    }
    host.writeFloat(0x0968, 7.5F);
    EXPECT_EQ(host.readFloat(0x0918), 0.133282F) << "is shortened by a faster rate";
    host.writeFloat(0x0968, 1.875F);
    EXPECT_EQ(host.readFloat(0x0918), 0.133282F) << "and stays so";
}

TEST(Glint, HasFourFrameRates) {
    GlintHost host;
    host.bringUp();
    const std::pair<float, float> rates[] = {{14.9F, 7.5F},  {7.5F, 7.5F},   {7.4F, 3.75F},
                                             {3.0F, 1.875F}, {1.0F, 1.875F}, {30.0F, 15.0F}};
    for (const auto& [wanted, had] : rates) {
        host.writeFloat(0x0968, wanted);
        EXPECT_EQ(host.readFloat(0x0968), had) << wanted;
    }
}

TEST(Glint, TakesTheOptionsItHasAUseFor) {
    const std::pair<const char*, const char*> taken[] = {
        {"serial", "4294967295"}, {"seed", "7"},     {"ambient", "-12.5"},
        {"drift-x", "-10"},       {"drift-y", "10"}, {"periodic-error", "600"},
        {"period", "1"},          {"colour", "3"}};
    for (const auto& [name, value] : taken)
        EXPECT_TRUE(makeCamera("glint-m", {{name, value}}, 1.0, {})) << name;
    for (const char* name :
         {"shutter", "wheel", "guide", "guide-rate", "ping", "cooler", "firmware"})
        EXPECT_THROW(makeCamera("glint-m", {{name, "0"}}, 1.0, {}), std::invalid_argument) << name;
}

} // namespace tavo::virtualcamera::test
