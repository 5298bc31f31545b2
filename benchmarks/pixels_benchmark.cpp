// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The pixel corrections against the memory's bandwidth: each is timed right beside a memcpy that
// reads and writes as many bytes as the correction has to, and the table takes the median of the
// ratios. So another program that slows both leaves the ratio.
#include "exposure/pixels.h"
#include "report.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <random>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kGoal = 1.2;
constexpr int kRounds = 80;
constexpr std::uint32_t kMargin = 8; // around the window, in pixels

// One frame and room for what is made of it.
struct Buffers {
    explicit Buffers(std::uint32_t frameSide)
        : side(frameSide), source(4 * std::size_t{side} * side), target(source.size()) {
        std::minstd_rand random(1);
        for (auto& byte : source)
            byte = static_cast<std::uint8_t>(random() >> 8);
    }

    std::size_t pixels() const { return std::size_t{side} * side; }
    std::span<const std::uint16_t> samples() const {
        return {reinterpret_cast<const std::uint16_t*>(source.data()), source.size() / 2};
    }
    std::span<std::uint16_t> output(std::size_t size) {
        return {reinterpret_cast<std::uint16_t*>(target.data()), size};
    }
    tavo::BinnedWindow window() const {
        return {.x = kMargin,
                .y = kMargin,
                .width = side - 2 * kMargin,
                .height = side - 2 * kMargin,
                .frameWidth = side,
                .frameHeight = side};
    }

    std::uint32_t side;
    std::vector<std::uint8_t> source, target;
};

struct Correction {
    const char* name;
    std::size_t bytesPerPixel; // read and written, together
    std::function<void(Buffers&)> run;
};

// What a copy costs whose stores first read what they overwrite, as all but memcpy's own do.
void copyByPlainStores(Buffers& buffers) {
    constexpr std::size_t kStore = 16;
    const std::size_t bytes = 3 * buffers.pixels();
    for (std::size_t i = 0; i + kStore <= bytes; i += kStore) {
        std::memcpy(&buffers.target[i], &buffers.source[i], kStore);
        benchmark::ClobberMemory(); // or the compiler sees a memcpy of all
    }
}

constexpr const char* kPlainCopy = "copy by plain stores";

const Correction kCorrections[]{
    {kPlainCopy, 3 + 3, copyByPlainStores},
    {"precharge subtraction", 4 + 2,
     [](Buffers& b) {
         tavo::subtractPrecharge(b.samples(), b.window(), 100,
                                 b.output(std::size_t{b.window().width} * b.window().height));
     }},
    {"window copy", 2 + 2,
     [](Buffers& b) {
         tavo::copyWindow(b.samples().first(b.pixels()), b.window(),
                          b.output(std::size_t{b.window().width} * b.window().height));
     }},
    {"high-byte expansion", 1 + 2,
     [](Buffers& b) {
         tavo::expandHighBytes(std::span(b.source).first(b.pixels()), b.window(),
                               b.output(std::size_t{b.window().width} * b.window().height));
     }},
    {"8-bit widening in place", 1 + 2, [](Buffers& b) { tavo::widenBytes(b.output(b.pixels())); }},
    {"two-pixel move", 2 + 2, [](Buffers& b) { tavo::dropLeadingPixels(b.output(b.pixels())); }},
};

struct Frame {
    const char* name;
    std::uint32_t side;
};
constexpr Frame kFrames[]{{"1 Mpixel", 1024}, {"11 Mpixel", 3317}, {"16 Mpixel", 4000}};

double secondsOf(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::map<std::string, double> ratios;

void measure(benchmark::State& state, const Correction& correction, const Frame& frame) {
    Buffers buffers(frame.side);
    const std::size_t moved = correction.bytesPerPixel * buffers.pixels();
    const auto copy = [&] { std::memcpy(buffers.target.data(), buffers.source.data(), moved / 2); };
    const auto correct = [&] { correction.run(buffers); };
    copy();
    correct();
    std::vector<double> each;
    for (auto _ : state) {
        // Each goes first as often as the other.
        const bool copyFirst = each.size() % 2 == 0;
        const double first = secondsOf(copyFirst ? std::function<void()>(copy) : correct);
        const double second = secondsOf(copyFirst ? std::function<void()>(correct) : copy);
        each.push_back(copyFirst ? second / first : first / second);
        state.SetIterationTime(copyFirst ? second : first);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(moved) * state.iterations());
    const double ratio = tavo::bench::median(each);
    state.counters["ratio"] = ratio;
    ratios[std::string(correction.name) + ", " + frame.name] = ratio;
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (const Correction& correction : kCorrections)
        for (const Frame& frame : kFrames)
            benchmark::RegisterBenchmark(
                (std::string(correction.name) + ", " + frame.name).c_str(),
                [&](benchmark::State& state) { measure(state, correction, frame); })
                ->UseManualTime()
                ->Iterations(kRounds)
                ->Unit(benchmark::kMillisecond);
    benchmark::ConsoleReporter console;
    console.SetOutputStream(&std::cerr);
    console.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&console);
    for (const auto& [subject, ratio] : ratios)
        if (subject.rfind(kPlainCopy, 0) == 0)
            tavo::bench::reportFigure(subject, std::to_string(ratio).substr(0, 5));
        else
            tavo::bench::reportRatio(subject, ratio, kGoal);
}
