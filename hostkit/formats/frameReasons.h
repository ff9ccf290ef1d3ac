#pragma once

#include <string_view>
#include <vector>

#include "hostkit/formats/frame.h"
#include "hostkit/text/textBuffer.h"
#include "nivra/nivra.h"

namespace nivra::hostkit {

/// All that a tracker explains of a frame. Detections are told by their `id`, which is their position in the input.
struct FrameReasons {
  std::vector<InBetweenExplanation> inBetweens;
  std::vector<PairExplanation> pairs;
  std::vector<RevivalExplanation> revivals;
  std::vector<TrackExplanation> tracks;

  void clear();
  /// Turns positions among the detections, as the tracker left them, into their ids.
  void nameDetections(const std::vector<ObjectDetection>& detections);
};

/// Keeps what it is told; of pairs no more than a frame is worth, since boxes that all lie in one place have as many as
/// there are boxes squared.
class ReasonKeeper final : public Explainer {
 public:
  /// @param target Takes what comes from now on; null for none.
  void keepIn(FrameReasons* target) { reasons = target; }

  void explainInBetween(const InBetweenExplanation& explanation) override;
  void explainPair(const PairExplanation& explanation) override;
  void explainRevival(const RevivalExplanation& explanation) override;
  void explainTrack(const TrackExplanation& explanation) override;

 private:
  static constexpr std::size_t kMostPairs = 200'000;

  FrameReasons* reasons = nullptr;
};

/// Append what programs read.
void appendVerdict(TextBuffer& json, const Verdict& verdict);
void appendReasons(TextBuffer& json, const FrameReasons& reasons);

}  // namespace nivra::hostkit
