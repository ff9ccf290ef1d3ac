#pragma once

/// @file
/// Why a tracker did with a frame what it did: the rules that decided, their figures and their limits.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nivra/export.h"

namespace nivra {

/// What a figure was compared for. A rule holds when its figure keeps to the limit, in the way that is told here.
enum class Rule : std::int32_t {
  // Whether a track may take a detection:
  label,             ///< 0 if the associations admit the detection's label to the track, else 1; at most 0.
  horizontalOffset,  ///< Of the centres, in the smaller width of the two; at most `widthFactorGating`.
  personOffset,      ///< The same for people in front of rare frames; at most a constant.
  verticalOffset,    ///< Of the centres, in the smaller height of the two; at most `heightFactorGating`.
  widthChange,       ///< |detection width / track width - 1|; at most `widthRelativeDiffGating`.
  heightChange,      ///< The same of the heights; at most `heightRelativeDiffGating`.
  filterDistance,    ///< Squared, of centre and size from the prediction, in variances; at most a constant.
  edgeDistance,      ///< Mahalanobis distance of the edges from the prediction; at most `mahalanobisLimit`.
  overlapDistance,   ///< 1 - IoU; at most `maxIouDistance`.
  featureDistance,   ///< Least cosine distance from the track's gallery; at most `maxFeatureDistance`.

  // Which of two pairs that passed all these came first. They are told of the pair that lost, and so never hold; the
  // limit is what the pair had that won.
  turn,   ///< 0 for tracks with the surest state, more for others, and again more for detections in between.
  cost,   ///< Minus the likelihood, or the weighted distances.
  order,  ///< Positions, of the tracks or of the detections, where the costs are equal.

  // Whether a detection lies between two others:
  objectnessMargin,  ///< By which the objectness is below both neighbours'; at least `inbetweenIouScoreMargin`.
  neighbourAngle,    ///< Cosine between the ways to the neighbours; at most `inbetweenAngleThreshold`.

  // Whether a track takes the place of a lost one (which must pass `edgeDistance`, too):
  sameLabel,        ///< 0 if both have one label, else 1; at most 0.
  absence,          ///< Nanoseconds from the lost track's last detection to the other's first; above 0.
  galleryDistance,  ///< The `reviveQuantile` of the distances of their features; at most `maxReviveFeatureDistance`.

  // What becomes of a track; ages are nanoseconds.
  survival,          ///< Smoothed log-likelihood, which keeps a track; at least `expirationLikelihoodThreshold`.
  confidence,        ///< The same, which has it reported as confident; at least `confidentLikelihoodThreshold`.
  confirmation,      ///< The same, which ends being tentative; above `confidentLikelihoodThreshold`.
  confirmationAge,   ///< Since the track began, to be confident; at least `minTimeBeforeConfident`.
  identityAge,       ///< The same, to have an identity of its own; at least `minTimeBeforeConfidentId`.
  identityFeatures,  ///< Vectors in the gallery, likewise; at least `minConfidentFeatureVectors`.
  tentativeAge,      ///< Without detection; at most `maxTentativeAge`, or the track ends.
  youth,             ///< From first to last detection; below `minTimeBeforeConfidentId`, `youngAge` counts.
  youngAge,          ///< Without detection; at most `maxConfidentAge`, or the track ends.
  expiryAge,         ///< Without detection; at most `expiryAge`, or the track ends.
  activeAge,         ///< Without detection; at most `inactiveAge`, or the track is lost.
  reviveAttempts,    ///< Comparisons of a lost track; below `maxReviveAttempts`, `dynamicReviveAge` doesn't count.
  dynamicReviveAge,  ///< Without detection; at most `maxDynamicReviveAge`, or the lost track ends.
  reviveAge,         ///< Without detection; at most `maxReviveAge`, or the lost track ends.
};

/// What a rule said.
struct Verdict {
  Rule rule;              ///< What was compared for what.
  bool holds;             ///< Whether the figure keeps to the limit.
  double figure;          ///< In the unit that the rule tells.
  double limit;           ///< Likewise.
  const char* parameter;  ///< That sets the limit, such as "vanilla.widthFactorGating"; empty where none does.
};

/// The value of its parameter nearest to the limit with which a verdict would have been the opposite, as text for
/// `makeTracker`; empty where no value does that.
NIVRA_EXPORT std::string flippingValue(const Verdict& verdict);

/// What became of two that might have gone together.
struct Decision {
  /// What it may have come to.
  enum class Outcome {
    refused,  ///< By the rules that don't hold.
    outbid,   ///< It passed, but one of the two went with somebody else; the last verdict tells by what.
    matched,  ///< They went together.
  };

