// SPDX-License-Identifier: LGPL-2.1-or-later
#include <utility>

#include "bayer.h"
#include "cooling.h"
#include "exposure.h"
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

// Everything is checked before anything moves; cooling takes longest, so it starts first.
void prepare(Environment& environment, Session& session, Progress& progress,
             const ExposeRequest& request) {
    if (request.filter)
        checkFilter(readWheel(session), *request.filter);
    if (request.temperature)
        startCooling(session, *request.temperature);
    if (request.filter) {
        startFilter(session, *request.filter);
        awaitFilter(environment, session, progress, *request.filter);
    }
    if (request.temperature)
        awaitTemperature(environment, session, progress, *request.temperature,
                         request.temperatureTimeout);
}

struct Taken {
    Frame frame;
    FrameDescription description;
};

// The camera is closed again when this returns: what follows may take its time.
Taken take(const ExposeCommand& command, Environment& environment) {
    Session session(environment, command.camera);
    const SignalsDeferred deferred;
    const ExposurePlan plan = planExposure(session.type(), session.capabilities(), command.request);
    if (!command.quiet) {
        for (const std::string& note : plan.notes)
            environment.err << "tavocam: " << note << "\n";
    }
    checkRoom(command.outputs.fits, fileSize(plan));
    Frame empty = emptyFrame(session.camera(), plan);
    Progress progress(environment, command.quiet);
    prepare(environment, session, progress, command.request);
    Taken taken;
    describeRequest(session, command.request, plan, taken.description);
    describeState(session, taken.description);
    Exposure exposure = expose(environment, session, progress, plan, std::move(empty));
    taken.frame = std::move(exposure.frame);
    taken.description.start = exposure.start;
    taken.description.exposure = exposure.seconds;
    taken.description.comments = std::move(exposure.comments);
    return taken;
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
    const Taken taken = take(command, environment);
    const auto fits = encodeFits(taken.frame, taken.description);
    std::vector<std::byte> preview;
    if (command.outputs.preview)
        preview = encodePng(makePreview(taken.frame, taken.description.bayerPattern.has_value()));
    writeOutputs(command.outputs, fits, preview);
    if (!command.quiet)
        environment.out << summary(command.outputs.fits, taken) << std::flush;
}

} // namespace tavocam
