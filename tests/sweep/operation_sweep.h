// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Runs one operation of one family until each of its calls and allocations has failed in each way,
// and holds what comes of it against what the operation promises:
//
//   - false comes with the operation's text, true leaves the text alone;
//   - which calls and allocations are forgiven stands in expected.txt;
//   - outputs of a failed operation are as they were;
//   - handle, flags of the exposure cycle, lock and timeout are as after success or after failure;
//   - every error of libusb has the same effect; a short bulk transfer has none;
//   - nothing stays allocated, and the trace's entries have their exits;
//   - a camera whose driver had no memory has been asked for nothing that is not read;
//   - std::bad_alloc leaves getImage alone, of the two families that stage a frame;
//   - the same camera object then does the same operation, and takes an image.
#pragma once

#include "faults.h"
#include "operations.h"
#include "report.h"
#include "verdicts.h"

namespace tavo::sweep {

class OperationSweep {
public:
    OperationSweep(CAMERA_TYPE type, const Operation& operation);
    Tally run();
    bool served() const;
    std::vector<std::string> verdicts() const; // after `run`

private:
    enum class Camera { healed, mended }; // see Bench
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
        std::size_t unread = 0; // bytes that the camera was asked for
        bool onItsWay = false;  // an image, before or after

        bool sameEffect(const Outcome& other) const;
    };

    bool startOver(); // a new camera, open and at rest
    void learnPeace();
    void learnVerdicts();
    bool skips(const Failure& failure, std::size_t which) const;
    void sweepCalls(bool traced);
    bool sweepCall(Failure failure);
    void sweepAllocations(Failure failure);
    Outcome attempt(const Failure& failure, Camera camera = Camera::healed);
    void prepare(const Failure& failure, Camera camera);
    State state();
    void check(const Failure& failure, const Outcome& outcome);
    void checkResult(const Failure& failure, const Outcome& outcome);
    void checkShortCount(const Failure& failure, const Outcome& outcome);
    void checkLink(const Failure& failure, const Outcome& outcome);
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
    Image requestedImage{}; // that of an operation that asks for one
    std::optional<Verdicts> forgiven;
    Tally tally;
};

} // namespace tavo::sweep
