// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Is the camera's firmware alive, and does its application start?
#include "fake/unit_test.h"
#include "link/wire.h"

namespace tavo::test {
namespace {

class PingTest : public UnitTest {
protected:
    static bool ping(CAMERA_TYPE type) {
        const auto camera = openedCamera(type);
        return CameraPeer(*camera).ping();
    }
};

using PingDeathTest = PingTest;

Rows ridgeAttempt(std::uint8_t value, std::uint8_t answer) {
    return together({ridgeCommand(80, {value, 0}), {pause(20000)}, parallelIn({answer, 0x99})});
}

Rows basinAttempt(std::uint8_t value, std::uint8_t answer) {
    return together({basinCommand(17, {value}), {pause(50000)}, parallelIn({answer, 0x99})});
}

Rows lumenPing(std::uint8_t command, const Bytes& answer) {
    return lumenCommand(command, {0x00, 0x7B, 0, 0}, joined({{0xEE, 0xEE}, answer}));
}

TEST_F(PingTest, RidgeAnswersOneMore) {
    usb().expect(ridgeAttempt(100, 101));
    EXPECT_TRUE(ping(RIDGE_CAMERA));
}

TEST_F(PingTest, RidgeHasFiveAttempts) {
    usb().expect(together({ridgeAttempt(100, 100), ridgeAttempt(101, 101), ridgeAttempt(102, 0),
                           ridgeAttempt(103, 0), ridgeAttempt(104, 105)}));
    EXPECT_TRUE(ping(RIDGE_CAMERA));
    usb().expect(together({ridgeAttempt(100, 0), ridgeAttempt(101, 101), ridgeAttempt(102, 102),
                           ridgeAttempt(103, 103), ridgeAttempt(104, 104)}));
    EXPECT_FALSE(ping(RIDGE_CAMERA));
}

TEST_F(PingTest, BasinAnswersTheSame) {
    usb().expect(basinAttempt(100, 100));
    EXPECT_TRUE(ping(BASIN_CAMERA));
    usb().expect(together({basinAttempt(100, 101), basinAttempt(101, 101)}));
    EXPECT_TRUE(ping(BASIN_CAMERA));
}

TEST_F(PingTest, BasinHasTenAttempts) {
    Rows rows;
    for (std::uint8_t value = 100; value < 110; ++value)
        rows = together({rows, basinAttempt(value, static_cast<std::uint8_t>(value + 1))});
    usb().expect(rows);
    EXPECT_FALSE(ping(BASIN_CAMERA));
    rows.resize(rows.size() - 2);
    usb().expect(together({rows, parallelIn({109, 0})}));
    EXPECT_TRUE(ping(BASIN_CAMERA));
}

TEST_F(PingTest, AnswerToACommandThatFailedDoesNotCount) {
    usb().expect(
        together({{out(0x02, {'C', 0, 'M', 0, 'D', 0, 80, 0, 100, 0}).failing(LIBUSB_ERROR_IO)},
                  {pause(20000)},
                  parallelIn({101, 0}),
                  ridgeAttempt(101, 102)}));
    EXPECT_TRUE(ping(RIDGE_CAMERA));
}

TEST_F(PingTest, ResultOfTheReadDoesNotCount) {
    Rows rows = ridgeAttempt(100, 101);
    rows.back() = rows.back().moving(1);
    rows.push_back(inZeros(0x88, 2).failing(LIBUSB_ERROR_TIMEOUT));
    usb().expect(rows);
    EXPECT_TRUE(ping(RIDGE_CAMERA));
}

TEST_F(PingTest, AnswerOfTheLastAttemptIsForgotten) {
    const Row failedRead = frame({.code = 9, .b = 2}).failing(LIBUSB_ERROR_TIMEOUT);
    Rows rows = ridgeAttempt(100, 102);
    for (std::uint8_t value = 101; value < 105; ++value) {
        Rows attempt = ridgeAttempt(value, 0);
        attempt.resize(attempt.size() - 2);
        rows = together({rows, attempt, {failedRead}});
    }
    usb().expect(rows);
    EXPECT_FALSE(ping(RIDGE_CAMERA));
}

TEST_F(PingTest, TraceOfAttempts) {
    usb().expect(together({ridgeAttempt(100, 7), ridgeAttempt(101, 102)}));
    const auto camera = openedCamera(RIDGE_CAMERA);
    CapturedTrace trace;
    EXPECT_TRUE(CameraPeer(*camera).ping());
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::ping()", "    ping -> 100",
                     " -> TavoCameraImpl::sendCommand(80, [0x64], ..., 1, 0)",
                     " <- TavoCameraImpl::sendCommand 1 NULL", "    ping <- 7", "    ping -> 101",
                     " -> TavoCameraImpl::sendCommand(80, [0x65], ..., 1, 0)",
                     " <- TavoCameraImpl::sendCommand 1 NULL", "    ping <- 102",
                     "<- TavoCameraImpl::ping 1"}));
    EXPECT_STREQ(camera->getLastError(), "No error");
}

