// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a run with a fault is held against.
#include "operation_sweep.h"

#include <algorithm>
#include <cstring>

namespace tavo::sweep {
namespace {

using test::Call;
using test::Repeat;
using test::ShortCount;

bool isBulk(std::optional<Call> call) {
    return call == Call::bulkIn || call == Call::bulkOut;
}

std::string words(const State& state) {
    return std::string(state.open ? "open" : "closed") + (state.exposing ? ", exposing" : "") +
           (state.pending ? ", image waiting" : "") + (state.lockFree ? ", lock free" : ", locked");
}

} // namespace

// Runs that wait for the camera as long as it says:
//   - it answers reads with no bytes and no error: a short count asks again;
//   - a Basin camera whose first contact fails is tried every five seconds.
bool OperationSweep::mayBeEndless(const Failure& failure) const {
    if (failure.repeat == Repeat::once)
        return false;
    const bool nothing = failure.victim == Victim::call && failure.fault.error == 0 &&
                         failure.fault.count == ShortCount::none;
    const bool opening = std::strncmp(operation.name, "open", 4) == 0;
    return nothing || (type == BASIN_CAMERA && opening);
}

void OperationSweep::check(const Failure& failure, const Outcome& outcome) {
    switch (outcome.end) {
    case End::endless:
        ++tally.endless;
        if (!mayBeEndless(failure))
            finding(failure, "calls without end");
        break;
    case End::badAlloc:
        ++tally.thrown;
        if (failure.victim != Victim::allocation || !operation.mayThrow ||
            (type != HERON_CAMERA && type != GLINT_CAMERA))
            finding(failure, "threw std::bad_alloc");
        break;
    case End::otherException: finding(failure, "threw another exception"); break;
    case End::result: ++(outcome.ok ? tally.tolerated : tally.refused); break;
    }
    if (outcome.left != 0)
        finding(failure, std::to_string(outcome.left) + " allocations are left");
    if (outcome.end != End::endless)
        checkResult(failure, outcome);
}

void OperationSweep::checkResult(const Failure& failure, const Outcome& outcome) {
    const State& expected = outcome.ok ? operation.succeeded : operation.failed;
    if (outcome.state != expected)
        finding(failure, std::string(outcome.ok ? "true, " : "false, ") + words(outcome.state) +
                             " instead of " + words(expected));
    if (!outcome.ok && outcome.output.written())
        finding(failure, "failed, and wrote through its pointers");
    if (bench->peer().bulkTimeout() != static_cast<std::uint32_t>(TavoHostBulkTimeout))
        finding(failure, "another timeout than before");
    if (bench->handleIsOpen() != outcome.state.open)
        finding(failure, "the camera and libusb disagree on whether the device is open");
    // What was tolerated has not spoilt the answer. Registers are read blindly: a failed read is 0.
    if (outcome.ok && type != GLINT_CAMERA && !(outcome.output == peace.output))
        finding(failure, "true with another answer");
    if (!textAllowed(failure, outcome))
        finding(failure, std::string(outcome.ok ? "true" : "false") + " with the text " +
                             (outcome.text ? outcome.text : "as it was"));
    if (outcome.traceBalance != 0)
        finding(failure,
                "entries and exits of the trace differ by " + std::to_string(outcome.traceBalance));
}

void OperationSweep::checkLink(const Failure& failure, const Outcome& outcome) {
    if (outcome.unread != 0)
        finding(failure, std::to_string(outcome.unread) + " bytes of the camera are unread");
}

bool OperationSweep::textAllowed(const Failure& failure, const Outcome& outcome) const {
    if (outcome.ok)
        return outcome.text == nullptr;
    if (failure.repeat == Repeat::once && std::strncmp(operation.name, "open", 4) == 0) {
        const std::size_t which = outcome.struckCall == Call::openDevice ? 1 : 0;
        return outcome.text && std::strcmp(outcome.text, operation.failures[which]) == 0;
    }
    return std::any_of(operation.failures.begin(), operation.failures.end(),
                       [&](const char* allowed) {
                           return allowed && outcome.text ? std::strcmp(allowed, outcome.text) == 0
                                                          : allowed == outcome.text;
                       });
}

// The rest of a read is asked for, and nobody looks at the count of a bulk write. A firmware record
// has failed when nothing of it moved, and only then; registers are read and written blindly.
void OperationSweep::checkShortCount(const Failure& failure, const Outcome& outcome) {
    if (outcome.end != End::result)
        return;
    const bool record = outcome.struckCall == Call::controlOut && type != GLINT_CAMERA;
    const bool harmless =
        isBulk(outcome.struckCall) || (record && failure.fault.count == ShortCount::one);
    if (harmless && !outcome.sameEffect(peace))
        finding(failure, "a short count changed the outcome");
    if (record && failure.fault.count == ShortCount::none && outcome.ok &&
        type != BASIN_CAMERA) // which is tried again
        finding(failure, "succeeded without its firmware");
}

} // namespace tavo::sweep
