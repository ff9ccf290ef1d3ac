#include "cameraMotion/movementVotes.h"

#include <algorithm>
#include <cmath>

#include "matching/pointsInWindow.h"

namespace nivra {

namespace {

// How far a frame may take an object from where it was expected. A quick pan takes a person sideways by a width; that
// far up or down there is usually somebody else.
constexpr float kReachInWidths = 1.2F;
constexpr float kReachInHeights = 0.5F;
// The same object's box doesn't change by more than this from frame to frame.
constexpr float kLeastSizeRatio = 0.7F;
constexpr float kMostSizeRatio = 1.0F / kLeastSizeRatio;
// About a pixel: less is no box that could be seen.
constexpr float kLeastSize = 0.001F;
// Votes agree that are within this share of a width and height. Several times what detections scatter, so that the
// middle of those that agree is not one that they happen to cluster about.
constexpr double kAgreement = 0.25;
constexpr int kRefinements = 2;

bool isLike(float size, float trackSize) {
  return size > kLeastSizeRatio * trackSize && size < kMostSizeRatio * trackSize;
}

/// Calls visit(row) for the boxes whose centres lie in the window.
template <class Visit>
void visitInside(const BoxTable& boxes, const Window& window, Visit visit) {
  for (std::size_t row = 0; row < boxes.size(); row += BoxTable::kRowsAtOnce) {
    unsigned bits = 0;  // of all of them, so that there is one branch on them
    for (std::uint32_t i = 0; i < BoxTable::kRowsAtOnce; i += kPointsAtOnce) {
      bits |= bitsOfInside(&boxes.x[row + i], &boxes.y[row + i], window) << i;
    }
    for (; bits != 0; bits &= bits - 1) visit(row + static_cast<unsigned>(__builtin_ctz(bits)));
  }
}

}  // namespace

void TrackAges::pass(double elapsed) {
  sinceNewest += elapsed;
  if (sinceNewest < kInterval) return;
  sinceNewest = 0.0;
  std::copy_backward(beyondThoseSeen.begin(), beyondThoseSeen.end() - 1, beyondThoseSeen.end());
  beyondThoseSeen.front() = beyondThoseSeenNow;
}

void TrackAges::see(std::int32_t id) { beyondThoseSeenNow = std::max(beyondThoseSeenNow, std::int64_t{id} + 1); }

void MovementVotes::remember(const std::vector<TrackReport>& tracks) {
  rememberedCount = 0;
  const std::size_t turns = std::min(tracks.size(), kMostVoters);
  std::size_t i = 0;
  for (std::size_t turn = 1; turn <= turns; ++turn) {
    const std::size_t end = turn * tracks.size() / turns;
    while (i < end && tracks[i].detectionId < 0) ++i;
    if (i < end) {
      const TrackedObjectDetection& report = tracks[i].track;
      remembered[rememberedCount++] = {report.box, report.velocityX, report.velocityY, report.id,
                                       tracks[i].detectionId};
      ages.see(report.id);
    }
    i = end;
  }
}

void MovementVotes::collect(const BoxTable& before, const BoxTable& now, const Movement& expected, double elapsed) {
  ages.pass(elapsed);
  asked = 0;
  voterTotal = 0;
  voteTotal = 0;
  for (std::uint32_t i = 0; i < rememberedCount; ++i) ask(remembered[i], before, now, expected, elapsed);
  forget();
}

void MovementVotes::ask(const RememberedTrack& track, const BoxTable& before, const BoxTable& now,
                        const Movement& expected, double elapsed) {
  const float trackWidth = width(track.box);
  const float trackHeight = height(track.box);
  const std::size_t last = before.find(track.detectionId);
  if (last == before.size() || !(trackWidth > kLeastSize && trackHeight > kLeastSize)) return;
  const double stepX = static_cast<double>(track.velocityX) * elapsed;
  const double stepY = static_cast<double>(track.velocityY) * elapsed;
  const double fromX = before.x[last] + stepX;
  const double fromY = before.y[last] + stepY;
  if (!std::isfinite(fromX) || !std::isfinite(fromY)) return;
  ++asked;

  const Point middle = center(track.box);
  const double perWidth = 1.0 / trackWidth;
  const double perHeight = 1.0 / trackHeight;
  voters[voterTotal] = {middle.x + stepX,
                        middle.y + stepY,
                        perWidth * perWidth,
                        perHeight * perHeight,
                        stepX,
                        stepY,
                        before.x[last] - middle.x,
                        before.y[last] - middle.y,
                        ages.isSettled(track.id)};
  MovementVote* const first = votes.data() + voteTotal;
  std::size_t count = 0;
  const auto vote = [&](std::size_t row) {
    if (!isLike(now.width[row], trackWidth) || !isLike(now.height[row], trackHeight)) return;
    const MovementVote another = {voterTotal, now.x[row] - fromX, now.y[row] - fromY};
    if (count < kMostVotesOfOne) {
      first[count++] = another;
      return;
    }
    const auto isNearer = [&](const MovementVote& a, const MovementVote& b) {
      return distance(a, expected) < distance(b, expected);
    };
    MovementVote& farthest = *std::max_element(first, first + count, isNearer);
    if (isNearer(another, farthest)) farthest = another;
  };
  const Window reach = {{static_cast<float>(fromX), static_cast<float>(fromY)},
                        kReachInWidths * trackWidth,
                        kReachInHeights * trackHeight};
  visitInside(now, reach, vote);
  if (count == 0) return;
  ++voterTotal;
  voteTotal += count;
}

/// Squared; 1 where agreement ends.
double MovementVotes::distance(const MovementVote& vote, const Movement& movement) const {
  const MovementVoter& voter = voters[vote.voter];
  const double x = vote.seenX - movement.xAt(voter.placeX);
  const double y = vote.seenY - movement.yAt(voter.placeY);
  return (x * x * voter.perSquaredWidth + y * y * voter.perSquaredHeight) * (1.0 / (kAgreement * kAgreement));
}

void MovementVotes::agree(const Movement& expected, const Precision& precision, double zoomPrecision) {
  gather(expected);
  if (agreedCount == voteTotal) return;
  // Where more than two thirds agree, no other group is nearly as large.
  if (3 * agreedCount <= 2 * voterTotal) gather(search());
  for (int i = 0; i < kRefinements && agreedCount > 0; ++i) gather(fit(precision, zoomPrecision));
}

Movement MovementVotes::search() const {
  Movement best;
  double bestSupport = 0.0;
  for (std::size_t i = 0; i < voteTotal; ++i) {
    const Movement movement = {votes[i].seenX, votes[i].seenY, 0.0};
    const double support = supportOf(movement);
    if (!(support > bestSupport)) continue;
    bestSupport = support;
    best = movement;
  }
  return best;
}

/// Each track counts by the vote that is nearest, the more the nearer it is.
double MovementVotes::supportOf(const Movement& movement) const {
  double support = 0.0;
  double best = 0.0;
  for (std::size_t i = 0; i < voteTotal; ++i) {
    if (i > 0 && votes[i].voter != votes[i - 1].voter) {
      support += best;
      best = 0.0;
    }
    best = std::max(best, 1.0 - distance(votes[i], movement));
  }
  return support + best;
}

/// Those who agree with the movement, each with its nearest vote.
void MovementVotes::gather(const Movement& movement) {
  agreedCount = 0;
  double nearest = 0.0;
  for (std::size_t i = 0; i < voteTotal; ++i) {
    const double its = distance(votes[i], movement);
    if (!(its < 1.0)) continue;
    const bool isAnother = agreedCount == 0 || agreed[agreedCount - 1].voter != votes[i].voter;
    if (!isAnother && !(its < nearest)) continue;
    nearest = its;
    if (isAnother) ++agreedCount;
    agreed[agreedCount - 1] = votes[i];
  }
}

Movement MovementVotes::fit(const Precision& precision, double zoomPrecision) const {
  MovementFit fit;
  for (const MovementVote& vote : *this) {
    const MovementVoter& voter = voterOf(vote);
    fit.add(voter.placeX, voter.placeY, vote.seenX, vote.seenY, voter.weightX(precision), voter.weightY(precision));
  }
  return fit.solve(zoomPrecision);
}

}  // namespace nivra
