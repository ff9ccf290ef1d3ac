// The twin of followFrames.c in C++. usage: nivra_follow_cpp KIND FRAMES ASPECT_RATIO

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "nivra/nivra.h"

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const float aspectRatio = std::strtof(argv[3], nullptr);
  const auto tracker = nivra::makeTracker(std::atoi(argv[1]), {}, {{"human", {"human"}}}, aspectRatio, nullptr);
  std::ifstream file(argv[2], std::ios::binary);
  const auto read = [&](auto& numbers) { return bool(file.read(reinterpret_cast<char*>(&numbers), sizeof numbers)); };
  std::array<std::uint64_t, 2> head{};  // timestamp, count
  for (int number = 0; read(head); ++number) {
    std::vector<nivra::ObjectDetection> detections(head[1]);
    for (auto& each : detections) {
      std::array<float, 5> numbers{};
      if (!read(numbers)) return 1;
      each.box = {numbers[0], numbers[1], numbers[2], numbers[3]};
      each.score = numbers[4];
      each.label = "human";
      each.classifications = {{each.label, each.score}};
      each.id = static_cast<std::int32_t>(&each - detections.data());
    }
    tracker->update(detections, head[0]);
    std::vector<nivra::TrackReport> reports;
    tracker->getTracks(reports);
    for (const auto& [track, detection] : reports) {
      const nivra::Box& box = track.box;
      std::printf("%d %d %d %d %a %a %a %a %a %a %a\n", number, track.id, detection, int(track.confident),
                  double(box.left), double(box.top), double(box.right), double(box.bottom), double(track.velocityX),
                  double(track.velocityY), double(track.score));
    }
  }
}
