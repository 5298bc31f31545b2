// SPDX-License-Identifier: LGPL-2.1-or-later
#include "usbfs_file.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include <linux/usb/ch9.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

namespace tavo::virtualusb {
namespace {

constexpr std::string_view kDriverName = "usbfs";

std::string_view nameIn(const char* text, std::size_t size) {
    return {text, static_cast<std::size_t>(std::find(text, text + size, '\0') - text)};
}

} // namespace

const UsbfsFile::Row UsbfsFile::kRows[] = {
    {USBDEVFS_GET_CAPABILITIES, &UsbfsFile::getCapabilities},
    {USBDEVFS_GET_SPEED, &UsbfsFile::getSpeed},
    {USBDEVFS_CONNECTINFO, &UsbfsFile::connectInfo},
    {USBDEVFS_GETDRIVER, &UsbfsFile::getDriver},
    {USBDEVFS_IOCTL, &UsbfsFile::driverCommand},
    {USBDEVFS_CLAIMINTERFACE, &UsbfsFile::claimInterface},
    {USBDEVFS_RELEASEINTERFACE, &UsbfsFile::releaseInterface},
    {USBDEVFS_DISCONNECT_CLAIM, &UsbfsFile::disconnectAndClaim},
    {USBDEVFS_SETINTERFACE, &UsbfsFile::setInterface},
    {USBDEVFS_SETCONFIGURATION, &UsbfsFile::setConfiguration},
    {USBDEVFS_CLEAR_HALT, &UsbfsFile::clearHalt},
    {USBDEVFS_RESETEP, &UsbfsFile::resetEndpoint},
    {USBDEVFS_RESET, &UsbfsFile::reset},
    {USBDEVFS_SUBMITURB, &UsbfsFile::submit},
    {USBDEVFS_DISCARDURB, &UsbfsFile::discard},
    {USBDEVFS_REAPURB, &UsbfsFile::reap},
    {USBDEVFS_REAPURBNDELAY, &UsbfsFile::reapNoDelay},
    {USBDEVFS_CONTROL, &UsbfsFile::controlAtOnce},
    {USBDEVFS_BULK, &UsbfsFile::bulkAtOnce},
};

void Call::answer(Answer answer) const {
    umockdev_ioctl_client_complete(client.get(), answer.result, answer.error);
}

UsbfsFile::UsbfsFile(Port& servedPort, unsigned deviceAddress, TransferMemory& sharedMemory)
    : port(servedPort), deviceNumber(deviceAddress), memory(sharedMemory), number(port.openFile()) {
}

UsbfsFile::~UsbfsFile() {
    port.closeFile(number);
}

std::optional<Answer> UsbfsFile::serve(const Call& call) {
    // Reaping goes on after the end of the device.
    const bool reaps = call.request == USBDEVFS_REAPURB || call.request == USBDEVFS_REAPURBNDELAY;
    if (port.isGone() && !(reaps && !finished.empty()))
        return deny();
    const auto row = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row& candidate) {
        return candidate.request == call.request;
    });
    return row == std::end(kRows) ? failure(ENOTTY) : dispatch(call, *row);
}

UsbfsFile::MaybeAnswer UsbfsFile::dispatch(const Call& call, const Row& row) {
    const std::size_t size = _IOC_SIZE(call.request);
    if (size == 0)
        return (this->*row.serve)(call, call.argument);
    const auto argument = call.argument.follow(0, size);
    return argument ? (this->*row.serve)(call, *argument) : failure(EFAULT);
}

Answer UsbfsFile::deny() {
    knowsOfDeparture = true;
    return failure(ENODEV);
}

void UsbfsFile::departed() {
    if (const auto waiting = std::exchange(blockedReap, std::nullopt))
        waiting->answer(deny());
}

Answer UsbfsFile::read(const Call& call) {
    if (port.isGone())
        return deny();
    const auto all = port.descriptors().all();
    const auto rest = all.subspan(std::min(readPosition, all.size()));
    const auto room = call.argument.bytes();
    const std::size_t count = std::min(rest.size(), room.size());
    std::copy_n(rest.begin(), count, room.begin());
    readPosition += count;
    return {static_cast<long>(count), 0};
}

