// SPDX-License-Identifier: LGPL-2.1-or-later
#include "family.h"
#include "session.h"
#include "verbs.h"

namespace tavocam {

void runVerb(const ListCommand& /*command*/, Environment& environment) {
    const Cameras cameras = listedCameras(environment);
    for (std::size_t index = 0; index < cameras.size(); ++index) {
        const char* name = cameras[index]->getName();
        environment.out << index << "  " << name << "  (" << familyOfModel(name) << " family)\n";
    }
}

} // namespace tavocam
