// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Runs sessions, some at a time, each in a process of its own: so a session with a seed is the
// same whatever runs before and beside it.
#include "options.h"
#include "report.h"
#include "session.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace tavo::soak;

// A directory for the time of the run.
class ScratchDirectory {
public:
    ScratchDirectory() {
        std::string pattern = std::filesystem::temp_directory_path() / "tavo-soak-XXXXXX";
        if (!mkdtemp(pattern.data()))
            throw std::runtime_error("no directory for pictures in " + pattern);
        path = pattern;
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& name() const { return path; }

private:
    std::string path;
};

class Run {
public:
    Run(const Options& options_, const SessionOptions& sessionOptions_)
        : options(options_), sessionOptions(sessionOptions_) {
        if (pipe(records.data()) != 0)
            throw std::runtime_error("no pipe for the records");
    }

    Report all() {
        std::uint64_t next = 0;
        while (next < options.sessions || !running.empty()) {
            if (next < options.sessions && running.size() < options.jobs)
                start(options.seed + next++);
            else
                awaitOne();
        }
        return report;
    }

private:
    void start(std::uint64_t seed) {
        std::fflush(stdout);
        const pid_t process = fork();
        if (process == 0)
            std::_Exit(session(seed));
        running[process] = seed;
    }

    int session(std::uint64_t seed) const {
        try {
            const Plan plan = makePlan(seed, options.model);
            if (options.verbose)
                std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed),
                            plan.text().c_str());
            const Record record = runSession(plan, sessionOptions);
            std::fflush(stdout);
            return write(records[1], &record, sizeof record) == sizeof record ? 0 : 1;
        } catch (const std::exception& error) {
            std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed), error.what());
            std::fflush(stdout);
            return 1;
        }
    }

    // A record is written before its session ends, and fits into the pipe.
    void awaitOne() {
        int status = 0;
        const pid_t process = waitpid(-1, &status, 0);
        if (process < 0 || !running.contains(process))
            return;
        Record record;
        if (status == 0 && read(records[0], &record, sizeof record) == sizeof record) {
            report.add(record);
        } else {
            report.addBroken();
            std::printf("broken: seed %llu: its process ended with status 0x%x\n",
                        static_cast<unsigned long long>(running[process]), unsigned(status));
        }
        running.erase(process);
    }

    const Options& options;
    const SessionOptions& sessionOptions;
    std::array<int, 2> records{};
    std::map<pid_t, std::uint64_t> running; // and their seeds
    Report report;
};

// The program with the driver stands beside this one.
std::string driverProgram() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "soak-driver";
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parseOptions(argc, argv);
    try {
        const ScratchDirectory scratch;
        const SessionOptions sessionOptions{driverProgram(), scratch.name(), options.verbose,
                                            options.trace};
        const Report report = Run(options, sessionOptions).all();
        report.print();
        return report.isGood() ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
