// SPDX-License-Identifier: LGPL-2.1-or-later
#include <atomic>
#include <csignal>
#include <thread>

#include <pthread.h>
#include <unistd.h>

#include "atomic_file.h"
#include "fits_reader.h"
#include "interrupt.h"
#include "program.h"

using namespace tavocam;

namespace {

// Another thread of the process takes the signals, as a library's thread does when the main one
// is busy. Signals reach this thread's handler before send() returns.
class SignalTaker {
public:
    SignalTaker() {
        sigemptyset(&signals);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP})
            sigaddset(&signals, signal);
        thread = std::thread([this] {
            while (!done)
                usleep(100);
        });
        pthread_sigmask(SIG_BLOCK, &signals, &former);
    }
    ~SignalTaker() {
        pthread_sigmask(SIG_SETMASK, &former, nullptr);
        done = true;
        thread.join();
    }
    SignalTaker(const SignalTaker&) = delete;
    SignalTaker& operator=(const SignalTaker&) = delete;

    static void send(int signal) {
        kill(getpid(), signal);
        while (rememberedSignal() == 0)
            usleep(100);
    }

private:
    sigset_t signals{};
    sigset_t former{};
    std::atomic<bool> done{false};
    std::thread thread;
};

class InterruptedSaving : public Program {
protected:
    void signalAt(const std::string& call, int number) {
        camera().onCall = [call, number](const std::string& made) {
            if (made == call)
                SignalTaker::send(number);
        };
    }

    const SignalHandlers handlers;
    const SignalTaker taker;
};

} // namespace

TEST_F(InterruptedSaving, FinishesTheFilesAndTellsThem) {
    // The frame has been read out when the camera is closed.
    signalAt("close()", SIGINT);
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--preview", path("a.png"), "--quiet"}),
              130);
    EXPECT_NE(err.find("interrupted"), std::string::npos) << err;
    EXPECT_NE(err.find("files written: " + path("a.fits") + " and " + path("a.png")),
              std::string::npos)
        << err;
    EXPECT_EQ(err.find("no file"), std::string::npos) << err;
    EXPECT_EQ(files(), (std::vector<std::string>{"a.fits", "a.png"}));
    EXPECT_EQ(FitsReader(path("a.fits")).pixels().size(), 64U * 48U);
}

TEST_F(InterruptedSaving, TerminationKeepsItsExitCode) {
    signalAt("close()", SIGTERM);
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 143);
    EXPECT_EQ(files(), std::vector<std::string>{"a.fits"});
    EXPECT_NE(out.find("64x48 pixels"), std::string::npos);
}

TEST_F(InterruptedSaving, AnExposureIsAbortedWhicheverThreadTookTheSignal) {
    signalAt("startExposure(0)", SIGINT);
    EXPECT_EQ(run({"expose", "30", "-o", path("a.fits")}), 130);
    EXPECT_EQ(countCalls("abortExposure()"), 1);
    EXPECT_NE(err.find("no file was written"), std::string::npos) << err;
    EXPECT_TRUE(files().empty());
}

TEST_F(InterruptedSaving, LeavesNoTemporaryFile) {
    // Strikes as soon as the temporary file is there.
    std::thread striker([this] {
        while (files().empty())
            usleep(50);
        SignalTaker::send(SIGINT);
    });
    const std::vector<std::byte> content(32 * 1024 * 1024, std::byte{'x'});
    EXPECT_FALSE(writeWhole(path("a"), content, false));
    striker.join();
    EXPECT_EQ(rememberedSignal(), SIGINT);
    EXPECT_EQ(files(), std::vector<std::string>{"a"});
}
