// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the same camera object can do after a run.
#include "operation_sweep.h"

namespace tavo::sweep {

bool OperationSweep::rest() {
    bench->heal();
    return ends([&] {
        Image image{};
        const State now = state();
        const bool ok = (!now.pending || bench->fetchImage(image)) && (now.open || bench->open()) &&
                        (!now.exposing || bench->camera().abortExposure());
        bench->usualModes();
        return ok && state() == State{};
    });
}

bool OperationSweep::takeImage() {
    bench->heal();
    return ends([&] {
        Image image{};
        return bench->requestImage() && bench->fetchImage(image) && image == peacefulImage &&
               state() == State{};
    });
}

// The same object goes on. Where a fault left the operation done, an image that it asked for comes.
void OperationSweep::recover(const Failure& failure, const Outcome& outcome) {
    // It never came back, or went without freeing the lock: nobody can go on with this object.
    const bool stuck = !outcome.state.lockFree && !outcome.state.pending;
    if (outcome.end == End::endless || stuck) {
        if (!startOver())
            finding(failure, "no other camera");
        return;
    }
    if (outcome.state.pending) {
        Image image{};
        bench->heal();
        if (!bench->fetchImage(image) || image != requestedImage)
            finding(failure, "the image that was asked for does not come");
    }
    // Memory fails in the program: the camera is the same. An image that nobody has fetched gives
    // way to the next one, which the script does not know.
    const bool same = failure.victim == Victim::allocation && !outcome.onItsWay;
    const Outcome again = attempt({}, same ? Camera::mended : Camera::healed);
    if (!again.sameEffect(peace))
        finding(failure, "the next run, without a fault, is another one");
    if (!rest())
        finding(failure, "did not come to rest");
    if (!takeImage())
        finding(failure, "no image after it");
}

} // namespace tavo::sweep
