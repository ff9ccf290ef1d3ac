#include "hostkit/tracking/suppression.h"

#include <algorithm>

namespace nivra::hostkit {

namespace {

constexpr std::size_t kFewestBoxes = 8;  // fewer may lie on each other by chance
constexpr float kSameIou = 0.85F;        // beyond what a suppression leaves, mostly 0.5 to 0.7
constexpr float kTooLargeShare = 0.5F;

float areaOf(const Box& box) { return (box.right - box.left) * (box.top - box.bottom); }

bool lieOnEachOther(const ObjectDetection& a, const ObjectDetection& b) {
  const float width = std::min(a.box.right, b.box.right) - std::max(a.box.left, b.box.left);
  const float height = std::min(a.box.top, b.box.top) - std::max(a.box.bottom, b.box.bottom);
  if (!(width > 0.0F && height > 0.0F) || a.label != b.label) return false;
  const float shared = width * height;
  return shared >= kSameIou * (areaOf(a.box) + areaOf(b.box) - shared);
}

/// Near-identical boxes are neighbours by their left edges, and nearly all of them are found among few neighbours.
std::size_t countDuplicates(const std::vector<const ObjectDetection*>& fromLeft) {
  constexpr std::size_t kNeighbours = 8;
  std::vector<bool> isDuplicate(fromLeft.size());
  for (std::size_t i = 0; i < fromLeft.size(); ++i) {
    const std::size_t end = std::min(i + 1 + kNeighbours, fromLeft.size());
    for (std::size_t j = i + 1; j < end; ++j) {
      if (lieOnEachOther(*fromLeft[i], *fromLeft[j])) isDuplicate[i] = isDuplicate[j] = true;
    }
  }
  return static_cast<std::size_t>(std::count(isDuplicate.begin(), isDuplicate.end(), true));
}

}  // namespace

std::size_t SuppressionWatch::duplicatesAt(const std::vector<ObjectDetection>& detections) {
  if (framesToWatch == 0 || detections.size() < kFewestBoxes) return 0;
  --framesToWatch;
  order.clear();
  for (const ObjectDetection& each : detections) order.push_back(&each);
  std::sort(order.begin(), order.end(), [](const auto* a, const auto* b) { return a->box.left < b->box.left; });
  const std::size_t duplicates = countDuplicates(order);
  if (static_cast<float>(duplicates) < kTooLargeShare * static_cast<float>(detections.size())) return 0;
  framesToWatch = 0;
  return duplicates;
}

}  // namespace nivra::hostkit
