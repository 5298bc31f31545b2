// SPDX-License-Identifier: LGPL-2.1-or-later
//
// getImage against the transfers that it cannot do without. Run under tavo-virtual. A frame is
// taken through the driver while its transfers are noted; then, in turns, frames through the driver
// and by these transfers alone, straight from libusb into a buffer. The table takes medians.
#include "link_recorder.h"
#include "report.h"

#include <tavoccdusb.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

#include <malloc.h>
#include <sys/mman.h>
#include <time.h>

namespace {

using tavo::bench::linkRecorder;
using tavo::bench::Step;

constexpr double kProcessorGoal = 1.1, kWallGoal = 1.02, kMemoryGoal = 1.0;
constexpr double kExposure = 0.5;        // seconds of the camera's time
constexpr long kChunk = 1 << 20;         // as README.md tells applications
constexpr std::size_t kRounding = 65536; // bytes by which the kernel's count of pages lags

double seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

struct Cost {
    double wall, processor; // seconds
};

template <typename Work>
Cost costOf(Work work) {
    const double wall = seconds(CLOCK_MONOTONIC), processor = seconds(CLOCK_PROCESS_CPUTIME_ID);
    work();
    return {seconds(CLOCK_MONOTONIC) - wall, seconds(CLOCK_PROCESS_CPUTIME_ID) - processor};
}

void require(bool ok, const char* what) {
    if (!ok)
        throw std::runtime_error(std::string(what) + " failed");
}

std::size_t kibibytesOfStatus(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(field, 0) == 0)
            return std::stoul(line.substr(field.size()));
    return 0;
}

// Memory that occupies nothing until it is written.
class FreshPixels {
public:
    explicit FreshPixels(std::size_t count)
        : bytes(count * sizeof(unsigned short)),
          memory(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
        require(memory != MAP_FAILED, "mmap");
    }
    ~FreshPixels() { munmap(memory, bytes); }
    FreshPixels(const FreshPixels&) = delete;
    FreshPixels& operator=(const FreshPixels&) = delete;
    unsigned short* data() { return static_cast<unsigned short*>(memory); }

private:
    std::size_t bytes;
    void* memory;
};

class Bench {
public:
    Bench(TavoCamera& cameraToUse, std::string cameraName)
        : camera(cameraToUse), name(std::move(cameraName)) {
        require(camera.getCapabilities(nullptr, nullptr, &caps), "getCapabilities");
        require(camera.setParam(MAX_PACKET_SIZE, kChunk), "setParam");
    }

    void run(int rounds) {
        pixels = std::size_t{camera.imageWidth(caps.pixelCountX, 1)} *
                 camera.imageHeight(caps.pixelCountY, 1);
        image.assign(pixels, 0);
        noteTransfers();
        bare.assign(std::max(bytesToHost(exposing), bytesToHost(fetching)), 0);
        std::vector<double> walls, processors, extras;
        for (int round = 0; round < rounds; ++round) {
            const bool driverFirst = round % 2 == 0;
            const Cost first = driverFirst ? byDriver() : bareTransfers();
            const Cost second = driverFirst ? bareTransfers() : byDriver();
            const Cost& driver = driverFirst ? first : second;
            const Cost& transfers = driverFirst ? second : first;
            walls.push_back(driver.wall / transfers.wall);
            processors.push_back(driver.processor / transfers.processor);
            extras.push_back((driver.processor - transfers.processor) / copySeconds());
        }
        using tavo::bench::median;
        tavo::bench::reportRatio(name + ", getImage, processor time", median(processors),
                                 kProcessorGoal);
        tavo::bench::reportRatio(name + ", getImage, wall time", median(walls), kWallGoal);
        tavo::bench::reportFigure(name + ", getImage, processor time above the transfers'",
                                  std::to_string(median(extras)).substr(0, 5) +
                                      " x memcpy of what was sent");
        tavo::bench::reportRatio(name + ", getImage, peak memory", memoryRatio(), kMemoryGoal);
    }

private:
    void expose() {
        require(camera.readCCD(0, 0, caps.pixelCountX, caps.pixelCountY, 1, 1, kExposure),
                "readCCD");
    }
    void fetch(unsigned short* buffer) {
        require(camera.getImage(buffer, static_cast<unsigned>(pixels)), "getImage");
    }

    void noteTransfers() {
        linkRecorder().restart();
        expose();
        exposing = linkRecorder().steps;
        linkRecorder().restart();
        fetch(image.data());
        fetching = linkRecorder().steps;
        linkRecorder().recording = false;
    }

    Cost byDriver() {
        expose();
        return costOf([&] { fetch(image.data()); });
    }

    Cost bareTransfers() {
        libusb_device_handle* handle = linkRecorder().handle;
        require(replay(exposing, handle, bare.data()), "the bare request");
        return costOf(
            [&] { require(replay(fetching, handle, bare.data()), "the bare transfers"); });
    }

    double copySeconds() {
        const std::size_t bytes = bytesToHost(fetching);
        copied.resize(bytes);
        return costOf([&] { std::memcpy(copied.data(), bare.data(), bytes); }).processor;
    }

    // Of what the call occupies at its worst, to the image and one copy of what the camera sends.
    double memoryRatio() {
        expose();
        malloc_trim(0); // what earlier frames left to the allocator
        FreshPixels fresh(pixels);
        std::ofstream("/proc/self/clear_refs") << 5; // the peak starts anew
        const std::size_t before = kibibytesOfStatus("VmRSS:");
        fetch(fresh.data());
        const std::size_t peak = (kibibytesOfStatus("VmHWM:") - before) * 1024;
        return static_cast<double>(peak) / static_cast<double>(pixels * sizeof(unsigned short) +
                                                               bytesToHost(fetching) + kRounding);
    }

    TavoCamera& camera;
    std::string name;
    TavoCapabilities caps{};
    std::size_t pixels = 0;
    std::vector<unsigned short> image;
    std::vector<Step> exposing, fetching;
    std::vector<unsigned char> bare, copied;
};

} // namespace

// image_benchmark NAME ROUNDS [8-bit]
int main(int argc, char** argv) try {
    if (argc < 3) {
        std::fputs("usage: image_benchmark NAME ROUNDS [8-bit]\n", stderr);
        return 2;
    }
    TavoCamera* camera = nullptr;
    require(TavoCamera::list(&camera, 1) == 1, "TavoCamera::list");
    require(camera->open(), "open");
    if (argc > 3)
        require(camera->set8BitMode(true), "set8BitMode");
    Bench(*camera, argv[1]).run(std::atoi(argv[2]));
    camera->close();
    TavoCamera_destroy(camera);
} catch (const std::exception& failure) {
    std::fprintf(stderr, "image_benchmark: %s\n", failure.what());
    return 1;
}
