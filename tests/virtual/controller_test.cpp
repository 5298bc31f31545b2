// SPDX-License-Identifier: LGPL-2.1-or-later
#include "raw_host.h"

#include <gtest/gtest.h>

namespace tavo::virtualcamera::test {

namespace {

// Header bytes 0 to 7 of a request that asks for the state of the ports.
const Bytes kReadPorts{3, 0, 0, 0, 0, 0, 0, 0};

} // namespace

TEST(Descriptors, DescribeTheFourPipesOnAlternateSettingOne) {
    RawHost host;
    const Bytes bytes = host.device().descriptors();
    ASSERT_EQ(bytes.size(), 18U + 9U + 9U + 9U + 4U * 7U);
    EXPECT_EQ(bytes[10], 0x2C);
    EXPECT_EQ(bytes[11], 0xDF);
    EXPECT_EQ(bytes[18 + 2], bytes.size() - 18);
    EXPECT_EQ(bytes[18 + 9 + 3], 0);     // setting 0 ...
    EXPECT_EQ(bytes[18 + 9 + 4], 0);     // ... has no pipes
    EXPECT_EQ(bytes[18 + 9 + 9 + 3], 1); // setting 1 ...
    EXPECT_EQ(bytes[18 + 9 + 9 + 4], 4); // ... has four
    const std::size_t pipes = 18 + 9 + 9 + 9;
    const Bytes addresses{bytes[pipes + 2], bytes[pipes + 9], bytes[pipes + 16], bytes[pipes + 23]};
    EXPECT_EQ(addresses, (Bytes{0x02, 0x04, 0x86, 0x88}));
    EXPECT_EQ(bytes[pipes + 5], 0x02); // 512 bytes, high byte
}

TEST(Descriptors, TextsAreAnsweredOverTheControlPipeAndCutToTheLength) {
    RawHost host;
    const Reply reply = host.device().controlIn({0x80, 6, 0x0301, 0x0409, 8});
    EXPECT_EQ(reply.outcome, Outcome::done);
    EXPECT_EQ(reply.data, (Bytes{10, 3, 'T', 0, 'a', 0, 'v', 0}));
    EXPECT_EQ(host.device().controlIn({0x80, 6, 0x0307, 0x0409, 255}).outcome, Outcome::stalled);
}

TEST(Controller, AnswersNothingUntilFirmwareRuns) {
    RawHost host;
    host.device().setAlternateSetting(0, 1);
    const Bytes frame{12, 0, 0, 0, 50, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(host.device().bulkOut(0x04, frame), Outcome::nothing);
    EXPECT_EQ(host.device().bulkIn(0x86, 4).outcome, Outcome::nothing);
    // Letting go of a CPU that was never held loads nothing.
    host.writeMemory(0xE600, {0});
    EXPECT_EQ(host.device().bulkOut(0x04, frame), Outcome::nothing);
    host.writeMemory(0xE600, {1});
    EXPECT_EQ(host.device().bulkOut(0x04, frame), Outcome::nothing);
    host.writeMemory(0xE600, {0});
    EXPECT_EQ(host.device().bulkOut(0x04, frame), Outcome::done);
}

TEST(Controller, KeepsWhatIsWrittenToItsMemory) {
    RawHost host;
    EXPECT_EQ(host.writeMemory(0x1234, {1, 2, 3}), Outcome::done);
    EXPECT_EQ(host.device().controlIn({0xC0, 0xA0, 0x1234, 0, 3}).data, (Bytes{1, 2, 3}));
    EXPECT_EQ(host.writeMemory(0xFFFF, {1, 2}), Outcome::stalled);
}

TEST(Controller, HasNoPipesOnAlternateSettingZero) {
    RawHost host;
    host.start();
    host.device().setAlternateSetting(0, 0);
    EXPECT_EQ(host.device().bulkIn(0x86, 4).outcome, Outcome::stalled);
    EXPECT_EQ(host.device().setAlternateSetting(0, 2), Outcome::stalled);
}

TEST(Controller, RefusesMalformedFrames) {
    RawHost host;
    host.start();
    EXPECT_EQ(host.device().bulkOut(0x04, Bytes(15)), Outcome::stalled);
    // Announces one byte of payload and brings none.
    EXPECT_EQ(host.device().bulkOut(0x04, Bytes{3, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 1, 0, 0, 0}),
              Outcome::stalled);
    EXPECT_FALSE(
        host.request({3, 0, 0x7F, 0, 0, 0, 0, 0}, {}, 5));        // reply flag is neither 0 nor FF
    EXPECT_FALSE(host.request({99, 0, 0, 0, 0, 0, 0, 0}, {}, 0)); // no such request
    EXPECT_FALSE(host.request(kReadPorts, {}, 4));                // there are five ports
    EXPECT_FALSE(host.request({2, 0, 0, 0, 0, 0, 0, 0}, Bytes(16), 0));
    EXPECT_TRUE(host.request(kReadPorts, {}, 5));
}

TEST(Controller, CombinesPortPairsAndShowsOutputs) {
    RawHost host;
    host.start();
    // Port 0: direction 9F, state 80; other ports untouched.
    EXPECT_TRUE(host.request({2, 0, 0, 0, 0, 0, 0, 0},
                             {0x00, 0x9F, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0}, 0));
    EXPECT_TRUE(host.request({1, 0, 0, 0, 0, 0, 0, 0},
                             {0x00, 0x80, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0},
                             0));
    EXPECT_EQ(host.request(kReadPorts, {}, 5), (Bytes{0x80, 0, 0, 0, 0}));
    // Line 3 up: the rest of the port stays.
    EXPECT_TRUE(host.request({1, 0, 0, 0, 0, 0, 0, 0},
                             {0xF7, 0x08, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0},
                             0));
    EXPECT_EQ(host.request(kReadPorts, {}, 5), (Bytes{0x88, 0, 0, 0, 0}));
}

TEST(Controller, GivesTheReplyInPiecesWithALeadingAndThreeClosingBytes) {
    RawHost host;
    host.start();
    ASSERT_EQ(host.device().bulkOut(0x04, Bytes{3, 0x42, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0}),
              Outcome::done);
    EXPECT_EQ(host.device().bulkIn(0x86, 4).data.size(), 4U);
    EXPECT_EQ(host.device().bulkIn(0x86, 4).data.size(), 4U);
    EXPECT_EQ(host.device().bulkIn(0x86, 4).data.size(), 1U);
    EXPECT_EQ(host.device().bulkIn(0x86, 4).outcome, Outcome::nothing);
}

TEST(Eeprom, HoldsProductIdAndSerialNumber) {
    Model model = smallRidge();
    model.serial = 0x04030201;
    RawHost host{model};
    host.start();
    EXPECT_EQ(host.readEeprom(3, 2), (Bytes{0x2C, 0xDF}));
    EXPECT_EQ(host.readEeprom(5, 2), (Bytes{0x01, 0x02}));
    EXPECT_EQ(host.readEeprom(8, 2), (Bytes{0x03, 0x04}));
}

TEST(Eeprom, MarksColourSensors) {
    Model model = smallRidge();
    RawHost mono{model};
    mono.start();
    EXPECT_NE(mono.readEeprom(0xE8, 3), (Bytes{0x84, 0xD9, 0x01}));
    makeColour(model, 2);
    RawHost colour{model};
    colour.start();
    EXPECT_EQ(colour.readEeprom(0xE8, 5), (Bytes{0x84, 0xD9, 0x01, 0x02, 0x00}));
}

TEST(Eeprom, MovesItsPointerOnAndWraps) {
    RawHost host;
    host.start();
    ASSERT_TRUE(host.readEeprom(0xFF, 1));
    // The pointer has wrapped to 0, so product id and serial number lie at 3 and 5 of this read.
    const auto bytes = host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA3}, 7);
    ASSERT_TRUE(bytes);
    EXPECT_EQ((*bytes)[3], 0x2C);
    EXPECT_EQ((*bytes)[4], 0xDF);
}

