// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The steps, by subject. Each function runs its steps and reports them; none throws.
#pragma once

#include "session.h"

#include <optional>

namespace acceptance {

// Finds the camera that the options ask for; none when there is no such camera.
std::optional<Camera> findCamera(Report& report, const Options& options);
// False when the camera cannot be opened, which leaves nothing to try.
bool checkOpening(Session& session);
void checkCapabilities(Session& session);
void checkRefusals(Session& session);
void checkUnsupported(Session& session);
void checkTimedExposures(Session& session);
void checkLongExposures(Session& session);
void checkBinning(Session& session);
void checkModes(Session& session);
void checkColour(Session& session);
void checkGain(Session& session);
void checkShutter(Session& session);
void checkFilters(Session& session);
void checkGuideRelays(Session& session);
void checkLines(Session& session);
void checkAbort(Session& session);
void checkReopening(Session& session);

} // namespace acceptance
