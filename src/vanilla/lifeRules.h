#pragma once

#include "core/hearing.h"
#include "nivra/trackerParams.h"

/// What becomes of a track by its smoothed observation log-likelihood. One that is not a number keeps a track, and has
/// it confident.
namespace nivra::vanilla {

template <class Hear>
bool survives(float likelihood, const TrackerParams& params, Hear&& hear) {
  const float limit = params.expirationLikelihoodThreshold;
  return hear(Rule::survival, likelihood, limit, !(likelihood < limit));
}

template <class Hear>
bool isConfident(float likelihood, const TrackerParams& params, Hear&& hear) {
  const float limit = params.confidentLikelihoodThreshold;
  return hear(Rule::confidence, likelihood, limit, !(likelihood < limit));
}

/// Whether a tentative track that took a detection is no longer tentative.
template <class Hear>
bool isConfirmed(float likelihood, const TrackerParams& params, Hear&& hear) {
  const float limit = params.confidentLikelihoodThreshold;
  return hear(Rule::confirmation, likelihood, limit, likelihood > limit);
}

}  // namespace nivra::vanilla
