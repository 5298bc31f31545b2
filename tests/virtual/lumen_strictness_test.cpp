// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A host that does nearly the right thing must notice that a Lumen camera does not put up with it.
#include "lumen_host.h"

#include <gtest/gtest.h>

namespace tavo::virtualcamera::test {

namespace {

const Bytes kPing{'C', 'M', 'D', 80, 0x00, 0x7B, 0, 0};

bool answers(LumenHost& host) {
    return host.send(80, {0x00, 0x7B}, 2) == Bytes{0x00, 0x7C};
}

} // namespace

TEST(StrictLumen, TakesOnlyItsSerialTransfers) {
    const struct {
        Bytes header;
        std::uint32_t reply;
    } rows[] = {{{6, 0, 0, 1, 3, 0, 1, 0}, 8}, {{6, 0, 0, 2, 1, 0, 3, 0}, 8},
                {{6, 0, 0, 2, 0, 0, 1, 0}, 8}, {{6, 0, 0, 2, 3, 0, 0, 0}, 8},
                {{6, 0, 0, 2, 0, 3, 0, 1}, 8}, {{6, 0, 0xFF, 2, 3, 0, 1, 0}, 8},
                {{6, 0, 0, 2, 3, 0, 1, 0}, 6}, {{6, 0, 0, 2, 3, 0, 1, 0}, 9}};
    LumenHost host;
    host.bringUp();
    for (const auto& row : rows)
        EXPECT_FALSE(host.request(row.header, kPing, row.reply)) << host.log().back();
    EXPECT_EQ(host.request({6, 0, 0, 2, 3, 0, 1, 0}, kPing, 8),
              (Bytes{'C', 'M', 'D', 80, 0x00, 0x7B, 0x00, 0x7C}));
}

TEST(StrictLumen, NeedsAllItsLinesSetUp) {
    for (unsigned left = 0; left < 12; ++left) {
        LumenHost host;
        host.release();
        for (unsigned line = 0; line < 8; ++line)
            if (line != left)
                host.setLineDirection(line, line != 3 && line != 4);
        if (left != 8)
            host.initSerialPort();
        if (left != 9)
            host.setLineDirection(0, true);
        if (left != 10)
            host.setLineState(0, false);
        // The port's set-up drives lines 5 to 7 anyway, inputs are inputs from the start, and line
        // 0 is an output twice over.
        const bool enough = left == 0 || (left >= 3 && left <= 7) || left == 9 || left == 11;
        EXPECT_EQ(answers(host), enough) << left;
        EXPECT_EQ(host.logged("the lines are not set up"), !enough) << left;
    }
}

TEST(StrictLumen, NeedsItsLinesAnewAfterAFirmwareStart) {
    LumenHost host;
    host.bringUp();
    EXPECT_TRUE(answers(host));
    host.release();
    EXPECT_FALSE(answers(host));
    host.reach();
    EXPECT_TRUE(answers(host));
}

TEST(StrictLumen, LosesTheHeadWhenALineChanges) {
    for (const unsigned line : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U}) {
        LumenHost host;
        host.bringUp();
        host.setLineDirection(line, line == 3 || line == 4);
        EXPECT_FALSE(answers(host)) << line;
    }
    for (const unsigned line : {0U, 1U, 2U, 5U, 6U, 7U}) {
        LumenHost host;
        host.bringUp();
        host.setLineState(line, line != 7);
        EXPECT_FALSE(answers(host)) << line;
    }
}

TEST(StrictLumen, NeedsBothTablesInOrder) {
    const auto pixels = [](const std::vector<Bytes>& tables) {
        LumenHost host;
        host.bringUp();
        host.device().reset();
        host.release();
        for (const Bytes& table : tables)
            host.loadTable(table);
        for (unsigned line = 0; line < 8; ++line)
            host.setLineDirection(line, line != 3 && line != 4);
        host.initSerialPort();
        host.setLineState(0, false);
        host.setLinkTimeout(2000);
        return host.picture(0.1, {.width = 10, .height = 10}).size();
    };
    EXPECT_EQ(pixels({engineTable(), lumenTable()}), 100U);
    EXPECT_EQ(pixels({lumenTable(), engineTable()}), 0U);
    EXPECT_EQ(pixels({lumenTable()}), 0U);
    EXPECT_EQ(pixels({engineTable()}), 0U);
    EXPECT_EQ(pixels({}), 0U);
    EXPECT_EQ(pixels({ridgeTable()}), 0U);
    Bytes wrong = lumenTable();
    wrong[0x12] ^= 1;
    EXPECT_EQ(pixels({engineTable(), wrong}), 0U);
}

TEST(StrictLumen, RefusesCommandsThatItDoesNotKnow) {
    LumenHost host;
    host.bringUp();
    for (const std::uint8_t command : Bytes{0, 3, 9, 17, 66, 81, 133, 146, 255})
        EXPECT_FALSE(host.send(command)) << unsigned{command};
    EXPECT_TRUE(host.logged("command 255 is unknown"));
}

