// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a host must have done before a Heron camera gives a picture worth the name.
#include "heron_host.h"

#include <gtest/gtest.h>

#include <utility>

namespace tavo::virtualcamera::test {

namespace {

constexpr std::size_t kPixels = std::size_t{320} * 240;

// Whether a picture can be taken: light, noise, and data at all.
bool givesGoodPicture(HeronHost& host) {
    const auto pixels = host.frame(10.0, kPixels);
    return pixels.size() == kPixels && deviation(pixels) > 5.0;
}

} // namespace

TEST(HeronFrontEnd, ConvertsNothingUnlessProgrammedRight) {
    using Words = std::vector<std::uint16_t>;
    const std::pair<const char*, void (*)(Words&)> mistakes[] = {
        {"a bit differs", [](Words& words) { words[5] ^= 1; }},
        {"one is missing", [](Words& words) { words.pop_back(); }},
        {"bytes are swapped",
         [](Words& words) {
             for (std::uint16_t& word : words)
                 word = static_cast<std::uint16_t>(word << 8 | word >> 8);
         }},
        {"least significant bit first", [](Words& words) {
             for (std::uint16_t& word : words) {
                 unsigned turned = 0;
                 for (int bit = 0; bit < 16; ++bit)
                     turned = turned << 1 | (word >> bit & 1U);
                 word = static_cast<std::uint16_t>(turned);
             }
         }}};
    for (const auto& [name, spoil] : mistakes) {
        HeronHost host;
        host.bringUp();
        Words words = host.frontEndWords();
        spoil(words);
        host.setStates(0x1F, 0xC0);
        host.pulseReset();
        host.setState(2, true);
        host.programFrontEnd(words);
        EXPECT_FALSE(givesGoodPicture(host)) << name;
        EXPECT_TRUE(host.logged("not programmed as the camera's memory says")) << name;
        host.programFrontEnd(host.frontEndWords());
        EXPECT_TRUE(givesGoodPicture(host)) << name;
    }
}

TEST(HeronFrontEnd, WantsSixteenBitsAWord) {
    HeronHost host;
    host.bringUp();
    host.setState(2, false);
    for (int bit = 0; bit < 15; ++bit) {
        host.setState(6, true);
        host.setState(6, false);
    }
    host.setState(2, true);
    EXPECT_TRUE(host.logged("a word of 15 bits"));
    EXPECT_TRUE(givesGoodPicture(host)) << "and it has not been taken";
    host.setState(2, false);
    host.setState(5, true); // bit 15, a read
    for (int bit = 0; bit < 16; ++bit) {
        host.setState(6, true);
        host.setState(6, false);
    }
    host.setState(2, true);
    EXPECT_TRUE(host.logged("asks for a read"));
    EXPECT_TRUE(givesGoodPicture(host));
}

TEST(HeronFrontEnd, HearsNothingWithoutBeingSelected) {
    HeronHost host;
    host.bringUp();
    host.setStates(0x1F, 0xC0);
    host.pulseReset();
    host.setState(2, true);
    for (const std::uint16_t word : host.frontEndWords())
        for (int bit = 15; bit >= 0; --bit) {
            host.setState(5, (word >> bit & 1) != 0);
            host.setState(6, true);
            host.setState(6, false);
        }
    EXPECT_FALSE(givesGoodPicture(host));
}

TEST(HeronRegisters, StayDeafWithoutTheStepsBeforeThem) {
    const std::pair<const char*, void (*)(HeronHost&)> hosts[] = {
        {"no reset",
         [](HeronHost& host) {
             host.prepareLines();
             host.prepareSerialPath();
         }},
        {"reset too early",
         [](HeronHost& host) {
             host.prepareLines();
             host.pulseReset();
             host.prepareSerialPath();
         }},
        {"no directions but those of the serial path",
         [](HeronHost& host) {
             host.setDirections(0x00, 0x00);
             host.prepareSerialPath();
             host.pulseReset();
         }},
        {"line 4 driven by the host",
         [](HeronHost& host) {
             host.prepareLines();
             host.prepareSerialPath();
             host.setDirection(4, true);
             host.pulseReset();
         }},
        {"clock at rest",
         [](HeronHost& host) {
             host.prepareLines();
             host.setStates(0x1F, 0x80);
             host.setDirections(0x0F, 0xE0);
             host.pulseReset();
         }},
        {"reset not ended", [](HeronHost& host) {
             host.prepareLines();
             host.prepareSerialPath();
             host.setState(1, true);
         }}};
    for (const auto& [name, prepare] : hosts) {
        HeronHost host;
        host.prepareController();
        host.loadTables();
        prepare(host);
        host.setState(2, true);
        host.setLinkTimeout(30000);
        host.programFrontEnd(host.frontEndWords());
        EXPECT_EQ(host.write(8, 0), (Bytes{0xFF, 0xFF})) << name;
        EXPECT_TRUE(host.logged("is not heard")) << name;
        EXPECT_FALSE(givesGoodPicture(host)) << name;
        host.bringUp();
        EXPECT_TRUE(givesGoodPicture(host)) << name;
    }
}

TEST(HeronRegisters, NeedTheirLinesAtRest) {
    const std::pair<unsigned, bool> wrong[] = {{1, true}, {2, false}, {7, false}};
    for (const auto& [line, level] : wrong) {
        HeronHost host;
        host.bringUp();
        host.setState(line, level);
        EXPECT_EQ(host.write(8, 0), (Bytes{0xFF, 0xFF})) << line;
    }
    HeronHost host;
    host.bringUp();
    host.setDirection(3, true);
    EXPECT_EQ(host.write(8, 0), (Bytes{0xFF, 0xFF}));
    host.setDirection(3, false);
    EXPECT_NE(host.write(8, 0), (Bytes{0xFF, 0xFF}));
    EXPECT_TRUE(givesGoodPicture(host));
}

TEST(HeronRegisters, AreAtRestAfterTheProcessorHasStartedAnew) {
    HeronHost host;
    host.bringUp();
    host.prepareController();
    EXPECT_EQ(host.write(8, 0), (Bytes{0xFF, 0xFF}));
    host.prepareLines();
    host.prepareSerialPath();
    host.setState(2, true);
    EXPECT_EQ(host.write(8, 0), (Bytes{0xFF, 0xFF})) << "there has been no reset";
    host.bringUp();
    EXPECT_TRUE(givesGoodPicture(host));
}

TEST(HeronRegisters, GiveBackTheWordBefore) {
    HeronHost host;
    host.bringUp();
    EXPECT_EQ(host.write(8, 0x110), (Bytes{0x00, 0x00}));
    EXPECT_EQ(host.write(2, 0x400), (Bytes{0x81, 0x10}));
    EXPECT_EQ(host.write(5, 0), (Bytes{0x24, 0x00}));
}

TEST(HeronRegisters, RefuseATransferOfAnotherForm) {
    const std::pair<Bytes, std::uint32_t> wrong[] = {
        {{6, 0, 0, 2, 0, 0, 1, 0}, 2}, {{6, 0, 0, 1, 1, 0, 1, 0}, 2},
        {{6, 0, 0, 1, 0, 0, 0, 0}, 2}, {{6, 0, 0, 1, 0, 0, 1, 0}, 1},
        {{6, 0, 0, 1, 0, 0, 1, 0}, 0}, {{6, 0, 0xFF, 1, 0, 0, 1, 0}, 2}};
    HeronHost host;
    host.bringUp();
    for (const auto& [header, reply] : wrong)
        EXPECT_FALSE(host.request(header, {0x24, 0x00}, reply)) << reply;
    EXPECT_FALSE(host.request({6, 0, 0, 1, 0, 0, 1, 0}, {0x24}, 2));
    EXPECT_FALSE(host.request({6, 0, 0, 1, 0, 0, 1, 0}, {0x24, 0x00, 0x00}, 2));
    EXPECT_TRUE(host.request({6, 0, 0, 1, 0, 0, 1, 0}, {0x24, 0x00}, 2));
}

TEST(HeronRegisters, IgnoreWhatTheyDoNotKnowAndSaySo) {
    HeronHost host;
    host.bringUp();
    EXPECT_TRUE(host.write(3, 0x123));
    EXPECT_TRUE(host.logged("there is no register 3"));
    for (const unsigned bit : {0x010U, 0x040U, 0x800U}) {
        host.write(2, 0x400 | bit);
        host.write(5, 0);
        host.write(2, 0x200);
        host.write(5, 0);
        EXPECT_FALSE(host.logged("the sensor gathers light")) << bit;
    }
    EXPECT_TRUE(host.logged("bits that mean nothing"));
}

TEST(HeronLink, NeedsBothTablesInTheirOrder) {
    const std::vector<std::vector<Bytes>> wrong{{},
                                                {flowStateTable()},
                                                {slowLinkTable()},
                                                {slowLinkTable(), flowStateTable()},
                                                {ridgeTable()},
                                                {flowStateTable(), ridgeTable()}};
    for (const auto& tables : wrong) {
        HeronHost host;
        host.prepareController();
        for (const Bytes& table : tables)
            host.loadTable(table);
        host.prepareLines();
        host.prepareSerialPath();
        host.pulseReset();
        host.setState(2, true);
        host.setLinkTimeout(30000);
        host.programFrontEnd(host.frontEndWords());
        EXPECT_FALSE(givesGoodPicture(host)) << tables.size();
    }
}

TEST(HeronLink, TakesNothing) {
    HeronHost host;
    host.bringUp();
    host.command(80, {100});
    EXPECT_TRUE(host.logged("takes nothing from the parallel link"));
    EXPECT_FALSE(host.linkRead(1));
}

TEST(HeronLink, CanBeDrainedBeforeTheCameraIsReset) {
    HeronHost host;
    host.bringUp();
    host.expose(1.0);
    host.setBinning(1, 1);
    host.readOut();
    host.wait(10.0);
    host.prepareController();
    unsigned count = 0;
    while (host.linkRead(1))
        ++count;
    EXPECT_GT(count, 100U);
    EXPECT_FALSE(host.linkRead(1));
}

} // namespace tavo::virtualcamera::test
