#pragma once

/// @file
/// What the host hands to a tracker, once per frame.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nivra/geometry.h"

namespace nivra {

/// One class hypothesis.
struct Classification {
  std::string label;   ///< Class label, for example "human" or "truck".
  float score = 0.0F;  ///< Confidence of that class, percent (0 to 100).
};

/// One scored value of one attribute, for example "upper clothing: red, 80 %".
///
/// What the numbers stand for is the host's business; the library only tells them apart.
struct AttributeClassification {
  std::int32_t attributeType = 0;   ///< Which attribute.
  std::int32_t attributeValue = 0;  ///< Which value of that attribute.
  float score = 0.0F;               ///< Score of that value, in the host's own unit.
};

/// One detection of one frame.
struct ObjectDetection {
  Box box;             ///< Detected box; may reach beyond the picture.
  float score = 0.0F;  ///< Confidence of `label`, percent (0 to 100).
  /// The detector's best class. A new track starts with this label, and the label-association map decides
  /// on it which tracks may take the detection.
  std::string label;
  std::vector<AttributeClassification> attributes;  ///< Attribute scores, any number.
  std::vector<Classification> classifications;      ///< All class hypotheses; may be empty.
  /// Appearance feature vector for re-identification, all of one length in one installation. Only the
  /// re-identification tracker reads it. A detector that gives none leaves this without value: an empty vector is a
  /// feature that resembles nothing.
  std::optional<std::vector<float>> feature;
  /// Objectness, percent (0 to 100); 0 or less means that the detector gives none.
  float objectness = 0.0F;
  /// Chosen by the host to name the detection; reported as `internal::DebugTrack::lastDetectionId`.
  std::int32_t id = 0;
  /// Marks a detection that lies between two others. The re-identification tracker sets it.
  bool inbetween = false;
};

}  // namespace nivra
