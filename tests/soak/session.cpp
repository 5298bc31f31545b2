// SPDX-License-Identifier: LGPL-2.1-or-later
#include "session.h"

#include "application.h"
#include "known_waits.h"
#include "stage.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace tavo::soak {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// How long a call may take with faults; then without them; and then without the camera. All of
// the driver's pauses and time-outs are shortened, so these are hours of a real camera: a computer
// with a hundred times as much to do as it can has to be told from a call that hangs.
constexpr milliseconds kPatience{10000}, kPatienceWithoutFaults{300000}, kPatienceUnplugged{120000};
// Of those that are known to outlast the faults.
constexpr milliseconds kPatienceWithKnown{40000};
// How long a sound camera may be busy. It is opened byte by byte when it has kept an image.
constexpr milliseconds kPatienceWithBusy{3600000};
constexpr int kTick = 20; // milliseconds

std::string referencePath(const SessionOptions& options, const std::string& model) {
    return options.references + "/" + model + ".picture";
}

std::string lastLines(const std::string& text) {
    constexpr std::size_t kMost = 4000;
    if (text.size() <= kMost)
        return text;
    return text.substr(text.find('\n', text.size() - kMost) + 1);
}

// What is no line of the driver's trace, which begins with a blank or an arrow.
std::string untraced(const std::string& text) {
    std::string rest;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (!line.starts_with(" ") && !line.starts_with("-> ") && !line.starts_with("<- "))
            rest += line + "\n";
    return rest;
}

// A program on a stage, watched until it ends.
class Watch {
public:
    Watch(const Plan& plan_, const SessionOptions& options_, Stage& stage_, Record& record_)
        : plan(plan_), options(options_), stage(stage_), record(record_) {}

    // `mode` is what the program is to do: "use", "heal" or "reference".
    End run(const std::string& mode_) {
        mode = mode_;
        Application application({options.program, mode, std::to_string(plan.seed),
                                 referencePath(options, plan.model),
                                 options.trace ? "trace" : "quiet"},
                                stage.environment(), options.trace);
        begin = callBegan = Clock::now();
        call.clear();
        step = Step::withFaults;
        isHealing = mode != "use";
        while (!application.channel().isClosed()) {
            if (const auto message = application.channel().receive(kTick))
                take(*message, application.channel());
            moveCable();
            if (!call.empty() && !isPatient(application))
                break;
        }
        return judge(application);
    }

private:
    enum class Step { withFaults, withoutFaults, unplugged, hung };

    milliseconds sinceBegin() const {
        return std::chrono::duration_cast<milliseconds>(Clock::now() - begin);
    }

    void take(const std::string& message, Channel& channel) {
        const std::size_t space = message.find(' ');
        const std::string word = message.substr(0, space);
        const std::string rest = space == std::string::npos ? "" : message.substr(space + 1);
        if (options.verbose) {
            std::printf("%6lld ms %s\n", static_cast<long long>(sinceBegin().count()),
                        message.c_str());
            std::fflush(stdout);
        }
        if (word == "call") {
            call = rest;
            callBegan = Clock::now();
            ++record.calls;
        } else if (word == "back") {
            call.clear();
            step = Step::withFaults;
        } else if (word == "finding") {
            tell(rest);
        } else if (word == "opened") {
            stage.startFaults();
            channel.send("go");
        } else if (word == "health") {
            isHealing = true;
            channel.send(stage.heal() ? "well replugged" : "well");
        } else if (word == "healthy") {
            record.healthy = true;
        }
    }

    void moveCable() {
        if (!plan.pull || isHealing || step != Step::withFaults)
            return;
        const auto now = sinceBegin().count();
        if (!hasPulled && now >= plan.pull->after) {
            stage.pull();
            hasPulled = true;
        } else if (hasPulled && plan.pull->pause && now >= plan.pull->after + *plan.pull->pause) {
            stage.putBack();
        }
    }

    // One is kept of all: what nobody knows of is not to be lost among known waits.
    void noteWait(bool untilUnplugged) {
        const bool hasOne = record.waitedForFaults || record.waitedForUnplug;
        if (hasOne &&
            !isKnownWait(waitName(plan.family(), record.longCall.data()), record.waitedForUnplug))
            return;
        record.waitedForFaults = !untilUnplugged;
        record.waitedForUnplug = untilUnplugged;
        std::snprintf(record.longCall.data(), record.longCall.size(), "%s", call.c_str());
    }

