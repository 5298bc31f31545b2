// SPDX-License-Identifier: LGPL-2.1-or-later
#include "lumen_host.h"

#include <gtest/gtest.h>

#include <string>

namespace tavo::virtualcamera::test {

namespace {

// A frame as it goes over the cable, and the reply to it without the transaction byte.
Bytes wire(LumenHost& host, const Bytes& frame, std::uint32_t reply) {
    if (host.device().bulkOut(0x04, frame) != Outcome::done)
        return {};
    const Reply answer = host.device().bulkIn(0x86, reply + 4);
    return answer.data.size() == reply + 4 ? Bytes(answer.data.begin() + 1, answer.data.end() - 3)
                                           : Bytes{};
}

unsigned wordAt(const Bytes& bytes, std::size_t offset) {
    return bytes[offset] * 256U + bytes[offset + 1];
}

std::string textAt(const Bytes& bytes, std::size_t offset) {
    std::string text;
    for (; wordAt(bytes, offset) != 0; offset += 2)
        text += static_cast<char>(bytes[offset + 1]);
    return text;
}

// Where the numbers after the two texts of a description begin.
std::size_t afterTexts(const Bytes& bytes) {
    const std::size_t maker = 4 + 2 * (textAt(bytes, 4).size() + 1);
    return maker + 2 * (textAt(bytes, maker).size() + 1);
}

Bytes description(LumenHost& host) {
    return host.send(1, {}, 128).value_or(Bytes(128));
}

} // namespace

TEST(Lumen, AnswersBothPingsGivenAsPlainBytes) {
    LumenHost host;
    host.reach();
    EXPECT_EQ(wire(host, {6, 0, 0, 2, 3,   0,   1,   0,    8,    0,    0, 0,
                          8, 0, 0, 0, 'C', 'M', 'D', 0xFD, 0x00, 0x7B, 0, 0},
                   8),
              (Bytes{'C', 'M', 'D', 0xFD, 0x00, 0x7B, 0x00, 0x7B}));
    EXPECT_EQ(wire(host, {6, 1, 0, 2, 3,   0,   1,   0,    8,    0,    0, 0,
                          8, 0, 0, 0, 'C', 'M', 'D', 0x50, 0x00, 0x7B, 0, 0},
                   8),
              (Bytes{'C', 'M', 'D', 0x50, 0x00, 0x7B, 0x00, 0x7C}));
}

TEST(Lumen, NeverAnswersTheApplicationPingWhenItIsToldNotTo) {
    Model model = smallLumen();
    model.answersPing = false;
    LumenHost host{model};
    host.bringUp();
    EXPECT_EQ(host.send(80, {0, 0x7B}, 2), (Bytes{0, 0}));
    EXPECT_EQ(host.send(253, {0, 0x7B}, 2), (Bytes{0, 0x7B}));
}

TEST(Lumen, DescribesItself) {
    LumenHost host;
    host.reach();
    const Bytes bytes = description(host);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 8), (Bytes{0, 7, 0, 2, 0, 'T', 0, 'a'}));
    EXPECT_EQ(textAt(bytes, 4), "Tavo Lumen A");
    EXPECT_EQ(textAt(bytes, 30), "Tavo");
    const std::size_t p = afterTexts(bytes);
    ASSERT_EQ(p, 40U);
    const unsigned expected[] = {0x1A09, 320, 240, 540, 540, 4, 4, 25500};
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(wordAt(bytes, p + 2 * i), expected[i]) << i;
    EXPECT_EQ(Bytes(bytes.begin() + 56, bytes.end()), Bytes(72)) << "nothing follows";
}

TEST(Lumen, ShowsWhatItLacksInItsFlags) {
    Model model = smallLumen();
    model.hasGuidePort = false;
    model.gpioLines = 0;
    model.has8BitMode = false;
    model.filterCount = 0;
    LumenHost host{model};
    host.reach();
    const Bytes bytes = description(host);
    EXPECT_EQ(wordAt(bytes, afterTexts(bytes)), 0x0109U);
}

TEST(Lumen, CutsALongNameSoThatItsDescriptionStaysWhole) {
    Model model = smallLumen();
    model.name = std::string(100, 'x');
    LumenHost host{model};
    host.reach();
    const Bytes bytes = description(host);
    EXPECT_EQ(textAt(bytes, 4), std::string(40, 'x'));
    EXPECT_EQ(wordAt(bytes, afterTexts(bytes) + 14), 25500U);
}

TEST(Lumen, TellsItsClearTimeFromVersion2On) {
    LumenHost host;
    host.reach();
    EXPECT_EQ(host.send(145, {}, 2), (Bytes{0, 250}));
    Model model = smallLumen();
    model.registerClearTime = 300 * kMillisecond;
    LumenHost slow{model};
    slow.reach();
    EXPECT_EQ(slow.send(145, {}, 2), (Bytes{0x01, 0x2C}));
    LumenHost first{modelOf(lumenModels(), "lumen-b")};
    first.reach();
    EXPECT_FALSE(first.send(145, {}, 2));
}

