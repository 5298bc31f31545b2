// SPDX-License-Identifier: LGPL-2.1-or-later
#include "loopback_device.h"
#include "usb/bus.h"
#include "usb/run_command.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <system_error>

#include <unistd.h>

namespace tavo::bustest {
namespace {

using virtualusb::Bus;
using virtualusb::HeldSignals;
using virtualusb::runCommand;

class RunCommandTest : public testing::Test {
protected:
    int run(const std::vector<std::string>& command) {
        return runCommand(command, bus.environment(), signals);
    }
    int shell(const std::string& script) { return run({"sh", "-c", script}); }

    HeldSignals signals;
    Bus bus;
};

TEST_F(RunCommandTest, ExitStatusIsTheCommands) {
    EXPECT_EQ(run({"true"}), 0);
    EXPECT_EQ(shell("exit 7"), 7);
}

TEST_F(RunCommandTest, KillingSignalIsAddedTo128) {
    EXPECT_EQ(shell("kill -TERM $$"), 128 + SIGTERM);
    EXPECT_EQ(shell("kill -KILL $$"), 128 + SIGKILL);
}

TEST_F(RunCommandTest, MissingCommandIsReported) {
    try {
        run({"no-such-command-anywhere"});
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), ENOENT);
        EXPECT_NE(std::string(error.what()).find("no-such-command-anywhere"), std::string::npos);
    }
}

TEST_F(RunCommandTest, SentSignalReachesTheCommandOnce) {
    const std::string script = "count=0; trap 'count=$((count+1))' TERM; kill -TERM " +
                               std::to_string(getpid()) +
                               "; for i in 1 2 3 4 5; do sleep 0.05; done; exit $count";
    EXPECT_EQ(shell(script), 1);
}

TEST_F(RunCommandTest, CommandStartsWithoutBlockedSignals) {
    EXPECT_EQ(shell("grep -q '^SigBlk:.*0000000000000000$' /proc/self/status"), 0);
}

TEST_F(RunCommandTest, OtherPreloadsAreKept) {
    const char* before = std::getenv("LD_PRELOAD");
    const std::string restored = before ? before : "";
    setenv("LD_PRELOAD", "libm.so.6", 1);
    EXPECT_EQ(shell("[ \"$LD_PRELOAD\" = libumockdev-preload.so.0:libm.so.6 ]"), 0);
    unsetenv("LD_PRELOAD");
    EXPECT_EQ(shell("[ \"$LD_PRELOAD\" = libumockdev-preload.so.0 ]"), 0);
    setenv("LD_PRELOAD", restored.c_str(), 1);
    EXPECT_EQ(shell("[ \"$UMOCKDEV_DIR\" = \"" + bus.directory() + "\" ]"), 0);
}

TEST_F(RunCommandTest, CommandSeesTheDevices) {
    EXPECT_EQ(run({BUS_CLIENT, "echo"}), 3) << "no device yet";
    bus.plug(makeLoopback());
    EXPECT_EQ(run({BUS_CLIENT, "echo"}), 0);
    EXPECT_EQ(run({BUS_CLIENT, "echo"}), 0);
}

} // namespace
} // namespace tavo::bustest
