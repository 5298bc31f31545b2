// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"
#include "fake/unit_test.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kByCommand[]{RIDGE_CAMERA, LUMEN_CAMERA};
const char* const kFailed = "Failed to set guide relays";

// The word on the serial bus: register in the top four bits, high byte first.
Rows serialWrite(std::uint8_t high, std::uint8_t low) {
    return framedExchange({.code = 6, .subCode = 1, .b = 1, .payload = {high, low}}, {0x55, 0x55});
}

class GuideRelays : public UnitTest {
protected:
    void use(CAMERA_TYPE type) {
        usb().reset();
        camera = openedCamera(type);
        peer().hasGuidePort() = true;
    }
    CameraPeer peer() { return CameraPeer(*camera); }

    std::unique_ptr<TavoCameraImpl> camera;
};

using Numbers = std::vector<std::uint8_t>;

// Each relay command comes 5 ms after the one before.
Rows relayCommands(CAMERA_TYPE type, const Numbers& numbers) {
    Rows rows;
    for (const std::uint8_t number : numbers)
        rows = together({rows, number == 24 ? Rows{} : Rows{pause(5000)}, command(type, number)});
    return rows;
}

struct Pattern {
    unsigned short bits;
    Numbers commands;
};
const Pattern kPatterns[]{
    {0x00, {24}},     {0x01, {24, 20}},     {0x02, {24, 21}},     {0x03, {24, 20}},
    {0x04, {24, 22}}, {0x05, {24, 20, 22}}, {0x06, {24, 21, 22}}, {0x07, {24, 20, 22}},
    {0x08, {24, 23}}, {0x09, {24, 20, 23}}, {0x0A, {24, 21, 23}}, {0x0B, {24, 20, 23}},
    {0x0C, {24, 22}}, {0x0D, {24, 20, 22}}, {0x0E, {24, 21, 22}}, {0x0F, {24, 20, 22}},
    {0xFFF0, {24}},
};

TEST_F(GuideRelays, PatternsAsCommands) {
    for (const CAMERA_TYPE type : kByCommand) {
        for (const Pattern& pattern : kPatterns) {
            use(type);
            usb().expect(within(30000, relayCommands(type, pattern.commands)));
            EXPECT_TRUE(camera->setGuideRelays(pattern.bits)) << pattern.bits;
            EXPECT_EQ(peer().guideRelayState(), 0);
            EXPECT_TRUE(peer().lockIsFree());
            EXPECT_STREQ(camera->getLastError(), "No error");
            usb().verify();
        }
    }
}

TEST_F(GuideRelays, TraceOfCommands) {
    for (const CAMERA_TYPE type : kByCommand) {
        use(type);
        usb().expect(relayCommands(type, {24, 21, 23}));
        CapturedTrace trace;
        EXPECT_TRUE(camera->setGuideRelays(0x0A));
        expectLines(operation("setGuideRelays(10)", "setGuideRelays 1",
                              {say("lock()"), commandLines(type, 24), commandLines(type, 21),
                               commandLines(type, 23), say("unlock()")}),
                    trace.lines());
        usb().verify();
    }
}

// A failed axis skips the next one and its pause.
TEST_F(GuideRelays, FailureEndsTheSequence) {
    struct Failure {
        std::size_t transfer; // of a RIDGE_CAMERA, three a command
        std::vector<long> pauses;
    };
    for (const Failure& failure : {Failure{1, {}}, Failure{4, {5000}}, Failure{7, {5000, 5000}}}) {
        use(RIDGE_CAMERA);
        usb().failTransfer(failure.transfer, kPipe);
        EXPECT_FALSE(camera->setGuideRelays(0x0F));
        EXPECT_STREQ(camera->getLastError(), kFailed);
        EXPECT_EQ(usb().transferCount(), failure.transfer);
        EXPECT_EQ(usb().pauses(), failure.pauses);
        EXPECT_TRUE(peer().lockIsFree());
    }
}

TEST_F(GuideRelays, HeronWritesARegister) {
    struct Write {
        unsigned short pattern;
        std::uint8_t bits;
    };
    for (const Write& write : {Write{0xFFF5, 0x05}, Write{0x0000, 0x00}, Write{0x000F, 0x0F},
                               Write{0x0003, 0x03}}) { // both relays of an axis, as given
        use(HERON_CAMERA);
        peer().guideRelayState() = 0xFFFF;
        usb().expect(within(30000, serialWrite(0x20, write.bits)));
        CapturedTrace trace;
        EXPECT_TRUE(camera->setGuideRelays(write.pattern));
        EXPECT_EQ(peer().guideRelayState(), write.bits);
        EXPECT_TRUE(peer().lockIsFree());
        const std::string bits = std::to_string(write.bits);
        expectLines(operation("setGuideRelays(" + std::to_string(write.pattern) + ")",
                              "setGuideRelays 1",
                              {say("lock()"), done("spiWrite(2, " + bits + ")"), say("unlock()")}),
                    trace.lines());
        usb().verify();
    }
}

// The state is what was wanted, even where it did not arrive.
TEST_F(GuideRelays, HeronKeepsTheStateOfAFailedWrite) {
    for (const std::size_t transfer : {std::size_t{1}, std::size_t{2}}) {
        use(HERON_CAMERA);
        usb().failTransfer(transfer, kTimeout);
        EXPECT_FALSE(camera->setGuideRelays(0x0A));
        EXPECT_STREQ(camera->getLastError(), kFailed);
        EXPECT_EQ(peer().guideRelayState(), 0x0A);
        EXPECT_TRUE(peer().lockIsFree());
    }
}

TEST_F(GuideRelays, WithoutAGuidePort) {
    for (const CAMERA_TYPE type : kFamilies) {
        use(type);
        peer().hasGuidePort() = false;
        peer().lock();
        CapturedTrace trace;
        EXPECT_FALSE(camera->setGuideRelays(5));
        EXPECT_STREQ(camera->getLastError(), "Unsupported operation");
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_FALSE(peer().lockIsFree());
        EXPECT_EQ(peer().guideRelayState(), 0);
        expectLines(operation("setGuideRelays(5)", "setGuideRelays 00"), trace.lines());
    }
}

TEST_F(GuideRelays, UnservedFamilies) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, GLINT_CAMERA, kUnknownFamily}) {
        use(type);
        CapturedTrace trace;
        EXPECT_FALSE(camera->setGuideRelays(5));
        EXPECT_STREQ(camera->getLastError(), kFailed);
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_TRUE(peer().lockIsFree());
        expectLines(
            operation("setGuideRelays(5)", "setGuideRelays 0", {say("lock()"), say("unlock()")}),
            trace.lines());
    }
}

} // namespace
} // namespace tavo::test
