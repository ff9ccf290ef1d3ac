#include "hostkit/formats/frameResults.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/categoryNames.h"
#include "hostkit/formats/frameFiles.h"
#include "hostkit/formats/jsonReading.h"
#include "hostkit/formats/sequence.h"

namespace nivra::hostkit {

namespace {

constexpr Range<std::int64_t> kClasses = {0, std::numeric_limits<int>::max()};

struct Corners {
  std::optional<double> x1;
  std::optional<double> y1;
  std::optional<double> x2;
  std::optional<double> y2;
};

struct Object {
  int frame = 0;  // from 1
  std::optional<std::string> name;
  std::optional<std::int64_t> category;
  std::optional<double> confidence;
  std::optional<PixelBox> box;  // or one of fractions
};

constexpr std::array<JsonField<Corners>, 5> kCornerFields = {{
    {"x1", readNumber<&Corners::x1, kCoordinates>},
    {"y1", readNumber<&Corners::y1, kCoordinates>},
    {"x2", readNumber<&Corners::x2, kCoordinates>},
    {"y2", readNumber<&Corners::y2, kCoordinates>},
    {"x3", [](dom::element, const JsonPlace& place, Corners&) { refuse(place, "rotated boxes"); }},
}};

void readBox(dom::element value, const JsonPlace& place, Object& object) {
  Corners corners;
  readFields(objectOf(value, place), place, kCornerFields, corners);
  const auto& [x1, y1, x2, y2] = corners;
  for (const auto& [name, given] : {std::pair("x1", x1), std::pair("y1", y1), std::pair("x2", x2), std::pair("y2", y2)})
    if (!given) refuse(JsonPlace(place, name), "missing");
  if (*x2 < *x1) refuse(place, "x2 is left of x1");
  if (*y2 < *y1) refuse(place, "y2 is above y1: y grows downward");
  object.box = PixelBox{*x1, *y1, *x2 - *x1, *y2 - *y1};
}

constexpr std::array<JsonField<Object>, 4> kObjectFields = {{
    {"name", [](dom::element value, const JsonPlace& place, Object& object) { object.name = stringOf(value, place); }},
    {"class", readNumber<&Object::category, kClasses>},
    {"confidence", readNumber<&Object::confidence, kCoordinates>},
    {"box", readBox},
}};

/// An input's objects, frame by frame.
struct Frames {
  std::vector<Object> objects;
  int count = 0;

  void add(int frame, dom::element list, const JsonPlace& place) {
    readEach(list, place, kObjectFields, [&](Object object, const JsonPlace& here) {
      if (!object.box) refuse(JsonPlace(here, "box"), "missing");
      object.frame = frame;
      objects.push_back(std::move(object));
    });
    count = frame;
  }

  /// Frames of an array of arrays, or else the only one.
  void addAll(dom::element whole) {
    const JsonPlace outermost;
    const dom::array elements = arrayOf(whole, outermost);
    if (elements.size() == 0 || !elements.at(0).is_array()) return add(1, whole, outermost);
    std::size_t index = 0;
    for (const dom::element each : elements) {
      add(static_cast<int>(index) + 1, each, JsonPlace(outermost, index));
      ++index;
    }
  }
};

Frames readFrames(const std::string& input) {
  Frames frames;
  for (const FrameFile& file : frameFilesOf(input, kFrameResults.frameExtension)) {
    readJsonFile(file.path.string(), kFrameResults.name, [&](dom::element whole) {
      if (file.path == input) return frames.addAll(whole);
      frames.add(file.frame, whole, JsonPlace());
    });
  }
  return frames;
}

/// What the caller says of its class, or else its name.
std::string labelOf(const Object& object, const ReadSettings& settings) {
  if (!object.category) return object.name.value_or(settings.label);
  return labelOf(*object.category, settings,
                 object.name ? CategoryNames{{*object.category, *object.name}} : CategoryNames());
}

/// Detectors write either; so small as fractions is no picture, let alone all boxes in it.
bool areFractions(const std::vector<Object>& objects) {
  const auto isWithin = [](double least, double most) { return least >= kFractions.least && most <= kFractions.most; };
  return std::all_of(objects.begin(), objects.end(), [&](const Object& each) {
    const auto& [left, top, width, height] = *each.box;
    return isWithin(left, left + width) && isWithin(top, top + height);
  });
}

Sequence readSequence(const std::string& input, const ReadSettings& settings) {
  Sequence sequence = outlineOf(input, settings);
  Frames frames = readFrames(input);
  sequence.frameCount = frames.count;
  PictureSize unit = {1, 1};
  if (!frames.objects.empty() && areFractions(frames.objects)) {
    unit = sequence.picture;
    settings.warn(fmt::format("boxes are taken as fractions of the picture, for all are from {} to {} ({})",
                              kFractions.least, kFractions.most, shownName(input)));
  }
  for (const Object& each : frames.objects) {
    const auto& [left, top, width, height] = *each.box;
    const PixelBox box = {left * unit.width, top * unit.height, width * unit.width, height * unit.height};
    sequence.add(each.frame, box, labelOf(each, settings), each.confidence);
  }
  finishSequence(sequence, input, settings);
  return sequence;
}

/// Whether it is an array of arrays, or its first object has a box.
bool looksLikeResults(std::string_view beginning) {
  if (!beginsWith('[', beginning)) return false;
  return beginsWith('[', beginning.substr(beginning.find('[') + 1)) || hasAnyOf(keysOfFirstObject(beginning), {"box"});
}

std::unique_ptr<Reader> openResults(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<SequenceReader>(nameOf(path), readSequence(path, settings));
}

}  // namespace

const Format kFrameResults = [] {
  Format format{"results", "result", looksLikeResults, openResults};
  format.frameExtension = ".json";
  return format;
}();

}  // namespace nivra::hostkit
