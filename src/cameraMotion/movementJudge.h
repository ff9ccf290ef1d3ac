#pragma once

#include "cameraMotion/movementFit.h"
#include "cameraMotion/movementVotes.h"

namespace nivra {

/// A running judgement whether a camera moves at all, and what it learns on the way: how much its detections scatter,
/// and how fast it moves.
///
/// In each frame it compares how well a camera at rest and one that moves explain the movement that the settled
/// tracks share, against the error that it has by their scatter. At rest, it is nothing but error, of frames that
/// have nothing to do with each other; a camera that moves goes on as it did.
class MovementJudge {
 public:
  /// @param elapsed Seconds since the frame before.
  void pass(double elapsed);

  /// @param votes Of tracks that agree.
  void weigh(const MovementVotes& votes, double zoomPrecision, double elapsed);

  /// After a cut or a gap.
  void forgetSpeed();

  double probability() const { return moves; }
  /// How closely this camera's detections lie to where they belong.
  Precision precision() const { return {observations / squaresX, observations / squaresY}; }
  /// The movement that a frame shows if the camera goes on as before.
  Movement expected(double elapsed) const {
    return {speedX.value * elapsed, speedY.value * elapsed, speedZoom.value * elapsed};
  }

 private:
  template <class Archive>
  friend void fields(Archive& archive, MovementJudge& judge) {
    archive(judge.moves);
    for (Speed* speed : {&judge.speedX, &judge.speedY, &judge.speedZoom}) archive(speed->value, speed->variance);
    archive(judge.observations, judge.squaresX, judge.squaresY);
  }

  static constexpr double kUsuallyMoves = 0.1;  // of ten cameras, one
  static constexpr double kUsualSpeed = 0.2;    // per second: a tenth of the picture, or a fifth of all sizes
  static constexpr double kUsualScatter = 0.03;
  static constexpr double kUsualScatterCounts = 30.0;  // as so many observations

  /// The camera's speed in one direction, filtered: it is lost by and by.
  struct Speed {
    double value = 0.0;
    double variance = kUsualSpeed * kUsualSpeed;

    void pass(double elapsed);
    double takeIn(double seen, double seenVariance);
  };

  void learnScatter(double frameX, double frameY, double count, double elapsed);

  double moves = kUsuallyMoves;
  Speed speedX;
  Speed speedY;
  Speed speedZoom;
  // Of the scatter, in widths and heights, all of which are forgotten by and by.
  double observations = kUsualScatterCounts;
  double squaresX = kUsualScatterCounts * kUsualScatter * kUsualScatter;
  double squaresY = squaresX;
};

}  // namespace nivra
