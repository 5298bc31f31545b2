// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A BASIN_CAMERA that gives no sign of life is tried again, for ever, five seconds apart.
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"
#include "fake/camera_script.h"
#include "fake/unit_test.h"

#include <algorithm>
#include <functional>

namespace tavo::test {
namespace {

constexpr long kRetryPause = 5000000;

// Counts how often open is entered, and ends the retries when told to.
class CountingCamera : public TavoCameraImpl {
public:
    CountingCamera() : TavoCameraImpl(usb().device(), "Basin", BASIN_CAMERA) {}

    bool open() override {
        ++entries;
        if (entries == giveUpAt)
            return givenUp;
        if (entries == healthyAt)
            usb().respondWith(healthy);
        if (entries == 2 && onSecondEntry)
            onSecondEntry();
        return TavoCameraImpl::open();
    }

    int entries = 0;
    int giveUpAt = 0, healthyAt = 0;
    bool givenUp = false;
    Responder* healthy = nullptr;
    std::function<void()> onSecondEntry;
};

class BasinRetry : public UnitTest {
protected:
    BasinRetry() {
        silent.silence(17);
        usb().respondWith(&silent);
    }

    std::size_t countOf(Call call) const {
        const Rows calls = usb().calls();
        return static_cast<std::size_t>(std::count_if(
            calls.begin(), calls.end(), [&](const Row& row) { return row.call == call; }));
    }
    std::size_t retryPauses() const {
        const std::vector<long> pauses = usb().pauses();
        return static_cast<std::size_t>(std::count(pauses.begin(), pauses.end(), kRetryPause));
    }

    CameraScript silent = healthyCamera(BASIN_CAMERA);
    CameraScript healthy = healthyCamera(BASIN_CAMERA);
    CountingCamera camera;
    CameraPeer peer{camera};
};

TEST_F(BasinRetry, OpensAsSoonAsTheCameraAnswers) {
    camera.healthy = &healthy;
    camera.healthyAt = 4;
    EXPECT_TRUE(camera.open());
    EXPECT_EQ(camera.entries, 4);
    EXPECT_EQ(retryPauses(), 3u);
    EXPECT_EQ(countOf(Call::openDevice), 4u);
    EXPECT_EQ(countOf(Call::closeDevice), 3u);
    EXPECT_EQ(peer.openRetryCounter(), 1);
    EXPECT_STREQ(camera.getLastError(), "No error");
    EXPECT_EQ(peer.pixelCountX(), 1391u);
}

// The bound of four retries takes no effect: the counter is set, never raised.
TEST_F(BasinRetry, HasNoEnd) {
    camera.giveUpAt = 41;
    camera.givenUp = true;
    EXPECT_TRUE(camera.open()); // what the re-entered open returns
    EXPECT_EQ(camera.entries, 41);
    EXPECT_EQ(retryPauses(), 40u);
    EXPECT_EQ(peer.openRetryCounter(), 1);
}

TEST_F(BasinRetry, CounterAboveFourEndsIt) {
    peer.openRetryCounter() = 4;
    camera.giveUpAt = 2;
    EXPECT_FALSE(camera.open());
    EXPECT_EQ(camera.entries, 2);
    EXPECT_EQ(peer.openRetryCounter(), 1);

    peer.openRetryCounter() = 5;
    EXPECT_FALSE(camera.TavoCameraImpl::open());
    EXPECT_EQ(camera.entries, 2);
    EXPECT_EQ(peer.openRetryCounter(), 5);
    EXPECT_EQ(peer.handle(), nullptr);
    EXPECT_STREQ(camera.getLastError(), "Failed to initialize device");
}

// The exit of the retry frees the lock and closes the device before it waits.
TEST_F(BasinRetry, FreesTheLockAndKeepsTheLastError) {
    peer.lock();
    peer.lastError() = "kept";
    camera.giveUpAt = 2;
    EXPECT_FALSE(camera.open());
    EXPECT_TRUE(peer.lockIsFree());
    EXPECT_EQ(peer.handle(), nullptr);
    EXPECT_STREQ(camera.getLastError(), "kept");
    const Rows calls = usb().calls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(difference(device(Call::closeDevice), calls[calls.size() - 2]), "");
    EXPECT_EQ(difference(pause(kRetryPause), calls.back()), "");
}

TEST_F(BasinRetry, Trace) {
    camera.giveUpAt = 2;
    CapturedTrace trace;
    EXPECT_FALSE(camera.open());
    const Lines lines = trace.lines();
    ASSERT_GE(lines.size(), 4u);
    expectLines({" <- TavoCameraImpl::ping 0", "    unlock()", "    failed to connect device!!!",
                 "<- TavoCameraImpl::open 00 - retry"},
                Lines(lines.end() - 4, lines.end()));
}

TEST_F(BasinRetry, FailedClaimIsTriedAgainToo) {
    usb().answer(Call::claimInterface, LIBUSB_ERROR_BUSY);
    camera.giveUpAt = 3;
    EXPECT_FALSE(camera.open());
    EXPECT_EQ(camera.entries, 3);
    EXPECT_EQ(countOf(Call::closeDevice), 2u);
    EXPECT_EQ(silent.countOf(17), 0u);
}

TEST_F(BasinRetry, DeviceThatWentAwayEndsIt) {
    camera.onSecondEntry = [] { usb().answer(Call::openDevice, LIBUSB_ERROR_NO_DEVICE); };
    EXPECT_FALSE(camera.open());
    EXPECT_EQ(camera.entries, 2);
    EXPECT_EQ(peer.openRetryCounter(), 1);
    EXPECT_STREQ(camera.getLastError(), "Failed to open device");
}

// Only the first contact is tried again; a camera that answers and then fails is not.
TEST_F(BasinRetry, LaterFailuresAreFinal) {
    CameraScript mute = healthyCamera(BASIN_CAMERA);
    mute.silence(10);
    usb().respondWith(&mute);
    EXPECT_FALSE(camera.open());
    EXPECT_EQ(camera.entries, 1);
    EXPECT_EQ(peer.openRetryCounter(), 0);
    EXPECT_STREQ(camera.getLastError(), "Failed to initialize device");
}

} // namespace
} // namespace tavo::test
