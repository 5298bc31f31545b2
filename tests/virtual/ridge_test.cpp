// SPDX-License-Identifier: LGPL-2.1-or-later
#include "raw_host.h"

#include <gtest/gtest.h>

namespace tavo::virtualcamera::test {

namespace {

// Reads the words of a text as the host does, one at a time, up to the closing zero.
std::string readText(RawHost& host) {
    std::string text;
    while (true) {
        const auto word = host.linkRead(2);
        if (!word || (*word)[0] == 0)
            return text;
        text += static_cast<char>((*word)[0]);
    }
}

unsigned readWord(RawHost& host) {
    const auto word = host.linkRead(2);
    return word ? (*word)[0] + 256U * (*word)[1] : 0xFFFFFFFF;
}

void start(RawHost& host) {
    host.start();
    host.loadTable(ridgeTable());
}

} // namespace

TEST(Ridge, AnswersAPingGivenAsPlainBytes) {
    RawHost host;
    start(host);
    const Bytes packet{0x43, 0, 0x4D, 0, 0x44, 0, 0x50, 0, 0x64, 0};
    ASSERT_EQ(host.device().bulkOut(0x02, packet), Outcome::done);
    const Bytes commit{10, 7, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    ASSERT_EQ(host.device().bulkOut(0x04, commit), Outcome::done);
    EXPECT_EQ(host.device().bulkIn(0x86, 4).data.size(), 4U);
    const Bytes arm{9, 8, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    ASSERT_EQ(host.device().bulkOut(0x04, arm), Outcome::done);
    const Reply reply = host.device().bulkIn(0x88, 3);
    ASSERT_EQ(reply.data.size(), 3U);
    EXPECT_EQ(reply.data[0], 0x65);
    EXPECT_EQ(host.device().bulkIn(0x88, 3).outcome, Outcome::nothing);
}

TEST(Ridge, DescribesItselfFieldByField) {
    RawHost host;
    start(host);
    ASSERT_TRUE(host.command(1));
    EXPECT_EQ(host.linkRead(4), (Bytes{12, 0, 3, 0})); // minor, then major version
    EXPECT_EQ(readText(host), "Tavo Ridge C");
    EXPECT_EQ(readText(host), "Tavo");
    EXPECT_EQ(readWord(host), 0x1089U); // FIFO, preview, shutter, wheel; guide port by absence
    EXPECT_EQ(readWord(host), 320U);
    EXPECT_EQ(readWord(host), 240U);
    EXPECT_EQ(readWord(host), 645U);
    EXPECT_EQ(readWord(host), 645U);
    EXPECT_EQ(readWord(host), 4U);
    EXPECT_EQ(readWord(host), 4U);
    EXPECT_EQ(readWord(host), 28000U);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(Ridge, ShowsWhatItLacksInItsFlags) {
    Model model = smallRidge();
    model.hasShutter = false;
    model.hasGuidePort = false;
    model.filterCount = 0;
    RawHost host{model};
    start(host);
    host.command(1);
    host.linkRead(4);
    readText(host);
    readText(host);
    EXPECT_EQ(readWord(host), 0x0109U);
}

TEST(Ridge, ReportsBusyBeforeItsApplicationRuns) {
    RawHost host;
    start(host);
    EXPECT_TRUE(host.command(54));
    EXPECT_FALSE(host.linkRead(2)) << "the application has not been started";
    ASSERT_TRUE(host.command(44));
    unsigned busy = 0;
    unsigned status = 0;
    while ((status = readWord(host)) != 'I') {
        ASSERT_LT(++busy, 60U);
        host.wait(0.01);
    }
    EXPECT_GT(busy, 0U);
    EXPECT_FALSE(host.linkRead(1)) << "nothing may follow the last status";
    EXPECT_EQ(host.ask(54, {}, 2), (Bytes{2, 0}));
}

TEST(Ridge, ReadsItsTemperatures) {
    Model model = smallRidge();
    model.ambient = -10.0;
    RawHost host{model};
    host.bringUp();
    // 50 degrees above the zero of the reading: 620 of 4095 steps over 330 degrees.
    EXPECT_EQ(host.ask(55, {1, 0}, 6), (Bytes{2, 0, 620 & 0xFF, 620 >> 8, 0, 0}));
    EXPECT_TRUE(host.ask(55, {0, 0}, 6));
    EXPECT_TRUE(host.ask(55, {2, 0}, 6));
    EXPECT_FALSE(host.ask(55, {3, 0}, 6));
}

TEST(Ridge, DescribesItsCoolerByKind) {
    const std::pair<CoolerKind, std::uint8_t> kinds[] = {{CoolerKind::none, 0x00},
                                                         {CoolerKind::alwaysOn, 0x01},
                                                         {CoolerKind::onOff, 0x09},
                                                         {CoolerKind::selectPower, 0x0D},
                                                         {CoolerKind::setPoint, 0x11}};
    for (const auto& [kind, flags] : kinds) {
        Model model = smallRidge();
        model.cooler = kind;
        RawHost host{model};
        host.bringUp();
        EXPECT_EQ(host.ask(52, {}, 6), (Bytes{flags, 0, 210, 0, 10, 0}));
    }
}

TEST(Ridge, RegulatesItsTemperature) {
    RawHost host;
    host.bringUp();
    EXPECT_EQ((*host.ask(53, {}, 6))[2], 0x00);
    EXPECT_EQ(host.ask(56, {620 & 0xFF, 620 >> 8}, 2), (Bytes{1, 0}));
    host.wait(1.0);
    const auto cooling = host.ask(53, {}, 6);
    ASSERT_TRUE(cooling);
    EXPECT_EQ((*cooling)[0], 210) << "full power while far from the target";
    EXPECT_EQ((*cooling)[2] & 0x80, 0x80);
    EXPECT_EQ((*cooling)[4] + 256 * (*cooling)[5], 620);
    host.wait(1800.0);
    const auto settled = host.ask(55, {1, 0}, 6);
    ASSERT_TRUE(settled);
    EXPECT_NEAR((*settled)[2] + 256 * (*settled)[3], 620, 2);
    EXPECT_LT((*host.ask(53, {}, 6))[0], 200);
    host.command(57);
    EXPECT_EQ((*host.ask(53, {}, 6))[2] & 0xA0, 0x20);
    host.wait(1800.0);
    EXPECT_EQ((*host.ask(53, {}, 6))[2], 0x00);
    EXPECT_EQ((*host.ask(53, {}, 6))[0], 10);
}

TEST(Ridge, RefusesACoolingValueThatDoesNotSuitItsCooler) {
    RawHost regulated;
    regulated.bringUp();
    EXPECT_EQ(regulated.ask(56, {0x4B, 0xFF}, 2), (Bytes{0, 0}));
    Model model = smallRidge();
    model.cooler = CoolerKind::selectPower;
    RawHost driven{model};
    driven.bringUp();
    EXPECT_EQ(driven.ask(56, {0x00, 0x02}, 2), (Bytes{0, 0}));
    EXPECT_EQ(driven.ask(56, {110, 0xFF}, 2), (Bytes{1, 0}));
    const auto status = driven.ask(53, {}, 6);
    ASSERT_TRUE(status);
    EXPECT_EQ((*status)[0], 110);
    EXPECT_EQ((*status)[2], 0x40);
}

TEST(Ridge, MovesItsFilterWheel) {
    RawHost host;
    host.bringUp();
    EXPECT_EQ(host.ask(135, {}, 8), (Bytes{5, 0, 1, 0, 0, 0, 0, 0})) << "looking for position 0";
    host.wait(5.0);
    EXPECT_EQ(host.ask(135, {}, 8), (Bytes{5, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(host.ask(136, {5, 0}, 2), (Bytes{0, 0}));
    EXPECT_EQ(host.ask(136, {2, 0}, 2), (Bytes{1, 0}));
    host.wait(0.5);
    EXPECT_EQ(host.ask(135, {}, 8), (Bytes{5, 0, 1, 0, 1, 0, 2, 0}));
    host.wait(0.5);
    EXPECT_EQ(host.ask(135, {}, 8), (Bytes{5, 0, 0, 0, 2, 0, 2, 0}));
    // The application may be started again without losing the position.
    host.bringUp();
    EXPECT_EQ(host.ask(135, {}, 8), (Bytes{5, 0, 0, 0, 2, 0, 2, 0}));
}

TEST(Ridge, GivesNoAnswerForWhatItLacks) {
    Model model = smallRidge();
    model.filterCount = 0;
    RawHost host{model};
    host.bringUp();
    EXPECT_FALSE(host.ask(135, {}, 8));
    EXPECT_FALSE(host.ask(136, {0, 0}, 2));
}

TEST(Ridge, IgnoresWhatItDoesNotUnderstandAndSaysSo) {
    RawHost host;
    host.bringUp();
    EXPECT_TRUE(host.command(201));
    EXPECT_TRUE(host.logged("command 201 is unknown"));
    EXPECT_TRUE(host.command(6, {0, 0}));
    EXPECT_TRUE(host.logged("command 6 read out takes 16 argument bytes but came with 2"));
    host.device().bulkOut(0x02, Bytes{'C', 0, 'M', 0, 'X', 0, 80, 0, 1, 0});
    host.request({10, 0, 0xFF, 0, 0, 0, 0, 0}, {}, 0);
    EXPECT_TRUE(host.logged("no command packet"));
    EXPECT_FALSE(host.linkRead(1));
}

} // namespace tavo::virtualcamera::test