TEST(Lumen, IsBusyBeforeItsApplicationRuns) {
    LumenHost host;
    host.reach();
    EXPECT_FALSE(host.send(54, {}, 2));
    EXPECT_TRUE(host.logged("the application has not been started"));
    ASSERT_TRUE(host.send(44));
    unsigned busy = 0;
    Bytes status{0};
    while (status != Bytes{'I'}) {
        ASSERT_LT(++busy, 60U);
        EXPECT_FALSE(host.send(54, {}, 2));
        host.wait(0.01);
        status = host.exchange(status).value_or(Bytes{});
    }
    EXPECT_GT(busy, 1U);
    EXPECT_EQ(host.exchange({0x55}), Bytes{0x55}) << "told once, and then nothing but an echo";
    EXPECT_EQ(host.send(54, {}, 2), (Bytes{0, 2}));
}

TEST(Lumen, SendsBackWhatIsNoPacket) {
    LumenHost host;
    host.bringUp();
    EXPECT_EQ(host.exchange({'C', 'M', 'X', 54, 0, 0}), (Bytes{'C', 'M', 'X', 54, 0, 0}));
    EXPECT_TRUE(host.logged("no command packet"));
}

TEST(Lumen, ReadsItsTemperatures) {
    Model model = smallLumen();
    model.ambient = -10.0;
    LumenHost host{model};
    host.bringUp();
    // 50 degrees above the zero of the reading: 620 of 4095 steps over 330 degrees.
    EXPECT_EQ(host.send(55, {0, 1}, 6), (Bytes{0, 2, 620 >> 8, 620 & 0xFF, 0, 0}));
    EXPECT_EQ(host.send(55, {0, 0}, 6), host.send(55, {0, 1}, 6));
    EXPECT_TRUE(host.send(55, {0, 2}, 6));
    EXPECT_FALSE(host.send(55, {0, 3}, 6));
    EXPECT_FALSE(host.send(55, {1, 0}, 6)) << "the high byte comes first";
    model.temperatureBits = 10;
    LumenHost coarse{model};
    coarse.bringUp();
    EXPECT_EQ(coarse.send(55, {0, 1}, 6), (Bytes{0, 1, 0, 155, 0, 0}));
}

TEST(Lumen, DescribesItsCooler) {
    LumenHost host;
    host.bringUp();
    EXPECT_EQ(host.send(52, {}, 6), (Bytes{0, 0x11, 0, 210, 0, 10}));
    LumenHost uncooled{modelOf(lumenModels(), "lumen-b")};
    uncooled.bringUp();
    EXPECT_EQ(uncooled.send(52, {}, 6), (Bytes{0, 0x00, 0, 210, 0, 10}));
}

TEST(Lumen, RegulatesAndWarmsUp) {
    LumenHost host;
    host.bringUp();
    EXPECT_EQ(wordAt(*host.send(53, {}, 8), 2), 0U);
    EXPECT_EQ(host.send(56, {620 >> 8, 620 & 0xFF}, 2), (Bytes{0, 1}));
    host.wait(1.0);
    Bytes status = *host.send(53, {}, 8);
    EXPECT_EQ(wordAt(status, 0), 210U) << "all of its power at first";
    EXPECT_EQ(wordAt(status, 2), 0xC0U);
    EXPECT_EQ(wordAt(status, 4), 620U);
    host.wait(3600.0);
    EXPECT_NEAR(wordAt(*host.send(55, {0, 1}, 6), 2), 620, 1);
    status = *host.send(53, {}, 8);
    EXPECT_NEAR(wordAt(status, 0), 10 + 200.0 * 30 / 45, 2);
    EXPECT_NEAR(wordAt(status, 6), 620, 1);
    ASSERT_TRUE(host.send(57));
    EXPECT_EQ(wordAt(*host.send(53, {}, 8), 2), 0x60U);
    host.wait(3600.0);
    EXPECT_EQ(wordAt(*host.send(53, {}, 8), 2), 0U);
}

TEST(Lumen, RefusesATargetThatIsNoReading) {
    LumenHost host;
    host.bringUp();
    EXPECT_EQ(host.send(56, {0x10, 0x00}, 2), (Bytes{0, 0}));
    EXPECT_EQ(host.send(56, {0xFF, 0x40}, 2), (Bytes{0, 0}));
    Model model = smallLumen();
    model.cooler = CoolerKind::onOff;
    LumenHost switched{model};
    switched.bringUp();
    EXPECT_EQ(switched.send(56, {0xFF, 0x40}, 2), (Bytes{0, 0}));
}

TEST(Lumen, TakesATargetForACoolerOfAnyKind) {
    Model model = smallLumen();
    model.cooler = CoolerKind::onOff;
    LumenHost switched{model};
    switched.bringUp();
    EXPECT_EQ(switched.send(56, {620 >> 8, 620 & 0xFF}, 2), (Bytes{0, 1}));
    EXPECT_EQ(wordAt(*switched.send(53, {}, 8), 0), 210U);
    EXPECT_EQ(wordAt(*switched.send(53, {}, 8), 2), 0x40U);
    EXPECT_EQ(switched.send(56, {1200 >> 8, 1200 & 0xFF}, 2), (Bytes{0, 1}));
    EXPECT_EQ(wordAt(*switched.send(53, {}, 8), 2), 0U) << "warmer than it is";

    model.cooler = CoolerKind::selectPower;
    LumenHost driven{model};
    driven.bringUp();
    EXPECT_EQ(driven.send(56, {620 >> 8, 620 & 0xFF}, 2), (Bytes{0, 1}));
    driven.wait(3600.0);
    EXPECT_NEAR(wordAt(*driven.send(55, {0, 1}, 6), 2), 620, 1);
}

