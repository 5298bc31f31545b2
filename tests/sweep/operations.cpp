// SPDX-License-Identifier: LGPL-2.1-or-later
#include "operations.h"

namespace tavo::sweep {

bool asItIs(Bench&) {
    return true;
}

bool closed(Bench& bench) {
    bench.camera().close();
    return true;
}

bool exposing(Bench& bench) {
    return bench.type() == GLINT_CAMERA || bench.camera().startExposure(false);
}

bool bare(Bench& bench) {
    bench.strip();
    bench.camera().close();
    return bench.camera().open();
}

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all = [] {
        std::vector<Operation> joined;
        for (const auto& part : {openings(), exposures(), thermals(), accessories()})
            joined.insert(joined.end(), part.begin(), part.end());
        return joined;
    }();
    return all;
}

} // namespace tavo::sweep
