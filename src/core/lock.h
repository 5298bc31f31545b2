// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The camera lock. It has no owner: readCCD leaves it held and getImage, perhaps on another
// thread, releases it; some failing exits release it without having taken it. A POSIX mutex alone
// allows neither (a default mutex makes both undefined, an error-checking one would refuse the
// release by another thread and stay locked for ever), so the state is a flag under a mutex.
#pragma once

#include <pthread.h>

namespace tavo {

class CameraLock {
public:
    CameraLock() = default;
    CameraLock(const CameraLock&) = delete;
    CameraLock& operator=(const CameraLock&) = delete;

    bool tryAcquire() {
        pthread_mutex_lock(&guard);
        const bool taken = !held;
        held = true;
        pthread_mutex_unlock(&guard);
        return taken;
    }

    // Waits until the lock is free; for ever when the caller is the one who should free it.
    void acquire() {
        pthread_mutex_lock(&guard);
        while (held)
            pthread_cond_wait(&released, &guard);
        held = true;
        pthread_mutex_unlock(&guard);
    }

    // Frees the lock whoever took it; a free lock stays free.
    void release() {
        pthread_mutex_lock(&guard);
        held = false;
        pthread_cond_signal(&released);
        pthread_mutex_unlock(&guard);
    }

private:
    pthread_mutex_t guard = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t released = PTHREAD_COND_INITIALIZER;
    bool held = false;
};

} // namespace tavo
