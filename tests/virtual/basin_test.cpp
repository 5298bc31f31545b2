// SPDX-License-Identifier: LGPL-2.1-or-later
#include "basin_host.h"

#include "basin/basin.h"
#include "camera/catalogue.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tavo::virtualcamera::test {

namespace {

// Reads the characters of a text as the host does, one at a time, up to the closing zero.
std::string readText(BasinHost& host) {
    std::string text;
    while (true) {
        const auto character = host.readPlain(2);
        if (!character || character->front() == 0)
            return text;
        text += static_cast<char>(character->front());
    }
}

unsigned readWord(BasinHost& host) {
    const auto word = host.readPlain(4);
    return word ? (*word)[0] + 256U * (*word)[1] : 0xFFFFFFFF;
}

} // namespace

TEST(Basin, AnswersAPingGivenAsPlainBytes) {
    BasinHost host;
    virtualusb::Device& device = host.device();
    const auto exchange = [&device](Bytes frame) {
        EXPECT_EQ(device.bulkOut(0x04, frame), Outcome::done);
        return device.bulkIn(0x86, 4);
    };
    device.setAlternateSetting(0, 1);
    host.writeMemory(0xE600, {1});
    host.writeMemory(0xE600, {0});
    // Port 0: direction 9F, state 80.
    device.bulkOut(0x04,
                   Bytes{2, 0, 0, 0,    0,    0,    0,    0,    0,    0,    0,    0,    10,
                         0, 0, 0, 0x00, 0x9F, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00});
    device.bulkOut(0x04, Bytes{1,    1,    0,    0,    0, 0,    0,    0,    0,    0,    0,
                               0,    16,   0,    0,    0, 0x00, 0x80, 0xFF, 0x00, 0xFF, 0x00,
                               0xFF, 0x00, 0xFF, 0x00, 0, 0,    0,    0,    0,    0});
    device.bulkOut(0x04, Bytes{12, 2, 0, 1, 100, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    device.bulkOut(0x04, Bytes{12, 3, 0, 0, 0xE8, 0x03, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    Bytes mode{8, 4, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 172, 0, 0, 0};
    Bytes handshake{8, 5, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 152, 0, 0, 0};
    const Bytes modeTable = basinModeTable();
    const Bytes handshakeTable = basinHandshakeTable();
    mode.insert(mode.end(), modeTable.begin(), modeTable.end());
    handshake.insert(handshake.end(), handshakeTable.begin(), handshakeTable.end());
    EXPECT_EQ(exchange(mode).data.size(), 4U);
    EXPECT_EQ(exchange(handshake).data.size(), 4U);
    // Address 0x40, written to: 0x80.
    EXPECT_EQ(
        exchange({4, 6, 0xFF, 0, 0, 0, 1, 0, 0, 0, 0, 0, 6, 0, 0, 0, 0x80, 'V', 'R', 'Q', 17, 100})
            .data.size(),
        4U);
    ASSERT_EQ(device.bulkOut(0x04, Bytes{9, 7, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
              Outcome::done);
    const Reply reply = device.bulkIn(0x88, 3);
    ASSERT_EQ(reply.data.size(), 3U);
    EXPECT_EQ(reply.data[0], 100) << "the very value";
    EXPECT_EQ(device.bulkIn(0x88, 3).outcome, Outcome::nothing);
}

TEST(Basin, ShowsItsIds) {
    Model model = smallBasin();
    model.serial = 0x04030201;
    BasinHost host{model};
    const Bytes descriptors = host.device().descriptors();
    EXPECT_EQ(descriptors[10], 0x28);
    EXPECT_EQ(descriptors[11], 0xDF);
    host.start();
    EXPECT_EQ(host.readEeprom(3, 2), (Bytes{0x28, 0xDF}));
    EXPECT_EQ(host.readEeprom(5, 2), (Bytes{0x01, 0x02}));
    EXPECT_EQ(host.readEeprom(8, 2), (Bytes{0x03, 0x04}));
    EXPECT_NE(host.readEeprom(0xE8, 3), (Bytes{0x84, 0xD9, 0x01}));
}

TEST(Basin, DescribesItselfByteByByteWithFillerBetween) {
    BasinHost host;
    host.startLink();
    ASSERT_TRUE(host.send(10));
    const auto version = host.linkRead(4);
    ASSERT_TRUE(version);
    EXPECT_EQ((*version)[0], 7) << "minor";
    EXPECT_EQ((*version)[2], 2) << "major";
    EXPECT_NE((*version)[1], (*version)[0]) << "filler that a host must not take for data";
    EXPECT_NE((*version)[1], 0);
    EXPECT_EQ(readText(host), "Tavo Basin A");
    EXPECT_EQ(readText(host), "Tavo");
    EXPECT_EQ(readWord(host), 0x0109U); // FIFO, preview; no guide port
    EXPECT_EQ(readWord(host), 321U) << "one more than there are";
    EXPECT_EQ(readWord(host), 241U);
    EXPECT_EQ(readWord(host), 465U);
    EXPECT_EQ(readWord(host), 465U);
    EXPECT_EQ(readWord(host), 4U);
    EXPECT_EQ(readWord(host), 4U);
    EXPECT_EQ(readWord(host), 28000U);
    EXPECT_FALSE(host.linkRead(1));
}

TEST(Basin, EveryModelCountsOneColumnAndOneRowTooMany) {
    for (const Model& model : basinModels()) {
        EXPECT_EQ(model.describedWidth, model.sensor.width + 1) << model.key;
        EXPECT_EQ(model.describedHeight, model.sensor.height + 1) << model.key;
    }
}

TEST(Basin, TakesTheOptionsItHasAUseFor) {
    const auto taken = [](const std::string& name, const std::string& value) {
        try {
            return makeCamera("basin-b", {{name, value}}, 1.0, {}) != nullptr;
        } catch (const std::invalid_argument&) {
            return false;
        }
    };
    for (const char* kind : {"none", "always", "onoff", "power", "setpoint"})
        EXPECT_TRUE(taken("cooler", kind)) << kind;
    for (const char* phase : {"0", "1", "2", "3"})
        EXPECT_TRUE(taken("colour", phase)) << phase;
    EXPECT_TRUE(taken("ping", "0"));
    EXPECT_TRUE(taken("firmware", "required"));
    for (const char* name : {"shutter", "wheel", "guide", "guide-rate"})
        EXPECT_FALSE(taken(name, "1")) << name;
}

TEST(Basin, ReportsBusyBeforeItsApplicationRuns) {
    BasinHost host;
    host.startLink();
    EXPECT_TRUE(host.send(54));
    EXPECT_FALSE(host.linkRead(2)) << "the application has not been started";
    ASSERT_TRUE(host.send(44));
    unsigned busy = 0;
    while (host.readPlain(2) != Bytes{'I'})
        ASSERT_LT(++busy, 60U);
    EXPECT_GT(busy, 0U);
    EXPECT_FALSE(host.linkRead(1)) << "nothing may follow the last status";
    EXPECT_EQ(host.query(54, {}, 2), Bytes{2});
}

TEST(Basin, NeedsBothTablesInTheirOrder) {
    const Bytes mode = basinModeTable();
    const Bytes handshake = basinHandshakeTable();
    Bytes almost = handshake;
    almost.back() ^= 1;
    const std::vector<std::vector<Bytes>> wrong{
        {}, {mode}, {handshake}, {handshake, mode}, {mode, almost}, {mode, ridgeTable()}};
    for (const auto& tables : wrong) {
        BasinHost host;
        host.start();
        for (const Bytes& table : tables)
            ASSERT_TRUE(host.loadTable(table));
        ASSERT_TRUE(host.send(17, {100})) << "the I2C bus needs no table";
        EXPECT_FALSE(host.linkRead(2)) << tables.size();
        ASSERT_TRUE(host.loadTable(mode));
        ASSERT_TRUE(host.loadTable(handshake));
        EXPECT_TRUE(host.linkRead(2));
    }
}

TEST(Basin, NeedsItsPortsForAnswers) {
    const std::array<std::uint8_t, 2> wrong[] = {
        {0x9F, 0x00}, {0x00, 0x80}, {0xFF, 0x80}, {0x9F, 0x81}};
    for (const auto& [directions, states] : wrong) {
        BasinHost host;
        host.bringUp();
        ASSERT_TRUE(host.setPort0(directions, states));
        EXPECT_FALSE(host.query(17, {100}, 2)) << unsigned{directions} << " " << unsigned{states};
        ASSERT_TRUE(host.setPort0(0x9F, 0x80));
        EXPECT_EQ(host.readPlain(2), Bytes{100}) << "it waited in the FIFO";
    }
}

TEST(Basin, TakesCommandsAtItsI2cAddressOnly) {
    BasinHost host;
    host.bringUp();
    // Accepted as a request, refused in its reply.
    EXPECT_FALSE(
        host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0x82, 'V', 'R', 'Q', 17, 100}, 0).has_value());
    // The unshifted address is another device.
    EXPECT_FALSE(
        host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0x40, 'V', 'R', 'Q', 17, 100}, 0).has_value());
    EXPECT_TRUE(host.command(80, {100})) << "goes out over the parallel link ...";
    EXPECT_TRUE(host.logged("commands come over the I2C bus"));
    EXPECT_FALSE(host.linkRead(2)) << "... to no one";
    EXPECT_FALSE(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0x81}, 2)) << "cannot be read";
    host.setI2cTimeout(0);
    EXPECT_FALSE(host.send(17, {100}));
    host.setI2cTimeout(100);
    EXPECT_EQ(host.query(17, {100}, 2), Bytes{100});
}

