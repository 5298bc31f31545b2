// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Finding, opening and claiming devices through libusb.
#include "bus_fixture.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

#include <sys/stat.h>

namespace tavo::bustest {
namespace {

class DeviceTest : public BusTest {};

struct Listed {
    std::uint16_t product;
    int number;
    int port;
};

std::vector<Listed> list(libusb_context* context) {
    libusb_device** devices = nullptr;
    const auto count = libusb_get_device_list(context, &devices);
    std::vector<Listed> result;
    for (ssize_t i = 0; i < count; ++i) {
        libusb_device_descriptor descriptor{};
        libusb_get_device_descriptor(devices[i], &descriptor);
        if (descriptor.idVendor == kVendor)
            result.push_back({descriptor.idProduct, libusb_get_device_address(devices[i]),
                              libusb_get_port_number(devices[i])});
    }
    libusb_free_device_list(devices, 1);
    return result;
}

TEST_F(DeviceTest, IsEnumeratedBesideTheRootHub) {
    libusb_device** devices = nullptr;
    const auto count = libusb_get_device_list(context, &devices);
    libusb_free_device_list(devices, 1);
    EXPECT_EQ(count, 2);
    const auto found = list(context);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].product, kProduct);
    EXPECT_EQ(found[0].number, 2);
    EXPECT_EQ(found[0].port, 1);
}

TEST_F(DeviceTest, DescriptorsAreThoseOfTheDevice) {
    const Handle handle = open();
    ASSERT_TRUE(handle);
    libusb_device* device = libusb_get_device(handle.get());
    EXPECT_EQ(libusb_get_device_speed(device), LIBUSB_SPEED_HIGH);
    EXPECT_EQ(libusb_get_max_packet_size(device, kEchoIn), 512);
    libusb_config_descriptor* configuration = nullptr;
    ASSERT_EQ(libusb_get_active_config_descriptor(device, &configuration), 0);
    EXPECT_EQ(configuration->bNumInterfaces, 1);
    EXPECT_EQ(configuration->interface[0].num_altsetting, 2);
    EXPECT_EQ(configuration->interface[0].altsetting[0].bNumEndpoints, 0);
    EXPECT_EQ(configuration->interface[0].altsetting[1].bNumEndpoints, 6);
    libusb_free_config_descriptor(configuration);
}

TEST_F(DeviceTest, DescriptorsCanBeReadFromTheDevice) {
    const Handle handle = open();
    ASSERT_TRUE(handle);
    Bytes data(18);
    EXPECT_EQ(libusb_get_descriptor(handle.get(), LIBUSB_DT_DEVICE, 0, data.data(), 18), 18);
    EXPECT_EQ(data[8], kVendor & 0xff);
    Bytes head(9);
    EXPECT_EQ(libusb_get_descriptor(handle.get(), LIBUSB_DT_CONFIG, 0, head.data(), 9), 9);
    EXPECT_EQ(head[2], kDescriptorSize - 18);
    int configuration = 0;
    EXPECT_EQ(libusb_get_configuration(handle.get(), &configuration), 0);
    EXPECT_EQ(configuration, 1);
}

TEST_F(DeviceTest, TwoDevicesAreIndependent) {
    libusb_exit(context);
    bus.plug(makeLoopback(kProduct + 1));
    ASSERT_EQ(libusb_init(&context), 0);
    EXPECT_EQ(list(context).size(), 2u);
    const Handle first = openReady();
    const Handle second = openReady(kProduct + 1);
    ASSERT_TRUE(first);
    ASSERT_TRUE(second);
    Bytes one{1};
    Bytes two{2};
    EXPECT_EQ(bulk(first, kEchoOut, one).error, 0);
    EXPECT_EQ(bulk(second, kEchoOut, two).error, 0);
    Bytes received(1);
    EXPECT_EQ(bulk(second, kEchoIn, received).error, 0);
    EXPECT_EQ(received[0], 2);
    EXPECT_EQ(bulk(first, kEchoIn, received).error, 0);
    EXPECT_EQ(received[0], 1);
}

