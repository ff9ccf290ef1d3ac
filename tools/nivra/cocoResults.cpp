#include "cocoResults.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "byteSource.h"
#include "errors.h"
#include "jsonReading.h"
#include "textFile.h"

namespace nivra::tool {

namespace {

constexpr Range<std::int64_t> kIds = {0, std::numeric_limits<std::int64_t>::max()};

struct Result {
  std::optional<std::int64_t> image;
  std::optional<std::int64_t> category;
  std::optional<PixelBox> box;
  double score = 1.0;
};

constexpr std::array<JsonField<Result>, 4> kFields = {{
    {"image_id", readNumber<&Result::image, kIds>},
    {"category_id", readNumber<&Result::category, kIds>},
    {"bbox",
     [](dom::element value, const JsonPlace& place, Result& result) {
       const auto [left, top, width, height] = numbersOf<double, 4>(value, kCoordinates, place);
       if (width < 0.0 || height < 0.0) refuse(place, "width or height is negative");
       result.box = PixelBox{left, top, width, height};
     }},
    {"score", readNumber<&Result::score, kCoordinates>},
}};

Result readResult(dom::element element, const JsonPlace& place) {
  Result result;
  readFields(objectOf(element, place), place, kFields, result);
  if (!result.image) refuse(JsonPlace(place, "image_id"), "missing");
  if (!result.category) refuse(JsonPlace(place, "category_id"), "missing");
  if (!result.box) refuse(JsonPlace(place, "bbox"), "missing");
  return result;
}

std::vector<Result> readResults(const std::string& path) {
  const simdjson::padded_string text(readFile(path));
  dom::parser parser;
  dom::element whole;
  const auto fault = parser.parse(text).get(whole);
  if (fault != simdjson::SUCCESS) {
    throw FileError(fmt::format("{}, read as coco: {}", shownName(path), explainBadJson(text, fault)));
  }
  std::vector<Result> results;
  try {
    for (const dom::element each : arrayOf(whole, JsonPlace())) {
      results.push_back(readResult(each, JsonPlace(JsonPlace(), results.size())));
    }
  } catch (const JsonFault& found) {
    failAt(shownName(path), 0, found.field, found.message);
  }
  return results;
}

std::string labelOf(std::int64_t category, const ReadSettings& settings) {
  const auto found = settings.categories.find(category);
  return found == settings.categories.end() ? std::to_string(category) : found->second;
}

Sequence readSequence(const std::string& path, const ReadSettings& settings) {
  if (!settings.picture || !settings.frameRate) {
    throw UsageError(
        fmt::format("{} says neither picture size nor frame rate: give --picture WxH and --fps F", shownName(path)));
  }
  const std::vector<Result> results = readResults(path);
  Sequence sequence;
  sequence.picture = *settings.picture;
  sequence.frameRate = *settings.frameRate;
  std::int64_t first = kIds.most;
  for (const Result& each : results) first = std::min(first, *each.image);
  for (std::size_t i = 0; i < results.size(); ++i) {
    const std::int64_t frame = *results[i].image - first + 1;
    if (frame > kMostFrames) {
      failAt(shownName(path), 0, fmt::format("[{}].image_id", i),
             fmt::format("more than {} after the first", kMostFrames));
    }
    FrameDetection entry;
    entry.frame = static_cast<int>(frame);
    entry.detection.box = toNormalised(*results[i].box, sequence.picture);
    entry.detection.score = static_cast<float>(results[i].score);
    entry.detection.label = labelOf(*results[i].category, settings);
    sequence.detections.push_back(std::move(entry));
  }
  finishSequence(sequence);
  return sequence;
}

bool beginsWithArray(std::string_view beginning) { return beginsWith('[', beginning); }

std::unique_ptr<Reader> openResults(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readSequence(path, settings));
}

}  // namespace

const Format kCocoResults = {"coco", {}, beginsWithArray, openResults, nullptr, nullptr};

}  // namespace nivra::tool
