// A host that compiles for wider vectors than the library was built for: classes that hold matrices must have the
// same layout on both sides, by value and in containers.

#include <cmath>
#include <cstdio>
#include <vector>

#include "nivra/nivra.h"

int main() {
  nivra::ParameterMap none;
  const nivra::reid::TrackerParams params = nivra::parseReidParameters(none, 1.5F);
  nivra::ObjectDetection detection;
  detection.box = {-0.1F, 0.2F, 0.1F, -0.2F};
  detection.label = "human";
  detection.feature = {1.0F, 0.0F};

  std::vector<nivra::reid::ObjectTrack> tracks;
  std::vector<nivra::KalmanBoxFilter4D> filters;
  for (int i = 0; i < 9; ++i) {  // reallocates: copies are made by this side's code
    tracks.emplace_back(detection, i, 0ULL, params);
    filters.emplace_back(detection.box, params.kalmanParams);
  }
  for (nivra::KalmanBoxFilter4D& filter : filters) {
    filter.predict(0.04F);
    filter.update(detection.box);
  }
  const nivra::KalmanBoxFilter4D copy = filters.back();
  const auto noise = copy.getScaledR();
  const auto expected = filters.front().getInnovationCovariance();
  const auto same = copy.getInnovationCovariance();
  const bool agrees = (expected - same).norm() == 0.0F && noise(3, 3) > 8.9F * noise(1, 1) &&
                      std::abs(copy.getBox().left - detection.box.left) < 1e-6F &&
                      tracks.back().computeMinDistance(*detection.feature) == 0.0F;
  if (!agrees) std::puts("host and library disagree on the layout of a class");
  return agrees ? 0 : 1;
}
