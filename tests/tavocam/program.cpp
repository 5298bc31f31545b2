// SPDX-License-Identifier: LGPL-2.1-or-later
#include "program.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <utility>

#include "interrupt.h"
#include "tavocam.h"

namespace fs = std::filesystem;

namespace {

// As a file on a full disk, it fails when it is flushed.
class OutBuffer : public std::stringbuf {
public:
    explicit OutBuffer(bool isFull) : full(isFull) {}

protected:
    int sync() override { return full ? -1 : 0; }

private:
    bool full;
};

} // namespace

Program::Program() {
    std::string name = (fs::temp_directory_path() / "tavocam-test-XXXXXX").string();
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    directory = name;
}

Program::~Program() {
    fs::remove_all(directory);
}

int Program::run(const std::vector<std::string>& arguments) {
    OutBuffer outBuffer(outFull);
    std::ostream outStream(&outBuffer);
    std::ostringstream errStream;
    const auto list = [this] {
        tavocam::Cameras listed;
        for (const auto& state : cameras)
            if (state->plugged)
                listed.push_back(std::make_unique<FakeCamera>(state, clock));
        return listed;
    };
    const auto pending = [this] {
        if (signal != 0)
            return signal;
        return clock.monotonic() >= interruptAt ? SIGINT : tavocam::rememberedSignal();
    };
    tavocam::Environment environment{outStream, errStream, clock, list, pending, terminal};
    const int code = tavocam::run(arguments, environment);
    out = outBuffer.str();
    err = errStream.str();
    for (const auto& state : cameras)
        EXPECT_FALSE(state->opened);
    return code;
}

std::vector<std::string> Program::files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> Program::callsFrom(const std::string& first) {
    const auto& calls = camera().calls;
    return {std::find(calls.begin(), calls.end(), first), calls.end()};
}

int Program::countCalls(const std::string& call) {
    return static_cast<int>(std::count(camera().calls.begin(), camera().calls.end(), call));
}
