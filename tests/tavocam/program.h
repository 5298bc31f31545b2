// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_TESTS_PROGRAM_H
#define TAVOCAM_TESTS_PROGRAM_H

#include <filesystem>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fake_camera.h"

// Runs the whole program on fake cameras, in a directory of its own.
class Program : public testing::Test {
protected:
    Program();
    ~Program() override;

    int run(const std::vector<std::string>& arguments);

    FakeState& camera() { return *cameras.front(); }
    std::string path(const std::string& name) const { return (directory / name).string(); }
    std::vector<std::string> files() const;

    // The calls from the given one on.
    std::vector<std::string> callsFrom(const std::string& first);
    int countCalls(const std::string& call);

    std::vector<std::shared_ptr<FakeState>> cameras{ridgeState()};
    FakeClock clock;
    double interruptAt = std::numeric_limits<double>::infinity(); // of the monotonic clock
    int signal = 0;                                               // pending from the start
    bool terminal = false;
    bool outFull = false; // standard output takes nothing
    std::filesystem::path directory;
    std::string out;
    std::string err;
};

#endif