TEST(Basin, IgnoresWhatItDoesNotUnderstandAndSaysSo) {
    BasinHost host;
    host.bringUp();
    for (const Bytes& packet :
         {Bytes{0x80}, Bytes{0x80, 'V', 'R', 'Q'}, Bytes{0x80, 'V', 'R', 'Z', 17, 100},
          Bytes{0x80, 'V', 0, 'R', 0, 'Q', 0, 17, 0, 100, 0}})
        EXPECT_TRUE(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, packet, 0));
    EXPECT_TRUE(host.logged("no command packet"));
    EXPECT_TRUE(host.send(80, {100}));
    EXPECT_TRUE(host.logged("command 80 is unknown"));
    EXPECT_TRUE(host.send(9, {1, 0}));
    EXPECT_TRUE(host.logged("command 9 is unknown")) << "there is no shutter";
    EXPECT_TRUE(host.send(17, {100, 0}));
    EXPECT_TRUE(host.logged("command 17 ping takes 1 argument bytes but came with 2"));
    EXPECT_TRUE(host.send(6, Bytes(16)));
    EXPECT_TRUE(host.logged("command 6 read out takes 13 argument bytes but came with 16"));
    EXPECT_FALSE(host.linkRead(1));
}

TEST(Basin, MayGiveNoSignOfLife) {
    Model model = smallBasin();
    model.answersPing = false;
    BasinHost host{model};
    host.startLink();
    for (std::uint8_t value = 100; value < 110; ++value)
        EXPECT_FALSE(host.query(17, {value}, 2));
    EXPECT_TRUE(host.logged("command 17 ping: 109, never answered"));
}

