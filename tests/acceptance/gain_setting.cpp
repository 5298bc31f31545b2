// SPDX-License-Identifier: LGPL-2.1-or-later
#include "gain_setting.h"

#include "report.h"

namespace acceptance {

std::string describe(const GainSetting& setting) {
    return "gain " + std::to_string(setting.gain) + ", offset " + std::to_string(setting.offset);
}

GainSetting gainSetting(const Camera& camera) {
    GainSetting setting;
    require(camera, camera->getGain(&setting.gain, &setting.offset), "getGain");
    return setting;
}

void setGain(const Camera& camera, const GainSetting& setting) {
    require(camera, camera->setGain(setting.gain, setting.offset), "setGain: " + describe(setting));
    const GainSetting seen = gainSetting(camera);
    expect(seen == setting, describe(setting), describe(seen));
}

} // namespace acceptance