TEST(Eeprom, HasNothingWhereTheHighAddressByteIsNotZero) {
    RawHost host;
    host.start();
    for (const std::uint8_t high : Bytes{0x01, 0x03, 0x80, 0xFF}) {
        ASSERT_TRUE(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA2, high, 3}, 0));
        EXPECT_EQ(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA3}, 2), (Bytes{0xFF, 0xFF}));
    }
    EXPECT_TRUE(host.logged("memory: there is nothing at 0x0303"));
    EXPECT_EQ(host.readEeprom(3, 2), (Bytes{0x2C, 0xDF}));
}

TEST(Eeprom, IsWriteProtected) {
    RawHost host;
    host.start();
    ASSERT_TRUE(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA2, 0x00, 3, 0x11, 0x22}, 0));
    EXPECT_TRUE(host.logged("memory: write-protected, ignored: 11 22"));
    EXPECT_EQ(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA3}, 2), (Bytes{0x2C, 0xDF}))
        << "and the address stays where the write began";
}

TEST(Eeprom, IgnoresHalfAnAddress) {
    RawHost host;
    host.start();
    host.readEeprom(0, 3);
    ASSERT_TRUE(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA2, 0x00}, 0));
    EXPECT_TRUE(host.logged("an address has two bytes, ignored: 00"));
    EXPECT_EQ(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA3}, 2), (Bytes{0x2C, 0xDF}));
}

