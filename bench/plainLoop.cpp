// What `update` and the reports take in C++ for frames that bench/python.py wrote, as a figure to compare its own with.
// usage: nivra_plain_loop SELECTOR FRAMES PASSES, the frames being float32: for each the number of boxes, and their
// edges in the library's coordinates. Prints ns per frame of the cheapest pass.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <vector>

#include "nivra/nivra.h"
#include "scene.h"

namespace {

using nivra::bench::Detections;

std::vector<Detections> framesOf(const char* path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  std::vector<float> numbers(bytes.size() / sizeof(float));
  std::copy_n(bytes.data(), numbers.size() * sizeof(float), reinterpret_cast<char*>(numbers.data()));
  std::vector<Detections> frames;
  for (std::size_t i = 0; i < numbers.size();) {
    Detections& frame = frames.emplace_back(static_cast<std::size_t>(numbers[i++]));
    for (auto& detection : frame) {
      detection.box = {numbers[i], numbers[i + 1], numbers[i + 2], numbers[i + 3]};
      detection.label = "human";
      detection.score = 90.0F;
      detection.classifications = {{"human", 90.0F}};
      i += 4;
    }
  }
  return frames;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const auto tracker = nivra::makeTracker(std::atoi(argv[1]), {}, nivra::bench::labelAssociations(),
                                          nivra::bench::kAspectRatio, nullptr);
  std::vector<Detections> frames = framesOf(argv[2]);
  std::vector<nivra::TrackReport> reports;
  unsigned long long time = 0;
  double cheapest = std::numeric_limits<double>::infinity();
  for (int pass = std::atoi(argv[3]); pass > 0; --pass) {
    const auto start = std::chrono::steady_clock::now();
    for (Detections& frame : frames) {
      tracker->update(frame, time += nivra::bench::kFrameDuration);
      tracker->getTracks(reports);
    }
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    cheapest = std::min(cheapest, taken.count() / static_cast<double>(frames.size()));
  }
  std::printf("%.0f\n", cheapest);
}
