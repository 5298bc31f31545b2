// SPDX-License-Identifier: LGPL-2.1-or-later
#include <memory>
#include <utility>

#include "failure.h"
#include "family.h"
#include "session.h"
#include "text.h"
#include "verbs.h"

namespace tavocam {
namespace {

void warmAndClose(std::unique_ptr<Session> session) {
    if (!coolerIsControllable(session->type(), session->capabilities()))
        throw Failure(kUsage, text("this camera's cooler cannot be controlled (cooler: ",
                                   coolerName(session->capabilities().coolerType), ")"));
    if (!session->camera().initiateWarmUp())
        throw Failure(kCameraFailed,
                      text("the camera refused to warm up: ", lastError(session->camera())));
}

} // namespace

void runVerb(const WarmCommand& command, Environment& environment) {
    auto session = std::make_unique<Session>(environment, command.camera, false);
    const Presence presence = session->presence();
    explainingDeparture(environment, presence, [&] { warmAndClose(std::move(session)); });
    environment.out << "warming up; tavocam info tells when the cooler is off\n";
}

} // namespace tavocam
