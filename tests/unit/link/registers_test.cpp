// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The register space of a GLINT_CAMERA.
#include "link/registers.h"

#include "fake/unit_test.h"

#include <bit>
#include <cmath>
#include <limits>

namespace tavo::test {
namespace {

constexpr std::uint8_t kRegister = 0x7F;
constexpr std::uint64_t kBrightness = 0xFFFFF0F00938;

class RegistersTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> camera = openedCamera(GLINT_CAMERA);
    CameraPeer peer{*camera};
};

TEST_F(RegistersTest, AddressTravelsInItsLowBits) {
    const struct {
        std::uint64_t address;
        unsigned value, index;
    } rows[]{{0xFFFFF0F0081C, 0x081C, 0xF0F0},
             {0xFFFFF0F00000, 0x0000, 0xF0F0},
             {0xFFFFFFFF12345678, 0x5678, 0x1234},
             {0x00000000FFFF0000, 0x0000, 0xFFFF}};
    for (const auto& row : rows) {
        usb().expect({controlIn(kRegister, row.value, row.index, {1, 0, 0, 0}).within(3000),
                      controlOut(kRegister, row.value, row.index, {2, 0, 0, 0}).within(3000)});
        EXPECT_EQ(peer.readRegister(row.address), 1U);
        EXPECT_EQ(peer.writeRegister(row.address, 2U), 4);
    }
}

TEST_F(RegistersTest, RequestTypes) {
    peer.readRegister(kBrightness);
    peer.writeRegister(kBrightness, 0U);
    const Rows calls = usb().calls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].requestType, 0xC0);
    EXPECT_EQ(calls[1].requestType, 0x40);
    for (const Row& call : calls) {
        EXPECT_EQ(call.request, 0x7F);
        EXPECT_EQ(call.length, 4U);
    }
}

TEST_F(RegistersTest, TimeoutIsNotTheCameras) {
    peer.bulkTimeout() = 77;
    peer.readRegister(kBrightness);
    peer.writeRegister(kBrightness, 0U);
    for (const Row& call : usb().calls())
        EXPECT_EQ(call.timeout, 3000U);
}

TEST_F(RegistersTest, NamedAddresses) {
    EXPECT_EQ(reg::kInitialize, 0xFFFFF0F00000U);
    EXPECT_EQ(reg::kTemperature, 0xFFFFF0F0082CU);
    EXPECT_EQ(reg::kShutter, 0xFFFFF0F00918U);
    EXPECT_EQ(reg::kGain, 0xFFFFF0F00928U);
    EXPECT_EQ(reg::kBrightness, 0xFFFFF0F00938U);
    EXPECT_EQ(reg::kFrameRate, 0xFFFFF0F00968U);
}

TEST_F(RegistersTest, ValuesAreLittleEndian) {
    usb().expect({controlIn(kRegister, 0x938, 0xF0F0, {0x78, 0x56, 0x34, 0x92}),
                  controlOut(kRegister, 0x938, 0xF0F0, {0xEF, 0xCD, 0xAB, 0x89})});
    CapturedTrace trace;
    EXPECT_EQ(peer.readRegister(kBrightness), 0x92345678U);
    EXPECT_EQ(peer.writeRegister(kBrightness, 0x89ABCDEFU), 4);
    EXPECT_EQ(trace.text(), "");
}

TEST_F(RegistersTest, FailedReadIsZero) {
    for (const Fault& fault : kErrors) {
        usb().queueIn(0, {0xFF, 0xFF, 0xFF, 0xFF});
        usb().failTransfer(1, fault);
        EXPECT_EQ(peer.readRegister(kBrightness), 0U) << fault.name;
        usb().failTransfer(1, fault);
        EXPECT_EQ(std::bit_cast<std::uint32_t>(peer.readAbsValue(kBrightness)), 0U) << fault.name;
    }
}

TEST_F(RegistersTest, ResultOfAWriteIsPassedOn) {
    for (const Fault& fault : kErrors) {
        usb().failTransfer(1, fault);
        EXPECT_EQ(peer.writeRegister(kBrightness, 1U), fault.error) << fault.name;
    }
    usb().failTransfer(1, kShortCount);
    EXPECT_EQ(peer.writeRegister(kBrightness, 1U), 2);
}

// The bytes that came count; the others are zero.
TEST_F(RegistersTest, ShortRead) {
    usb().expect({controlIn(kRegister, 0x938, 0xF0F0, {0x78, 0x56, 0x34, 0x12}).moving(2)});
    EXPECT_EQ(peer.readRegister(kBrightness), 0x5678U);
}

TEST_F(RegistersTest, AbsoluteValuesAreBitPatterns) {
    const struct {
        float value;
        Bytes bytes;
    } rows[]{{1.0f, {0x00, 0x00, 0x80, 0x3F}},
             {2.0f, {0x00, 0x00, 0x00, 0x40}},
             {-0.5f, {0x00, 0x00, 0x00, 0xBF}},
             {0.0f, {0x00, 0x00, 0x00, 0x00}},
             {-0.0f, {0x00, 0x00, 0x00, 0x80}},
             {std::numeric_limits<float>::infinity(), {0x00, 0x00, 0x80, 0x7F}}};
    for (const auto& row : rows) {
        usb().expect({controlOut(kRegister, 0x918, 0xF0F0, row.bytes),
                      controlIn(kRegister, 0x918, 0xF0F0, row.bytes)});
        peer.writeAbsValue(0xFFFFF0F00918U, row.value);
        const float read = peer.readAbsValue(0xFFFFF0F00918U);
        EXPECT_EQ(read, row.value);
        EXPECT_EQ(std::signbit(read), std::signbit(row.value));
    }
}

TEST_F(RegistersTest, TraceOfAbsoluteValues) {
    CapturedTrace trace;
    peer.writeAbsValue(0xFFFFF0F0081CU, 0.1f);
    peer.writeAbsValue(0xFFFFF0F00918U, 2.0f);
    peer.writeAbsValue(0xFFFFF0F00918U, 1e-7f);
    peer.readAbsValue(0xFFFFF0F00918U);
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::writeAbsValue(fffff0f0081c, 0.1)",
                                    "<- TavoCameraImpl::writeAbsValue",
                                    "-> TavoCameraImpl::writeAbsValue(fffff0f00918, 2)",
                                    "<- TavoCameraImpl::writeAbsValue",
                                    "-> TavoCameraImpl::writeAbsValue(fffff0f00918, 1e-07)",
                                    "<- TavoCameraImpl::writeAbsValue"}));
}

TEST_F(RegistersTest, TraceOfAFailedWriteIsTheSame) {
    usb().failTransfer(1, kPipe);
    CapturedTrace trace;
    peer.writeAbsValue(kBrightness, 3.5f);
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCameraImpl::writeAbsValue(fffff0f00938, 3.5)",
                                    "<- TavoCameraImpl::writeAbsValue"}));
    EXPECT_STREQ(camera->getLastError(), "No error");
}

} // namespace
} // namespace tavo::test
