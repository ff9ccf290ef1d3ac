#pragma once

/// Names that the tables share with the parse functions.
namespace nivra::names {

inline constexpr char kVanillaSection[] = "vanilla";
inline constexpr char kVanillaKalmanSection[] = "vanilla.kalman";
inline constexpr char kVanillaLowFpsSection[] = "vanillaLowFps";
inline constexpr char kVanillaLowFpsKalmanSection[] = "vanillaLowFps.kalman";
inline constexpr char kReidSection[] = "reid";
inline constexpr char kReidKalman4DSection[] = "reid.kalman4d";

// What turns a tracker's section into that of its filter.
inline constexpr char kKalmanSuffix[] = ".kalman";
inline constexpr char kKalman4DSuffix[] = ".kalman4d";

inline constexpr char kObjectnessClasses[] = "objectnessClasses";
inline constexpr char kClassSigmoidWidth[] = "classSigmoidWidth";
inline constexpr char kIouSigmoidWidth[] = "iouSigmoidWidth";
inline constexpr char kIouSigmoidCenter[] = "iouSigmoidCenter";

}  // namespace nivra::names
