#include "hostkit/evaluation/clear.h"

#include <algorithm>
#include <cmath>

#include "hostkit/evaluation/assignment.h"
#include "hostkit/evaluation/thresholds.h"

namespace nivra::hostkit {

namespace {

constexpr double kContinuity = 1000.0;  // more than all overlaps of a frame
constexpr std::size_t kNobody = static_cast<std::size_t>(-1);

/// An identity of the truth through the frames.
struct Life {
  std::size_t lastTrack = kNobody;    // that found it, ever
  std::size_t trackBefore = kNobody;  // that found it in the last frame that counts
  std::size_t timesFound = 0;
  std::size_t stretches = 0;  // of frames in which it is found
};

/// Goes through the frames and counts.
class Follower {
 public:
  Follower(const Comparison& followed, Clear& counted)
      : comparison(followed), counts(counted), lives(followed.truthLengths.size()) {}

  void follow(std::size_t frame) {
    const auto truths = comparison.truths[frame];
    const auto tracks = comparison.tracks[frame];
    matching.trackOfTruth.assign(truths.size(), FrameMatching::kNone);
    matching.truthOfTrack.assign(tracks.size(), FrameMatching::kNone);
    matching.switches.clear();
    counts.falseNegatives += static_cast<double>(truths.size());
    counts.falsePositives += static_cast<double>(tracks.size());
    // A frame that is empty on one side breaks nothing off: published figures pass over it.
    if (truths.empty() || tracks.empty()) return;
    match(frame);
    for (const Overlap& each : comparison.overlaps[frame]) {
      if (matching.trackOfTruth[each.truth] == static_cast<int>(each.track)) take(each, frame);
    }
    remember(truths, tracks);
  }

  const FrameMatching& result() const { return matching; }

  void finish() {
    for (std::size_t identity = 0; identity < lives.size(); ++identity) {
      const Life& life = lives[identity];
      const double share =
          static_cast<double>(life.timesFound) / static_cast<double>(comparison.truthLengths[identity]);
      ++(share > 0.8 ? counts.mostlyTracked : share >= 0.2 ? counts.partlyTracked : counts.mostlyLost);
      if (life.stretches > 0) counts.fragmentations += static_cast<double>(life.stretches - 1);
    }
  }

 private:
  void match(std::size_t frame) {
    const auto truths = comparison.truths[frame];
    const auto tracks = comparison.tracks[frame];
    scores.reset(truths.size(), tracks.size());
    for (const Overlap& each : comparison.overlaps[frame]) {
      if (each.iou < kMatchingIou - kEpsilon) continue;
      const bool continues = lives[truths[each.truth]].trackBefore == tracks[each.track];
      scores.at(each.truth, each.track) = -((continues ? kContinuity : 0.0) + each.iou);
    }
    const std::vector<int>& columns = solver.solve(scores);
    for (std::size_t i = 0; i < truths.size(); ++i) {
      if (columns[i] == AssignmentSolver::kNone) continue;
      const auto column = static_cast<std::size_t>(columns[i]);
      if (!(scores.at(i, column) < -kEpsilon)) continue;
      matching.trackOfTruth[i] = columns[i];
      matching.truthOfTrack[column] = static_cast<int>(i);
    }
  }

  void take(const Overlap& match, std::size_t frame) {
    Life& life = lives[comparison.truths[frame][match.truth]];
    const std::size_t track = comparison.tracks[frame][match.track];
    if (life.lastTrack != kNobody && life.lastTrack != track) {
      ++counts.switches;
      matching.switches.push_back(match.truth);
    }
    life.lastTrack = track;
    ++life.timesFound;
    if (life.trackBefore == kNobody) ++life.stretches;
    ++counts.truePositives;
    --counts.falseNegatives;
    --counts.falsePositives;
    counts.overlapSum += match.iou;
  }

  /// Who was found by whom, for the next frame.
  void remember(Span<std::size_t> truths, Span<std::size_t> tracks) {
    for (const std::size_t identity : foundBefore) lives[identity].trackBefore = kNobody;
    foundBefore.clear();
    for (std::size_t i = 0; i < truths.size(); ++i) {
      const int track = matching.trackOfTruth[i];
      if (track == FrameMatching::kNone) continue;
      lives[truths[i]].trackBefore = tracks[static_cast<std::size_t>(track)];
      foundBefore.push_back(truths[i]);
    }
  }

  const Comparison& comparison;
  Clear& counts;
  std::vector<Life> lives;
  std::vector<std::size_t> foundBefore;  // identities whose `trackBefore` is somebody
  FrameMatching matching;
  AssignmentSolver solver;
  CostMatrix scores;
};

}  // namespace

Clear::Clear(const Comparison& comparison, std::vector<FrameMatching>* matchings) {
  Follower follower(comparison, *this);
  if (matchings != nullptr) matchings->clear();
  for (std::size_t frame = 0; frame < comparison.frameCount(); ++frame) {
    follower.follow(frame);
    if (matchings != nullptr) matchings->push_back(follower.result());
  }
  follower.finish();
  // So it is published: the frames of a sequence in which there is nothing to match don't count.
  const bool isEmpty = comparison.truthBoxes() == 0 || comparison.trackBoxes() == 0;
  frames = isEmpty ? 0.0 : static_cast<double>(comparison.frameCount());
}

Clear& Clear::operator+=(const Clear& other) {
  for (const auto sum :
       {&Clear::truePositives, &Clear::falseNegatives, &Clear::falsePositives, &Clear::switches, &Clear::mostlyTracked,
        &Clear::partlyTracked, &Clear::mostlyLost, &Clear::fragmentations, &Clear::frames, &Clear::overlapSum}) {
    this->*sum += other.*sum;
  }
  return *this;
}

double Clear::mota() const { return (truePositives - falsePositives - switches) / std::max(1.0, truthBoxes()); }
double Clear::motp() const { return overlapSum / std::max(1.0, truePositives); }
double Clear::moda() const { return (truePositives - falsePositives) / std::max(1.0, truthBoxes()); }
double Clear::smota() const { return (overlapSum - falsePositives - switches) / std::max(1.0, truthBoxes()); }
double Clear::motal() const {
  const double penalty = switches > 0.0 ? std::log10(switches) : 0.0;
  return (truePositives - falsePositives - penalty) / std::max(1.0, truthBoxes());
}
double Clear::recall() const { return truePositives / std::max(1.0, truthBoxes()); }
double Clear::precision() const { return truePositives / std::max(1.0, truePositives + falsePositives); }
double Clear::f1() const {
  return truePositives / std::max(1.0, truePositives + 0.5 * falseNegatives + 0.5 * falsePositives);
}
double Clear::falsePositivesPerFrame() const { return falsePositives / std::max(1.0, frames); }
double Clear::shareOfMostlyTracked() const { return shareOf(mostlyTracked); }
double Clear::shareOfPartlyTracked() const { return shareOf(partlyTracked); }
double Clear::shareOfMostlyLost() const { return shareOf(mostlyLost); }
double Clear::shareOf(double identities) const {
  return identities / std::max(1.0, mostlyTracked + partlyTracked + mostlyLost);
}

}  // namespace nivra::hostkit