TEST(Basin, ReadsItsTemperatures) {
    Model model = smallBasin();
    model.ambient = -10.0;
    BasinHost twelveBit{model};
    twelveBit.bringUp();
    // 50 degrees above the zero of the reading: 620 of 4095 steps over 330 degrees.
    EXPECT_EQ(twelveBit.query(55, {1, 0}, 6), (Bytes{2, 620 & 0xFF, 620 >> 8}));
    EXPECT_TRUE(twelveBit.query(55, {0, 0}, 6));
    EXPECT_TRUE(twelveBit.query(55, {2, 0}, 6));
    EXPECT_FALSE(twelveBit.query(55, {3, 0}, 6));
    EXPECT_FALSE(twelveBit.query(55, {0, 1}, 6)) << "sensor 256, low byte first";
    model.temperatureBits = 10;
    BasinHost tenBit{model};
    tenBit.bringUp();
    EXPECT_EQ(tenBit.query(55, {1, 0}, 6), (Bytes{1, 155, 0})); // of 1023 steps
}

TEST(Basin, DescribesItsCoolerByKind) {
    const std::pair<CoolerKind, std::uint8_t> kinds[] = {{CoolerKind::none, 0x00},
                                                         {CoolerKind::alwaysOn, 0x01},
                                                         {CoolerKind::onOff, 0x09},
                                                         {CoolerKind::selectPower, 0x0D},
                                                         {CoolerKind::setPoint, 0x11}};
    for (const auto& [kind, flags] : kinds) {
        Model model = smallBasin();
        model.cooler = kind;
        BasinHost host{model};
        host.bringUp();
        EXPECT_EQ(host.query(52, {}, 6), (Bytes{flags, 210, 10}));
        EXPECT_FALSE(host.linkRead(1));
    }
}

