// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "transfer.h"

#include <glib.h>

#include <functional>
#include <optional>

namespace tavo::virtualusb {

// Calls a function at a set time from a GLib main loop. GLib's own time-outs are whole
// milliseconds, too coarse for a device that answers within microseconds.
class WakeTimer {
public:
    // Throws std::system_error.
    WakeTimer();
    ~WakeTimer();
    WakeTimer(const WakeTimer&) = delete;
    WakeTimer& operator=(const WakeTimer&) = delete;

    // From then on `wake` is called from this context. What the function holds is kept alive
    // until stop() and until a call under way in the context's thread is over.
    void start(GMainContext* context, std::function<void()> wake);
    void stop();
    // Replaces the time set before; nullopt: never.
    void set(std::optional<Clock::time_point> time);

private:
    int timer;
    GSource* source = nullptr;
};

} // namespace tavo::virtualusb
