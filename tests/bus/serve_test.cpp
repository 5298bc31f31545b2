// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A bus that programs from elsewhere live on: come, go and die.
#include "usb/environment.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace tavo::bustest {
namespace {

int statusOf(const std::string& script) {
    const int status = std::system(script.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The server, and the lines it prints. Its standard error is kept in a file.
class ServeTest : public testing::Test {
protected:
    void SetUp() override {
        errors = testing::TempDir() + "bus_server." + std::to_string(getpid());
        // The shell tells its process id, which stays when the server takes its place.
        output = popen(("echo $$; exec env -u LD_PRELOAD " BUS_SERVER " 2>" + errors).c_str(), "r");
        ASSERT_TRUE(output);
        server = static_cast<pid_t>(std::stoi(line()));
        lines.clear();
        for (std::string next = line(); next.size() > 1; next = line())
            lines += next;
        const auto start = lines.find("UMOCKDEV_DIR='") + 14;
        directory = lines.substr(start, lines.find('\'', start) - start);
    }
    void TearDown() override {
        end(SIGKILL);
        std::filesystem::remove(errors);
        std::filesystem::remove_all(directory);
    }

    std::string line() {
        std::array<char, 256> text{};
        return fgets(text.data(), text.size(), output) ? text.data() : "";
    }
    int end(int signal) {
        if (!output)
            return -1;
        kill(server, signal);
        const int status = pclose(std::exchange(output, nullptr));
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    int client(const std::string& task) { return statusOf(lines + BUS_CLIENT " " + task); }
    // Trying again, as a bus hears of a death a little later.
    int patientEcho() {
        int status = client("echo");
        for (int i = 0; i < 100 && status != 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            status = client("echo");
        }
        return status;
    }

    std::string errors;
    FILE* output = nullptr;
    pid_t server = 0;
    std::string lines;
    std::string directory;
};

TEST_F(ServeTest, ProgramsComeAndGo) {
    ASSERT_TRUE(std::filesystem::exists(directory)) << lines;
    EXPECT_EQ(client("echo"), 0);
    EXPECT_EQ(patientEcho(), 0);
    EXPECT_EQ(statusOf("env -u LD_PRELOAD -u UMOCKDEV_DIR " BUS_CLIENT " echo"), 3)
        << "no such device elsewhere";
}

TEST_F(ServeTest, EndsCleanlyByEachSignal) {
    EXPECT_EQ(end(SIGTERM), SIGTERM);
    EXPECT_FALSE(std::filesystem::exists(directory));
    for (const int signal : {SIGINT, SIGHUP}) {
        SetUp();
        EXPECT_EQ(end(signal), signal);
        EXPECT_FALSE(std::filesystem::exists(directory));
    }
    EXPECT_EQ(std::filesystem::file_size(errors), 0u);
}

TEST_F(ServeTest, DyingProgramsAreSurvivedInSilence) {
    // At any moment of an exchange.
    for (const char* life : {"0.02", "0.05", "0.1", "0.15", "0.2", "0.25", "0.3", "0.4"})
        EXPECT_EQ(statusOf("( " + lines + "timeout -s KILL " + life +
                           " " BUS_CLIENT " busy ) >/dev/null 2>&1; true"),
                  0);
    EXPECT_EQ(patientEcho(), 0);
    EXPECT_EQ(end(SIGTERM), SIGTERM);
    EXPECT_EQ(statusOf("cat " + errors + "; test ! -s " + errors), 0);
}

TEST_F(ServeTest, NextServerCleansUpAfterAKilledOne) {
    const std::string former = directory;
    EXPECT_EQ(end(SIGKILL), 128 + SIGKILL);
    EXPECT_TRUE(std::filesystem::exists(former));
    SetUp();
    EXPECT_FALSE(std::filesystem::exists(former));
    EXPECT_TRUE(std::filesystem::exists(directory));
    EXPECT_EQ(client("echo"), 0);
}

TEST(ShellLines, AreQuotedForTheShell) {
    const std::string lines =
        virtualusb::shellLines({"HOME=/root", "LD_PRELOAD=a.so:/b 'c'.so", "UMOCKDEV_DIR=/tmp/$x"});
    EXPECT_EQ(lines, "export LD_PRELOAD='a.so:/b '\\''c'\\''.so'\nexport UMOCKDEV_DIR='/tmp/$x'\n");
}

} // namespace
} // namespace tavo::bustest
