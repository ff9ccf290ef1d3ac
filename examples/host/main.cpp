// A host in one page: a person walks through the picture, the detector misses a frame now and then, and the
// tracker reports one identity throughout.

#include <cstdio>
#include <memory>
#include <vector>

#include "nivra/nivra.h"

int main() {
  const nivra::LabelAssociations labels = {{"human", {"human"}}};
  const float aspectRatio = 16.0F / 9.0F;
  const std::unique_ptr<nivra::ObjectTracker> tracker =
      nivra::makeTracker(0, {{"vanilla.scoreAbsorption", "0.1"}}, labels, aspectRatio);

  for (int frame = 0; frame < 50; ++frame) {
    const unsigned long long timestamp = 40'000'000ULL * static_cast<unsigned long long>(frame);  // 25 per second

    std::vector<nivra::ObjectDetection> detections;
    if (frame % 10 != 9) {
      nivra::ObjectDetection person;
      const float left = -0.8F + 0.02F * static_cast<float>(frame);
      person.box = {left, 0.3F, left + 0.15F, -0.4F};  // left, top, right, bottom; y grows upward
      person.label = "human";
      person.score = 90.0F;
      person.classifications = {{"human", 90.0F}};
      person.id = frame;
      detections.push_back(person);
    }

    tracker->update(detections, timestamp);
    for (const nivra::TrackedObjectDetection& track : tracker->getTracks()) {
      std::printf("frame %2d: identity %d at x %.2f, moving %.2f per second%s\n", frame, track.id,
                  static_cast<double>(track.box.left + track.box.right) / 2, static_cast<double>(track.velocityX),
                  track.confident ? ", confident" : "");
    }
  }
  return tracker->getTracks().size() == 1 ? 0 : 1;
}
