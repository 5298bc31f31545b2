// SPDX-License-Identifier: LGPL-2.1-or-later
#include "device_session.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tavo::usbip {

using virtualusb::Outcome;

namespace {

// A device that has nothing and still wants to be asked at once would keep a core busy.
constexpr std::chrono::microseconds kShortestPause{50};
constexpr std::chrono::microseconds kLongestPause = std::chrono::hours(24);

std::uint8_t queueOf(const virtualusb::Transfer& transfer) {
    return transfer.control ? std::uint8_t{0} : transfer.endpoint;
}

std::size_t bytesOf(const virtualusb::Transfer& transfer) {
    return transfer.out.size() + transfer.length;
}

virtualusb::Transfer transferOf(const Submit& command, Bytes out) {
    virtualusb::Transfer transfer;
    const bool in = command.direction == Direction::in;
    transfer.tag = command.sequence;
    transfer.control = command.endpoint == 0;
    transfer.endpoint =
        static_cast<std::uint8_t>(command.endpoint | (in ? virtualusb::kDirectionIn : 0u));
    transfer.setup = command.setup;
    transfer.out = std::move(out);
    transfer.length = in ? static_cast<std::uint32_t>(command.length) : 0;
    transfer.shortIsError = in && (command.flags & kShortNotOk) != 0;
    return transfer;
}

} // namespace

DeviceSession::DeviceSession(virtualusb::Device& served, const virtualusb::Descriptors& tree,
                             Send sender)
    : device(served), descriptors(tree), send(std::move(sender)) {}

void DeviceSession::submit(const Submit& command, Bytes out) {
    pending.push_back(transferOf(command, std::move(out)));
    bytesPending += bytesOf(pending.back());
    service();
}

void DeviceSession::unlink(const Unlink& command) {
    const auto found = std::find_if(pending.begin(), pending.end(), [&](const Transfer& transfer) {
        return transfer.tag == command.unlinked;
    });
    const bool waits = found != pending.end();
    if (waits)
        giveUp(found);
    send(encode(UnlinkReply{command.sequence, waits ? -ECONNRESET : 0}), {});
    service(); // what stood behind it may have its turn now
}

void DeviceSession::service() {
    // A request may give the device something to say on another endpoint.
    while (!gone && serveHeads()) {
    }
    if (gone)
        answerGone();
}

std::optional<Clock::time_point> DeviceSession::nextService() const {
    if (pending.empty())
        return std::nullopt;
    const auto pause = device.wakeIn();
    if (!pause)
        return std::nullopt;
    constexpr auto longest = static_cast<std::uint64_t>(kLongestPause.count());
    const std::chrono::microseconds asked(std::min(*pause, longest));
    return Clock::now() + std::max(asked, kShortestPause);
}

// Offers the oldest request of every endpoint to the device; true when any of them finished.
bool DeviceSession::serveHeads() {
    bool progress = false;
    std::set<std::uint8_t> waiting;
    for (auto position = pending.begin(); position != pending.end();) {
        const auto current = position++;
        const std::uint8_t queue = queueOf(*current);
        if (waiting.contains(queue))
            continue;
        Reply reply = attempt(*current);
        if (reply.outcome == Outcome::gone) {
            gone = true;
            return false;
        }
        if (!settle(*current, std::move(reply))) {
            current->waits = true;
            waiting.insert(queue);
            continue;
        }
        answer(current);
        progress = true;
    }
    return progress && !pending.empty();
}

DeviceSession::Reply DeviceSession::attempt(Transfer& transfer) {
    return transfer.control ? attemptControl(transfer) : attemptBulk(transfer);
}

DeviceSession::Reply DeviceSession::attemptBulk(Transfer& transfer) {
    const auto* endpoint = findEndpoint(transfer.endpoint);
    if (!endpoint || halted.contains(transfer.endpoint))
        return {Outcome::stalled, {}};
    Reply reply;
    transfer.packetSize = endpoint->packetSize;
    if (virtualusb::towardsHost(transfer))
        reply = device.bulkIn(transfer.endpoint,
                              virtualusb::lengthInPackets(transfer.length, transfer.packetSize));
    else
        reply.outcome = device.bulkOut(transfer.endpoint, transfer.out);
    if (reply.outcome == Outcome::stalled)
        halted.insert(transfer.endpoint);
    return reply;
}

const virtualusb::EndpointDescription* DeviceSession::findEndpoint(std::uint8_t address) const {
    const auto interface = descriptors.interfaceOf(address);
    if (configuration == 0 || !interface)
        return nullptr;
    const auto* setting = descriptors.setting(*interface, settingOf(*interface));
    return setting ? virtualusb::findEndpoint(*setting, address) : nullptr;
}

unsigned DeviceSession::settingOf(unsigned interface) const {
    const auto chosen = chosenSettings.find(interface);
    return chosen == chosenSettings.end() ? 0 : chosen->second;
}

void DeviceSession::answer(Pending::iterator position) {
    const Transfer& transfer = *position;
    const SubmitReply reply{static_cast<std::uint32_t>(transfer.tag), transfer.status,
                            static_cast<std::int32_t>(transfer.moved)};
    Bytes data = std::move(position->in);
    remove(position);
    send(encode(reply), std::move(data));
}

void DeviceSession::answerGone() {
    while (!pending.empty()) {
        pending.front().status = -ESHUTDOWN;
        answer(pending.begin());
    }
}

void DeviceSession::giveUp(Pending::iterator position) {
    const std::uint8_t endpoint = position->endpoint;
    const bool isKnown = position->waits;
    remove(position);
    if (isKnown)
        device.cancelled(endpoint);
}

void DeviceSession::remove(Pending::iterator position) {
    bytesPending -= bytesOf(*position);
    pending.erase(position);
}

} // namespace tavo::usbip
