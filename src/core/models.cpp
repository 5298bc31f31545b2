// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/models.h"

namespace tavo {

const Model CAMERAS[] = {
    {"Tavo Heron", 0xdf2e, HERON_CAMERA},   {"Brisel Heron", 0xdf2f, HERON_CAMERA},
    {"Tavo Heron A", 0xdfab, HERON_CAMERA}, {"Tavo Heron B", 0xdfad, HERON_CAMERA},
    {"Tavo Heron C", 0xdfae, HERON_CAMERA}, {"Tavo Ridge A", 0xdf29, RIDGE_CAMERA},
    {"Tavo Ridge B", 0xdf2b, RIDGE_CAMERA}, {"Tavo Ridge C", 0xdf2c, RIDGE_CAMERA},
    {"Tavo Ridge D", 0xdf30, RIDGE_CAMERA}, {"Tavo Ridge E", 0xdf31, RIDGE_CAMERA},
    {"Tavo Ridge F", 0xdf33, RIDGE_CAMERA}, {"Tavo Ridge G", 0xdf34, RIDGE_CAMERA},
    {"Tavo Ridge H", 0xdf35, RIDGE_CAMERA}, {"Tavo Ridge J", 0xdf36, RIDGE_CAMERA},
    {"Tavo Ridge K", 0xdf3a, RIDGE_CAMERA}, {"Tavo Lumen A", 0xdf3b, LUMEN_CAMERA},
    {"Tavo Ridge L", 0xdf3c, RIDGE_CAMERA}, {"Tavo Ridge M", 0xdf3d, RIDGE_CAMERA},
    {"Tavo Ridge N", 0xdf3e, RIDGE_CAMERA}, {"Tavo Lumen B", 0xdf3f, LUMEN_CAMERA},
    {"Tavo Ridge L", 0xdf3c, RIDGE_CAMERA}, // kept twice; the first row wins
    {"Tavo Ridge P", 0xdfac, RIDGE_CAMERA}, {"Tavo Ridge Q", 0xdfb0, RIDGE_CAMERA},
    {"Tavo Ridge R", 0xdfb4, RIDGE_CAMERA}, {"Tavo Ridge S", 0xdfb5, RIDGE_CAMERA},
    {"Tavo Ridge T", 0xdfb6, RIDGE_CAMERA}, {"Tavo Ridge U", 0xdfb8, RIDGE_CAMERA},
    {"Tavo Lumen C", 0xdfbb, LUMEN_CAMERA}, {"Tavo Glint C", 0x2004, GLINT_CAMERA},
    {"Tavo Glint M", 0x2005, GLINT_CAMERA}, {"Tavo Basin A", 0xdf28, BASIN_CAMERA},
    {"Tavo Basin B", 0xdfb7, BASIN_CAMERA}, {"Corvane Basin", 0xdfa8, BASIN_CAMERA},
    {"Tavo Ridge V", 0xdf50, RIDGE_CAMERA}, {nullptr, 0, static_cast<CAMERA_TYPE>(0)},
};

const Model* findModel(std::uint32_t productId) {
    for (const Model* model = CAMERAS; model->type != 0; ++model)
        if (model->productId == productId)
            return model;
    return nullptr;
}

} // namespace tavo
