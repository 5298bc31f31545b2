// SPDX-License-Identifier: LGPL-2.1-or-later
#include "application.h"

#include "usb/argument_pointers.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tavo::soak {
namespace {

[[noreturn]] void fail(const char* what, int error) {
    throw std::runtime_error(std::string(what) + ": " + std::strerror(error));
}

} // namespace

// The program finds its end of the channel by the number in its last argument.
Application::Application(std::vector<std::string> command, std::vector<std::string> environment,
                         bool loud) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        fail("socketpair", errno);
    link.emplace(ends[0]);
    errors = memfd_create("errors", MFD_CLOEXEC);
    constexpr int kTheirEnd = 3;
    command.push_back(std::to_string(kTheirEnd));
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!loud)
        posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], kTheirEnd);
    const auto arguments = virtualusb::argumentPointers(command);
    const auto variables = virtualusb::argumentPointers(environment);
    const int error = posix_spawn(&process, command.front().c_str(), &actions, nullptr,
                                  arguments.data(), variables.data());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0)
        fail(command.front().c_str(), error);
}

Application::~Application() {
    if (process > 0) {
        kill(process, SIGKILL);
        wait();
    }
    if (errors >= 0)
        close(errors);
}

void Application::abort() {
    kill(process, SIGABRT);
}

int Application::wait() {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR)
        continue;
    process = -1;
    return status;
}

std::string Application::errorText() const {
    std::string text;
    std::array<char, 4096> block{};
    for (off_t position = 0;;) {
        const ssize_t length = pread(errors, block.data(), block.size(), position);
        if (length <= 0)
            return text;
        text.append(block.data(), static_cast<std::size_t>(length));
        position += length;
    }
}

} // namespace tavo::soak
