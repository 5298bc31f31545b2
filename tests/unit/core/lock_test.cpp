// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"

#include <atomic>
#include <thread>

namespace tavo::test {
namespace {

class LockTest : public UnitTest {};
class LockThreadsTest : public UnitTest {};

TEST_F(LockTest, IsNotReentered) {
    const auto camera = closedCamera(RIDGE_CAMERA);
    CameraPeer peer(*camera);
    peer.lock();
    EXPECT_FALSE(peer.mutex().tryAcquire());
    peer.unlock();
    EXPECT_TRUE(peer.lockIsFree());
}

TEST_F(LockTest, ReleaseOfAFreeLockDoesNothing) {
    const auto camera = closedCamera(RIDGE_CAMERA);
    CameraPeer peer(*camera);
    peer.unlock();
    peer.unlock();
    EXPECT_TRUE(peer.mutex().tryAcquire());
    EXPECT_FALSE(peer.mutex().tryAcquire());
}

TEST_F(LockTest, CamerasDoNotShareIt) {
    const auto first = closedCamera(RIDGE_CAMERA);
    const auto second = closedCamera(RIDGE_CAMERA);
    CameraPeer(*first).lock();
    EXPECT_TRUE(CameraPeer(*second).lockIsFree());
}

TEST_F(LockTest, TraceOfAFreeLock) {
    const auto camera = closedCamera(RIDGE_CAMERA);
    CameraPeer peer(*camera);
    CapturedTrace trace;
    peer.lock();
    peer.unlock();
    EXPECT_EQ(trace.lines(), (Lines{"    lock()", "    unlock()"}));
}

TEST_F(LockThreadsTest, ReleasedByAnotherThread) {
    const auto camera = closedCamera(RIDGE_CAMERA);
    CameraPeer peer(*camera);
    peer.lock();
    std::thread([&] { peer.unlock(); }).join();
    EXPECT_TRUE(peer.lockIsFree());
}

TEST_F(LockThreadsTest, SecondAcquireWaitsForTheRelease) {
    const auto camera = closedCamera(RIDGE_CAMERA);
    CameraPeer peer(*camera);
    std::atomic<bool> released{false};
    bool waited = false;
    CapturedTrace trace;
    peer.lock();
    std::thread second([&] {
        CameraPeer(*camera).lock();
        waited = released;
    });
    while (!trace.contains("    lock busy"))
        std::this_thread::yield();
    released = true;
    peer.unlock();
    second.join();
    EXPECT_TRUE(waited);
    EXPECT_FALSE(peer.lockIsFree());
    EXPECT_EQ(trace.lines(), (Lines{"    lock()", "    lock()", "    lock busy", "    unlock()"}));
}

TEST_F(LockThreadsTest, OneReleaseLetsOneWaiterIn) {
    constexpr int kThreads = 4, kRounds = 200;
    const auto camera = closedCamera(RIDGE_CAMERA);
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            CameraPeer peer(*camera);
            for (int round = 0; round < kRounds; ++round) {
                peer.lock();
                ++counter;
                peer.unlock();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, kThreads * kRounds);
    EXPECT_TRUE(CameraPeer(*camera).lockIsFree());
}

} // namespace
} // namespace tavo::test
