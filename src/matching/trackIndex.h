#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "matching/pointGrid.h"
#include "nivra/geometry.h"

namespace nivra {

/// The tracks of a frame, to be found by a detection's place: the counterpart of `DetectionIndex`, needed in crushes
/// alone. Keeps its memory from frame to frame.
class TrackIndex {
 public:
  void clear() { windows.clear(); }
  bool isEmpty() const { return windows.empty(); }

  /// Adds a track, which `visit` names by its position in the order of adding.
  /// @param window Where its detections lie.
  void add(const Window& window) { windows.push_back(window); }

  /// Comes after the last `add` and before the first `visit`.
  void build() {
    // One track that reaches far would widen the search for all, so those that do are looked at one by one.
    constexpr float kFar = 4.0F;  // times the mean
    float meanWidth = 0.0F;
    float meanHeight = 0.0F;
    const float share = 1.0F / static_cast<float>(windows.size());
    for (const Window& window : windows) {
      if (!std::isfinite(window.halfWidth) || !std::isfinite(window.halfHeight)) continue;
      meanWidth += window.halfWidth * share;
      meanHeight += window.halfHeight * share;
    }
    widest = 0.0F;
    highest = 0.0F;
    far.clear();
    grid.begin(windows.size());
    for (std::uint32_t i = 0; i < windows.size(); ++i) {
      const Window& window = windows[i];
      if (!(window.halfWidth <= kFar * meanWidth && window.halfHeight <= kFar * meanHeight)) {
        far.push_back(i);
        continue;
      }
      widest = std::max(widest, window.halfWidth);
      highest = std::max(highest, window.halfHeight);
      grid.add(i, window.center.x, window.center.y);
    }
    grid.build();
  }

  /// Calls visit(i), in no particular order, for the tracks whose window holds the place.
  template <class Visit>
  void visit(const Point& place, Visit visitTrack) {
    const auto visitIfHeld = [&](std::uint32_t i) {
      const auto& [windowCenter, halfWidth, halfHeight] = windows[i];
      if (std::abs(place.x - windowCenter.x) <= halfWidth && std::abs(place.y - windowCenter.y) <= halfHeight) {
        visitTrack(i);
      }
    };
    for (const std::uint32_t i : grid.find({place, widest, highest})) visitIfHeld(i);
    for (const std::uint32_t i : far) visitIfHeld(i);
  }

 private:
  std::vector<Window> windows;
  std::vector<std::uint32_t> far;
  PointGrid grid;
  float widest = 0.0F;  // of the half sizes in the grid
  float highest = 0.0F;
};

}  // namespace nivra
