// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/fault_sweep.h"
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kType = LUMEN_CAMERA;

std::uint8_t high(unsigned value) {
    return static_cast<std::uint8_t>(value >> 8);
}
std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

// A valid block: normal gain 5 and raw offset 0x0101, preview gain 9 and raw offset 0x0010.
const Bytes kBlock{0, 88, 0xA1, 0xA2, 0, 5, 0x01, 0x01, 0, 88, 0xB1, 0xB2, 0, 9, 0x00, 0x10};

Bytes changed(std::initializer_list<std::pair<std::size_t, std::uint8_t>> changes) {
    Bytes block = kBlock;
    for (const auto& [position, value] : changes)
        block[position] = value;
    return block;
}

Rows reading(const Bytes& block) {
    return command(kType, 141, {}, block);
}
// setGain waits after each reading.
Rows reading(const Bytes& block, std::size_t times) {
    Rows rows;
    for (std::size_t i = 0; i < times; ++i)
        rows = together({rows, reading(block), {pause(10000)}});
    return rows;
}
Rows writing(const Bytes& block) {
    return command(kType, 140, joined({{0x00, 0x19}, block}));
}

class Gain : public UnitTest {
protected:
    void expectFree() { EXPECT_TRUE(peer.lockIsFree()); }

    std::unique_ptr<TavoCameraImpl> camera = openedCamera(kType);
    CameraPeer peer{*camera};
    int gain = 777, offset = 777;
};

TEST_F(Gain, ReadsThePairOfTheMode) {
    for (const bool preview : {false, true}) {
        peer.previewMode() = preview;
        usb().expect(within(30000, reading(kBlock)));
        CapturedTrace trace;
        EXPECT_TRUE(camera->getGain(&gain, &offset));
        EXPECT_EQ(gain, preview ? 9 : 5);
        EXPECT_EQ(offset, preview ? 0x10 + 257 : 512 - 0x101);
        expectLines(
            operation("getGain(...)", preview ? "getGain 1 -> 9, 273" : "getGain 1 -> 5, 255",
                      {say("lock()"), commandLines(kType, 141, {}, kBlock), say("unlock()")}),
            trace.lines());
        expectFree();
    }
    EXPECT_STREQ(camera->getLastError(), "No error");
}

TEST_F(Gain, OutputsAreOptionalOneByOne) {
    usb().expect(together({reading(kBlock), reading(kBlock), reading(kBlock)}));
    CapturedTrace trace;
    EXPECT_TRUE(camera->getGain(&gain, nullptr));
    EXPECT_EQ(gain, 5);
    EXPECT_TRUE(trace.contains("<- TavoCameraImpl::getGain 1 -> 5, 0"));
    EXPECT_TRUE(camera->getGain(nullptr, &offset));
    EXPECT_EQ(offset, 512 - 0x101);
    EXPECT_TRUE(trace.contains("<- TavoCameraImpl::getGain 1 -> 0, 255"));
    EXPECT_TRUE(camera->getGain(nullptr, nullptr));
    EXPECT_TRUE(trace.contains("<- TavoCameraImpl::getGain 1 -> 0, 0"));
    expectFree();
}

TEST_F(Gain, RawOffsets) {
    struct Pair {
        unsigned raw;
        int user;
    };
    for (const Pair& pair : {Pair{512, 0}, Pair{257, 255}, Pair{256, 256}, Pair{255, 512},
                             Pair{0, 257}, Pair{0xFFFF, 512 - 0xFFFF}}) {
        usb().expect(reading(changed({{6, high(pair.raw)}, {7, low(pair.raw)}})));
        EXPECT_TRUE(camera->getGain(&gain, &offset));
        EXPECT_EQ(offset, pair.user) << pair.raw;
    }
}

// Only byte 0 says whether a block is ready; markers and ranges are not looked at.
TEST_F(Gain, ReadingChecksOnlyThatTheBlockIsReady) {
    usb().expect(together({reading(changed({{0, 1}})), reading(changed({{0, 1}})),
                           reading(changed({{0, 2}, {1, 0}, {4, 0xFF}, {5, 0xFF}}))}));
    EXPECT_TRUE(camera->getGain(&gain, &offset));
    EXPECT_EQ(gain, 0xFFFF);
    EXPECT_TRUE(usb().pauses().empty());
}

TEST_F(Gain, ReadingGivesUpAfter101Tries) {
    LosingScript script{CameraScript(kType)};
    script.reply(141, changed({{0, 1}}));
    usb().respondWith(&script);
    CapturedTrace trace;
    EXPECT_FALSE(camera->getGain(&gain, &offset));
    EXPECT_EQ(script.countOf(141), 101u);
    EXPECT_STREQ(camera->getLastError(), "Failed to set gain");
    EXPECT_EQ(gain, 777);
    EXPECT_EQ(trace.lines().back(), "<- TavoCameraImpl::getGain 00 //  no response");
    expectFree();
}

TEST_F(Gain, ReadingTheHundredthTimeIsEnough) {
    LosingScript script{CameraScript(kType)};
    std::vector<Bytes> replies(99, changed({{0, 1}}));
    replies.push_back(kBlock);
    script.replies(141, replies);
    usb().respondWith(&script);
    EXPECT_TRUE(camera->getGain(&gain, &offset));
    EXPECT_EQ(script.countOf(141), 100u);
}