TEST_F(PingTest, TraceOfSilence) {
    usb().failTransfer(1, kNoDevice, Repeat::fromThenOn);
    const auto camera = openedCamera(BASIN_CAMERA);
    CapturedTrace trace;
    EXPECT_FALSE(CameraPeer(*camera).ping());
    const Lines lines = trace.lines();
    EXPECT_EQ(lines.size(), 2U + 10 * 8);
    EXPECT_TRUE(trace.contains("    ping -> 109"));
    EXPECT_TRUE(trace.contains("    ping <- 0"));
    EXPECT_EQ(lines.back(), "<- TavoCameraImpl::ping 0");
    EXPECT_EQ(usb().pauses(), std::vector<long>(10, 50000));
    EXPECT_STREQ(camera->getLastError(), "No error");
}

TEST_F(PingTest, HeronHoldsOneOfTwoProductIds) {
    const struct {
        Bytes id;
        bool ok;
    } rows[]{{{0x2E, 0xDF}, true},  {{0x2F, 0xDF}, true},  {{0x30, 0xDF}, false},
             {{0x2D, 0xDF}, false}, {{0xDF, 0x2E}, false}, {{0, 0}, false}};
    const auto camera = openedCamera(HERON_CAMERA);
    for (const auto& row : rows) {
        usb().expect(eepromRows(3, row.id));
        CapturedTrace trace;
        EXPECT_EQ(CameraPeer(*camera).ping(), row.ok);
        EXPECT_EQ(trace.contains("    ping ok"), row.ok);
        EXPECT_EQ(trace.lines().back(),
                  row.ok ? "<- TavoCameraImpl::ping 1" : "<- TavoCameraImpl::ping 0");
    }
}

TEST_F(PingTest, LumenAnswersItsKernelAndItsApplication) {
    usb().expect(together({lumenPing(253, {0x00, 0x7B}), lumenPing(80, {0x00, 0x7C})}));
    const auto camera = openedCamera(LUMEN_CAMERA);
    CapturedTrace trace;
    EXPECT_TRUE(CameraPeer(*camera).ping());
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCameraImpl::ping()",
                     " -> TavoCameraImpl::sendCommand(253, [0x00 0x7b], ..., 2, 2)",
                     " <- TavoCameraImpl::sendCommand 1 [0x00 0x7b]", "    kernel ping ok",
                     " -> TavoCameraImpl::sendCommand(80, [0x00 0x7b], ..., 2, 2)",
                     " <- TavoCameraImpl::sendCommand 1 [0x00 0x7c]", "    application ping ok",
                     "<- TavoCameraImpl::ping 1"}));
}

TEST_F(PingTest, LumenKernelMustEcho) {
    const auto camera = openedCamera(LUMEN_CAMERA);
    for (const Bytes& answer : {Bytes{0, 0x7C}, Bytes{1, 0x7B}, Bytes{0, 0}}) {
        usb().expect(lumenPing(253, answer));
        CapturedTrace trace;
        EXPECT_FALSE(CameraPeer(*camera).ping());
        EXPECT_TRUE(
            trace.contains("    kernel ping failed (123 " + std::to_string(answer[1]) + ")"));
        EXPECT_EQ(trace.lines().back(), "<- TavoCameraImpl::ping 0");
    }
}

TEST_F(PingTest, LumenApplicationMustCountOn) {
    const auto camera = openedCamera(LUMEN_CAMERA);
    for (const Bytes& answer : {Bytes{0, 0x7B}, Bytes{1, 0x7C}, Bytes{0, 0x7D}}) {
        usb().expect(together({lumenPing(253, {0x00, 0x7B}), lumenPing(80, answer)}));
        CapturedTrace trace;
        EXPECT_FALSE(CameraPeer(*camera).ping());
        EXPECT_TRUE(
            trace.contains("    application ping failed (123 " + std::to_string(answer[1]) + ")"));
        EXPECT_EQ(trace.lines().back(), "<- TavoCameraImpl::ping 0");
    }
}

TEST_F(PingTest, LumenTransferFailures) {
    const auto camera = openedCamera(LUMEN_CAMERA);
    for (const std::size_t number : {1U, 2U, 3U, 4U}) {
        usb().reset();
        usb().queueIn(0x86, joined({Bytes(7), {0x00, 0x7B, 0, 0, 0}}));
        usb().failTransfer(number, kTimeout);
        CapturedTrace trace;
        EXPECT_FALSE(CameraPeer(*camera).ping()) << number;
        EXPECT_EQ(trace.contains("    kernel ping failed (123 0)"), number <= 2) << number;
        EXPECT_EQ(trace.contains("    application ping failed (123 0)"), number > 2) << number;
        EXPECT_EQ(usb().transferCount(), number);
        EXPECT_TRUE(usb().pauses().empty());
    }
}

TEST_F(PingDeathTest, OtherFamiliesEndTheProcess) {
    EXPECT_EXIT(ping(GLINT_CAMERA), ::testing::ExitedWithCode(1), assertionText(842));
    EXPECT_EXIT(ping(kUnknownFamily), ::testing::ExitedWithCode(1), assertionText(842));
}

} // namespace
} // namespace tavo::test
