// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the operations leave in the last error. The texts stand here as applications read them in
// the public header.
#pragma once

#include "fake/camera_peer.h"
#include "input.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

namespace tavo::fuzz {

// Among the texts of an operation: it may be false without a text.
inline constexpr const char* kNoText = nullptr;

class LastError {
public:
    explicit LastError(TavoCameraImpl& driven) : camera(driven), peer(driven) {
        require(std::string_view(camera.getLastError()) == "No error", "a new camera's last error");
    }

    // A failed operation leaves one of its texts, one that succeeds what was there: here a text
    // that no operation leaves, so that a text of an earlier failure is not taken for its own.
    template <typename Operation>
    bool watch(std::initializer_list<const char*> texts, Operation operation) {
        peer.lastError() = kUntouched;
        const bool ok = operation();
        const char* left = camera.getLastError();
        if (left == kUntouched)
            left = kNoText;
        if (ok ? left != kNoText : !isAmong(texts, left))
            fail((std::string(ok ? "success" : "failure") + " leaves the last error \"" +
                  (left ? left : "as it was") + "\"")
                     .c_str());
        return ok;
    }

    // An operation that has nothing to say about its success.
    template <typename Operation>
    void watchQuiet(Operation operation) {
        watch({}, [&] {
            operation();
            return true;
        });
    }

private:
    static constexpr const char* kUntouched = "what was there before";

    static bool isAmong(std::initializer_list<const char*> texts, const char* left) {
        return std::any_of(texts.begin(), texts.end(), [&](const char* text) {
            return text && left ? std::string_view(text) == left : text == left;
        });
    }

    TavoCameraImpl& camera;
    CameraPeer peer;
};

} // namespace tavo::fuzz
