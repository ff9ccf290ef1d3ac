#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/detectionRange.h"
#include "matching/greedyMatching.h"
#include "nivra/explanation.h"
#include "nivra/reid/objectTrack.h"
#include "nivra/trackerParams.h"
#include "reid/frameMatching.h"
#include "reid/inbetweenSearch.h"

namespace nivra::reid {

/// Goes along with the steps of a frame of the re-identification tracker, and tells the host why they end as they do.
/// All but `explainStart` come behind a choice, before the tracks take it in.
class ReidExplaining {
 public:
  explicit ReidExplaining(const TrackerParams& trackerParams) : params(trackerParams) {}

  void tell(Explainer* newExplainer) { explainer = newExplainer; }

  void explainInbetween(DetectionRange detections, InbetweenSearch& search, float aspect);

  /// @param tracks The active ones.
  /// @param isInbetween By detection.
  void explainMatching(const std::vector<ObjectTrack*>& tracks, DetectionRange detections,
                       const std::vector<char>& isInbetween, const DetectionMatching& matching);
  void explainActive(const std::vector<ObjectTrack*>& tracks, const DetectionMatching& matching,
                     unsigned long long timestamp);

  /// @param tracks All of them, of which those that took a detection may be pending.
  /// @param revivals Of inactive by pending ones.
  void explainRevivals(const std::vector<ObjectTrack>& tracks, const std::vector<ObjectTrack*>& inactive,
                       const std::vector<ObjectTrack*>& pending, const GreedyMatching& revivals,
                       unsigned long long timestamp);

  void explainStart(const ObjectTrack& track, std::size_t detection);

 private:
  void explainPair(const std::vector<ObjectTrack*>& tracks, DetectionRange detections,
                   const std::vector<char>& isInbetween, const DetectionMatching& matching,
                   const GreedyMatching::Pair& pair, bool isAdmissible);
  void explainYoung(const ObjectTrack& track, const ObjectTrack* lost, unsigned long long timestamp);
  void explainLost(const ObjectTrack& track, const ObjectTrack* young, unsigned long long timestamp);

  const TrackerParams& params;
  Explainer* explainer = nullptr;
};

}  // namespace nivra::reid
