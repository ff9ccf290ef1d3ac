#pragma once

#include <cstdint>

#include "core/hearing.h"
#include "nivra/reid/objectTrack.h"
#include "nivra/trackerParams.h"

/// What becomes of a re-identification track by its ages.
namespace nivra::reid {

/// All that it depends on. Times are nanoseconds.
struct ObjectTrack::Life {
  TrackState state;
  std::uint64_t created;
  std::uint64_t predicted;
  std::uint64_t updated;  // took its last detection
  std::uint64_t reviveAttempts;
  std::uint64_t featureCount;
};

using Life = ObjectTrack::Life;

/// The state after a detection at `now`.
template <class Hear>
TrackState stateWithDetection(const Life& life, std::uint64_t now, const TrackerParams& params, Hear&& hear) {
  if (life.state == TrackState::Inactive) return TrackState::ConfidentId;
  if (life.state != TrackState::Tentative) return life.state;
  const std::uint64_t age = now - life.created;
  const std::uint64_t limit = params.minTimeBeforeConfident;
  return hear(Rule::confirmationAge, age, limit, age >= limit) ? TrackState::Confident : life.state;
}

/// Whether a confident track is so young that it ends soon without detections.
template <class Hear>
bool isYoung(const Life& life, const TrackerParams& params, Hear&& hear) {
  const std::uint64_t age = life.updated - life.created;
  const std::uint64_t limit = params.minTimeBeforeConfidentId;
  return hear(Rule::youth, age, limit, age < limit);
}

/// The state after a frame without detection at `now`.
template <class Hear>
TrackState stateWithoutDetection(const Life& life, std::uint64_t now, const TrackerParams& params, Hear&& hear) {
  const auto isWithin = [&, age = now - life.updated](Rule rule, std::uint64_t limit) {
    return hear(rule, age, limit, age <= limit);
  };
  const auto keptIf = [&](bool isKept) { return isKept ? life.state : TrackState::Expired; };
  if (life.state == TrackState::Inactive) {
    const std::uint64_t limit = params.maxReviveAttempts;
    const bool hasAttempts = hear(Rule::reviveAttempts, life.reviveAttempts, limit, life.reviveAttempts < limit);
    return keptIf((hasAttempts || isWithin(Rule::dynamicReviveAge, params.maxDynamicReviveAge)) &&
                  isWithin(Rule::reviveAge, params.maxReviveAge));
  }
  if (!isWithin(Rule::expiryAge, params.expiryAge)) return TrackState::Expired;
  switch (life.state) {
    case TrackState::Tentative:
      return keptIf(isWithin(Rule::tentativeAge, params.maxTentativeAge));
    case TrackState::Confident:
      return keptIf(!isYoung(life, params, hear) || isWithin(Rule::youngAge, params.maxConfidentAge));
    case TrackState::ConfidentId:
      return isWithin(Rule::activeAge, params.inactiveAge) ? life.state : TrackState::Inactive;
    case TrackState::Inactive:
    case TrackState::Expired:
      break;
  }
  return life.state;
}

/// Whether a track may get an identity of its own, or revive a lost one.
template <class Hear>
bool isOldEnough(const Life& life, std::uint64_t now, const TrackerParams& params, Hear&& hear) {
  if (life.state != TrackState::Confident || life.updated != now) return false;
  const std::uint64_t age = now - life.created;
  const std::uint64_t leastAge = params.minTimeBeforeConfidentId;
  const std::uint64_t leastFeatures = params.minConfidentFeatureVectors;
  const bool isAged = hear(Rule::identityAge, age, leastAge, age >= leastAge);
  return hear(Rule::identityFeatures, life.featureCount, leastFeatures, life.featureCount >= leastFeatures) && isAged;
}

}  // namespace nivra::reid
