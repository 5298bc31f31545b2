// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A host that does nearly the right thing must notice that a camera does not put up with it.
#include "raw_host.h"
#include "ridge/ridge.h"

#include <gtest/gtest.h>

#include <array>

namespace tavo::virtualcamera::test {

namespace {

// One framed request to a camera that would serve a correct one; whether it was taken.
bool taken(RawHost& host, const Bytes& header, std::size_t payload = 0, std::uint32_t reply = 0) {
    return host.request(header, Bytes(payload), reply).has_value();
}

void arm(RawHost& host, std::uint8_t length) {
    ASSERT_TRUE(host.request({9, 0, 0, 0, 0, 0, length, 0}, {}, 0));
}

// What a host does when it opens a camera: single bytes as long as some come.
unsigned drain(RawHost& host) {
    unsigned count = 0;
    while (host.linkRead(1))
        ++count;
    return count;
}

void exposeTimed(RawHost& host, std::uint16_t code, std::uint16_t flags) {
    host.command(2, {0, 0});
    host.command(4);
    host.command(5);
    host.readOutCommand(code, 1, 0, 0, 10, 1, flags);
}

} // namespace

TEST(StrictLink, KeepsAClosingByteThatWasNotFetched) {
    RawHost host;
    host.bringUp();
    host.command(80, {100});
    arm(host, 2);
    const Reply first = host.device().bulkIn(0x88, 2); // without the closing byte
    ASSERT_EQ(first.data, (Bytes{101, 0}));
    host.command(80, {101});
    arm(host, 2);
    EXPECT_TRUE(host.logged("closing byte of the last read has not been fetched"));
    const Reply second = host.device().bulkIn(0x88, 3);
    ASSERT_EQ(second.data.size(), 3U);
    EXPECT_EQ(second.data[1], 102) << "the old closing byte comes first";
    EXPECT_EQ(second.data[2], 0);
}

TEST(StrictLink, GivesALateClosingByteAlone) {
    RawHost host;
    host.bringUp();
    host.command(80, {100});
    arm(host, 2);
    host.device().bulkIn(0x88, 2);
    host.loadTable(ridgeTable());
    EXPECT_EQ(host.device().bulkIn(0x88, 512).data.size(), 1U);
    EXPECT_EQ(host.device().bulkIn(0x88, 512).outcome, Outcome::nothing);
}

TEST(StrictLink, ForgetsAClosingByteWhenFirmwareStarts) {
    RawHost host;
    host.bringUp();
    host.command(80, {100});
    arm(host, 2);
    host.device().bulkIn(0x88, 2);
    host.loadTable(ridgeTable()); // ends the read, so that the byte waits by itself
    host.start();
    host.loadTable(ridgeTable());
    EXPECT_EQ(host.ask(80, {7}, 2), (Bytes{8, 0}));
}

TEST(StrictLink, FetchesAClosingByteLate) {
    RawHost host;
    host.bringUp();
    host.command(80, {100});
    arm(host, 2);
    host.device().bulkIn(0x88, 2);
    EXPECT_EQ(host.device().bulkIn(0x88, 1).data.size(), 1U);
    EXPECT_EQ(host.ask(80, {7}, 2), (Bytes{8, 0}));
}

TEST(StrictLink, NeedsPort0SetUp) {
    const std::array<std::uint8_t, 2> wrong[] = {
        {0x9F, 0x00}, {0x00, 0x80}, {0xFF, 0x80}, {0x9F, 0x81}};
    for (const auto& [directions, states] : wrong) {
        RawHost host;
        host.bringUp();
        ASSERT_TRUE(host.setPort0(directions, states));
        EXPECT_FALSE(host.ask(80, {50}, 2)) << unsigned{directions} << " " << unsigned{states};
        EXPECT_TRUE(host.logged("the ports are not set up"));
        ASSERT_TRUE(host.setPort0(0x9F, 0x80));
        EXPECT_EQ(host.ask(80, {100}, 2), (Bytes{101, 0})) << "and not the answer to 50";
    }
}

TEST(StrictLink, NeedsPort0SetUpAnewAfterAFirmwareStart) {
    RawHost host;
    host.bringUp();
    host.release();
    EXPECT_FALSE(host.ask(80, {100}, 2));
}

TEST(StrictI2c, RefusesWithoutATimeOut) {
    RawHost host;
    host.release();
    EXPECT_FALSE(host.readEeprom(3, 2));
    EXPECT_TRUE(host.logged("the time-out is 0"));
    host.setI2cTimeout(50);
    EXPECT_TRUE(host.readEeprom(3, 2));
    host.setI2cTimeout(0);
    EXPECT_FALSE(host.readEeprom(3, 2));
}

TEST(StrictRequests, TakeOnlyTheirDirectionFlag) {
    const struct {
        std::uint8_t code;
        std::uint8_t flag;
        std::uint8_t b;
        std::size_t payload;
        std::uint32_t reply;
    } rows[] = {{1, 0x00, 0, 16, 0}, {2, 0x00, 0, 10, 0},  {3, 0x00, 0, 0, 5},
                {5, 0x00, 0, 0, 0},  {8, 0xFF, 0, 152, 0}, {9, 0x00, 1, 0, 0},
                {10, 0xFF, 0, 0, 0}, {12, 0x00, 0, 0, 0}};
    for (const auto& row : rows) {
        RawHost host;
        host.bringUp();
        const auto other = static_cast<std::uint8_t>(~row.flag);
        EXPECT_TRUE(taken(host, {row.code, 0, row.flag, 0, 0, 0, row.b, 0}, row.payload, row.reply))
            << unsigned{row.code};
        EXPECT_FALSE(taken(host, {row.code, 0, other, 0, 0, 0, row.b, 0}, row.payload, row.reply))
            << unsigned{row.code};
        EXPECT_TRUE(host.logged("direction flag is")) << unsigned{row.code};
    }
    RawHost host;
    host.bringUp();
    ASSERT_TRUE(host.request({4, 0, 0xFF, 0, 0, 0, 1, 0}, {0xA3}, 2));
    EXPECT_FALSE(host.request({4, 0, 0x00, 0, 0, 0, 1, 0}, {0xA3}, 2));
}

TEST(StrictRequests, TakeOnlyTheirParameters) {
    const struct {
        Bytes header;
        std::size_t payload;
        std::uint32_t reply;
        const char* problem;
    } rows[] = {{{1, 0, 0, 1, 0, 0, 0, 0}, 16, 0, "sub-code is 1, accepted is 0"},
                {{1, 0, 0, 0, 1, 0, 0, 0}, 16, 0, "parameter A is 1, accepted is 0"},
                {{1, 0, 0, 0, 0, 0, 1, 0}, 16, 0, "parameter B is 1, accepted is 0"},
                {{1, 0, 0, 0, 0, 0, 0, 0}, 10, 0, "payload length is 10, accepted is 16"},
                {{2, 0, 0, 0, 0, 0, 1, 0}, 10, 0, "parameter B is 1, accepted is 0"},
                {{2, 0, 0, 0, 0, 0, 0, 0}, 16, 0, "payload length is 16, accepted is 10"},
                {{3, 0, 0, 1, 0, 0, 0, 0}, 0, 5, "sub-code is 1, accepted is 0"},
                {{3, 0, 0, 0, 0, 0, 0, 0}, 0, 4, "reply length is 4, accepted is 5"},
                {{4, 0, 0xFF, 0, 0, 0, 0, 0}, 1, 0, "parameter B is 0, accepted is 1"},
                {{4, 0, 0xFF, 1, 0, 0, 1, 0}, 1, 0, "sub-code is 1, accepted is 0"},
                {{5, 0, 0, 0, 1, 0, 0, 0}, 0, 0, "parameter A is 1, accepted is 0"},
                {{8, 0, 0xFF, 9, 0, 0, 0, 0}, 152, 0, "sub-code is 9, accepted is 0"},
                {{9, 0, 0, 1, 0, 0, 1, 0}, 0, 0, "sub-code is 1, accepted is 0"},
                {{10, 0, 0xFF, 0, 2, 0, 0, 0}, 0, 0, "parameter A is 2, accepted is 0"},
                {{12, 0, 0, 2, 50, 0, 0, 0}, 0, 0, "sub-code is 2, accepted is 0 to 1"},
                {{12, 0, 0, 0, 50, 0, 1, 0}, 0, 0, "parameter B is 1, accepted is 0"}};
    for (const auto& row : rows) {
        RawHost host;
        host.bringUp();
        EXPECT_FALSE(taken(host, row.header, row.payload, row.reply)) << row.problem;
        EXPECT_TRUE(host.logged(row.problem)) << host.log().back();
    }
}

TEST(StrictRequests, TakeOnlyZerosAfterThePairsOfPortStates) {
    RawHost host;
    host.bringUp();
    Bytes payload(16);
    EXPECT_TRUE(host.request({1, 0, 0, 0, 0, 0, 0, 0}, payload, 0));
    payload.back() = 1;
    EXPECT_FALSE(host.request({1, 0, 0, 0, 0, 0, 0, 0}, payload, 0));
    EXPECT_TRUE(host.logged("the six bytes after the pairs"));
}

TEST(StrictRequests, GapsInTheirNumbersAreTold) {
    RawHost host;
    host.bringUp();
    for (int i = 0; i < 300; ++i) // past the wrap
        host.setLinkTimeout(1000);
    EXPECT_FALSE(host.logged("there is a gap"));
    host.device().bulkOut(0x04, Bytes{12, 0, 0, 0, 50, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_TRUE(host.logged("there is a gap"));
}

TEST(StrictReadout, TakesOnlyFlagsItKnows) {
    const struct {
        std::uint16_t flags;
        bool long_;
        bool timed;
    } rows[] = {{0x0043, true, true},   {0x0143, true, true},   {0x0443, false, true},
                {0x1043, false, true},  {0x1543, false, true},  {0x0000, false, false},
                {0x0042, false, false}, {0x0003, false, false}, {0x0243, false, false},
                {0x8043, false, false}, {0x0047, false, false}};
    for (const auto& row : rows) {
        RawHost host;
        host.bringUp();
        host.expose(0.1);
        host.readOutCommand(0, 1, 0, 0, 10, 1, row.flags);
        EXPECT_EQ(!host.fetch(10).empty(), row.long_) << row.flags;
        exposeTimed(host, 10, row.flags);
        EXPECT_EQ(!host.fetch(10).empty(), row.timed) << row.flags;
        EXPECT_EQ(host.logged("camera: no data, the flags"), !row.long_ || !row.timed) << row.flags;
    }
}

TEST(StrictReadout, TakesNoCodeAboveThreeSeconds) {
    RawHost host;
    host.bringUp();
    host.setLinkTimeout(30000);
    exposeTimed(host, 3001, 0x0043);
    EXPECT_TRUE(host.fetch(10).empty());
    EXPECT_TRUE(host.logged("the code is above 3000 ms"));
    exposeTimed(host, 3000, 0x0043);
    EXPECT_EQ(host.fetch(10).size(), 10U);
    exposeTimed(host, 50000, 0x0443);
    EXPECT_EQ(host.fetch(10).size(), 10U);
}

TEST(StrictReadout, WantsNoCodeAfterAnExposureTimedByTheHost) {
    RawHost host;
    host.bringUp();
    host.expose(0.1);
    host.readOutCommand(10, 1, 0, 0, 10, 1);
    EXPECT_TRUE(host.fetch(10).empty());
    EXPECT_TRUE(host.logged("the code must be 0"));
}

// 2000 ms is what hosts allow a command; for an image they must allow more.
TEST(StrictReadout, LargeSensorIsTooSlowForTheTimeOutOfCommands) {
    const auto read = [](std::uint16_t timeout) {
        RawHost host{modelOf(ridgeModels(), "ridge-v")};
        host.bringUp();
        host.expose(0.1);
        host.setLinkTimeout(timeout);
        host.readOutCommand(0, 1, 0, 0, 10, 1);
        return host.fetch(10).size();
    };
    EXPECT_EQ(read(50), 0U);
    EXPECT_EQ(read(1000), 0U);
    EXPECT_EQ(read(2000), 0U);
    EXPECT_EQ(read(30000), 10U);
}

TEST(StrictReadout, TimeOutCountsFromTheArmingOfTheRead) {
    RawHost host{modelOf(ridgeModels(), "ridge-v")};
    host.bringUp();
    host.expose(0.1);
    host.setLinkTimeout(2000);
    host.readOutCommand(0, 1, 0, 0, 10, 1);
    host.wait(1.0); // leaves less than the time-out to wait for
    EXPECT_EQ(host.fetch(10).size(), 10U);
}

TEST(AbandonedReadout, IsDrainedAtTheNextOpening) {
    RawHost host;
    host.bringUp();
    host.expose(0.1);
    host.readOutCommand(0, 1, 0, 0, 20, 10);
    host.wait(1.0);
    host.start();
    host.setLinkTimeout(50);
    EXPECT_EQ(drain(host), 400U);
    host.setLinkTimeout(1000);
    host.loadTable(ridgeTable());
    host.command(1);
    EXPECT_EQ(host.linkRead(4), (Bytes{12, 0, 3, 0}));
    EXPECT_EQ(host.linkRead(2), (Bytes{'T', 0}));
}

TEST(AbandonedReadout, ComesBeforeTheDescriptionWithoutADrain) {
    RawHost host;
    host.bringUp();
    host.expose(0.1);
    host.readOutCommand(0, 1, 0, 0, 20, 10);
    host.wait(1.0);
    host.start();
    host.loadTable(ridgeTable());
    host.command(1);
    EXPECT_NE(host.linkRead(4), (Bytes{12, 0, 3, 0}));
}

// A whole image byte by byte would take a host minutes.
TEST(AbandonedReadout, LeavesNoMoreThanTheFifoChipHolds) {
    RawHost host;
    host.bringUp();
    host.expose(0.1);
    host.readOutCommand(0, 1, 0, 0, 320, 240);
    host.wait(10.0);
    host.start();
    EXPECT_EQ(drain(host), 4096U);
}

TEST(AbandonedReadout, StopsWithTheProcessor) {
    RawHost host;
    host.bringUp();
    host.expose(0.1);
    host.readOutCommand(0, 1, 0, 0, 320, 240);
    host.start();
    EXPECT_EQ(drain(host), 0U) << "had not begun";
}

TEST(Fifo, IsBoundedForAHostThatNeverReads) {
    RawHost host;
    host.bringUp();
    for (int i = 0; i < 16384; ++i)
        ASSERT_TRUE(host.command(80, {1}));
    EXPECT_FALSE(host.logged("the FIFO is full"));
    ASSERT_TRUE(host.command(80, {1}));
    EXPECT_TRUE(host.logged("the FIFO is full"));
    EXPECT_EQ(host.linkRead(2), (Bytes{2, 0}));
    host.log().clear();
    ASSERT_TRUE(host.command(80, {1}));
    EXPECT_FALSE(host.logged("the FIFO is full"));
}

TEST(Firmware, IsNotNeededUnlessRequired) {
    RawHost host;
    host.release();
    EXPECT_TRUE(host.setLinkTimeout(50));
}

TEST(Firmware, WhenRequiredMustBeWritten) {
    Model model = smallRidge();
    model.firmwareRequired = true;
    RawHost host{model};
    host.release();
    EXPECT_FALSE(host.setLinkTimeout(50));
    EXPECT_TRUE(host.logged("no firmware: the processor does nothing"));
    host.writeMemory(0xE600, {1});
    host.writeMemory(0x0000, {0x02});
    host.writeMemory(0xE600, {0});
    EXPECT_TRUE(host.setLinkTimeout(50));
    host.release();
    EXPECT_TRUE(host.setLinkTimeout(50)) << "memory keeps it";
    host.device().reset();
    host.release();
    EXPECT_FALSE(host.setLinkTimeout(50)) << "until the power goes";
}

} // namespace tavo::virtualcamera::test
