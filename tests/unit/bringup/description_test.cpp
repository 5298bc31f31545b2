// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The two descriptions that come in one piece, with bytes as a broken EEPROM or firmware would
// give them.
#include "bringup/heron_description.h"
#include "bringup/lumen_description.h"
#include "fake/conversation.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace tavo::test {
namespace {

// The bytes stand on the heap at their exact length, so that a sanitizer sees every step outside.
// Texts of the result that point into them are gone afterwards.
template <typename Parse>
auto parsed(Parse parse, const Bytes& bytes) {
    const auto memory = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), memory.get());
    return parse({memory.get(), bytes.size()});
}

Bytes wide(const std::string& characters, std::uint8_t highByte = 0) {
    Bytes bytes;
    for (const char character : characters) {
        bytes.push_back(highByte);
        bytes.push_back(static_cast<std::uint8_t>(character));
    }
    return bytes;
}

const Bytes kLumenFields{0x02, 0x00, 0x05, 0x70, 0x04, 0x10, 0x02, 0x8A,
                         0x02, 0xE4, 0x00, 0x04, 0x00, 0x08, 0x9C, 0x40};

void expectLumenFields(const LumenDescription& read) {
    EXPECT_EQ(read.flags, 0x0200u);
    EXPECT_EQ(read.pixelCountX, 1392u);
    EXPECT_EQ(read.pixelCountY, 1040u);
    EXPECT_DOUBLE_EQ(read.pixelSizeX, 6.5);
    EXPECT_DOUBLE_EQ(read.pixelSizeY, 7.4);
    EXPECT_EQ(read.maxBinX, 4u);
    EXPECT_EQ(read.maxBinY, 8u);
    EXPECT_EQ(read.wellCapacity, 40000u);
}

TEST(LumenDescription, VersionIsInTheSecondByteOfEachPair) {
    const auto read =
        parsed(parseLumenDescription, joined({{0x01, 0x02, 0x03, 0x04, 0, 0, 0, 0}, kLumenFields}));
    EXPECT_EQ(read.versionMajor, 4u);
    EXPECT_EQ(read.versionMinor, 2u);
    expectLumenFields(read);
}

// Eighty characters have no terminator; the next name starts right behind them.
TEST(LumenDescription, NameOfEightyCharacters) {
    const auto read =
        parsed(parseLumenDescription,
               joined({Bytes(4), wide(std::string(80, 'm')), wide("xyz"), {0, 0}, kLumenFields}));
    EXPECT_EQ(read.model.data(), std::string(80, 'm'));
    EXPECT_EQ(read.manufacturer.data(), std::string("xyz"));
    expectLumenFields(read);
}

TEST(LumenDescription, TwoNamesOfEightyCharacters) {
    const auto read = parsed(
        parseLumenDescription,
        joined({Bytes(4), wide(std::string(80, 'm')), wide(std::string(80, 'n')), kLumenFields}));
    EXPECT_EQ(read.model.data(), std::string(80, 'm'));
    EXPECT_EQ(read.manufacturer.data(), std::string(80, 'n'));
    expectLumenFields(read);
}

TEST(LumenDescription, NameOfSeventyNineCharactersEndsItself) {
    const auto read = parsed(
        parseLumenDescription,
        joined({Bytes(4), wide(std::string(79, 'm')), {0, 0}, wide("x"), {0, 0}, kLumenFields}));
    EXPECT_EQ(read.model.data(), std::string(79, 'm'));
    EXPECT_EQ(read.manufacturer.data(), std::string("x"));
    expectLumenFields(read);
}

TEST(LumenDescription, OnlyTheLowByteOfACharacterCounts) {
    const auto read = parsed(
        parseLumenDescription,
        joined({Bytes(4), wide("ab", 0x41), {0x41, 0}, wide("c", 0x42), {0x42, 0}, kLumenFields}));
    EXPECT_EQ(read.model.data(), std::string("ab"));
    EXPECT_EQ(read.manufacturer.data(), std::string("c"));
    expectLumenFields(read);
}

