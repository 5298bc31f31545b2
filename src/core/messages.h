// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The last-error texts. Applications compare them, so each stands here once.
#pragma once

namespace tavo::message {

inline constexpr const char* kNotOpened = "Device is not opened";
inline constexpr const char* kUnsupported = "Unsupported operation";
inline constexpr const char* kInvalidParameter = "Invalid parameter";
inline constexpr const char* kOutOfSequence = "Operation out of sequence";
inline constexpr const char* kOpenFailed = "Failed to open device";
inline constexpr const char* kInitializeFailed = "Failed to initialize device";
inline constexpr const char* kStartExposureFailed = "Failed to start exposure";
inline constexpr const char* kReadCCDFailed = "Failed to read CCD";
inline constexpr const char* kGetImageFailed = "Failed to get image";
inline constexpr const char* kSetShutterFailed = "Failed to set shutter";
inline constexpr const char* kTemperatureSensorFailed = "Failed to read temperature sensor status";
inline constexpr const char* kSetTemperatureFailed = "Failed to set temperature";
inline constexpr const char* kWarmUpFailed = "Failed to initiate warmup";
inline constexpr const char* kFilterWheelStatusFailed = "Failed to get filter wheel status";
inline constexpr const char* kSetFilterFailed = "Failed to set filter";
inline constexpr const char* kGuideRelaysFailed = "Failed to set guide relays";
inline constexpr const char* kGPIODirectionFailed = "Failed to set GPIO direction";
inline constexpr const char* kGetGPIOFailed = "Failed to get GPIO";
inline constexpr const char* kSetGPIOFailed = "Failed to set GPIO";

// Both kept for the operations that read, too: applications know these texts.
inline constexpr const char* kCoolingStatusFailed = "Failed to set cooling status";
inline constexpr const char* kGainFailed = "Failed to set gain";

} // namespace tavo::message
