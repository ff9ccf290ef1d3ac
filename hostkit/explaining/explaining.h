#pragma once

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "hostkit/evaluation/figures.h"
#include "hostkit/evaluation/inputs.h"
#include "hostkit/evaluation/preprocessing.h"
#include "hostkit/explaining/telling.h"
#include "hostkit/tracking/tracking.h"

namespace nivra::hostkit {

/// What is to be explained of an input. If nothing is chosen, that is every identity that began near a track which
/// existed, or where one had just ended.
struct ExplainOptions {
  TrackOptions track;                          // whose one input can be read again and again
  std::string camera;                          // which one; may be empty where there is but one
  std::optional<int> id;                       // the life of this identity
  std::optional<int> frame;                    // all that happened in this frame, from 1
  std::optional<std::size_t> worst;            // so many decisions, those with the smallest margin first
  IdentityInput truth;                         // the identity switches by this truth, if it is given
  std::optional<Preprocessing> preprocessing;  // what the truth is made for, if not given
};

/// What an input comes to with one set of parameters.
struct Totals {
  std::size_t identities = 0;
  std::optional<Figures> figures;  // if there is truth
};

/// What one other value of a parameter does to a decision, found out by running again with it.
struct Check {
  std::string parameter;
  std::string value;
  bool turnsAround = false;  // whether the decision is the opposite, where the two are still the same
  Totals totals;
};

struct Explained : Told {
  std::optional<Check> check;  // of the one parameter that would have changed it
};

struct Explanations {
  Totals totals;
  std::vector<Explained> told;
  std::optional<FrameReasons> reasons;  // all that was told of the frame that was asked for
  std::size_t badRecords = 0;           // of the input, which were passed over
  bool leftUnchecked = false;           // some decisions, behind a hundred runs
};

/// Tracks an input, explains what was chosen, and checks what other values of parameters would have changed.
/// @param err Takes warnings.
/// @throws FileError for inputs that cannot be read, UsageError for those that can't be read twice, and where there is
/// no such identity, frame or camera.
Explanations explain(const ExplainOptions& options, const TrackerRecipe& recipe, std::ostream& err);

/// What a check found out, as a sentence.
std::string inWords(const Check& check, const Totals& before);

}  // namespace nivra::hostkit
