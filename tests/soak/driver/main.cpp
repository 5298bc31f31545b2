// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The program with the driver: soak-driver use|heal|reference SEED PICTURE trace|quiet CHANNEL.
// Started by the program with the cameras.
#include "health.h"
#include "host.h"
#include "last_words.h"
#include "random_user.h"
#include "reference.h"
#include "short_pauses.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <sys/resource.h>

namespace {

using namespace tavo::soak;

// A spoilt description may promise a frame of gigabytes; there is to be no memory for it.
void limitMemory() {
    constexpr rlim_t kMost = rlim_t{700} << 20;
    const rlimit limit{kMost, kMost};
    setrlimit(RLIMIT_AS, &limit);
}

// Device nodes, of cameras long unplugged, too.
void expectNodesClosed(Host& host) {
    for (const auto& file : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored; // the directory itself is among them, and gone by then
        const std::string path = std::filesystem::read_symlink(file.path(), ignored);
        if (path.find("/dev/bus/usb/") != std::string::npos)
            host.finding("stays open: " + path);
    }
}

void makeReference(Host& host, const std::string& picture) {
    shortenTimeouts(false);
    if (const auto camera = findCamera(host)) {
        const Reference reference = learn(*camera, host);
        if (!reference.pixels.empty())
            write(reference, picture);
    }
}

void heal(Host& host, std::unique_ptr<WatchedCamera> camera, const std::string& picture) {
    if (host.askForHealth())
        camera.reset(); // it knows a device that is gone
    shortenTimeouts(false);
    if (!camera)
        camera = findCamera(host);
    if (camera && isHealthy(*camera, host, readReference(picture)))
        host.tellHealthy();
}

void use(Host& host, std::uint64_t seed, const std::string& picture) {
    RandomUser user(host, seed);
    user.work();
    auto camera = user.leave();
    expectNodesClosed(host);
    heal(host, std::move(camera), picture);
    expectNodesClosed(host);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fputs("soak-driver is started by soak\n", stderr);
        return EXIT_FAILURE;
    }
    prepareLastWords();
    limitMemory();
    const std::string_view mode = argv[1];
    const std::uint64_t seed = std::strtoull(argv[2], nullptr, 10);
    Host host(std::atoi(argv[5]));
    TavoDebug = std::string_view(argv[4]) == "trace";
    try {
        if (mode == "reference")
            makeReference(host, argv[3]);
        else if (mode == "heal")
            heal(host, nullptr, argv[3]);
        else
            use(host, seed, argv[3]);
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        host.finding(error.what());
        return EXIT_FAILURE;
    }
}
