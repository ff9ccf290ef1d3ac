#pragma once

/// @file
/// How trackers list the pairs that may be matched.

#include "nivra/objectDetection.h"

namespace nivra {

/// One admissible pairing of a track with a detection. Points at the tracker's own track, until the tracker starts or
/// removes one, and at the detection that it was handed.
template <class Track>
struct AssociationCandidate {
  Track* track;                      ///< The track that would take the detection.
  const ObjectDetection* detection;  ///< The detection.
  float cost;                        ///< The lower, the better the fit; each tracker says what it is.
};

}  // namespace nivra
