// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Cameras whose firmware never answers.
#include "fault_test.h"

#include <csignal>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace {

class SilentCamera : public FaultTest {};

// Lets a child open the camera, and kills it when the trace has told of enough retries.
unsigned retriesOf(TavoCamera& camera, unsigned enough) {
    int ends[2];
    if (pipe(ends) != 0)
        return 0;
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDERR_FILENO);
        TavoDebug = 1;
        camera.open();
        std::_Exit(EXIT_SUCCESS);
    }
    close(ends[1]);
    unsigned retries = 0;
    std::FILE* trace = fdopen(ends[0], "r");
    char line[1024];
    while (retries < enough && std::fgets(line, sizeof line, trace))
        retries += std::string(line).find("TavoCameraImpl::open 00 - retry") != std::string::npos;
    std::fclose(trace);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return retries;
}

} // namespace

TEST_F(SilentCamera, IsNotOpened) {
    for (int tries = 0; tries < 2; ++tries) {
        const TraceCapture trace;
        expectRefused(camera->open(), "Failed to initialize device");
        EXPECT_GE(trace.count("TavoCameraImpl::ping"), 2u);
        EXPECT_EQ(trace.count("TavoCameraImpl::ping 0"), 1u);
        expectLockFree();
    }
    expectRefused(camera->startExposure(false), "Failed to start exposure");
    find();
}

// Kept so: a camera of this family may take the whole evening to start.
TEST_F(SilentCamera, IsTriedAgainWithoutEnd) {
    EXPECT_EQ(retriesOf(*camera, 3), 3u);
}