  /// What it came to.
  Outcome outcome = Outcome::refused;
  /// In the order in which they count; the first that doesn't hold decided.
  std::vector<Verdict> verdicts;
  /// Of those that passed: what decides among them, the lower the better.
  std::optional<float> cost;
};

/// A track and a detection near enough to matter: their centres lie within three of their mean sizes, or no figure
/// exceeds three times its limit.
struct PairExplanation : Decision {
  /// Who it is about.
  struct Members {
    std::int32_t track = -1;    ///< Identity.
    std::size_t detection = 0;  ///< Position among the detections as `ObjectTracker::update` leaves them.
  };

  Members pair;   ///< The two.
  Members rival;  ///< The pair that won, if this one is outbid.
};

/// A lost track and one that has just got old enough to revive it.
struct RevivalExplanation : Decision {
  /// Who it is about.
  struct Members {
    std::int32_t lost = -1;   ///< Identity.
    std::int32_t young = -1;  ///< Likewise.
  };

  Members pair;   ///< The two.
  Members rival;  ///< The pair that won, if this one is outbid.
};

/// A detection that may lie between two others, which are its neighbours. It does if all verdicts hold.
struct InBetweenExplanation {
  std::size_t middle = 0;              ///< Position among the detections as `ObjectTracker::update` leaves them.
  std::size_t neighbours[2] = {0, 0};  ///< Likewise.
  std::vector<Verdict> verdicts;       ///< Of the neighbours that lie the farthest apart, as seen from it.
};

/// What a step of the frame made of a track.
struct TrackExplanation {
  /// What may become of a track.
  enum class Change {
    none,        ///< It goes on as it was.
    began,       ///< It started with a detection that nobody took.
    confirmed,   ///< It is reported as confident from now on.
    identified,  ///< Got an identity of its own, since it revives none.
    lost,        ///< Waits for somebody to revive it, and is not reported.
    revived,     ///< Goes on with what another track gathered.
    merged,      ///< Ended, as another track goes on with what it gathered.
    ended,       ///< It is gone.
  };

  std::int32_t track = -1;               ///< Identity.
  Change change = Change::none;          ///< What became of it.
  std::optional<std::int32_t> other;     ///< Identity of the other track, if revived or merged.
  std::optional<std::size_t> detection;  ///< That it took or began with, as in `PairExplanation`.
  std::vector<Verdict> verdicts;         ///< In the order in which they counted.
};

/// The verdict behind a change: of a track that ended or was lost, the last one that doesn't hold; of another one, that
/// which held only just.
NIVRA_EXPORT std::optional<Verdict> decisiveVerdict(const TrackExplanation& explanation);

/// @name As people read them
/// @{

/// With figure, limit and parameter: "width changed by 2.37 of itself, at most 1 (vanilla.widthRelativeDiffGating)".
NIVRA_EXPORT std::string inWords(const Verdict& verdict);
/// Those that don't hold, with semicolons between.
NIVRA_EXPORT std::string refusalsInWords(const std::vector<Verdict>& verdicts);
/// A sentence, with the verdicts that decided: "id 4 refused detection 7: width changed by ...".
NIVRA_EXPORT std::string inWords(const InBetweenExplanation& explanation);
NIVRA_EXPORT std::string inWords(const PairExplanation& explanation);     ///< Likewise.
NIVRA_EXPORT std::string inWords(const RevivalExplanation& explanation);  ///< Likewise.
NIVRA_EXPORT std::string inWords(const TrackExplanation& explanation);    ///< Likewise.
/// @}

/// @name As programs read them, such as "widthChange"
/// @{

NIVRA_EXPORT const char* nameOf(Rule rule);                        ///< Of a rule.
NIVRA_EXPORT const char* nameOf(Decision::Outcome outcome);        ///< Of an outcome.
NIVRA_EXPORT const char* nameOf(TrackExplanation::Change change);  ///< Of a change.
/// @}

/// Is told why a tracker does what it does; see `ObjectTracker::explainTo`. Every function does nothing unless a host
/// overrides it.
///
/// They run within the tracker's `update`, on its thread, and must not call the tracker. What they throw leaves
/// `update`, and the tracker is as after a frame that memory ran out in.
class NIVRA_EXPORT Explainer {
 public:
  Explainer() = default;
  Explainer(const Explainer&) = delete;
  Explainer& operator=(const Explainer&) = delete;
  virtual ~Explainer();

  /// @name In the order of a frame
  /// @{

  /// Detection by detection, where the test is on.
  virtual void explainInBetween(const InBetweenExplanation& explanation);
  /// Track by track, oldest first, within each by detection.
  virtual void explainPair(const PairExplanation& explanation);
  /// Lost track by lost track, for each that has just got old enough.
  virtual void explainRevival(const RevivalExplanation& explanation);
  /// Each track at least once a frame, and once for each of its changes.
  virtual void explainTrack(const TrackExplanation& explanation);
  /// @}
};

}  // namespace nivra
