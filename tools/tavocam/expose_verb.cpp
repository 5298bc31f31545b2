// SPDX-License-Identifier: LGPL-2.1-or-later
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "bayer.h"
#include "cooling.h"
#include "exposure.h"
#include "failure.h"
#include "family.h"
#include "filter_wheel.h"
#include "fits_file.h"
#include "frame_statistics.h"
#include "interrupt.h"
#include "output_files.h"
#include "png_file.h"
#include "preview.h"
#include "star_count.h"
#include "text.h"
#include "verbs.h"

namespace tavocam {
namespace {

std::uint64_t fileSize(const ExposurePlan& plan) {
    constexpr std::uint64_t kHeader = 16 * 2880; // bytes; plenty, in blocks as FITS files have
    const std::uint64_t columns = plan.window.width / plan.binning.x;
    const std::uint64_t rows = plan.window.height / plan.binning.y;
    return columns * rows * sizeof(std::uint16_t) + kHeader;
}

// The parts of the camera's state that a header tells, read before the exposure: afterwards the
// chip has been warmed by its readout.
void describeState(Session& session, FrameDescription& description) {
    if (const auto sensor = chipSensor(session))
        description.chipTemperature = readTemperature(session, *sensor);
    if (session.type() == GLINT_CAMERA && description.chipTemperature)
        description.comments.emplace_back(
            "CCD-TEMP is the camera's only sensor, which may not be at the chip.");
    if (coolerIsControllable(session.type(), session.capabilities()))
        description.targetTemperature = readCooler(session).target;
    if (!session.capabilities().hasFilterWheel)
        return;
    const WheelStatus wheel = readWheel(session);
    if (!wheel.moving)
        description.filter = wheel.current;
}

void describeRequest(Session& session, const ExposeRequest& request, const ExposurePlan& plan,
                     FrameDescription& description) {
    const TavoCapabilities& record = session.capabilities();
    description.window = plan.window;
    description.binning = plan.binning;
    description.pixelSizeX = record.pixelSizeX;
    description.pixelSizeY = record.pixelSizeY;
    description.bayerPattern = bayerPattern(record, plan.window, plan.binning);
    description.object = request.object;
    description.instrument = session.camera().getName();
    description.dark = request.dark;
}

struct Taken {
    Frame frame;
    FrameDescription description;
};

// From here on the cooler may be running.
Taken settleAndExpose(const ExposeRequest& request, Environment& environment, Session& session,
                      Progress& progress, const ExposurePlan& plan,
                      const std::optional<WheelStatus>& wheel) {
    Frame empty = emptyFrame(session.camera(), plan);
    if (request.filter && wheel) {
        startFilter(session, *wheel, *request.filter);
        awaitFilter(environment, session, progress, *request.filter);
    }
    if (request.temperature)
        awaitTemperature(environment, session, progress, *request.temperature,
                         request.temperatureTimeout);
    Taken taken;
    describeRequest(session, request, plan, taken.description);
    describeState(session, taken.description);
    Exposure exposure = expose(environment, session, progress, plan, std::move(empty));
    taken.frame = std::move(exposure.frame);
    taken.description.start = exposure.start;
    taken.description.exposure = exposure.seconds;
    auto& comments = taken.description.comments;
    comments.insert(comments.end(), exposure.comments.begin(), exposure.comments.end());
    return taken;
}

// Everything is checked before anything moves; cooling takes longest, so it starts first.
Taken take(const ExposeCommand& command, Environment& environment, Session& session) {
    const ExposeRequest& request = command.request;
    const ExposurePlan plan = planExposure(session.type(), session.capabilities(), request);
    if (!command.quiet) {
        for (const std::string& note : plan.notes)
            environment.err << "tavocam: " << note << "\n";
    }
    checkRoom(command.outputs, fileSize(plan));
    const auto wheel = request.filter ? std::optional(readWheel(session)) : std::nullopt;
    if (wheel)
        checkFilter(*wheel, *request.filter);
    checkInterrupt(environment);
    if (request.temperature)
        startCooling(session, *request.temperature);
    Progress progress(environment, command.quiet);
    try {
        return settleAndExpose(request, environment, session, progress, plan, wheel);
    } catch (const Failure& failure) {
        if (!request.temperature)
            throw;
        throw Failure(failure.exitCode,
                      text(failure.what(), "; the cooler goes on cooling to ",
                           degrees(*request.temperature), ": switch it off with tavocam warm"));
    }
}

// The camera is closed again when this returns: what follows may take its time.
Taken takeAndClose(const ExposeCommand& command, Environment& environment,
                   std::unique_ptr<Session> session) {
    return take(command, environment, *session);
}

std::string describe(const OutputRequest& outputs) {
    return outputs.preview ? text(outputs.fits, " and ", *outputs.preview) : outputs.fits;
}

// A signal that came too late to stop the files.
void checkLateInterrupt(const OutputRequest& outputs, const Environment& environment) {
    if (const int signal = environment.pendingSignal())
        throw Failure(kSignalBase + signal,
                      text("interrupted (", strsignal(signal),
                           ") after the exposure; files written: ", describe(outputs)));
}

// A pipe that nobody reads or a full disk: the files are safe all the same.
void checkOut(const OutputRequest& outputs, const Environment& environment) {
    if (!environment.out)
        throw Failure(kCannotWrite, text("the summary cannot be written to standard output: give "
                                         "it another place or use --quiet; files written: ",
                                         describe(outputs)));
}

std::string summary(const std::string& path, const Taken& taken) {
    const Statistics statistics = statisticsOf(taken.frame.pixels);
    const auto& temperature = taken.description.chipTemperature;
    return text(path, ": ", taken.frame.width, "x", taken.frame.height, " pixels, ",
                decimals(taken.description.exposure, 3), " s, ",
                temperature ? text(decimals(*temperature, 1), " C") : "temperature unknown",
                ", minimum ", statistics.minimum, ", median ", decimals(statistics.median, 1),
                ", maximum ", statistics.maximum, " ADU, ", countStars(taken.frame, statistics),
                " stars\n");
}

} // namespace

void runVerb(const ExposeCommand& command, Environment& environment) {
    checkOutputs(command.outputs);
    checkInterrupt(environment);
    auto session = std::make_unique<Session>(environment, command.camera, command.quiet);
    const Presence presence = session->presence();
    // Until the files are complete: a frame that has been read out is not given up.
    const SignalsDeferred deferred;
    const Taken taken = explainingDeparture(environment, presence, [&] {
        return takeAndClose(command, environment, std::move(session));
    });
    const auto fits = encodeFits(taken.frame, taken.description);
    std::vector<std::byte> preview;
    if (command.outputs.preview)
        preview = encodePng(makePreview(taken.frame, taken.description.bayerPattern.has_value()));
    writeOutputs(command.outputs, fits, preview);
    if (!command.quiet)
        environment.out << summary(command.outputs.fits, taken) << std::flush;
    checkLateInterrupt(command.outputs, environment);
    checkOut(command.outputs, environment);
}

} // namespace tavocam