UsbfsFile::MaybeAnswer UsbfsFile::getCapabilities(const Call&, const ClientMemory& argument) {
    // Without scatter-gather a host splits a read into pieces of 16 KiB, each a round trip.
    argument.write<std::uint32_t>(USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION |
                                  USBDEVFS_CAP_NO_PACKET_SIZE_LIM |
                                  USBDEVFS_CAP_BULK_SCATTER_GATHER |
                                  USBDEVFS_CAP_REAP_AFTER_DISCONNECT);
    return Answer{};
}

UsbfsFile::MaybeAnswer UsbfsFile::getSpeed(const Call&, const ClientMemory&) {
    return Answer{USB_SPEED_HIGH, 0};
}

UsbfsFile::MaybeAnswer UsbfsFile::connectInfo(const Call&, const ClientMemory& argument) {
    usbdevfs_connectinfo info{};
    info.devnum = deviceNumber;
    argument.write(info);
    return Answer{};
}

UsbfsFile::MaybeAnswer UsbfsFile::getDriver(const Call&, const ClientMemory& argument) {
    auto driver = argument.read<usbdevfs_getdriver>();
    if (!port.isClaimed(driver.interface))
        return failure(ENODATA);
    std::fill(std::begin(driver.driver), std::end(driver.driver), '\0');
    std::copy(kDriverName.begin(), kDriverName.end(), driver.driver);
    argument.write(driver);
    return Answer{};
}

// Requests that the kernel passes to the driver of an interface; no driver here has any.
UsbfsFile::MaybeAnswer UsbfsFile::driverCommand(const Call&, const ClientMemory& argument) {
    const auto command = argument.read<usbdevfs_ioctl>();
    const auto interface = static_cast<unsigned>(command.ifno);
    if (!port.descriptors().hasInterface(interface))
        return failure(EINVAL);
    const auto code = static_cast<unsigned>(command.ioctl_code);
    if (code == USBDEVFS_DISCONNECT)
        return failure(port.unbind(interface));
    if (code == USBDEVFS_CONNECT)
        return failure(port.isClaimed(interface) ? EBUSY : 0);
    return failure(ENOTTY);
}

UsbfsFile::MaybeAnswer UsbfsFile::claimInterface(const Call&, const ClientMemory& argument) {
    return failure(port.claim(number, argument.read<unsigned>()));
}

UsbfsFile::MaybeAnswer UsbfsFile::releaseInterface(const Call&, const ClientMemory& argument) {
    return failure(port.release(number, argument.read<unsigned>()));
}

UsbfsFile::MaybeAnswer UsbfsFile::disconnectAndClaim(const Call&, const ClientMemory& argument) {
    const auto wish = argument.read<usbdevfs_disconnect_claim>();
    if (!port.descriptors().hasInterface(wish.interface))
        return failure(EINVAL);
    if (port.isClaimed(wish.interface)) {
        const bool named = nameIn(wish.driver, sizeof wish.driver) == kDriverName;
        if (((wish.flags & USBDEVFS_DISCONNECT_CLAIM_IF_DRIVER) != 0 && !named) ||
            ((wish.flags & USBDEVFS_DISCONNECT_CLAIM_EXCEPT_DRIVER) != 0 && named))
            return failure(EBUSY);
        port.unbind(wish.interface);
    }
    return failure(port.claim(number, wish.interface));
}

UsbfsFile::MaybeAnswer UsbfsFile::setInterface(const Call&, const ClientMemory& argument) {
    const auto wish = argument.read<usbdevfs_setinterface>();
    return failure(port.setInterface(number, wish.interface, wish.altsetting));
}

UsbfsFile::MaybeAnswer UsbfsFile::setConfiguration(const Call&, const ClientMemory& argument) {
    return failure(port.setConfiguration(argument.read<unsigned>()));
}

UsbfsFile::MaybeAnswer UsbfsFile::clearHalt(const Call&, const ClientMemory& argument) {
    return failure(port.clearHalt(number, argument.read<unsigned>()));
}

UsbfsFile::MaybeAnswer UsbfsFile::resetEndpoint(const Call&, const ClientMemory& argument) {
    return failure(port.resetEndpoint(number, argument.read<unsigned>()));
}

UsbfsFile::MaybeAnswer UsbfsFile::reset(const Call&, const ClientMemory&) {
    port.reset();
    return Answer{};
}

} // namespace tavo::virtualusb