TEST(I2c, RefusesAnAddressWhereNothingAnswers) {
    RawHost host;
    host.start();
    // Accepted as a request, refused in its reply.
    ASSERT_EQ(host.device().bulkOut(
                  0x04, Bytes{4, 0, 0xFF, 0, 0, 0, 1, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0x80, 0x00}),
              Outcome::done);
    EXPECT_EQ(host.device().bulkIn(0x86, 4).outcome, Outcome::stalled);
    EXPECT_TRUE(host.readEeprom(3, 2));
}

TEST(ParallelLink, MovesNothingWithoutTheRightTable) {
    RawHost host;
    host.start();
    EXPECT_FALSE(host.command(80, {100}));
    Bytes wrong = ridgeTable();
    wrong[1] ^= 1;
    EXPECT_TRUE(host.loadTable(wrong));
    EXPECT_FALSE(host.command(80, {100}));
    EXPECT_FALSE(host.linkRead(1));
    EXPECT_FALSE(host.loadTable(Bytes(150)));
    EXPECT_TRUE(host.loadTable(ridgeTable()));
    EXPECT_TRUE(host.command(80, {100}));
}

TEST(ParallelLink, GivesUpAfterItsTimeOutSoThatADrainEnds) {
    RawHost host;
    host.start();
    host.loadTable(ridgeTable());
    host.request({12, 0, 0, 0, 50, 0, 0, 0}, {}, 0);
    ASSERT_TRUE(host.request({9, 0, 0, 0, 0, 0, 1, 0}, {}, 0));
    EXPECT_EQ(host.device().bulkIn(0x88, 2).outcome, Outcome::nothing);
    EXPECT_EQ(host.device().wakeIn(), 50000U);
    host.wait(0.05);
    EXPECT_EQ(host.device().bulkIn(0x88, 2).outcome, Outcome::nothing);
    EXPECT_EQ(host.device().wakeIn(), std::nullopt);
}

TEST(ParallelLink, DeliversWhatThereIsWhenTheTimeOutPasses) {
    RawHost host;
    host.start();
    host.loadTable(ridgeTable());
    host.command(80, {7});
    ASSERT_TRUE(host.request({9, 0, 0, 0, 0, 0, 6, 0}, {}, 0));
    EXPECT_EQ(host.device().bulkIn(0x88, 7).outcome, Outcome::nothing);
    host.wait(10.0);
    EXPECT_EQ(host.device().bulkIn(0x88, 7).data, (Bytes{8, 0}));
}

