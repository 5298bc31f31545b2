// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"
#include "fake/camera_script.h"
#include "fake/unit_test.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kType = GLINT_CAMERA;

Row write(unsigned offset, Bytes value) {
    return controlOut(0x7F, offset, 0xF0F0, std::move(value));
}
Row read(unsigned offset, Bytes value) {
    return controlIn(0x7F, offset, 0xF0F0, std::move(value));
}

const Bytes kOnAuto{0, 0, 0, 0xC2};

Rows features() {
    return {write(0x000, {0, 0, 0, 0x80}),
            pause(1000),
            write(0x81C, kOnAuto),
            write(0x83C, kOnAuto),
            write(0x804, {0, 0, 0, 0xC0}),
            write(0x800, kOnAuto),
            write(0x938, {0, 0, 0, 0x40}),
            write(0x818, kOnAuto),
            write(0x948, {0, 0, 0x80, 0x3F}),
            write(0x820, kOnAuto),
            write(0x928, {0, 0, 0x80, 0x3F})};
}

const Row kVersion = read(0x1F60, {0xBC, 0x0A, 0x02, 0x01});
const Row kSerial = read(0x1F20, {0x15, 0xCD, 0x5B, 0x07}); // 123456789

class GlintOpen : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> camera = closedCamera(kType);
    CameraPeer peer{*camera};
};

TEST_F(GlintOpen, ConversationWithoutTrace) {
    setFirmware(kFirmware);
    usb().expect(together({usbOpen(kType), features(), {kVersion, kSerial}}));
    EXPECT_TRUE(camera->open());
    EXPECT_EQ(peer.handle(), usb().handle());
    EXPECT_STREQ(camera->getLastError(), "No error");
}

// Two registers are read for the trace alone.
TEST_F(GlintOpen, ConversationAndTrace) {
    usb().expect(together({usbOpen(kType),
                           features(),
                           {read(0x1F24, {0x78, 0x56, 0x34, 0xA2}), kVersion, kSerial,
                            read(0x12E0, {0x7D, 0, 0, 0x10})}}));
    CapturedTrace trace;
    EXPECT_TRUE(camera->open());
    const auto absolute = [](const char* address, const char* value) {
        return call("writeAbsValue(" + std::string(address) + ", " + value + ")", "writeAbsValue");
    };
    expectLines(
        operation("open()", "open 1",
                  {usbLines(kType), say("pid = 2005"), absolute("fffff0f00938", "2"),
                   absolute("fffff0f00948", "1"), absolute("fffff0f00928", "1"), say("initialized"),
                   say("board:    0x23 (0xa2345678)"), say("version:  1.2 rev 2748 (0x01020abc)"),
                   say("serial:   123456789"), say("up time:  2 min 5 s")}),
        trace.lines());
}

// The second switch silences the trace as well.
TEST_F(GlintOpen, SilencedTraceReadsNoMore) {
    TavoDebug = 1;
    TavoDebugOn = 0;
    usb().expect(together({usbOpen(kType), features(), {kVersion, kSerial}}));
    EXPECT_TRUE(camera->open());
}

TEST_F(GlintOpen, SensorIsKnownNotAsked) {
    peer.hasShutter() = peer.hasGuidePort() = peer.has8BitMode() = true;
    peer.hasFilterWheel() = peer.hasGPIO() = true;
    peer.tempSensorCount() = 3;
    peer.coolerType() = COOLER_SETPOINT;
    usb().expect(together({usbOpen(kType), features(), {kVersion, kSerial}}));
    ASSERT_TRUE(camera->open());
    EXPECT_FALSE(peer.hasShutter());
    EXPECT_FALSE(peer.hasGuidePort());
    EXPECT_FALSE(peer.has8BitMode());
    EXPECT_FALSE(peer.hasFilterWheel());
    EXPECT_FALSE(peer.hasGPIO());
    EXPECT_EQ(peer.tempSensorCount(), 0u);
    EXPECT_EQ(peer.coolerType(), COOLER_NONE);
    EXPECT_EQ(peer.pixelCountX(), 1280u);
    EXPECT_EQ(peer.pixelCountY(), 960u);
    EXPECT_DOUBLE_EQ(peer.pixelSizeX(), 3.75);
    EXPECT_DOUBLE_EQ(peer.pixelSizeY(), 3.75);
    EXPECT_EQ(peer.maxBinX(), 2u);
    EXPECT_EQ(peer.maxBinY(), 2u);
    EXPECT_EQ(camera->getVersionMajor(), 1u);
    EXPECT_EQ(camera->getVersionMinor(), 2u);
    EXPECT_EQ(camera->getSerialNumber(), 123456789u);
}

TEST_F(GlintOpen, UnpluggedAfterTheClaimItStillOpens) {
    peer.versionMajor() = peer.versionMinor() = peer.serialNumber() = 9;
    usb().failTransfer(1, kNoDevice, Repeat::fromThenOn);
    EXPECT_TRUE(camera->open());
    EXPECT_EQ(usb().transferCount(), 12u);
    EXPECT_EQ(camera->getVersionMajor(), 0u);
    EXPECT_EQ(camera->getVersionMinor(), 0u);
    EXPECT_EQ(camera->getSerialNumber(), 0u);
    EXPECT_EQ(peer.pixelCountX(), 1280u);
    EXPECT_STREQ(camera->getLastError(), "No error");
}

} // namespace
} // namespace tavo::test