TEST(StrictLumen, RefusesPacketsOfAWrongLength) {
    const struct {
        std::uint8_t command;
        std::size_t arguments;
        std::size_t answer;
    } rows[] = {{1, 0, 128}, {2, 2, 0},   {4, 0, 0},    {5, 0, 0},    {6, 16, 0},  {24, 0, 0},
                {44, 0, 0},  {52, 0, 6},  {53, 0, 8},   {54, 0, 2},   {55, 2, 6},  {56, 2, 2},
                {57, 0, 0},  {62, 0, 6},  {80, 2, 2},   {130, 0, 4},  {131, 2, 0}, {132, 2, 0},
                {135, 0, 8}, {136, 2, 2}, {140, 18, 0}, {141, 0, 16}, {145, 0, 2}, {253, 2, 2}};
    LumenHost host;
    host.bringUp();
    for (const auto& row : rows)
        for (const int difference : {-1, 1, 2}) {
            const auto size = static_cast<int>(4 + row.arguments + row.answer) + difference;
            if (size < 4)
                continue;
            Bytes packet{'C', 'M', 'D', row.command};
            packet.resize(static_cast<std::size_t>(size));
            host.log().clear();
            EXPECT_FALSE(host.exchange(packet)) << unsigned{row.command} << " " << difference;
            EXPECT_TRUE(host.logged("takes a packet of")) << host.log().front();
        }
}

TEST(StrictLumen, WantsZerosWhereItsAnswerGoes) {
    LumenHost host;
    host.bringUp();
    EXPECT_FALSE(host.exchange({'C', 'M', 'D', 80, 0x00, 0x7B, 0, 1}));
    EXPECT_TRUE(host.logged("the room for its answer is not zero"));
    EXPECT_TRUE(host.exchange(kPing));
}

// The port moves as many bytes in as out, whatever the head makes of them, so that a host must look
// at what comes back.
TEST(StrictLumen, SendsBackWhatItRefusesWithAnEmptyAnswer) {
    const auto expectEmpty = [](LumenHost& host, Bytes packet, std::size_t answerBytes) {
        packet.resize(packet.size() + answerBytes);
        host.log().clear();
        EXPECT_EQ(host.exchange(packet), packet) << unsigned{packet[3]};
        EXPECT_TRUE(host.logged("sent back without an answer")) << unsigned{packet[3]};
    };
    LumenHost early;
    early.reach();
    expectEmpty(early, {'C', 'M', 'D', 2, 0, 0}, 0);
    expectEmpty(early, {'C', 'M', 'D', 62}, 6);
    EXPECT_TRUE(early.logged("is refused, the application has not been started"));

    Model bare = smallLumen();
    bare.versionMajor = 1;
    bare.filterCount = 0;
    bare.gpioLines = 0;
    bare.hasGuidePort = false;
    LumenHost host{bare};
    host.bringUp();
    expectEmpty(host, {'C', 'M', 'D', 145}, 2);
    expectEmpty(host, {'C', 'M', 'D', 135}, 8);
    expectEmpty(host, {'C', 'M', 'D', 136, 0, 1}, 2);
    expectEmpty(host, {'C', 'M', 'D', 130}, 4);
    expectEmpty(host, {'C', 'M', 'D', 20}, 0);
    expectEmpty(host, {'C', 'M', 'D', 55, 0, 9}, 6);
    expectEmpty(host, {'C', 'M', 'D', 5}, 0);
    ASSERT_TRUE(host.beginExposure());
    // Of no width.
    expectEmpty(host, {'C', 'M', 'D', 6, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 10, 0, 0x43}, 0);
    EXPECT_TRUE(host.logged("no data, the window is empty"));
    EXPECT_TRUE(host.readOut({})) << "the exposure has not suffered";
}

TEST(StrictLumen, StallsForWhatIsNoPacketOfItsOwn) {
    auto stalls = [number = std::uint8_t{0}](LumenHost& host, const Bytes& packet) mutable {
        const auto size = static_cast<std::uint8_t>(packet.size());
        Bytes frame{6, number++, 0, 2, 3, 0, 1, 0, size, 0, 0, 0, size, 0, 0, 0};
        frame.insert(frame.end(), packet.begin(), packet.end());
        EXPECT_EQ(host.device().bulkOut(0x04, frame), Outcome::done);
        return host.device().bulkIn(0x86, size + 4U).outcome == Outcome::stalled;
    };
    LumenHost host;
    host.bringUp();
    EXPECT_TRUE(stalls(host, {'C', 'M', 'D', 255}));
    EXPECT_FALSE(stalls(host, {'C', 'M', 'D', 4})) << "out of order";
    EXPECT_TRUE(stalls(host, {'C', 'M', 'D', 80, 0, 0x7B, 0, 1}));
    host.setLineState(0, true);
    EXPECT_FALSE(host.exchange(kPing));
}

TEST(StrictLumen, ExpectsNothingOverTheParallelLink) {
    LumenHost host;
    host.bringUp();
    EXPECT_TRUE(host.command(80, {100}));
    EXPECT_TRUE(host.logged("nothing is expected over the parallel link"));
    EXPECT_FALSE(host.linkRead(1));
}

} // namespace tavo::virtualcamera::test