TEST_F(DeviceTest, AlternateSettingReachesTheDevice) {
    const Handle handle = openReady();
    ASSERT_TRUE(handle);
    Bytes state(2);
    EXPECT_EQ(query(handle, kReadState, state), 2);
    EXPECT_EQ(state[0], 1);
    EXPECT_EQ(libusb_set_interface_alt_setting(handle.get(), 0, 0), 0);
    EXPECT_EQ(query(handle, kReadState, state), 2);
    EXPECT_EQ(state[0], 0);
    EXPECT_EQ(libusb_set_interface_alt_setting(handle.get(), 0, 5), LIBUSB_ERROR_NOT_FOUND);
}

TEST_F(DeviceTest, UseClaimsAnInterface) {
    const Handle first = open();
    const Handle second = open();
    ASSERT_TRUE(first);
    ASSERT_TRUE(second);
    Bytes data(4);
    EXPECT_EQ(query(first, kReadState, data), 3);
    EXPECT_EQ(libusb_claim_interface(second.get(), 0), 0) << "vendor requests make no claim";
    ASSERT_EQ(libusb_set_interface_alt_setting(second.get(), 0, 1), 0);
    EXPECT_EQ(bulk(first, kEchoOut, data).error, LIBUSB_ERROR_IO) << "busy, in libusb's words";
    ASSERT_EQ(libusb_release_interface(second.get(), 0), 0);
    EXPECT_EQ(bulk(first, kEchoOut, data).error, LIBUSB_ERROR_IO) << "of setting 1, not of 0";
    EXPECT_EQ(libusb_claim_interface(second.get(), 0), LIBUSB_ERROR_BUSY);
}

TEST_F(DeviceTest, ReleaseReturnsToSettingZero) {
    const Handle handle = openReady();
    ASSERT_TRUE(handle);
    ASSERT_EQ(libusb_release_interface(handle.get(), 0), 0);
    Bytes state(1);
    EXPECT_EQ(query(handle, kReadState, state), 1);
    EXPECT_EQ(state[0], 0);
}

TEST_F(DeviceTest, EndpointsOfAnotherSettingAreAbsent) {
    const Handle handle = open();
    ASSERT_TRUE(handle);
    ASSERT_EQ(libusb_claim_interface(handle.get(), 0), 0);
    Bytes data(4);
    EXPECT_EQ(bulk(handle, kEchoOut, data, 50).error, LIBUSB_ERROR_IO);
    ASSERT_EQ(libusb_set_interface_alt_setting(handle.get(), 0, 1), 0);
    EXPECT_EQ(bulk(handle, kEchoOut, data).error, 0);
    EXPECT_EQ(bulk(handle, 0x0a, data, 50).error, LIBUSB_ERROR_IO);
}

TEST_F(DeviceTest, UnknownInterfaceCannotBeClaimed) {
    const Handle handle = open();
    ASSERT_TRUE(handle);
    EXPECT_EQ(libusb_claim_interface(handle.get(), 3), LIBUSB_ERROR_NOT_FOUND);
}

TEST_F(DeviceTest, NoKernelDriverIsActive) {
    const Handle handle = open();
    ASSERT_TRUE(handle);
    EXPECT_EQ(libusb_kernel_driver_active(handle.get(), 0), 0);
    EXPECT_EQ(libusb_detach_kernel_driver(handle.get(), 0), LIBUSB_ERROR_NOT_FOUND);
    EXPECT_EQ(libusb_set_auto_detach_kernel_driver(handle.get(), 1), 0);
    EXPECT_EQ(libusb_claim_interface(handle.get(), 0), 0);
}

