#include "hostkit/formats/appearanceFeatures.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstring>
#include <string_view>

#include "hostkit/files/textFile.h"

namespace nivra::hostkit {

namespace {

constexpr std::size_t kWord = 4;  // bytes of an int32 or a float32
constexpr std::size_t kHeader = 2 * kWord;

std::uint32_t wordAt(std::string_view bytes, std::size_t position) {
  std::uint32_t word = 0;
  for (std::size_t i = kWord; i-- > 0;) word = word << 8U | static_cast<unsigned char>(bytes[position + i]);
  return word;
}

void appendWord(std::string& bytes, std::uint32_t word) {
  for (std::size_t i = 0; i < kWord; ++i) bytes += static_cast<char>(word >> (8 * i) & 0xFFU);
}

float floatOf(std::uint32_t word) {
  float number = 0.0F;
  static_assert(sizeof number == sizeof word);
  std::memcpy(&number, &word, sizeof number);
  return number;
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
  const std::size_t rows = wordAt(bytes, 0);
  const std::size_t columns = wordAt(bytes, kWord);
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
      number = floatOf(wordAt(bytes, position));
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