    // The wait for a sound camera begins anew as long as it answers.
    void allowForProgress() {
        const std::uint32_t count = stage.servedCount();
        if (isHealing && step == Step::withFaults && count != served &&
            sinceBegin() < kPatienceWithBusy)
            callBegan = Clock::now();
        served = count;
    }

    // False when the call is not to be waited for any longer.
    bool isPatient(Application& application) {
        allowForProgress();
        const auto waited = Clock::now() - callBegan;
        if (step == Step::withFaults && waited > kPatience && !isHealing) {
            stage.stopFaults();
            noteWait(false);
            step = Step::withoutFaults;
        }
        const bool isKnown = !isHealing && mayOutlastFaults(waitName(plan.family(), call));
        const auto untilUnplugged = isKnown ? kPatienceWithKnown : kPatienceWithoutFaults;
        if (step != Step::unplugged && waited > untilUnplugged) {
            stage.pull();
            noteWait(true);
            step = Step::unplugged;
        }
        if (waited <= untilUnplugged + kPatienceUnplugged)
            return true;
        step = Step::hung;
        application.abort();
        return false;
    }

    End judge(Application& application) {
        const int status = application.wait();
        const std::string errors = application.errorText();
        const auto says = [&](const char* text) { return errors.find(text) != std::string::npos; };
        if (step == Step::hung) {
            tell("hangs in " + call + "\n" + errors);
            return End::hung;
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
            if (!record.healthy && mode != "reference")
                tell("the last that it said:\n" + lastLines(errors));
            else if (const std::string odd = untraced(errors); !odd.empty())
                tell("says on standard error: " + odd);
            return End::finished;
        }
        if (WIFEXITED(status) && says("Assertion \"tempSensorType!=0\" failed"))
            return End::assertion;
        const bool isAborted = WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
        if (isAborted && says("pthread_mutex_destroy"))
            return End::libusb;
        if ((isAborted || WIFEXITED(status)) && says("ERROR: libumockdev-preload: "))
            return End::umockdev;
        const std::string how = WIFSIGNALED(status)
                                    ? "signal " + std::to_string(WTERMSIG(status))
                                    : "status " + std::to_string(WEXITSTATUS(status));
        tell("ends with " + how + " in " + (call.empty() ? "no call" : call) + "\n" + errors);
        return End::crashed;
    }

    void tell(const std::string& text) {
        ++record.findings;
        std::printf("finding: seed %llu: %s\n    plan: %s\n",
                    static_cast<unsigned long long>(plan.seed), text.c_str(), plan.text().c_str());
        std::fflush(stdout);
    }

    const Plan& plan;
    const SessionOptions& options;
    Stage& stage;
    Record& record;
    Clock::time_point begin, callBegan;
    std::string mode, call;
    Step step = Step::withFaults;
    bool isHealing = false, hasPulled = false;
    std::uint32_t served = 0;
};

// The picture that a sound camera of the model takes: made once, by whoever needs it first.
void requireReference(const Plan& plan, const SessionOptions& options) {
    if (std::filesystem::exists(referencePath(options, plan.model)))
        return;
    Plan sound{plan.seed, plan.model, {}, {}, std::nullopt, false};
    Record record;
    Stage stage(sound);
    if (Watch(sound, options, stage, record).run("reference") != End::finished ||
        !std::filesystem::exists(referencePath(options, plan.model)))
        throw std::runtime_error("a sound " + plan.model + " gave no picture to compare with");
}

unsigned familyNumber(const std::string& family) {
    unsigned number = 0;
    while (number + 1 < std::size(kFamilies) && family != kFamilies[number])
        ++number;
    return number;
}

} // namespace

// A program that does not come to its own end for a known reason is followed by another, which
// finds the camera in good health.
Record runSession(const Plan& plan, const SessionOptions& options) {
    requireReference(plan, options);
    Record record;
    record.seed = plan.seed;
    record.family = familyNumber(plan.family());
    Stage stage(plan);
    Watch watch(plan, options, stage, record);
    record.end = watch.run("use");
    if (record.end == End::assertion || record.end == End::libusb || record.end == End::umockdev)
        watch.run("heal");
    record.faults = stage.faultCounts();
    record.unplugs = stage.unplugCount();
    return record;
}

} // namespace tavo::soak
