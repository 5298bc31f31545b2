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

std::uint8_t queueOf(const Transfer& transfer) {
    return transfer.control ? std::uint8_t{0} : transfer.endpoint;
}

} // namespace

int Port::submit(Transfer transfer) {
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
    if (const auto pause = device->wakeIn()) {
        constexpr std::uint64_t longest = std::uint64_t{24} * 3600 * 1'000'000;
        const std::chrono::microseconds asked(std::min(*pause, longest));
        sooner(Clock::now() + std::max(asked, kShortestPause));
    }
    return next;
}

// True when the transfer is over, one way or another.
bool Port::attempt(Transfer& transfer) {
    return transfer.control ? attemptControl(transfer) : attemptBulk(transfer);
}

bool Port::attemptControl(Transfer& transfer) {
    Reply reply;
    if (const auto outcome = answerAlone(transfer, reply.data))
        reply.outcome = *outcome;
    else if (towardsHost(transfer))
        reply = device->controlIn(transfer.setup);
    else
        reply.outcome = device->controlOut(transfer.setup, transfer.out);
    return settle(transfer, std::move(reply));
}

bool Port::attemptBulk(Transfer& transfer) {
    Reply reply;
    if (towardsHost(transfer))
        reply = device->bulkIn(transfer.endpoint, transfer.length);
    else
        reply.outcome = device->bulkOut(transfer.endpoint, transfer.out);
    return settle(transfer, std::move(reply));
}

// Requests every device answers alike are no business of the device models.
std::optional<Outcome> Port::answerAlone(const Transfer& transfer, Bytes& data) {
    const SetupPacket& setup = transfer.setup;
    if (isSetInterface(setup)) {
        if (!descriptorTree.setting(setup.index, setup.value))
            return Outcome::stalled;
        const Outcome outcome = device->setAlternateSetting(setup.index, setup.value);
        if (outcome == Outcome::done)
            chosenSettings[setup.index] = setup.value;
        return outcome;
    }
    const auto chosen = chosenSettings.find(setup.index);
    const unsigned setting = chosen == chosenSettings.end() ? 0 : chosen->second;
    auto answer = answerStandardRequest(setup, descriptorTree, setting);
    if (!answer)
        return std::nullopt;
    data = std::move(answer->data);
    return answer->outcome;
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
        if (!attempt(*current)) {
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
