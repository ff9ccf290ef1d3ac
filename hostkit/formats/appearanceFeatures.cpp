#include "hostkit/formats/appearanceFeatures.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstring>

#include "hostkit/files/textFile.h"
#include "hostkit/text/littleEndian.h"

namespace nivra::hostkit {

namespace {

constexpr std::size_t kHeader = 2 * kWord;

void appendWord(std::string& bytes, std::uint32_t word) {
  for (std::size_t i = 0; i < kWord; ++i) bytes += static_cast<char>(word >> (8 * i) & 0xFFU);
}

std::uint32_t wordOf(float number) {
  std::uint32_t word = 0;
  std::memcpy(&word, &number, sizeof word);
  return word;
}

}  // namespace

void readFeatures(const std::filesystem::path& path, std::vector<FrameDetection>& detections) {
  const std::string bytes = readFile(path);
  if (bytes.size() < kHeader) failAt(path, 0, "header", "expected the numbers of rows and columns");
  const std::size_t rows = wordAt(bytes.data());
  const std::size_t columns = wordAt(bytes.data() + kWord);
  if (rows != detections.size()) {
    failAt(path, 0, "rows", fmt::format("expected a row for each of {} detections, found {}", detections.size(), rows));
  }
  // Divided, not multiplied: a damaged header may hold any number.
  const std::size_t words = (bytes.size() - kHeader) / kWord;
  const bool fits = rows == 0 ? words == 0 : words / rows == columns && words % rows == 0;
  if (!fits || (bytes.size() - kHeader) % kWord != 0) {
    failAt(path, 0, "columns", fmt::format("{} bytes do not hold {} rows of {} numbers", bytes.size(), rows, columns));
  }
  std::size_t position = kHeader;
  for (FrameDetection& each : detections) {
    std::vector<float>& feature = each.detection.feature.emplace(columns);
    for (float& number : feature) {
      number = floatAt(bytes.data() + position);
      position += kWord;
    }
  }
}

std::string encodeFeatures(const std::vector<std::vector<float>>& features) {
  std::string bytes;
  appendWord(bytes, static_cast<std::uint32_t>(features.size()));
  appendWord(bytes, static_cast<std::uint32_t>(features.empty() ? 0 : features.front().size()));
  for (const std::vector<float>& feature : features) {
    for (const float number : feature) appendWord(bytes, wordOf(number));
  }
  return bytes;
}

}  // namespace nivra::hostkit