// The reply has 128 bytes; a name without end takes all of them.
TEST(LumenDescription, NameWithoutEndLeavesNothingForTheFields) {
    const auto read = parsed(parseLumenDescription, joined({{0, 2, 0, 4}, Bytes(124, 'z')}));
    EXPECT_EQ(read.versionMajor, 4u);
    EXPECT_EQ(read.model.data(), std::string(62, 'z'));
    EXPECT_STREQ(read.manufacturer.data(), "");
    EXPECT_EQ(read.flags, 0u);
    EXPECT_EQ(read.pixelCountX, 0u);
    EXPECT_EQ(read.wellCapacity, 0u);
}

TEST(LumenDescription, EveryTruncationStaysInside) {
    const Bytes whole =
        joined({{0, 2, 0, 4}, wide("Ab"), {0, 0}, wide("Cde"), {0, 0}, kLumenFields});
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const auto read =
            parsed(parseLumenDescription,
                   Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        EXPECT_LE(std::string(read.model.data()).size(), 2u);
        EXPECT_EQ(read.maxBinY, length < 32 ? 0u : 8u) << length;
    }
    expectLumenFields(parsed(parseLumenDescription, whole));
}

const Bytes kHeronFields{0x05, 0x70, 0x05, 0x10, 0x04, 65, 74, 3, 5, 0xFF};

void expectHeronFields(const HeronDescription& read) {
    EXPECT_EQ(read.flags, 5u);
    EXPECT_EQ(read.pixelCountX, 1392);
    EXPECT_EQ(read.pixelCountY, 1040);
    EXPECT_DOUBLE_EQ(read.pixelSizeX, 6.5);
    EXPECT_DOUBLE_EQ(read.pixelSizeY, 7.4);
    EXPECT_EQ(read.maxBinX, 3u);
    EXPECT_EQ(read.maxBinY, 5u);
    EXPECT_EQ(read.prechargeOffset, -32);
}

TEST(HeronDescription, Fields) {
    const auto read =
        parsed(parseHeronDescription, joined({{2, 4, 0, 0}, kHeronFields})); // empty names
    EXPECT_EQ(read.versionMajor, 4u);
    EXPECT_EQ(read.versionMinor, 2u);
    expectHeronFields(read);
}

TEST(HeronDescription, PixelCountsAreSigned) {
    const auto read = parsed(parseHeronDescription, {0, 0, 0, 0, 0, 0xFF, 0xFF, 0x00, 0x80});
    EXPECT_EQ(read.pixelCountX, -1);
    EXPECT_EQ(read.pixelCountY, -32768);
}

TEST(HeronDescription, PrechargeByteKeepsItsSign) {
    const auto precharge = [](std::uint8_t byte) {
        Bytes bytes(14);
        bytes.back() = byte;
        bytes.front() = 1;
        return parsed(parseHeronDescription, bytes).prechargeOffset;
    };
    EXPECT_EQ(precharge(0x05), 160);
    EXPECT_EQ(precharge(0xFF), -32);
    EXPECT_EQ(precharge(0x80), -4096);
    EXPECT_EQ(precharge(0x7F), 4064);
}

TEST(HeronDescription, EveryTruncationStaysInside) {
    const Bytes whole = joined({{2, 4, 'A', 'b', 0, 'C', 0}, kHeronFields});
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        const auto memory = std::make_unique<std::uint8_t[]>(length);
        std::copy(cut.begin(), cut.end(), memory.get());
        const auto read = parseHeronDescription({memory.get(), length});
        EXPECT_LE(read.model.size(), 2u);
        EXPECT_LE(read.manufacturer.size(), 1u);
        EXPECT_EQ(read.prechargeOffset, 0) << length;
    }
    expectHeronFields(parsed(parseHeronDescription, whole));
}

TEST(HeronDescription, StringsWithoutEndStopAtTheEdge) {
    const std::vector<std::uint8_t> filled(64, 'z');
    const auto read = parseHeronDescription(filled);
    EXPECT_EQ(read.model, std::string(62, 'z'));
    EXPECT_EQ(read.manufacturer, "");
    EXPECT_EQ(read.flags, 0u);
    EXPECT_EQ(read.pixelCountX, 0);

    std::vector<std::uint8_t> second(64, 'z');
    second[10] = 0;
    const auto unended = parseHeronDescription(second);
    EXPECT_EQ(unended.model, std::string(8, 'z'));
    EXPECT_EQ(unended.manufacturer, std::string(53, 'z'));
    EXPECT_EQ(unended.maxBinX, 0u);
}

} // namespace
} // namespace tavo::test
