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
    friend bool operator==(const Output&, const Output&) = default;

private:
    std::array<std::uint8_t, 256> bytes{};
    std::size_t used = 0;
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
};

const std::vector<Operation>& operations();

} // namespace tavo::sweep
