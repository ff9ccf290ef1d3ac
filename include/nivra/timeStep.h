#pragma once

/// @file
/// A step in time, as the filters predict by it.

namespace nivra {

/// A step of a prediction, with the powers that the process noise takes of it. Tracks that are predicted together
/// share one, since the powers cost more than the prediction itself. For the trackers alone; not exported.
struct TimeStep {
  TimeStep() = default;
  /// @param seconds Length of the step.
  explicit TimeStep(float seconds);

  float dt = 0.0F;   ///< Seconds.
  float dt2 = 0.0F;  ///< dt squared.
  float dt3 = 0.0F;  ///< dt cubed.
  float dt4 = 0.0F;  ///< dt to the fourth.
};

}  // namespace nivra
