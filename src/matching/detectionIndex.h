#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "core/detectionRange.h"
#include "core/labelTable.h"
#include "matching/pointGrid.h"
#include "nivra/geometry.h"

namespace nivra {

/// The detections of a frame, to be found by label and place. Keeps its memory from frame to frame.
class DetectionIndex {
 public:
  explicit DetectionIndex(const LabelAssociations& associations) : labels(associations) {}

  const LabelTable& getLabels() const { return labels; }
  std::uint32_t labelNumberOf(std::uint32_t detection) const { return labelNumbers[detection]; }

  /// @param placeOf Gives the place of a detection, or nothing for one that is to be found in every window. A detection
  ///   whose place is not a number is found in none.
  template <class PlaceOf>
  void fill(DetectionRange detections, PlaceOf placeOf) {
    labelNumbers.clear();
    placeless.clear();
    grid.begin(detections.size());
    for (std::uint32_t i = 0; i < detections.size(); ++i) {
      const bool isAsBefore = i > 0 && areEqual(detections[i].label, detections[i - 1].label);
      labelNumbers.push_back(isAsBefore ? labelNumbers.back() : labels.numberOf(detections[i].label));
      if (const std::optional<Point> place = placeOf(i)) {
        grid.add(i, place->x, place->y);
      } else {
        placeless.push_back(i);
      }
    }
    grid.build();
  }

  /// Calls visit(i), in no particular order, for the detections in the window that a track of the given label may take.
  /// @param label Number of the label.
  template <class Visit>
  void visitAdmissible(std::uint32_t label, const Window& window, Visit visit) {
    const LabelTable::Admissible admissible = labels.admissibleTo(label);
    const auto visitIfAdmissible = [&](std::uint32_t i) {
      if (admissible.contains(labelNumbers[i])) visit(i);
    };
    for (const std::uint32_t i : grid.find(window)) visitIfAdmissible(i);
    for (const std::uint32_t i : placeless) visitIfAdmissible(i);
  }

 private:
  LabelTable labels;
  std::vector<std::uint32_t> labelNumbers;
  std::vector<std::uint32_t> placeless;
  PointGrid grid;
};

}  // namespace nivra
