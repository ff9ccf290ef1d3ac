#pragma once

#include <vector>

#include "hostkit/evaluation/clear.h"
#include "hostkit/evaluation/hota.h"
#include "hostkit/evaluation/identityMetrics.h"

namespace nivra::hostkit {

/// How well tracks agree with the truth, of one sequence or of several together.
struct Figures {
  Figures& operator+=(const Figures& other);

  Hota hota;
  Clear clear;
  IdentityMetrics identity;
};

Figures evaluate(const Truth& truth, const TrackFrames& tracks);

/// What became of every box: `evaluate`'s own matching at an overlap of 0.5, with positions as in the frames that the
/// truth was made of and in `tracks`. Boxes that don't count are `FrameMatching::kNotCounted`.
std::vector<FrameMatching> matchBoxes(const Truth& truth, const TrackFrames& tracks);

/// One of the figures by its name in publications.
struct FigureName {
  enum class Kind { count, fraction, amount };

  const char* group;    // HOTA, CLEAR or Identity
  const char* name;     // within all groups
  const char* heading;  // short
  Kind kind;
  bool isShown;  // in tables, which have no room for all
  double (*of)(const Figures& figures);
};

/// All that are a single number; those of HOTA are means over its thresholds, or with "(0)" the value at the first one.
const std::vector<FigureName>& figureNames();

struct CurveName {
  const char* name;
  bool isCount;
  Hota::PerThreshold (*of)(const Figures& figures);
};

/// Those of HOTA that have a value at each threshold.
const std::vector<CurveName>& curveNames();

}  // namespace nivra::hostkit
