#include "hostkit/evaluation/preprocessing.h"

#include <fmt/format.h>

#include <algorithm>

#include "hostkit/errors.h"

namespace nivra::hostkit {

namespace {

constexpr int kPedestrian = 1;
constexpr int kNonMotorisedVehicle = 6;
constexpr int kLastClass = 13;

/// People on vehicles, people who stand still, what looks like people, reflections.
constexpr int kDistractors[] = {2, 7, 8, 12};

bool isDistractor(int category, Preprocessing preprocessing) {
  return std::find(std::begin(kDistractors), std::end(kDistractors), category) != std::end(kDistractors) ||
         (preprocessing == Preprocessing::mot20 && category == kNonMotorisedVehicle);
}

}  // namespace

Preprocessing parsePreprocessing(const std::string& option, const std::string& text) {
  for (const auto each : {Preprocessing::none, Preprocessing::mot17, Preprocessing::mot20}) {
    if (text == nameOf(each)) return each;
  }
  throw UsageError(fmt::format("{} {}: expected auto, none, mot17 or mot20", option, text));
}

const char* nameOf(Preprocessing preprocessing) {
  switch (preprocessing) {
    case Preprocessing::mot17:
      return "mot17";
    case Preprocessing::mot20:
      return "mot20";
    default:
      return "none";
  }
}

bool hasPedestrianClasses(const IdentifiedSequence& truth) {
  return !truth.rows.empty() && std::all_of(truth.rows.begin(), truth.rows.end(), [](const IdentifiedRow& each) {
    return each.category != IdentifiedRow::kNone && each.category <= kLastClass;
  });
}

Preprocessing usualPreprocessing(const IdentifiedSequence& truth) {
  if (!hasPedestrianClasses(truth)) return Preprocessing::none;
  return truth.name.rfind("MOT20", 0) == 0 ? Preprocessing::mot20 : Preprocessing::mot17;
}

TruthRole roleOf(const IdentifiedRow& row, Preprocessing preprocessing) {
  const bool isCounted = row.confidence != 0.0;
  if (preprocessing == Preprocessing::none) return isCounted ? TruthRole::counted : TruthRole::passedOver;
  if (isDistractor(row.category, preprocessing)) return TruthRole::distractor;
  return isCounted && row.category == kPedestrian ? TruthRole::counted : TruthRole::passedOver;
}

}  // namespace nivra::hostkit
