// SPDX-License-Identifier: LGPL-2.1-or-later
#include "failure.h"
#include "family.h"
#include "session.h"
#include "text.h"
#include "verbs.h"

namespace tavocam {

void runVerb(const WarmCommand& command, Environment& environment) {
    Session session(environment, command.camera, false);
    if (!coolerIsControllable(session.type(), session.capabilities()))
        throw Failure(kUsage, text("this camera's cooler cannot be controlled (cooler: ",
                                   coolerName(session.capabilities().coolerType), ")"));
    if (!session.camera().initiateWarmUp())
        throw Failure(kCameraFailed,
                      text("the camera refused to warm up: ", lastError(session.camera())));
    environment.out << "warming up; tavocam info tells when the cooler is off\n";
}

} // namespace tavocam
