// SPDX-License-Identifier: LGPL-2.1-or-later
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "cooling.h"
#include "exposure_plan.h"
#include "failure.h"
#include "family.h"
#include "filter_wheel.h"
#include "session.h"
#include "text.h"
#include "verbs.h"

namespace tavocam {
namespace {

// Writes "label: value" lines. What cannot be read becomes a line too, so that the rest of the
// report still comes; the first reason is kept.
class Report {
public:
    explicit Report(std::ostream& target) : out(target) {}

    void line(const std::string& label, const std::string& value) {
        constexpr int kLabelWidth = 19;
        out << std::left << std::setw(kLabelWidth) << label + ":" << value << "\n";
    }

    void readLine(const std::string& label, const std::function<std::string()>& read) {
        try {
            line(label, read());
        } catch (const Failure& failure) {
            line(label, text("unknown: ", failure.what()));
            if (!firstFailure)
                firstFailure = failure;
        }
    }

    void finish() const {
        if (firstFailure)
            throw *firstFailure;
    }

private:
    std::ostream& out;
    std::optional<Failure> firstFailure;
};

std::string yesNo(bool value) {
    return value ? "yes" : "no";
}

std::string size(double x, double y, const char* unit) {
    return text(x, " x ", y, unit);
}

std::string exposureRange(const TavoCapabilities& record) {
    if (!record.supportsLongExposure)
        return text(record.minShortExposure, " to ", record.maxShortExposure, " s");
    return text(record.minShortExposure, " to ", kLongestExposure, " s (timed by the camera up to ",
                record.maxShortExposure, " s)");
}

std::string colour(const TavoCapabilities& record) {
    if (record.colourType != COLOUR_BAYER)
        return "monochrome";
    return text("Bayer mosaic, first red pixel at column ", record.offsetX, ", row ",
                record.offsetY);
}

void reportIdentity(Report& report, Session& session) {
    TavoCamera& camera = session.camera();
    report.line("name", camera.getName());
    report.line("family", std::string(familyName(session.type())));
    report.line("serial number", text(camera.getSerialNumber()));
    report.line("version", text(camera.getVersionMajor(), ".", camera.getVersionMinor()));
}

void reportCapabilities(Report& report, const TavoCapabilities& record) {
    report.line("sensor", size(record.pixelCountX, record.pixelCountY, " pixels"));
    report.line("pixel size", size(record.pixelSizeX, record.pixelSizeY, " micrometres"));
    report.line("largest binning", size(record.maxBinX, record.maxBinY, ""));
    report.line("colour", colour(record));
    report.line("exposure", exposureRange(record));
    report.line("shutter", yesNo(record.hasShutter));
    report.line("guide port", yesNo(record.hasGuidePort));
    report.line("8-bit mode", yesNo(record.has8BitMode));
    report.line("GPIO lines", text(record.gpioLineCount));
}

std::string temperature(Session& session, unsigned sensor) {
    const auto value = readTemperature(session, sensor);
    return value ? text(decimals(*value, 1), " degrees Celsius") : "not told by the camera";
}

void reportTemperatures(Report& report, Session& session) {
    if (session.type() == GLINT_CAMERA)
        report.readLine("temperature", [&] { return temperature(session, 0); });
    if (!chipSensor(session))
        return;
    for (unsigned sensor = 1; sensor <= session.capabilities().tempSensorCount; ++sensor) {
        const std::string label = sensor == 1 ? "chip temperature" : text("temperature ", sensor);
        report.readLine(label, [&] { return temperature(session, sensor); });
    }
}

void reportCooler(Report& report, Session& session) {
    const TavoCapabilities& record = session.capabilities();
    report.line("cooler", std::string(coolerName(record.coolerType)));
    if (!coolerIsControllable(session.type(), record))
        return;
    report.readLine("cooling", [&] {
        const CoolerStatus status = readCooler(session);
        const std::string target =
            status.target ? text(" to ", decimals(*status.target, 1), " degrees Celsius") : "";
        return text(coolingStateName(status.state), target, ", power ", decimals(status.power, 0),
                    " %");
    });
}

void reportWheel(Report& report, Session& session) {
    if (!session.capabilities().hasFilterWheel) {
        report.line("filter wheel", "no");
        return;
    }
    report.readLine("filter wheel", [&] {
        const WheelStatus status = readWheel(session);
        return text(status.filterCount, " positions, at ", status.current,
                    status.moving ? text(", moving to ", status.target) : "");
    });
}

void reportGain(Report& report, Session& session) {
    if (session.type() != LUMEN_CAMERA)
        return;
    report.readLine("gain and offset", [&] {
        int gain = 0;
        int offset = 0;
        if (!session.camera().getGain(&gain, &offset))
            throw Failure(kCameraFailed,
                          text("the gain cannot be read: ", lastError(session.camera())));
        return text(gain, ", ", offset);
    });
}

void reportAndClose(Environment& environment, std::unique_ptr<Session> session) {
    Report report(environment.out);
    reportIdentity(report, *session);
    reportCapabilities(report, session->capabilities());
    reportTemperatures(report, *session);
    reportCooler(report, *session);
    reportWheel(report, *session);
    reportGain(report, *session);
    report.finish();
}

} // namespace

void runVerb(const InfoCommand& command, Environment& environment) {
    auto session = std::make_unique<Session>(environment, command.camera, false);
    const Presence presence = session->presence();
    explainingDeparture(environment, presence,
                        [&] { reportAndClose(environment, std::move(session)); });
}

} // namespace tavocam