TEST(Lumen, TellsItsSerialNumber) {
    Model model = smallLumen();
    model.serial = 0x00031234;
    LumenHost host{model};
    host.bringUp();
    EXPECT_EQ(host.send(62, {}, 6), (Bytes{0, 0, 0, 3, 0x12, 0x34}));
}

TEST(Lumen, LoopsItsGpioOutputsBackAndPullsItsInputsUp) {
    LumenHost host;
    host.bringUp();
    EXPECT_EQ(host.send(130, {}, 4), (Bytes{0, 8, 0, 0xFF})) << "all of them inputs";
    ASSERT_TRUE(host.send(131, {0x00, 0x0F}));
    EXPECT_EQ(host.send(130, {}, 4), (Bytes{0, 8, 0, 0xF0}));
    ASSERT_TRUE(host.send(132, {0x00, 0x35}));
    EXPECT_EQ(host.send(130, {}, 4), (Bytes{0, 8, 0, 0xF5}));
    ASSERT_TRUE(host.send(131, {0x0F, 0x00}));
    EXPECT_EQ(host.send(130, {}, 4), (Bytes{0, 8, 0, 0xFF})) << "there are no such lines";
    Model model = smallLumen();
    model.gpioLines = 16;
    LumenHost wide{model};
    wide.bringUp();
    ASSERT_TRUE(wide.send(131, {0x12, 0x34}));
    EXPECT_EQ(wide.send(130, {}, 4), (Bytes{0, 16, 0xED, 0xCB}));
}

TEST(Lumen, ForgetsItsGpioLinesWhenItsApplicationStarts) {
    LumenHost host;
    host.bringUp();
    host.send(131, {0x00, 0x0F});
    host.startApplication();
    EXPECT_EQ(host.send(130, {}, 4), (Bytes{0, 8, 0, 0xFF}));
}

TEST(Lumen, TurnsItsFilterWheel) {
    LumenHost host;
    host.bringUp();
    EXPECT_EQ(host.send(135, {}, 8), (Bytes{0, 5, 0, 1, 0, 0, 0, 0})) << "looks for its first one";
    host.wait(5.0);
    EXPECT_EQ(host.send(135, {}, 8), (Bytes{0, 5, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(host.send(136, {0, 2}, 2), (Bytes{0, 1}));
    EXPECT_EQ(host.send(135, {}, 8), (Bytes{0, 5, 0, 1, 0, 0, 0, 2}));
    host.wait(0.5);
    EXPECT_EQ(host.send(135, {}, 8), (Bytes{0, 5, 0, 1, 0, 1, 0, 2}));
    host.wait(5.0);
    EXPECT_EQ(host.send(135, {}, 8), (Bytes{0, 5, 0, 0, 0, 2, 0, 2}));
    EXPECT_EQ(host.send(136, {0, 5}, 2), (Bytes{0, 0}));
    EXPECT_EQ(host.send(136, {1, 0}, 2), (Bytes{0, 0})) << "the high byte comes first";
}

TEST(Lumen, RefusesCommandsForWhatItLacks) {
    LumenHost host{modelOf(lumenModels(), "lumen-b")};
    host.bringUp();
    EXPECT_FALSE(host.send(130, {}, 4));
    EXPECT_FALSE(host.send(131, {0, 0}));
    EXPECT_FALSE(host.send(132, {0, 0}));
    EXPECT_FALSE(host.send(135, {}, 8));
    EXPECT_FALSE(host.send(136, {0, 0}, 2));
    LumenHost unguided{modelOf(lumenModels(), "lumen-c")};
    unguided.bringUp();
    for (std::uint8_t command = 20; command <= 24; ++command)
        EXPECT_FALSE(unguided.send(command)) << unsigned{command};
}

TEST(Lumen, KeepsTheColourMarkerInItsMemory) {
    for (unsigned phase = 0; phase < 4; ++phase) {
        Model model = smallLumen();
        makeColour(model, phase);
        LumenHost host{model};
        host.release();
        host.setI2cTimeout(5000);
        EXPECT_EQ(host.readEeprom(0xE8, 5),
                  (Bytes{0x84, 0xD9, 0x01, static_cast<std::uint8_t>(phase), 0x00}));
        EXPECT_EQ(host.readEeprom(3, 2), (Bytes{0x3B, 0xDF}));
    }
    LumenHost mono;
    mono.release();
    mono.setI2cTimeout(5000);
    EXPECT_EQ(mono.readEeprom(0xE8, 3), (Bytes{0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(modelOf(lumenModels(), "lumen-c").colourPhase, 1U);
}

} // namespace tavo::virtualcamera::test
