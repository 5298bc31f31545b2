// SPDX-License-Identifier: LGPL-2.1-or-later
#include "heron_host.h"

#include "camera/catalogue.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>
#include <utility>

namespace tavo::virtualcamera::test {

namespace {

// The header of a framed request, the numbers of bytes after it included.
bool sendPlain(HeronHost& host, Bytes frame) {
    static std::uint8_t transaction = 0;
    frame[1] = transaction++;
    return host.device().bulkOut(0x04, frame) == Outcome::done;
}

bool setLine(HeronHost& host, std::uint8_t mask, std::uint8_t value) {
    return sendPlain(host, {1,    0,     0,   0, 0,   0, 0,   0, 0,   0, 0, 0, 16, 0, 0, 0,
                            mask, value, 255, 0, 255, 0, 255, 0, 255, 0, 0, 0, 0,  0, 0, 0});
}

bool setDirection(HeronHost& host, std::uint8_t mask, std::uint8_t value) {
    return sendPlain(host, {2, 0, 0, 0,    0,     0,    0, 0,    0, 0,    0, 0,    10,
                            0, 0, 0, mask, value, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0});
}

Bytes writePlain(HeronHost& host, std::uint8_t high, std::uint8_t low) {
    EXPECT_TRUE(sendPlain(host, {6, 0, 0, 1, 0, 0, 1, 0, 2, 0, 0, 0, 2, 0, 0, 0, high, low}));
    return host.device().bulkIn(0x86, 6).data;
}

bool loadPlain(HeronHost& host, const Bytes& table) {
    Bytes frame{8, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(table.size()),
                0, 0, 0};
    frame.insert(frame.end(), table.begin(), table.end());
    return sendPlain(host, frame) && host.device().bulkIn(0x86, 4).data.size() == 4;
}

void programPlain(HeronHost& host, const std::vector<std::uint16_t>& words) {
    for (const std::uint16_t word : words) {
        setLine(host, 0xBF, 0x00);
        setLine(host, 0xFB, 0x00);
        for (int bit = 15; bit >= 0; --bit) {
            setLine(host, 0xDF, (word >> bit & 1) != 0 ? 0x20 : 0x00);
            setLine(host, 0xBF, 0x40);
            setLine(host, 0xBF, 0x00);
        }
        setLine(host, 0xFB, 0x04);
    }
}

} // namespace

TEST(Heron, ComesUpOverPlainBytes) {
    HeronHost host;
    host.release();
    ASSERT_TRUE(setDirection(host, 0x00, 0x9F));
    ASSERT_TRUE(setLine(host, 0x00, 0x80));
    ASSERT_TRUE(sendPlain(host, {12, 0, 0, 1, 50, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    ASSERT_TRUE(sendPlain(host, {12, 0, 0, 0, 0x30, 0x75, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    ASSERT_TRUE(sendPlain(host, {5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    ASSERT_TRUE(loadPlain(host, flowStateTable()));
    ASSERT_TRUE(loadPlain(host, slowLinkTable()));
    const std::array<std::uint8_t, 2> directions[] = {{0xFE, 0x01}, {0xFD, 0x02}, {0xFB, 0x04},
                                                      {0xF7, 0x00}, {0xEF, 0x00}, {0xDF, 0x20},
                                                      {0xBF, 0x40}, {0x7F, 0x80}};
    for (const auto& [mask, value] : directions)
        ASSERT_TRUE(setDirection(host, mask, value));
    ASSERT_TRUE(setLine(host, 0x1F, 0xC0));
    ASSERT_TRUE(setDirection(host, 0x0F, 0xE0));
    ASSERT_TRUE(setLine(host, 0xFD, 0x02));
    ASSERT_TRUE(setLine(host, 0xFD, 0x00));
    ASSERT_TRUE(setLine(host, 0xFB, 0x04));
    EXPECT_TRUE(host.logged("the registers listen"));
    programPlain(host, host.frontEndWords());

    EXPECT_EQ(writePlain(host, 0x24, 0x00).size(), 6U);
    writePlain(host, 0x50, 0x00);
    writePlain(host, 0x22, 0x00);
    writePlain(host, 0x50, 0x00);
    host.wait(5.0);
    writePlain(host, 0x80, 0x00);
    writePlain(host, 0x80, 0x00);
    writePlain(host, 0x24, 0xA0);
    writePlain(host, 0x53, 0xE8);
    ASSERT_TRUE(sendPlain(host, {3, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(host.device().bulkIn(0x86, 9).data[1], 0x94) << "line 4 is up until data come";
    host.wait(10.0);
    ASSERT_TRUE(sendPlain(host, {3, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(host.device().bulkIn(0x86, 9).data[1], 0x84);
    // The dummy word, and then 320 x 240 pairs of words: 0x4B000 bytes.
    ASSERT_TRUE(sendPlain(host, {9, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(host.device().bulkIn(0x88, 3).data.size(), 3U);
    ASSERT_TRUE(sendPlain(host, {9, 0, 0, 0, 4, 0, 0x00, 0xB0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(host.device().bulkIn(0x88, 0x4B001).data.size(), 0x4B001U);
    EXPECT_FALSE(host.linkRead(1)) << "no byte is left over";
}

TEST(Heron, DescribesItselfInItsMemory) {
    Model model = smallHeron();
    model.versionMajor = 2;
    model.versionMinor = 1;
    model.maxBin = 3;
    model.sensor.pixelHeight = 8.3;
    HeronHost host{model};
    host.start();
    const Bytes expected{1,    2, // version
                         'T',  'a',  'v',  'o',  ' ', 'H', 'e', 'r', 'o',
                         'n',  ' ',  'A',  0,    'T', 'a', 'v', 'o', 0,
                         0x05,                   // flags
                         0x40, 0x01, 0xF0, 0x00, // 320 x 240
                         74,   83,   3,    3,    31};
    const auto bytes = host.readEeprom(42, 64);
    ASSERT_TRUE(bytes);
    EXPECT_EQ(Bytes(bytes->begin(), bytes->begin() + static_cast<int>(expected.size())), expected);
}

TEST(Heron, ShowsWhatItLacksInItsFlags) {
    Model model = smallHeron();
    constexpr std::uint8_t kFlags = 42 + 2 + 13 + 5;
    const auto flags = [&model] {
        HeronHost host{model};
        host.start();
        return host.readEeprom(kFlags, 1);
    };
    EXPECT_EQ(flags(), (Bytes{0x05}));
    model.hasGuidePort = false;
    EXPECT_EQ(flags(), (Bytes{0x04}));
    model.samplesPerPixel = 1;
    EXPECT_EQ(flags(), (Bytes{0x00}));
}

TEST(Heron, KeepsALongNameInsideItsDescription) {
    Model model = smallHeron();
    model.name = std::string(100, 'n');
    HeronHost host{model};
    host.start();
    const auto bytes = host.readEeprom(42, 64);
    ASSERT_TRUE(bytes);
    EXPECT_EQ((*bytes)[63], 31) << "the last field still fits";
    EXPECT_EQ((*bytes)[47], 'n');
    EXPECT_EQ((*bytes)[48], 0);
    EXPECT_EQ((*bytes)[49], 'T') << "after the end of the name, the maker";
}

TEST(Heron, EveryModelCarriesAnIdOfTheFirstTwo) {
    for (Model model : heronModels()) {
        HeronHost host{model};
        host.start();
        EXPECT_EQ(host.readEeprom(3, 2), (Bytes{0x2E, 0xDF})) << model.key;
        model.answersPing = false;
        HeronHost silent{model};
        silent.start();
        EXPECT_EQ(silent.readEeprom(3, 2), (Bytes{0xFF, 0xFF})) << model.key;
    }
    Model second = smallHeron();
    second.productId = 0xDF2F;
    HeronHost host{second};
    host.start();
    EXPECT_EQ(host.readEeprom(3, 2), (Bytes{0x2F, 0xDF}));
}

TEST(Heron, KeepsItsSerialNumberAndItsColour) {
    Model model = smallHeron();
    model.serial = 0x12345678;
    HeronHost mono{model};
    mono.start();
    EXPECT_EQ(mono.readEeprom(5, 2), (Bytes{0x78, 0x56}));
    EXPECT_EQ(mono.readEeprom(8, 2), (Bytes{0x34, 0x12}));
    EXPECT_NE((*mono.readEeprom(0xE8, 1))[0], 0x84);
    for (unsigned phase = 0; phase < 4; ++phase) {
        makeColour(model, phase);
        HeronHost host{model};
        host.start();
        const auto marker = host.readEeprom(0xE8, 4);
        EXPECT_EQ(marker, (Bytes{0x84, 0xD9, 0x01, static_cast<std::uint8_t>(phase)}));
    }
}

TEST(Heron, HoldsAWordForEachRegisterOfItsFrontEnd) {
    HeronHost host;
    host.start();
    const auto words = host.frontEndWords();
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(words[i] >> 12, static_cast<int>(i));
}

TEST(Heron, TakesItsOptionsAndNoOthers) {
    const std::pair<const char*, const char*> taken[] = {
        {"guide", "0"},           {"guide-rate", "15"}, {"ping", "0"},
        {"colour", "2"},          {"samples", "1"},     {"samples", "2"},
        {"firmware", "required"}, {"serial", "5"}};
    for (const auto& [name, value] : taken)
        EXPECT_TRUE(makeCamera("heron-a", {{name, value}}, 1.0, {})) << name;
    const std::pair<const char*, const char*> refused[] = {
        {"shutter", "0"}, {"wheel", "5"}, {"cooler", "none"}, {"samples", "0"}, {"samples", "3"}};
    for (const auto& [name, value] : refused)
        EXPECT_THROW(makeCamera("heron-a", {{name, value}}, 1.0, {}), std::invalid_argument)
            << name;
}

} // namespace tavo::virtualcamera::test
