#pragma once

#include <string>

#include "hostkit/evaluation/comparison.h"
#include "hostkit/formats/identities.h"

namespace nivra::hostkit {

/// What is done about people and things that need not be found, before tracks are compared with the truth.
enum class Preprocessing {
  none,   // boxes of the truth with confidence 0 are passed over
  mot17,  // and those that are no pedestrians (class 1); boxes on classes 2, 7, 8 and 12 are left out
  mot20,  // and those on class 6
};

/// @param option Its name in complaints.
/// @throws UsageError unless the text is none, mot17 or mot20.
Preprocessing parsePreprocessing(const std::string& option, const std::string& text);

const char* nameOf(Preprocessing preprocessing);

/// Whether the boxes of a truth have classes of the MOTChallenge, from 1 to 13.
bool hasPedestrianClasses(const IdentifiedSequence& truth);

/// The one that a truth is made for: none without classes.
Preprocessing usualPreprocessing(const IdentifiedSequence& truth);

TruthRole roleOf(const IdentifiedRow& row, Preprocessing preprocessing);

}  // namespace nivra::hostkit
