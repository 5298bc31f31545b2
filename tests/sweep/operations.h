// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The operations of a camera, each with what it leaves behind.
#pragma once

#include "bench.h"

#include <cstring>
#include <span>

namespace tavo::sweep {

// What an operation wrote through its pointers. Takes no memory.
class Output {
public:
    template <typename Value>
    void put(const Value& value) {
        if (used + sizeof value > bytes.size())
            std::abort();
        std::memcpy(bytes.data() + used, &value, sizeof value);
        used += sizeof value;
    }
    // For what a failure leaves as it was.
    template <typename Value>
    void put(const Value& value, const Value& before) {
        put(value);
        changed = changed || std::memcmp(&value, &before, sizeof value) != 0;
    }
    bool written() const { return changed; }
    friend bool operator==(const Output&, const Output&) = default;

private:
    std::array<std::uint8_t, 256> bytes{};
    std::size_t used = 0;
    bool changed = false;
};

struct State {
    bool open = true, exposing = false, pending = false, lockFree = true;
    friend bool operator==(const State&, const State&) = default;
};

struct Operation {
    const char* name;
    std::vector<CAMERA_TYPE> served;
    bool (*prepare)(Bench&); // on an open camera at rest
    bool (*run)(TavoCamera&, Output&);
    std::vector<const char*> failures{}; // the texts that a failure may leave; null: none
    const char* refusal = nullptr;       // the text of a family that is not served
    State succeeded{}, failed{};
    bool refusalIsSuccess = false;
    bool servedOnly = false; // a variant that other families do not have
    bool mayThrow = false;   // std::bad_alloc, of families that stage a frame
    bool alike = false;      // another row is much the same: long ones meet the faults in turn
};

const std::vector<Operation>& operations();

// The parts of the list.
std::vector<Operation> openings();
std::vector<Operation> exposures();
std::vector<Operation> thermals();
std::vector<Operation> accessories();

inline const std::vector<CAMERA_TYPE> kAll{BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, GLINT_CAMERA,
                                           LUMEN_CAMERA};
inline const std::vector<CAMERA_TYPE> kCooled{BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA};
inline const std::vector<CAMERA_TYPE> kWheeled{RIDGE_CAMERA, LUMEN_CAMERA};
inline const std::vector<CAMERA_TYPE> kLong{BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA};

inline constexpr const char* kUnsupported = "Unsupported operation";
inline constexpr State kClosed{.open = false};
inline constexpr State kExposing{.exposing = true};
inline constexpr State kPending{.pending = true, .lockFree = false};

// Preparations.
bool asItIs(Bench& bench);
bool closed(Bench& bench);
bool exposing(Bench& bench);
bool bare(Bench& bench); // open, with nothing fitted

} // namespace tavo::sweep
