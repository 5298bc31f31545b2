// SPDX-License-Identifier: LGPL-2.1-or-later
#include "wake_timer.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <glib-unix.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace tavo::virtualusb {
namespace {

using Wake = std::function<void()>;

gboolean expired(gint descriptor, GIOCondition, gpointer wake) {
    std::uint64_t times = 0;
    if (read(descriptor, &times, sizeof times) == sizeof times)
        (*static_cast<Wake*>(wake))();
    return G_SOURCE_CONTINUE;
}

void deleteWake(gpointer wake) {
    delete static_cast<Wake*>(wake);
}

} // namespace

WakeTimer::WakeTimer() : timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {
    if (timer < 0)
        throw std::system_error(errno, std::generic_category(), "timerfd_create");
}

WakeTimer::~WakeTimer() {
    stop();
    close(timer);
}

void WakeTimer::start(GMainContext* context, Wake wake) {
    source = g_unix_fd_source_new(timer, G_IO_IN);
    g_source_set_callback(source, G_SOURCE_FUNC(expired), new Wake(std::move(wake)), deleteWake);
    g_source_attach(source, context);
}

void WakeTimer::stop() {
    if (GSource* old = std::exchange(source, nullptr)) {
        g_source_destroy(old);
        g_source_unref(old);
    }
}

void WakeTimer::set(std::optional<Clock::time_point> time) {
    itimerspec setting{};
    if (time) {
        using namespace std::chrono;
        // A time of zero would disarm the timer.
        const auto since = std::max(duration_cast<nanoseconds>(time->time_since_epoch()), 1ns);
        setting.it_value.tv_sec = since.count() / 1'000'000'000;
        setting.it_value.tv_nsec = since.count() % 1'000'000'000;
    }
    timerfd_settime(timer, TFD_TIMER_ABSTIME, &setting, nullptr);
}

} // namespace tavo::virtualusb
