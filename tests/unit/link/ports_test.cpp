// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"
#include "link/wire.h"

namespace tavo::test {
namespace {

class PortsTest : public UnitTest {
protected:
    std::unique_ptr<TavoCameraImpl> camera = openedCamera(HERON_CAMERA);
    CameraPeer peer{*camera};

    void readPorts(const Bytes& ports) { usb().expect(framedExchange({.code = 3}, ports)); }
};

constexpr std::uint8_t FF = 0xFF;

TEST_F(PortsTest, DirectionReplacesOnePort) {
    usb().expect(portDirectionRows({0x00, 0x9F, FF, 0, FF, 0, FF, 0, FF, 0}));
    usb().expect(portDirectionRows({FF, 0, FF, 0, FF, 0, FF, 0, 0x00, 0x12}));
    EXPECT_TRUE(peer.setPortDirection(0U, 0x9FU));
    EXPECT_TRUE(peer.setPortDirection(4U, 0xF12U));
}

TEST_F(PortsTest, StateIsFollowedBySixZeros) {
    Row request = out(0x04, {1,  0, 0,  0, 0, 0,    0,  0, 0,  0, 0, 0, 16, 0, 0, 0,
                             FF, 0, FF, 0, 0, 0x80, FF, 0, FF, 0, 0, 0, 0,  0, 0, 0});
    request.anyTransaction = true;
    usb().expect({request});
    EXPECT_TRUE(peer.setPortState(2U, 0x80U));
}

TEST_F(PortsTest, PortsThatAreNotThereChangeNothing) {
    usb().expect(portDirectionRows({FF, 0, FF, 0, FF, 0, FF, 0, FF, 0}));
    usb().expect(portStateRows({FF, 0, FF, 0, FF, 0, FF, 0, FF, 0}));
    EXPECT_TRUE(peer.setPortDirection(5U, 0x9FU));
    EXPECT_TRUE(peer.setIOState(0xFFFFFFFFU, 1U));
}

TEST_F(PortsTest, LineDirection) {
    usb().expect(portDirectionRows({FF, 0, 0xFB, 0x04, FF, 0, FF, 0, FF, 0}));
    usb().expect(portDirectionRows({FF, 0, 0xFB, 0x00, FF, 0, FF, 0, FF, 0}));
    usb().expect(portDirectionRows({FF, 0, FF, 0, FF, 0, FF, 0, 0x7F, 0x80}));
    EXPECT_TRUE(peer.setIODir(10U, 1U));
    EXPECT_TRUE(peer.setIODir(10U, 0U));
    EXPECT_TRUE(peer.setIODir(39U, 77U)) << "any value but zero is an output";
}

TEST_F(PortsTest, LineState) {
    usb().expect(portStateRows({0xF7, 0x00, FF, 0, FF, 0, FF, 0, FF, 0}));
    usb().expect(portStateRows({0xF7, 0x08, FF, 0, FF, 0, FF, 0, FF, 0}));
    EXPECT_TRUE(peer.setIOState(3U, 0U));
    EXPECT_TRUE(peer.setIOState(3U, 2U));
}

TEST_F(PortsTest, EveryLineHasItsBit) {
    for (unsigned line = 0; line < 40; ++line) {
        const auto bit = static_cast<std::uint8_t>(1U << (line % 8));
        Bytes pairs{FF, 0, FF, 0, FF, 0, FF, 0, FF, 0};
        pairs[line / 8 * 2] = static_cast<std::uint8_t>(~bit);
        pairs[line / 8 * 2 + 1] = bit;
        usb().expect(portDirectionRows(pairs));
        usb().expect(portStateRows(pairs));
        EXPECT_TRUE(peer.setIODir(line, 1U));
        EXPECT_TRUE(peer.setIOState(line, 1U));

        Bytes ports(5, 0);
        ports[line / 8] = bit;
        readPorts(ports);
        unsigned state = 9;
        EXPECT_TRUE(peer.getIOState(line, &state));
        EXPECT_EQ(state, 1U) << line;
        for (std::uint8_t& port : ports)
            port = static_cast<std::uint8_t>(~port);
        readPorts(ports);
        EXPECT_TRUE(peer.getIOState(line, &state));
        EXPECT_EQ(state, 0U) << line;
    }
}

TEST_F(PortsTest, FailedReadLeavesTheState) {
    for (const std::size_t number : {1U, 2U}) {
        usb().failTransfer(number, kTimeout);
        unsigned state = 9;
        EXPECT_FALSE(peer.getIOState(4U, &state));
        EXPECT_EQ(state, 9U);
    }
}

TEST_F(PortsTest, LineThatIsNotThereReadsLow) {
    readPorts({FF, FF, FF, FF, FF});
    unsigned state = 9;
    EXPECT_TRUE(peer.getIOState(40U, &state));
    EXPECT_EQ(state, 0U);
}

TEST_F(PortsTest, Trace) {
    usb().queueIn(0x86, {0, 0x10, 0, 0, 0, 0, 0, 0, 0});
    CapturedTrace trace;
    unsigned state = 0;
    peer.setPortDirection(0U, 0x9FU);
    peer.setPortState(0U, 0x80U);
    peer.setIODir(10U, 1U);
    peer.setIOState(3U, 0U);
    peer.getIOState(4U, &state);
    EXPECT_EQ(
        trace.lines(),
        (Lines{"-> TavoCameraImpl::setPortDirection(0, 159)",
               "<- TavoCameraImpl::setPortDirection 1", "-> TavoCameraImpl::setPortState(0, 128)",
               "<- TavoCameraImpl::setPortState 1", "-> TavoCameraImpl::setIODir(10, 1)",
               "<- TavoCameraImpl::setIODir 1", "-> TavoCameraImpl::setIOState(3, 0)",
               "<- TavoCameraImpl::setIOState 1", "-> TavoCameraImpl::getIOState(4, ...)",
               "<- TavoCameraImpl::getIOState 1 1"}));
}

TEST_F(PortsTest, TraceOfFailures) {
    usb().failTransfer(1, kPipe, Repeat::fromThenOn);
    const std::string failed = "    libusb_bulk_transfer -> LIBUSB_ERROR_PIPE ";
    CapturedTrace trace;
    unsigned state = 7;
    peer.setPortDirection(1U, 2U);
    peer.setPortState(1U, 2U);
    peer.setIODir(1U, 0U);
    peer.setIOState(1U, 1U);
    peer.getIOState(1U, &state);
    EXPECT_EQ(
        trace.lines(),
        (Lines{"-> TavoCameraImpl::setPortDirection(1, 2)", failed,
               "<- TavoCameraImpl::setPortDirection 0", "-> TavoCameraImpl::setPortState(1, 2)",
               failed, "<- TavoCameraImpl::setPortState 0", "-> TavoCameraImpl::setIODir(1, 0)",
               failed, "<- TavoCameraImpl::setIODir 0", "-> TavoCameraImpl::setIOState(1, 1)",
               failed, "<- TavoCameraImpl::setIOState 0", "-> TavoCameraImpl::getIOState(1, ...)",
               failed, "<- TavoCameraImpl::getIOState 0 7"}));
}

} // namespace
} // namespace tavo::test