TEST(ParallelLink, AbandonsAStaleReadWithoutLosingLaterData) {
    RawHost host;
    host.start();
    host.loadTable(ridgeTable());
    host.request({9, 0, 0, 0, 0, 0, 1, 0}, {}, 0); // a drain that the host gave up
    EXPECT_EQ(host.device().bulkIn(0x88, 2).outcome, Outcome::nothing);
    EXPECT_EQ(host.ask(80, {100}, 2), (Bytes{101, 0}));
}

TEST(ParallelLink, WaitsNoLongerForAReadThatTheHostHasCancelled) {
    RawHost host;
    host.start();
    host.loadTable(ridgeTable());
    host.command(80, {7});
    ASSERT_TRUE(host.request({9, 0, 0, 0, 0, 0, 6, 0}, {}, 0));
    EXPECT_EQ(host.device().bulkIn(0x88, 7).outcome, Outcome::nothing);
    host.device().cancelled(0x86);
    EXPECT_TRUE(host.device().wakeIn()) << "another pipe";
    host.device().cancelled(0x88);
    EXPECT_EQ(host.device().wakeIn(), std::nullopt);
    host.command(80, {8});
    host.command(80, {9});
    EXPECT_EQ(host.device().bulkIn(0x88, 7).data.size(), 7U) << "the read itself goes on";
}

TEST(ParallelLink, GivesALongReadInThePiecesTheHostAsksFor) {
    RawHost host;
    host.bringUp();
    host.expose(0.1);
    host.readOutCommand(0, 1, 0, 0, 10, 1);
    host.wait(1.0);
    host.request({9, 0, 0, 0, 0, 0, 20, 0}, {}, 0);
    EXPECT_EQ(host.device().bulkIn(0x88, 8).data.size(), 8U);
    EXPECT_EQ(host.device().bulkIn(0x88, 8).data.size(), 8U);
    EXPECT_EQ(host.device().bulkIn(0x88, 5).data.size(), 5U);
    EXPECT_EQ(host.device().bulkIn(0x88, 1).outcome, Outcome::nothing);
}

TEST(Controller, ForgetsTheExposureWhenItIsHeldAgain) {
    RawHost host;
    host.bringUp();
    host.expose(1.0);
    host.start();
    host.readOutCommand(0, 1, 0, 0, 10, 10);
    EXPECT_TRUE(host.logged("nothing has been exposed"));
    EXPECT_FALSE(host.linkRead(1));
}

TEST(Controller, DropsWhatWasQueuedForTheLinkWhenItIsHeldAgain) {
    RawHost host;
    host.bringUp();
    EXPECT_EQ(host.device().bulkOut(0x02, Bytes(10)), Outcome::done);
    host.start();
    host.loadTable(ridgeTable());
    EXPECT_EQ(host.ask(80, {5}, 2), (Bytes{6, 0}));
}

TEST(Controller, HoldsBackWhatTheLinkHasNoRoomFor) {
    RawHost host;
    host.bringUp();
    EXPECT_EQ(host.device().bulkOut(0x02, Bytes(4096)), Outcome::done);
    EXPECT_EQ(host.device().bulkOut(0x02, Bytes(1)), Outcome::nothing);
    host.request({10, 0, 0xFF, 0, 0, 0, 0, 0}, {}, 0);
    EXPECT_EQ(host.device().bulkOut(0x02, Bytes(1)), Outcome::done);
}

TEST(Controller, IsBareAfterAReset) {
    RawHost host;
    host.bringUp();
    host.device().reset();
    host.device().setAlternateSetting(0, 1);
    EXPECT_FALSE(host.request(kReadPorts, {}, 5));
    host.start();
    EXPECT_TRUE(host.request(kReadPorts, {}, 5));
    EXPECT_FALSE(host.command(80, {1})) << "the link has lost its table";
}

} // namespace tavo::virtualcamera::test
