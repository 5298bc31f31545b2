// SPDX-License-Identifier: LGPL-2.1-or-later
#include "virtual_camera/cable.h"

#include "input.h"

#include <libusb.h>

using tavo::virtualusb::Device;
using tavo::virtualusb::Outcome;
using tavo::virtualusb::Reply;

namespace tavo::fuzz {
namespace {
constexpr std::uint8_t kRequests = 0x04;
Cable* current = nullptr;
} // namespace

Cable* cable() {
    return current;
}

Reply checkedRead(Device& device, std::uint8_t endpoint, std::uint32_t length) {
    Reply reply = device.bulkIn(endpoint, length);
    require(reply.data.size() <= length, "no more than was asked for");
    require(reply.outcome == Outcome::done || reply.data.empty(), "data of a finished read alone");
    return reply;
}

Cable::Cable(Device& plugged, virtualcamera::ManualClock& time, std::uint64_t& microseconds)
    : device(plugged), clock(time), hostTime(microseconds) {
    current = this;
}

Cable::~Cable() {
    current = nullptr;
}

void Cable::wait(std::uint64_t microseconds) {
    clock.advance(microseconds);
    hostTime += microseconds;
}

// Asks until there is an answer or the time is up.
template <typename Ask>
int Cable::settle(std::uint8_t endpoint, std::uint32_t milliseconds, Ask ask) {
    std::uint64_t patience = std::uint64_t{milliseconds} * 1000;
    for (int tries = 0; left > 0 && tries < 50; ++tries) {
        const auto [outcome, moved] = ask();
        if (outcome == Outcome::done || outcome == Outcome::stalled)
            --left;
        switch (outcome) {
        case Outcome::done: return moved;
        case Outcome::stalled: return LIBUSB_ERROR_PIPE;
        case Outcome::gone: return LIBUSB_ERROR_NO_DEVICE;
        case Outcome::nothing: break;
        }
        const auto wake = device.wakeIn();
        const std::uint64_t pause = wake ? std::max<std::uint64_t>(*wake, 1) : patience;
        wait(std::min(pause, patience));
        if (pause >= patience)
            break;
        patience -= pause;
    }
    if (left == 0)
        return LIBUSB_ERROR_NO_DEVICE;
    --left;
    device.cancelled(endpoint);
    return LIBUSB_ERROR_TIMEOUT;
}

namespace {

struct Answer {
    Outcome outcome;
    int moved;
};

Answer copied(const Reply& reply, unsigned char* data) {
    std::copy(reply.data.begin(), reply.data.end(), data);
    return {reply.outcome, static_cast<int>(reply.data.size())};
}

} // namespace

int Cable::bulk(std::uint8_t endpoint, unsigned char* data, std::uint32_t length,
                std::uint32_t milliseconds) {
    if ((endpoint & LIBUSB_ENDPOINT_IN) != 0)
        return settle(endpoint, milliseconds,
                      [&] { return copied(checkedRead(device, endpoint, length), data); });
    std::vector<std::uint8_t> out(data, data + length);
    if (endpoint == kRequests && length > 1)
        out[1] = ++transaction;
    return settle(endpoint, milliseconds, [&]() -> Answer {
        return {device.bulkOut(endpoint, out), static_cast<int>(length)};
    });
}

int Cable::control(const virtualusb::SetupPacket& setup, unsigned char* data,
                   std::uint32_t milliseconds) {
    const std::uint8_t direction = setup.requestType & LIBUSB_ENDPOINT_IN;
    return settle(direction, milliseconds, [&]() -> Answer {
        if (direction == 0)
            return {device.controlOut(setup, {data, setup.length}), setup.length};
        const Reply reply = device.controlIn(setup);
        require(reply.data.size() <= setup.length, "no more than was asked for");
        return copied(reply, data);
    });
}

int Cable::select(unsigned setting) {
    return device.setAlternateSetting(0, setting) == Outcome::done ? 0 : LIBUSB_ERROR_NOT_FOUND;
}

} // namespace tavo::fuzz
