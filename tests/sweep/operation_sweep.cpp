// SPDX-License-Identifier: LGPL-2.1-or-later
#include "operation_sweep.h"

#include "allocator.h"
#include "call_names.h"
#include "trace_log.h"

#include <algorithm>
#include <new>

namespace tavo::sweep {
namespace {

using test::Repeat;
using test::ShortCount;
using test::usb;

constexpr const char* kUntouched = "untouched";

// Sanitizers make a run many times slower: there the calls of a long operation meet the faults in
// turn, beside the one that all are held against, which is all that they meet in one like another.
#if defined(TAVO_SANITIZED)
constexpr bool kSparing = true;
constexpr std::size_t kTurns = 12;
#else
constexpr bool kSparing = false;
constexpr std::size_t kTurns = 4;
#endif
constexpr std::size_t kLongOperation = 50; // calls

} // namespace

OperationSweep::OperationSweep(CAMERA_TYPE swept, const Operation& sweptOperation)
    : type(swept), operation(sweptOperation) {
    tally.operation = operation.name;
    tally.family = test::familyName(type);
}

bool OperationSweep::Outcome::sameEffect(const Outcome& other) const {
    return end == other.end && ok == other.ok && text == other.text && state == other.state &&
           output == other.output;
}

bool OperationSweep::served() const {
    return std::find(operation.served.begin(), operation.served.end(), type) !=
           operation.served.end();
}

void OperationSweep::finding(const Failure& failure, const std::string& what) {
    report(tally, std::string(operation.name) + " of " + tally.family + ", " + describe(failure) +
                      ": " + what);
}

Tally OperationSweep::run() {
    if (!startOver()) {
        finding({}, "no camera");
        return tally;
    }
    learnPeace();
    learnVerdicts();
    for (const bool traced : {false, true}) {
        if (traced && kSparing && operation.alike)
            break;
        sweepCalls(traced);
        for (const Repeat repeat : kRepeats)
            sweepAllocations({.victim = Victim::allocation, .repeat = repeat, .traced = traced});
    }
    return tally;
}

bool OperationSweep::startOver() {
    bench.reset(); // two would share the fake
    bench = std::make_unique<Bench>(type);
    return ends([&] { return bench->open(); });
}

// What the operation does to a healthy camera, and what an image then looks like.
void OperationSweep::learnPeace() {
    nowTrying(std::string(operation.name) + " of " + tally.family + ", without a fault");
    bench->heal();
    if (!bench->requestImage() || !bench->fetchImage(peacefulImage))
        finding({}, "no image");
    peace = attempt({});
    tally.calls = peace.calls;
    tally.allocations = peace.allocations;
    const bool ok = served() || operation.refusalIsSuccess;
    if (peace.ok != ok)
        finding({}, ok ? "failed" : "succeeded");
    if (served() && peace.text)
        finding({}, std::string("left the text ") + peace.text);
    if (!served() &&
        (operation.refusal ? !peace.text || peace.text != std::string(operation.refusal)
                           : peace.text != nullptr))
        finding({}, "left another text than that of a refusal");
    if (peace.state != (served() ? operation.succeeded : operation.failed))
        finding({}, "left another state");
    if (peace.left != 0)
        finding({}, "leaked");
    if (!served() && peace.output.written())
        finding({}, "wrote through its pointers");
    if (peace.state.pending) {
        bench->heal();
        if (!bench->fetchImage(requestedImage))
            finding({}, "the image that was asked for does not come");
    }
    if (!rest() || !takeImage())
        finding({}, "no image after it");
}

// The calls have their names from a run that the fake keeps.
void OperationSweep::learnVerdicts() {
    prepare({}, Camera::healed);
    bench->keepCalls();
    Output output;
    operation.run(bench->camera(), output);
    forgiven.emplace(std::string(operation.name) + ", " + tally.family, callNames(usb().calls()),
                     peace.allocations);
    if (!rest())
        finding({}, "did not come to rest");
}

std::vector<std::string> OperationSweep::verdicts() const {
    return forgiven ? forgiven->lines() : std::vector<std::string>{};
}

// Whether a fault has its turn at other calls.
bool OperationSweep::skips(const Failure& failure, std::size_t which) const {
    if (which == 0 || peace.calls <= kLongOperation || !(kSparing || operation.alike))
        return false;
    return (kSparing && operation.alike) || which % kTurns != failure.number % kTurns;
}

void OperationSweep::sweepCalls(bool traced) {
    for (const Repeat repeat : kRepeats) {
        Failure failure{.victim = Victim::call, .number = 1, .repeat = repeat, .traced = traced};
        while (sweepCall(failure))
            ++failure.number;
    }
}

// Lets one call fail in every way; false when there is no such call any more.
bool OperationSweep::sweepCall(Failure failure) {
    std::optional<Outcome> first;
    bool any = false;
    for (const test::Fault& fault : kEveryFault) {
        const auto which = static_cast<std::size_t>(&fault - &kEveryFault[0]);
        if (skips(failure, which))
            continue;
        // The trace has to do with what failed, not how.
        const bool tracedToo = fault.error == -1 || fault.count == ShortCount::half;
        if (failure.traced && !tracedToo)
            continue;
        failure.fault = fault;
        const Outcome outcome = attempt(failure);
        if (!outcome.struck) {
            if (!outcome.sameEffect(peace))
                finding(failure, "nothing failed, and yet it was another run");
            if (!rest())
                finding(failure, "did not come to rest");
            continue;
        }
        any = true;
        ++tally.callFaults;
        check(failure, outcome);
        if (which == 0 && !failure.traced)
            forgiven->note(failure, outcome.end == End::result && outcome.ok);
        if (fault.error == 0)
            checkShortCount(failure, outcome);
        else if (!first)
            first = outcome;
        else if (!outcome.sameEffect(*first) || outcome.calls != first->calls)
            finding(failure, std::string("not what ") + kEveryFault[0].name + " does");
        recover(failure, outcome);
    }
    return any;
}

void OperationSweep::sweepAllocations(Failure failure) {
    for (failure.number = 1;; ++failure.number) {
        const Outcome outcome = attempt(failure);
        if (!outcome.struck) {
            if (!rest())
                finding(failure, "did not come to rest");
            return;
        }
        ++tally.allocationFaults;
        check(failure, outcome);
        checkLink(failure, outcome);
        if (!failure.traced)
            forgiven->note(failure, outcome.end == End::result && outcome.ok);
        recover(failure, outcome);
    }
}

State OperationSweep::state() {
    test::CameraPeer peer = bench->peer();
    return {.open = peer.handle() != nullptr,
            .exposing = peer.exposureStarted(),
            .pending = peer.readoutPending(),
            .lockFree = peer.lockIsFree()};
}

void OperationSweep::prepare(const Failure& failure, Camera camera) {
    nowTrying(std::string(operation.name) + " of " + tally.family + ", " + describe(failure));
    if (camera == Camera::healed)
        bench->heal();
    else
        bench->mend();
    if (!operation.prepare(*bench))
        finding(failure, "could not be prepared");
    bench->peer().lastError() = kUntouched;
}

OperationSweep::Outcome OperationSweep::attempt(const Failure& failure, Camera camera) {
    Outcome outcome;
    prepare(failure, camera);
    outcome.onItsWay = state().pending;
    usb().countOnly(10 * peace.calls + 3000);
    usb().failCall(failure.victim == Victim::call ? failure.number : 0, failure.fault,
                   failure.repeat);
    {
        const CountedTrace trace(failure.traced);
        const WatchedMemory memory(failure.victim == Victim::allocation ? failure.number : 0,
                                   failure.repeat);
        try {
            outcome.ok = operation.run(bench->camera(), outcome.output);
        } catch (const test::EndlessCalls&) {
            outcome.end = End::endless;
        } catch (const std::bad_alloc&) {
            outcome.end = End::badAlloc;
        } catch (...) {
            outcome.end = End::otherException;
        }
        outcome.left = memory.left();
        outcome.allocations = memory.asked();
        outcome.struck = memory.refused() > 0;
        outcome.traceBalance = trace.balance();
    }
    outcome.calls = usb().callCount();
    outcome.struckCall = usb().struck();
    outcome.struck = outcome.struck || outcome.struckCall.has_value();
    if (bench->peer().lastError() != kUntouched)
        outcome.text = bench->peer().lastError();
    outcome.state = state();
    outcome.onItsWay = outcome.onItsWay || outcome.state.pending;
    if (failure.victim == Victim::allocation)
        outcome.unread = bench->takeUnread();
    return outcome;
}

} // namespace tavo::sweep
