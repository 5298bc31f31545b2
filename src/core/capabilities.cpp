// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/families.h"
#include "core/messages.h"
#include "core/trace.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;

namespace {

constexpr tavo::PerFamily<double> kMaxShortExposure{// seconds
                                                    .basin = 2.46,
                                                    .ridge = 3.0,
                                                    .heron = 1.398,
                                                    .glint = 0.5,
                                                    .lumen = 3.0};

// One sensor needs longer than the others, and its width is how it is told apart.
constexpr unsigned kSlowSensorWidth = 3326;

template <typename Value>
void put(Value* output, Value value) {
    if (output)
        *output = value;
}

} // namespace

bool TavoCameraImpl::getCapabilities(const char** nameOut, CAMERA_TYPE* typeOut, bool* shutter,
                                     bool* guidePort, bool* eightBit, bool* filterWheel,
                                     unsigned* gpioLines, unsigned* countX, unsigned* countY,
                                     double* sizeX, double* sizeY, unsigned* binX, unsigned* binY,
                                     unsigned* tempSensors, COOLER_TYPE* cooler,
                                     COLOUR_TYPE* colour, int* phaseX, int* phaseY,
                                     bool* supportsLongExposure, double* minShortExposure,
                                     double* maxShortExposure) {
    trace::enter("TavoCameraImpl::getCapabilities(...)");
    if (!handle) {
        refuse(tavo::message::kNotOpened);
        trace::leave("TavoCameraImpl::getCapabilities 00");
        return false;
    }
    put(nameOut, name);
    put(typeOut, type);
    put(shutter, hasShutter);
    put(guidePort, hasGuidePort);
    put(eightBit, has8BitMode);
    put(filterWheel, hasFilterWheel);
    put(gpioLines, gpioLineCount);
    put(countX, pixelCountX);
    put(countY, pixelCountY);
    put(sizeX, pixelSizeX);
    put(sizeY, pixelSizeY);
    put(binX, maxBinX);
    put(binY, maxBinY);
    put(tempSensors, tempSensorCount);
    put(cooler, coolerType);
    put(colour, colourType);
    put(phaseX, offsetX);
    put(phaseY, offsetY);
    put(supportsLongExposure, type != GLINT_CAMERA);
    put(minShortExposure, pixelCountX == kSlowSensorWidth ? 0.2 : 0.001);
    if (const double* longest = kMaxShortExposure.find(type))
        put(maxShortExposure, *longest);
    trace::leave("TavoCameraImpl::getCapabilities 1");
    return true;
}

bool TavoCameraImpl::getCapabilities(const char** nameOut, CAMERA_TYPE* typeOut,
                                     TavoCapabilities* record) {
    return getCapabilities(nameOut, typeOut, &record->hasShutter, &record->hasGuidePort,
                           &record->has8BitMode, &record->hasFilterWheel, &record->gpioLineCount,
                           &record->pixelCountX, &record->pixelCountY, &record->pixelSizeX,
                           &record->pixelSizeY, &record->maxBinX, &record->maxBinY,
                           &record->tempSensorCount, &record->coolerType, &record->colourType,
                           &record->offsetX, &record->offsetY, &record->supportsLongExposure,
                           &record->minShortExposure, &record->maxShortExposure);
}