TEST(Basin, RegulatesItsTemperature) {
    BasinHost host;
    host.bringUp();
    EXPECT_EQ((*host.query(53, {}, 8))[1], 0x00);
    EXPECT_EQ(host.query(56, {620 & 0xFF, 620 >> 8}, 2), Bytes{1});
    host.wait(1.0);
    EXPECT_EQ(host.query(53, {}, 8), (Bytes{210, 0xC0, 620 & 0xFF, 620 >> 8}))
        << "full power while far from the target";
    host.wait(1800.0);
    EXPECT_EQ(host.query(55, {1, 0}, 6), (Bytes{2, 620 & 0xFF, 620 >> 8}));
    host.send(57);
    EXPECT_EQ((*host.query(53, {}, 8))[1] & 0xA0, 0x20);
    host.wait(1800.0);
    EXPECT_EQ((*host.query(53, {}, 8))[1], 0x00);
}

TEST(Basin, RegulatesInTheStepsOfATenBitThermometer) {
    Model model = smallBasin();
    model.temperatureBits = 10;
    BasinHost host{model};
    host.bringUp();
    EXPECT_EQ(host.query(56, {0x00, 0x04}, 2), Bytes{0}) << "more than ten bits";
    EXPECT_EQ(host.query(56, {155, 0}, 2), Bytes{1});
    EXPECT_TRUE(host.logged("regulate to -10"));
    host.wait(1800.0);
    EXPECT_EQ(host.query(53, {}, 8)->at(2), 155);
    EXPECT_EQ(host.query(55, {1, 0}, 6), (Bytes{1, 155, 0}));
}

TEST(Basin, DrivesItsCoolerByPowerOrBySwitch) {
    Model model = smallBasin();
    model.cooler = CoolerKind::selectPower;
    model.minCoolerPower = 0;
    model.maxCoolerPower = 100;
    BasinHost driven{model};
    driven.bringUp();
    EXPECT_EQ(driven.query(56, {75, 0x02}, 2), Bytes{0}) << "a temperature";
    EXPECT_EQ(driven.query(56, {75, 0xFF}, 2), Bytes{1});
    EXPECT_EQ(driven.query(53, {}, 8)->at(0), 75);
    EXPECT_EQ(driven.query(53, {}, 8)->at(1), 0x40);
    model.cooler = CoolerKind::onOff;
    model.maxCoolerPower = 1;
    BasinHost switched{model};
    switched.bringUp();
    EXPECT_EQ(switched.query(56, {1, 0xFF}, 2), Bytes{1});
    EXPECT_EQ(switched.query(53, {}, 8)->at(0), 1);
    model.cooler = CoolerKind::none;
    BasinHost none{model};
    none.bringUp();
    EXPECT_EQ(none.query(56, {1, 0xFF}, 2), Bytes{0});
}

// The application, the tables of the link and what the FIFO chip holds outlive a restart of the
// controller; the drain of the next opening must find the latter.
TEST(Basin, IsDrainedAtTheNextOpening) {
    BasinHost host;
    host.bringUp();
    host.image(2.0, 1, {0, 0, 1, 1});
    host.startExposure();
    host.endExposure();
    host.readOut(0, 1, {0, 0, 20, 10});
    host.wait(1.0);
    host.start();
    host.setLinkTimeout(50);
    unsigned drained = 0;
    while (host.linkRead(1))
        ++drained;
    EXPECT_EQ(drained, 400U);
    host.startLink();
    EXPECT_EQ(host.query(17, {100}, 2), Bytes{100});
}

} // namespace tavo::virtualcamera::test
