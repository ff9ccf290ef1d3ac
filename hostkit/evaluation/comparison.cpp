#include "hostkit/evaluation/comparison.h"

#include <algorithm>
#include <limits>
#include <unordered_map>

#include "hostkit/evaluation/assignment.h"
#include "hostkit/evaluation/thresholds.h"

namespace nivra::hostkit {

namespace {

/// Numbers identities from 0, in the order in which they are seen.
template <class Identity>
class Numbering {
 public:
  std::size_t of(Identity identity) { return numbers.try_emplace(identity, numbers.size()).first->second; }
  std::size_t size() const { return numbers.size(); }

 private:
  std::unordered_map<Identity, std::size_t> numbers;
};

void count(std::vector<std::size_t>& lengths, std::size_t identity) {
  if (identity >= lengths.size()) lengths.resize(identity + 1);
  ++lengths[identity];
}

}  // namespace

Truth::Corners Truth::cornersOf(const PixelBox& box) {
  Corners corners{box.left, box.top, box.left + box.width, box.top + box.height};
  corners.area = (corners.right - corners.left) * (corners.bottom - corners.top);
  return corners;
}

double Truth::iou(const Corners& a, const Corners& b) {
  const double width = std::min(a.right, b.right) - std::max(a.left, b.left);
  if (!(width > 0.0)) return 0.0;
  const double height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
  if (!(height > 0.0)) return 0.0;
  if (a.area <= kEpsilon || b.area <= kEpsilon) return 0.0;
  const double intersection = width * height;
  return intersection / (a.area + b.area - intersection);
}

Truth::Truth(const TruthFrames& frames) {
  Numbering<std::int64_t> numbering;
  for (const std::vector<TruthBox>& frame : frames) {
    bool anyDistractor = false;
    for (const auto& [identified, role] : frame) {
      Box box{cornersOf(identified.box), role};
      if (role == TruthRole::counted) count(lengths, box.identity = numbering.of(identified.identity));
      anyDistractor = anyDistractor || role == TruthRole::distractor;
      boxes.add(box);
    }
    boxes.endRow();
    hasDistractors.push_back(anyDistractor);
  }
}

/// Compares frame by frame.
class Comparer {
 public:
  explicit Comparer(const Truth& comparedTruth) : truth(comparedTruth) { result.truthLengths = truth.lengths; }

  /// @return Which boxes of the tracks were left out.
  const std::vector<bool>& take(std::size_t frame, const std::vector<IdentifiedBox>& tracks) {
    const bool isWithin = frame < truth.frameCount();
    const auto boxes = isWithin ? truth.boxes[frame] : Span<Truth::Box>();
    const bool hasDistractors = isWithin && truth.hasDistractors[frame];
    findOverlaps(boxes, tracks, hasDistractors);
    leftOut.assign(tracks.size(), false);
    if (hasDistractors && !found.empty()) leaveOutDistractors(boxes, tracks.size());
    addTruths(boxes);
    addTracks(tracks);
    addOverlaps();
    return leftOut;
  }

  Comparison finish() { return std::move(result); }

 private:
  using Found = Overlap;  // by the positions among all boxes

  /// @param withAll Or only with those that are counted.
  void findOverlaps(Span<Truth::Box> boxes, const std::vector<IdentifiedBox>& tracks, bool withAll) {
    trackCorners.clear();
    for (const IdentifiedBox& each : tracks) trackCorners.push_back(Truth::cornersOf(each.box));
    found.clear();
    for (std::size_t i = 0; i < boxes.size(); ++i) {
      if (!withAll && boxes[i].role != TruthRole::counted) continue;
      const Truth::Corners corners = boxes[i].corners;
      for (std::size_t j = 0; j < trackCorners.size(); ++j) {
        const double iou = Truth::iou(corners, trackCorners[j]);
        if (iou > 0.0) found.push_back({i, j, 0, iou});
      }
    }
  }

  void leaveOutDistractors(Span<Truth::Box> boxes, std::size_t trackCount) {
    costs.reset(boxes.size(), trackCount);
    for (const Found& each : found) {
      if (each.iou >= kMatchingIou - kEpsilon) costs.at(each.truth, each.track) = -each.iou;
    }
    const std::vector<int>& columns = solver.solve(costs);
    for (std::size_t i = 0; i < boxes.size(); ++i) {
      if (boxes[i].role != TruthRole::distractor || columns[i] == AssignmentSolver::kNone) continue;
      const auto column = static_cast<std::size_t>(columns[i]);
      if (costs.at(i, column) < -kEpsilon) leftOut[column] = true;
    }
  }

  void addTruths(Span<Truth::Box> boxes) {
    truthPositions.clear();
    std::size_t position = 0;
    for (const Truth::Box& each : boxes) {
      const bool isCounted = each.role == TruthRole::counted;
      truthPositions.push_back(isCounted ? position++ : kNowhere);
      if (isCounted) result.truths.add(each.identity);
    }
    result.truths.endRow();
  }

  void addTracks(const std::vector<IdentifiedBox>& tracks) {
    trackPositions.clear();
    std::size_t position = 0;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
      trackPositions.push_back(leftOut[i] ? kNowhere : position++);
      if (leftOut[i]) continue;
      const std::size_t identity = trackNumbers.of(tracks[i].identity);
      count(result.trackLengths, identity);
      result.tracks.add(identity);
    }
    result.tracks.endRow();
  }

  void addOverlaps() {
    const std::size_t frame = result.overlaps.size();
    const auto truths = result.truths[frame];
    const auto tracks = result.tracks[frame];
    for (const Found& each : found) {
      const std::size_t i = truthPositions[each.truth];
      const std::size_t j = trackPositions[each.track];
      if (i == kNowhere || j == kNowhere) continue;
      result.overlaps.add({i, j, pairOf(truths[i], tracks[j]), each.iou});
    }
    result.overlaps.endRow();
  }

  std::size_t pairOf(std::size_t truthIdentity, std::size_t track) {
    const std::size_t pair = pairNumbers.of(std::uint64_t{truthIdentity} << 32U | track);
    if (pair == result.pairs.size()) result.pairs.push_back({truthIdentity, track});
    return pair;
  }

  static constexpr std::size_t kNowhere = std::numeric_limits<std::size_t>::max();

  const Truth& truth;
  Comparison result;
  Numbering<std::int64_t> trackNumbers;
  Numbering<std::uint64_t> pairNumbers;
  AssignmentSolver solver;
  CostMatrix costs;

  // Of the frame.
  std::vector<Truth::Corners> trackCorners;
  std::vector<Found> found;
  std::vector<bool> leftOut;
  std::vector<std::size_t> truthPositions;  // among those that are counted
  std::vector<std::size_t> trackPositions;  // among those that are not left out
};

Comparison Truth::compare(const TrackFrames& tracks, std::vector<std::vector<bool>>* leftOut) const {
  static const std::vector<IdentifiedBox> kNobody;
  Comparer comparer(*this);
  if (leftOut != nullptr) leftOut->clear();
  for (std::size_t frame = 0; frame < std::max(frameCount(), tracks.size()); ++frame) {
    const auto& boxesLeftOut = comparer.take(frame, frame < tracks.size() ? tracks[frame] : kNobody);
    if (leftOut != nullptr) leftOut->push_back(boxesLeftOut);
  }
  return comparer.finish();
}

}  // namespace nivra::hostkit
