// SPDX-License-Identifier: LGPL-2.1-or-later
#include "readiness.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tavo::virtualusb {

Readiness::Readiness(const std::string& path) {
    unlink(path.c_str());
    if (mkfifo(path.c_str(), 0666) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    pipe = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (pipe < 0)
        throw std::system_error(errno, std::generic_category(), path);
    // One page is one slot: a single byte fills it as far as poll is concerned.
    if (fcntl(pipe, F_SETPIPE_SZ, 4096) < 0) {
        const int error = errno;
        close(pipe);
        throw std::system_error(error, std::generic_category(), path);
    }
    set(false);
}

Readiness::~Readiness() {
    close(pipe);
}

void Readiness::set(bool ready) {
    if (ready == isReady)
        return;
    char byte = 0;
    const ssize_t moved = ready ? read(pipe, &byte, 1) : write(pipe, &byte, 1);
    if (moved == 1)
        isReady = ready;
}

} // namespace tavo::virtualusb