TEST_F(DeviceTest, SecondOpeningFindsTheInterfaceBusy) {
    const Handle first = openReady();
    Handle second = open();
    ASSERT_TRUE(first);
    ASSERT_TRUE(second);
    EXPECT_EQ(libusb_claim_interface(second.get(), 0), LIBUSB_ERROR_BUSY);
    EXPECT_EQ(libusb_release_interface(first.get(), 0), 0);
    EXPECT_EQ(libusb_claim_interface(second.get(), 0), 0);
}

TEST_F(DeviceTest, ReopenedDeviceIsFreshlyUsable) {
    for (int i = 0; i < 5; ++i) {
        const Handle handle = openReady();
        ASSERT_TRUE(handle) << i;
        Bytes data{static_cast<std::uint8_t>(i)};
        EXPECT_EQ(bulk(handle, kEchoOut, data).error, 0);
        EXPECT_EQ(bulk(handle, kEchoIn, data).error, 0);
        EXPECT_EQ(data[0], i);
    }
}

TEST_F(DeviceTest, CloseReturnsToSettingZero) {
    { ASSERT_TRUE(openReady()); }
    const Handle handle = open();
    ASSERT_TRUE(handle);
    Bytes state(1);
    state[0] = 1;
    // The bus hears of a close a little later.
    for (int i = 0; i < 500 && state[0] != 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        ASSERT_EQ(query(handle, kReadState, state), 1);
    }
    EXPECT_EQ(state[0], 0);
}

TEST_F(DeviceTest, ResetReachesTheDeviceAndUndoesTheSetting) {
    const Handle handle = openReady();
    ASSERT_TRUE(handle);
    EXPECT_EQ(libusb_reset_device(handle.get()), 0);
    Bytes state(2);
    EXPECT_EQ(query(handle, kReadState, state), 2);
    EXPECT_EQ(state, (Bytes{0, 1}));
    Bytes data{1};
    EXPECT_EQ(bulk(handle, kEchoOut, data, 50).error, LIBUSB_ERROR_IO);
    EXPECT_EQ(libusb_set_interface_alt_setting(handle.get(), 0, 1), 0);
    EXPECT_EQ(bulk(handle, kEchoOut, data).error, 0);
}

// Another program on the bus, which says its process id once it has claimed the interface.
class Holder {
public:
    Holder() : output(popen("exec " BUS_CLIENT " hold", "r")) {
        std::array<char, 64> line{};
        if (output && fgets(line.data(), line.size(), output))
            process = static_cast<pid_t>(std::stoi(line.data()));
    }
    ~Holder() { end(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    bool holds() const { return process > 0; }
    void end() {
        if (process > 0)
            kill(process, SIGKILL);
        process = 0;
        if (output)
            pclose(output);
        output = nullptr;
    }

private:
    FILE* output;
    pid_t process = 0;
};

TEST_F(DeviceTest, ClaimOfAnotherProcessHoldsUntilItDies) {
    Holder holder;
    ASSERT_TRUE(holder.holds());
    const Handle handle = open();
    ASSERT_TRUE(handle);
    EXPECT_EQ(libusb_claim_interface(handle.get(), 0), LIBUSB_ERROR_BUSY);
    Bytes state(1);
    EXPECT_EQ(query(handle, kReadState, state), 1);
    EXPECT_EQ(state[0], 1);
    holder.end();
    int error = LIBUSB_ERROR_BUSY;
    for (int i = 0; i < 500 && error == LIBUSB_ERROR_BUSY; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        error = libusb_claim_interface(handle.get(), 0);
    }
    EXPECT_EQ(error, 0);
    EXPECT_EQ(query(handle, kReadState, state), 1);
    EXPECT_EQ(state[0], 0) << "released by the kernel, as by a close";
}

TEST(BusDirectory, IsRemovedWithTheBus) {
    std::string directory;
    {
        virtualusb::Bus bus;
        bus.plug(makeLoopback());
        directory = bus.directory();
        struct stat info {};
        EXPECT_EQ(stat(directory.c_str(), &info), 0);
    }
    struct stat info {};
    EXPECT_NE(stat(directory.c_str(), &info), 0);
}

} // namespace
} // namespace tavo::bustest
