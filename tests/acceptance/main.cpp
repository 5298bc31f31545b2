// SPDX-License-Identifier: LGPL-2.1-or-later
#include "checks.h"
#include "thermal_check.h"

#include <iostream>

namespace {

void runSteps(acceptance::Session& session) {
    using namespace acceptance;
    checkCapabilities(session);
    session.plan();
    checkRefusals(session);
    checkUnsupported(session);
    checkTimedExposures(session);
    // Cooling and warming up take their time, during which other things are tried.
    ThermalCheck thermal(session);
    thermal.start();
    checkLongExposures(session);
    checkShutter(session);
    checkBinning(session);
    thermal.whenCold();
    checkModes(session);
    checkColour(session);
    checkGain(session);
    checkFilters(session);
    checkGuideRelays(session);
    checkLines(session);
    checkAbort(session);
    thermal.whenWarmed();
    checkReopening(session);
}

int run(const acceptance::Options& options) {
    using namespace acceptance;
    Report report(std::cout);
    TavoHostBulkTimeout = options.bulkTimeout.value_or(TavoHostBulkTimeout);
    if (auto camera = findCamera(report, options)) {
        Session session{options, report, std::move(*camera), {}, {}, 0, {}, {1, 1, 1}, {}};
        if (checkOpening(session))
            runSteps(session);
    }
    return report.finish() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    const auto options = acceptance::parseOptions(argc, argv);
    if (const auto* exit = std::get_if<acceptance::Exit>(&options))
        return exit->status;
    return run(std::get<acceptance::Options>(options));
}
