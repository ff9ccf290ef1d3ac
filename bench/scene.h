#pragma once

#include <cstddef>
#include <vector>

#include "hostkit/worlds/crowd.h"
#include "nivra/nivra.h"

namespace nivra::bench {

using hostkit::CrowdSettings;
using hostkit::Random;
using Detections = std::vector<ObjectDetection>;  // of one frame

constexpr unsigned long long kFrameDuration = 40'000'000;  // ns, 25 frames per second
constexpr float kAspectRatio = 16.0F / 9.0F;

/// People take people, cars take cars.
inline const LabelAssociations& labelAssociations() {
  static const LabelAssociations associations = {{"human", {"human"}}, {"car", {"car"}}};
  return associations;
}

inline std::vector<Detections> framesOf(const CrowdSettings& settings, std::size_t count = 200) {
  hostkit::Crowd crowd(settings);
  std::vector<Detections> frames;
  while (frames.size() < count) frames.push_back(crowd.nextFrame());
  return frames;
}

/// The frames again and again, forward and backward, so that there is no jump between passes.
class Playback {
 public:
  explicit Playback(const std::vector<Detections>& playedFrames) : frames(playedFrames) {}

  std::size_t passLength() const { return 2 * (frames.size() - 1); }
  const Detections& operator[](std::size_t step) const {
    const std::size_t position = step % passLength();
    return frames[position < frames.size() ? position : passLength() - position];
  }

 private:
  const std::vector<Detections>& frames;
};

}  // namespace nivra::bench
