// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The transfers of a port: their order, their turns with the device and their ends.
#include "port.h"

#include "standard_requests.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

namespace tavo::virtualusb {
namespace {

// A device that has nothing and still wants to be asked at once would keep a core busy.
constexpr std::chrono::microseconds kShortestPause{50};
constexpr std::chrono::microseconds kLongestPause = std::chrono::hours(24);

std::uint8_t queueOf(const Transfer& transfer) {
    return transfer.control ? std::uint8_t{0} : transfer.endpoint;
}

} // namespace

int Port::submit(Transfer transfer) {
    if (gone)
        return ENODEV;
    if (const int error = transfer.control ? checkControl(transfer) : checkBulk(transfer))
        return error;
    pending.push_back(std::move(transfer));
    service();
    return 0;
}

int Port::discard(FileNumber file, std::uint64_t tag) {
    const auto found =
        std::find_if(pending.rbegin(), pending.rend(), [&](const Transfer& transfer) {
            return transfer.file == file && transfer.tag == tag;
        });
    if (found == pending.rend())
        return EINVAL;
    cancel(std::prev(found.base()), -ENOENT);
    service();
    return 0;
}

void Port::service() {
    if (gone)
        return;
    expire();
    // A request may give the device something to say on another endpoint.
    while (serveHeads()) {
    }
}

std::optional<Clock::time_point> Port::nextService() const {
    std::optional<Clock::time_point> next;
    const auto sooner = [&](Clock::time_point time) { next = next ? std::min(*next, time) : time; };
    for (const Transfer& transfer : pending)
        if (transfer.deadline)
            sooner(*transfer.deadline);
    if (pending.empty())
        return next;
    if (const auto pause = device->wakeIn())
        sooner(Clock::now() + boundedPause(*pause));
    return next;
}

std::chrono::microseconds Port::boundedPause(std::uint64_t microseconds) {
    return std::clamp(std::chrono::microseconds(std::min(
                          microseconds, static_cast<std::uint64_t>(kLongestPause.count()))),
                      kShortestPause, kLongestPause);
}

Reply Port::attempt(const Transfer& transfer) {
    return transfer.control ? attemptControl(transfer) : attemptBulk(transfer);
}

Reply Port::attemptControl(const Transfer& transfer) {
    Reply reply;
    if (const auto outcome = answerAlone(transfer, reply.data))
        reply.outcome = *outcome;
    else if (towardsHost(transfer))
        reply = device->controlIn(transfer.setup);
    else
        reply.outcome = device->controlOut(transfer.setup, transfer.out);
    return reply;
}

// A bulk endpoint that has refused once is halted; the control pipe recovers by itself.
Reply Port::attemptBulk(const Transfer& transfer) {
    Reply reply;
    if (halted.contains(transfer.endpoint))
        return {Outcome::stalled, {}};
    if (towardsHost(transfer))
        reply = device->bulkIn(transfer.endpoint,
                               lengthInPackets(transfer.length, transfer.packetSize));
    else
        reply.outcome = device->bulkOut(transfer.endpoint, transfer.out);
    if (reply.outcome == Outcome::stalled)
        halted.insert(transfer.endpoint);
    return reply;
}

// Requests every device answers alike are no business of the device models.
std::optional<Outcome> Port::answerAlone(const Transfer& transfer, Bytes& data) {
    const SetupPacket& setup = transfer.setup;
    if (isSetInterface(setup)) {
        if (!descriptorTree.setting(setup.index, setup.value))
            return Outcome::stalled;
        return setAlternateSetting(setup.index, setup.value);
    }
    if (isSetHalt(setup) || isClearHalt(setup))
        return changeHalt(setup);
    if (asksForHalt(setup) && halted.contains(static_cast<std::uint8_t>(setup.index))) {
        data = {1, 0};
        data.resize(std::min<std::size_t>(data.size(), setup.length));
        return Outcome::done;
    }
    auto answer = answerStandardRequest(setup, descriptorTree, settingOf(setup.index));
    if (!answer)
        return std::nullopt;
    data = std::move(answer->data);
    return answer->outcome;
}

// The device has its own part in it, which may fail.
Outcome Port::changeHalt(const SetupPacket& setup) {
    const Outcome outcome = device->controlOut(setup, {});
    const auto endpoint = static_cast<std::uint8_t>(setup.index);
    if (outcome == Outcome::done && isClearHalt(setup))
        halted.erase(endpoint);
    else if (outcome == Outcome::done && descriptorTree.interfaceOf(endpoint))
        halted.insert(endpoint);
    return outcome;
}

// Offers the oldest transfer of every endpoint to the device; true when any of them finished.
bool Port::serveHeads() {
    bool progress = false;
    std::set<std::uint8_t> waiting;
    for (auto position = pending.begin(); position != pending.end();) {
        const auto current = position++;
        const std::uint8_t queue = queueOf(*current);
        if (waiting.contains(queue))
            continue;
        Reply reply = attempt(*current);
        if (reply.outcome == Outcome::gone) {
            depart();
            return false;
        }
        if (!settle(*current, std::move(reply))) {
            current->waits = true;
            waiting.insert(queue);
            continue;
        }
        progress = true;
        const Transfer over = finish(current);
        if (over.status < 0) {
            // What would have been next may be gone with it.
            cancelContinuations(over);
            return true;
        }
    }
    return progress && !pending.empty();
}

void Port::expire() {
    const auto now = Clock::now();
    for (auto position = pending.begin(); position != pending.end();) {
        const auto current = position++;
        if (current->deadline && *current->deadline <= now)
            cancel(current, -ETIMEDOUT);
    }
}

Transfer Port::finish(Pending::iterator position) {
    Transfer transfer = std::move(*position);
    pending.erase(position);
    if (transfer.finished)
        transfer.finished(transfer);
    return transfer;
}

void Port::cancel(Pending::iterator position, int status) {
    position->status = status;
    // A device that is gone is not to be told.
    if (position->waits && !gone)
        device->cancelled(!position->control       ? position->endpoint
                          : towardsHost(*position) ? kDirectionIn
                                                   : std::uint8_t{0});
    finish(position);
}

void Port::cancelInterface(FileNumber file, unsigned interface) {
    for (auto position = pending.begin(); position != pending.end();) {
        const auto current = position++;
        if (current->file == file && interfaceOf(*current) == interface)
            cancel(current, -ENOENT);
    }
}

// The parts of a split transfer that follow a failed one are not to swallow later data.
void Port::cancelContinuations(const Transfer& failed) {
    if (failed.control)
        return;
    endedEarly.emplace(failed.file, failed.endpoint);
    const auto belongs = [&](const Transfer& transfer) {
        return !transfer.control && transfer.file == failed.file &&
               transfer.endpoint == failed.endpoint;
    };
    for (auto position = pending.begin(); position != pending.end();) {
        const auto current = position++;
        if (!belongs(*current))
            continue;
        if (!current->continuation)
            return;
        cancel(current, -ECONNRESET);
    }
}

} // namespace tavo::virtualusb
