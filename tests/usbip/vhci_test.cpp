// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The kernel's virtual host controller, of which only the files are there.
#include "usbip/vhci.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tavo::usbip {
namespace {

namespace fs = std::filesystem;

constexpr const char* kTwoTaken = "hub port sta spd dev      sockfd local_busid\n"
                                  "hs  0000 006 003 0001000a 000003 3-1\n"
                                  "hs  0001 005 000 00000000 000005 0-0\n"
                                  "hs  0002 004 000 00000000 000000 0-0\n"
                                  "ss  0008 004 000 00000000 000000 0-0\n";

class VhciTest : public testing::Test {
protected:
    VhciTest() {
        std::string pattern = (fs::temp_directory_path() / "vhci-test-XXXXXX").string();
        sysfs = mkdtemp(pattern.data());
        fs::create_directories(controller());
        fs::create_directories(sysfs / "bus/usb/devices");
        write(controller() / "attach", "");
        write(controller() / "status", kTwoTaken);
        record.busId = "1-1";
        record.busNumber = 1;
        record.deviceNumber = 2;
        record.speed = kHighSpeed;
    }
    ~VhciTest() override { fs::remove_all(sysfs); }

    fs::path controller() const { return sysfs / "devices/platform/vhci_hcd.0"; }
    static void write(const fs::path& file, const std::string& text) {
        std::ofstream(file) << text;
    }
    // The status of a controller with the device at its port 2.
    void showPort(const std::string& line) {
        write(controller() / "status", "hub port sta spd dev      sockfd local_busid\n" + line);
    }
    void showConfiguration(const std::string& text) {
        fs::create_directories(sysfs / "bus/usb/devices/3-3");
        write(sysfs / "bus/usb/devices/3-3/bConfigurationValue", text);
    }
    std::string faultOfAttach() {
        try {
            Vhci(sysfs).attach(record);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }

    fs::path sysfs;
    DeviceRecord record;
};

TEST(VhciStatus, PortsAreRead) {
    const auto ports = parseVhciStatus(kTwoTaken);
    ASSERT_EQ(ports.size(), 4u);
    EXPECT_TRUE(ports[0].highSpeed);
    EXPECT_EQ(ports[0].number, 0u);
    EXPECT_EQ(ports[0].status, kVhciPortUsed);
    EXPECT_EQ(ports[0].device, 0x1000au);
    EXPECT_EQ(ports[0].localBusId, "3-1");
    EXPECT_EQ(ports[2].number, 2u);
    EXPECT_EQ(ports[2].status, kVhciPortFree);
    EXPECT_FALSE(ports[3].highSpeed);
    EXPECT_EQ(ports[3].number, 8u);
}

TEST(VhciStatus, NonsenseIsPassedOver) {
    EXPECT_TRUE(parseVhciStatus("").empty());
    EXPECT_TRUE(parseVhciStatus("hs\nhs x\nxs 0000 004 000 00000000 000000 0-0\n").empty());
}

TEST_F(VhciTest, TakesTheFirstFreePortOfHighSpeed) {
    Vhci vhci(sysfs);
    const FileDescriptor socket = vhci.attach(record);
    EXPECT_TRUE(socket);
    std::ifstream file(controller() / "attach");
    unsigned port = 0;
    int kernels = -1;
    unsigned device = 0;
    unsigned speed = 0;
    file >> port >> kernels >> device >> speed;
    EXPECT_EQ(port, 2u);
    EXPECT_GE(kernels, 0);
    EXPECT_NE(kernels, socket.get());
    EXPECT_EQ(device, 0x10002u);
    EXPECT_EQ(speed, 3u);
}

TEST_F(VhciTest, FaultsAreExplained) {
    write(controller() / "status", "hub port sta spd dev      sockfd local_busid\n");
    EXPECT_NE(faultOfAttach().find("no port of vhci-hcd is free"), std::string::npos);
    fs::remove(controller() / "attach");
    EXPECT_NE(faultOfAttach().find("modprobe vhci-hcd"), std::string::npos);
}

TEST_F(VhciTest, DeviceIsReadyWhenItsConfigurationIsChosen) {
    Vhci vhci(sysfs);
    EXPECT_FALSE(vhci.configuredName(record)) << "not attached";
    vhci.attach(record);
    EXPECT_FALSE(vhci.configuredName(record)) << "no address yet";
    showPort("hs  0002 006 003 00010002 000003 3-3\n");
    EXPECT_FALSE(vhci.configuredName(record));
    showConfiguration("\n");
    EXPECT_FALSE(vhci.configuredName(record));
    showConfiguration("1\n");
    EXPECT_EQ(vhci.configuredName(record), "3-3");
    showPort("hs  0002 006 003 00010009 000003 3-3\n");
    EXPECT_FALSE(vhci.configuredName(record)) << "another device is at the port";
}

TEST_F(VhciTest, IsClearWhenPortAndDeviceAreGone) {
    Vhci vhci(sysfs);
    EXPECT_TRUE(vhci.isClear());
    vhci.attach(record);
    showPort("hs  0002 006 003 00010002 000003 3-3\n");
    showConfiguration("1\n");
    vhci.configuredName(record);
    EXPECT_FALSE(vhci.isClear());
    showPort("hs  0002 004 000 00000000 000000 0-0\n");
    EXPECT_FALSE(vhci.isClear()) << "the device is still there";
    fs::remove_all(sysfs / "bus/usb/devices/3-3");
    EXPECT_TRUE(vhci.isClear());
}

} // namespace
} // namespace tavo::usbip
