// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Runs one operation of one family until each of its calls and allocations has failed in each way,
// and holds what comes of it against what the operation promises:
//
//   - false comes with the operation's text, true leaves the text alone;
//   - handle, flags of the exposure cycle and lock are as after success or after failure;
//   - every error of libusb has the same effect; a short bulk transfer has none;
//   - nothing stays allocated, and the trace's entries have their exits;
//   - std::bad_alloc leaves getImage alone, of the two families that stage a frame;
//   - the same camera object then does the same operation, and takes an image.
#pragma once

#include "faults.h"
#include "operations.h"
#include "report.h"

namespace tavo::sweep {

class OperationSweep {
public:
    OperationSweep(CAMERA_TYPE type, const Operation& operation);
    Tally run();
    bool served() const;

private:
    enum class End { result, endless, badAlloc, otherException };
    struct Outcome {
        End end = End::result;
        bool ok = false;
        const char* text = nullptr; // null: untouched
        State state{};
        Output output{};
        std::size_t calls = 0, allocations = 0;
        bool struck = false;
        std::optional<test::Call> struckCall{};
        long left = 0;
        int traceBalance = 0;

        bool sameEffect(const Outcome& other) const;
    };

    bool startOver(); // a new camera, open and at rest
    void learnPeace();
    void sweepCalls(bool traced);
    bool sweepCall(Failure failure);
    void sweepAllocations(Failure failure);
    Outcome attempt(const Failure& failure);
    State state();
    void check(const Failure& failure, const Outcome& outcome);
    void checkResult(const Failure& failure, const Outcome& outcome);
    void checkShortCount(const Failure& failure, const Outcome& outcome);
    bool textAllowed(const Failure& failure, const Outcome& outcome) const;
    bool mayBeEndless(const Failure& failure) const;
    void recover(const Failure& failure, const Outcome& outcome);
    bool rest();
    bool takeImage();
    void finding(const Failure& failure, const std::string& what);

    CAMERA_TYPE type;
    const Operation& operation;
    std::unique_ptr<Bench> bench;
    Outcome peace; // of a run without a fault
    Image peacefulImage{};
    Tally tally;
};

} // namespace tavo::sweep