TEST_F(Gain, FailedReadSetsNoText) {
    for (const std::size_t transfer : {std::size_t{1}, std::size_t{2}}) {
        usb().forgetCalls();
        usb().failTransfer(transfer, kTimeout);
        CapturedTrace trace;
        EXPECT_FALSE(camera->getGain(&gain, &offset));
        EXPECT_STREQ(camera->getLastError(), "No error");
        EXPECT_EQ(gain, 777);
        EXPECT_EQ(trace.lines().back(), "<- TavoCameraImpl::getGain 0 -> 777, 777");
        expectFree();
    }
}

TEST_F(Gain, WritesAfterTheSecondAcceptableBlock) {
    usb().expect(
        within(30000, together({reading(kBlock, 2),
                                writing(changed({{4, 0x00}, {5, 0x0A}, {6, 0x01}, {7, 0x9C}}))})));
    CapturedTrace trace;
    EXPECT_TRUE(camera->setGain(10, 100));
    const Bytes payload{0x00, 0x19, 0, 88};
    Lines sent = commandLines(kType, 140, joined({payload, Bytes(14)}));
    expectLines(operation("setGain(10, 100)", "setGain 1",
                          {say("lock()"), commandLines(kType, 141, {}, kBlock),
                           commandLines(kType, 141, {}, kBlock), sent, say("unlock()")}),
                trace.lines());
    EXPECT_STREQ(camera->getLastError(), "No error");
    expectFree();
}

TEST_F(Gain, WritesThePreviewHalf) {
    peer.previewMode() = true;
    usb().expect(together(
        {reading(kBlock, 2), writing(changed({{12, 0}, {13, 63}, {14, 0x00}, {15, 0xFF}}))}));
    EXPECT_TRUE(camera->setGain(63, 512));
}

TEST_F(Gain, OffsetsAreTheInverseOfReading) {
    for (int user = 0; user <= 512; ++user) {
        LosingScript script{CameraScript(kType)};
        script.reply(141, kBlock);
        script.reply(140, {});
        usb().respondWith(&script);
        ASSERT_TRUE(camera->setGain(user % 64, user));
        const Bytes written = script.commands.back().second;
        ASSERT_EQ(written.size(), 18u);
        script.reply(141, Bytes(written.begin() + 2, written.end()));
        ASSERT_TRUE(camera->getGain(&gain, &offset));
        EXPECT_EQ(gain, user % 64);
        EXPECT_EQ(offset, user);
        usb().forgetCalls();
    }
}

// Blocks that are not acceptable neither count nor undo the first acceptable one. What is written
// is the second one.
TEST_F(Gain, UnacceptableBlocksAreSkipped) {
    const Bytes bad[]{changed({{0, 1}}),    changed({{1, 87}}), changed({{0, 2}}),
                      changed({{8, 1}}),    changed({{9, 89}}), changed({{4, 1}}),
                      changed({{5, 64}}),   changed({{12, 1}}), changed({{13, 64}}),
                      changed({{13, 0xFF}})};
    const Bytes second = changed({{2, 0x11}, {5, 63}, {13, 63}});
    for (const Bytes& each : bad) {
        usb().expect(
            together({reading(each, 2), reading(kBlock, 1), reading(each, 3), reading(second, 1),
                      writing(changed({{2, 0x11}, {4, 0}, {5, 1}, {6, 2}, {7, 0}, {13, 63}}))}));
        EXPECT_TRUE(camera->setGain(1, 0));
        usb().verify();
    }
}

TEST_F(Gain, WritingGivesUpAfter101Readings) {
    for (const bool oneAcceptable : {false, true}) {
        LosingScript script{CameraScript(kType)};
        std::vector<Bytes> replies(150, changed({{5, 64}}));
        if (oneAcceptable)
            replies[50] = kBlock;
        script.replies(141, replies);
        usb().reset();
        usb().respondWith(&script);
        CapturedTrace trace;
        EXPECT_FALSE(camera->setGain(1, 1));
        EXPECT_EQ(script.countOf(141), 101u);
        EXPECT_EQ(script.countOf(140), 0u);
        EXPECT_EQ(usb().pauses(), std::vector<long>(101, 10000));
        EXPECT_STREQ(camera->getLastError(), "Failed to set gain");
        EXPECT_EQ(trace.lines().back(), "<- TavoCameraImpl::getGain 00 //  no response");
        expectFree();
    }
}

// The limit counts before the block is looked at.
TEST_F(Gain, SecondAcceptableBlockAsTheLast) {
    for (const std::size_t before : {std::size_t{99}, std::size_t{100}}) {
        LosingScript script{CameraScript(kType)};
        std::vector<Bytes> replies{kBlock};
        replies.resize(before, changed({{0, 1}}));
        replies.push_back(kBlock);
        script.replies(141, replies);
        usb().reset();
        usb().respondWith(&script);
        EXPECT_EQ(camera->setGain(1, 1), before == 99);
    }
}

} // namespace
} // namespace tavo::test
