#include "support.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace {

// The fuzzer can be told to silence standard error, which the library's fault reports would flood.
std::FILE* console = stderr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***);
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::FILE* duplicate = fdopen(dup(STDERR_FILENO), "w");
  if (duplicate != nullptr) console = duplicate;
  return 0;
}

// In place of the C library's: fault reports would fill the machine's log and cost most of the time.
extern "C" void syslog(int, const char*, ...);
extern "C" void syslog(int, const char*, ...) {}

namespace nivra::fuzz {

void fail(const char* promise, const std::string& detail) {
  std::fprintf(console, "BROKEN: %s\n%s\n", promise, detail.c_str());
  std::fflush(console);
  std::abort();
}

ObjectDetection anyDetection(FuzzedDataProvider& data, bool isWild) {
  constexpr std::array<const char*, 6> kLabels = {"human", "human", "car", "truck", "cat", ""};
  ObjectDetection detection;
  const float x = anyNumber(data, isWild);
  const float y = anyNumber(data, isWild);
  const float width = anyNumber(data, isWild);
  const float height = anyNumber(data, isWild);
  detection.box = isWild ? Box{x, y, width, height} : Box{x, y + height, x + width, y};
  detection.label = kLabels[data.ConsumeIntegralInRange<std::size_t>(0, kLabels.size() - 1)];
  detection.score = 50.0F * anyNumber(data, isWild);
  detection.objectness = 50.0F * anyNumber(data, isWild);
  detection.inbetween = data.ConsumeProbability<float>() > 0.9F;
  const auto extras = data.ConsumeIntegral<std::uint8_t>();
  if ((extras & 1U) != 0) detection.classifications.push_back({detection.label, detection.score});
  if ((extras & 2U) != 0) detection.classifications.push_back({kLabels[extras / 64], anyNumber(data, isWild)});
  if ((extras & 4U) != 0) detection.attributes.push_back({extras / 128, extras / 64, anyNumber(data, isWild)});
  if ((extras & 8U) != 0) {
    detection.feature.emplace(extras / 32);
    for (float& number : *detection.feature) number = anyNumber(data, isWild);
  }
  return detection;
}

}  // namespace nivra::fuzz
