#pragma once

#include <string>

#include "core/boxGeometry.h"
#include "nivra/attributeFilter.h"
#include "nivra/trackedObjectDetection.h"

namespace nivra {

/// The part of a report that all kinds of tracks fill alike: all but class hypotheses and confidence.
template <class BoxFilter>
TrackedObjectDetection beginReport(int id, const BoxFilter& boxFilter, float score, const std::string& label,
                                   const AttributeFilter& attributeFilter) {
  const Point velocity = boxFilter.getVelocity();
  TrackedObjectDetection report;
  report.id = id;
  report.box = clampedToPicture(boxFilter.getBox());
  report.velocityX = velocity.x;
  report.velocityY = velocity.y;
  report.score = score;
  report.label = label;
  report.attributes = attributeFilter.report();
  return report;
}

}  // namespace nivra
