#include "cameraMotion/movementJudge.h"

#include <algorithm>
#include <cmath>

namespace nivra {

namespace {

constexpr std::size_t kFewestWitnesses = 4;
constexpr double kSpeedMemory = 0.3;     // seconds: a hand's or a step's swing
constexpr double kScatterMemory = 10.0;  // seconds
// Seconds that a camera stays at rest, or moves, on average.
constexpr double kTurnsAfter = 30.0;
// People speed up and slow down together more than if they didn't see each other.
constexpr double kPeopleTogether = 2.0;
// The share of its frames in which a camera that moves does so noticeably.
constexpr double kNoticeable = 0.2;
// However clear, a single frame may be a freak.
constexpr double kMostOfOneFrame = 7.0;

double squared(double value) { return value * value; }

/// By how much more probable the second one of two variances makes the second offset than the first one the first.
/// With wide tails, since errors of associations are among the offsets (Student's, with three degrees of freedom).
double densityRatio(double offset, double variance, double secondOffset, double secondVariance) {
  const double tail = 3.0 * variance + offset * offset;
  const double secondTail = 3.0 * secondVariance + secondOffset * secondOffset;
  const double scale = secondVariance / variance;
  return squared(tail * scale / secondTail) / std::sqrt(scale);
}

}  // namespace

void MovementJudge::Speed::pass(double elapsed) {
  const double keeps = 1.0 / (1.0 + elapsed / kSpeedMemory);
  value *= keeps;
  variance = squared(kUsualSpeed) + squared(keeps) * (variance - squared(kUsualSpeed));
}

/// @return By how much more probable the camera's movement makes what was seen than its rest.
double MovementJudge::Speed::takeIn(double seen, double seenVariance) {
  const double offset = seen - value;
  const double ratio = densityRatio(seen, seenVariance, offset, variance + seenVariance);
  const double gain = variance / (variance + seenVariance);
  value += gain * offset;
  variance *= 1.0 - gain;
  return 1.0 - kNoticeable + kNoticeable * std::min(ratio, kMostOfOneFrame);
}

void MovementJudge::pass(double elapsed) {
  // A camera at rest may have begun to move; but without witnesses it is no more probable of it than of any other.
  if (moves < kUsuallyMoves) moves = std::min(moves + elapsed / kTurnsAfter, kUsuallyMoves);
  for (Speed* speed : {&speedX, &speedY, &speedZoom}) speed->pass(elapsed);
}

void MovementJudge::forgetSpeed() {
  speedX = {};
  speedY = {};
  speedZoom = {};
}

void MovementJudge::weigh(const MovementVotes& votes, double zoomPrecision, double elapsed) {
  const Precision usual = precision();
  MovementFit fit;
  std::size_t witnesses = 0;
  for (const MovementVote& vote : votes) {
    const MovementVoter& voter = votes.voterOf(vote);
    if (!voter.isSettled) continue;
    fit.add(voter.placeX, voter.placeY, vote.seenX, vote.seenY, voter.weightX(usual), voter.weightY(usual));
    ++witnesses;
  }
  if (witnesses < kFewestWitnesses) return;  // the judgement stands until there are others

  const Movement movement = fit.solve(zoomPrecision);
  double frameX = 0.0;
  double frameY = 0.0;
  for (const MovementVote& vote : votes) {
    const MovementVoter& voter = votes.voterOf(vote);
    if (!voter.isSettled) continue;
    frameX += squared(vote.seenX - movement.xAt(voter.placeX)) * voter.perSquaredWidth;
    frameY += squared(vote.seenY - movement.yAt(voter.placeY)) * voter.perSquaredHeight;
  }
  const auto count = static_cast<double>(witnesses - 1);  // one is spent on the movement
  learnScatter(frameX, frameY, count, elapsed);

  // Of a frame that scatters more than usual, the movement is less certain.
  const double excessX = std::max(1.0, frameX / count * usual.x);
  const double excessY = std::max(1.0, frameY / count * usual.y);
  const Movement shift = fit.solveWithoutZoom();
  const double perElapsed = 1.0 / elapsed;
  const double uncertainty = kPeopleTogether * squared(perElapsed);
  moves -= moves * std::min(elapsed / kTurnsAfter, 0.5);  // it may have come to rest
  const double rests = 1.0 - moves;
  moves *= speedX.takeIn(shift.x * perElapsed, uncertainty * excessX / fit.informationX()) *
           speedY.takeIn(shift.y * perElapsed, uncertainty * excessY / fit.informationY()) *
           speedZoom.takeIn(fit.solve(0.0).zoom * perElapsed,
                            uncertainty * std::max(excessX, excessY) / fit.zoomInformation());
  moves /= moves + rests;
}

void MovementJudge::learnScatter(double frameX, double frameY, double count, double elapsed) {
  const double keeps = 1.0 / (1.0 + elapsed / kScatterMemory);
  observations = observations * keeps + count;
  squaresX = squaresX * keeps + frameX;
  squaresY = squaresY * keeps + frameY;
}

}  // namespace nivra
