#include "jsonLines.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "errors.h"
#include "formats.h"
#include "jsonReading.h"
#include "jsonText.h"
#include "lineReader.h"
#include "textFile.h"

namespace nivra::tool {

namespace {

constexpr float kFullScore = 100.0F;  // percent
constexpr Range<float> kScores = {static_cast<float>(kCoordinates.least), static_cast<float>(kCoordinates.most)};
constexpr Range<float> kFloats = {std::numeric_limits<float>::lowest(), std::numeric_limits<float>::max()};
constexpr Range<int> kInts = {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
constexpr Range<std::uint64_t> kTimestamps = {0, std::numeric_limits<std::int64_t>::max()};

/// The fields of a line, of which all but the plainest wait until the picture is known.
struct LineFields {
  std::optional<std::string_view> camera;
  std::optional<std::uint64_t> timestamp;
  std::optional<PictureSize> picture;
  std::optional<dom::element> detections;
  std::optional<dom::element> motion;
  bool end = false;
};

constexpr std::array<JsonField<LineFields>, 6> kLineFields = {{
    {"camera",
     [](dom::element value, const JsonPlace& place, LineFields& line) { line.camera = stringOf(value, place); }},
    {"timestamp", readNumber<&LineFields::timestamp, kTimestamps>},
    {"picture",
     [](dom::element value, const JsonPlace& place, LineFields& line) {
       const auto [width, height] = numbersOf<int, 2>(value, kPictureSides, place);
       line.picture = PictureSize{width, height};
     }},
    {"detections", [](dom::element value, const JsonPlace&, LineFields& line) { line.detections = value; }},
    {"motion", [](dom::element value, const JsonPlace&, LineFields& line) { line.motion = value; }},
    {"end", [](dom::element value, const JsonPlace& place, LineFields& line) { line.end = boolOf(value, place); }},
}};

constexpr std::array<JsonField<Classification>, 2> kClassificationFields = {{
    {"label",
     [](dom::element value, const JsonPlace& place, Classification& target) { target.label = stringOf(value, place); }},
    {"score", readNumber<&Classification::score, kScores>},
}};

constexpr std::array<JsonField<AttributeClassification>, 3> kAttributeFields = {{
    {"type", readNumber<&AttributeClassification::attributeType, kInts>},
    {"value", readNumber<&AttributeClassification::attributeValue, kInts>},
    {"score", readNumber<&AttributeClassification::score, kFloats>},
}};

/// A detection while its fields come in.
struct DetectionDraft {
  ObjectDetection& detection;
  std::string& name;  // JSON
  std::optional<std::array<double, 4>> edges = std::nullopt;
  bool hasLabel = false;
  bool hasScore = false;
};

template <class Element, std::size_t count>
void readList(dom::element list, const JsonPlace& place, const std::array<JsonField<Element>, count>& fields,
              const Element& usual, std::vector<Element>& target) {
  for (const dom::element each : arrayOf(list, place)) {
    const JsonPlace here(place, target.size());
    target.push_back(usual);
    readFields(objectOf(each, here), here, fields, target.back());
  }
}

void readName(dom::element value, const JsonPlace& place, DetectionDraft& draft) {
  if (value.is_string()) {
    appendQuoted(draft.name, value.get_string().value_unsafe());
  } else if (value.is_int64() || value.is_uint64()) {
    draft.name = simdjson::minify(value);
  } else {
    refuse(place, "expected a whole number or a string", value);
  }
}

void readFeature(dom::element value, const JsonPlace& place, DetectionDraft& draft) {
  const dom::array numbers = arrayOf(value, place);
  if (numbers.begin() == numbers.end()) return;
  std::vector<float>& feature = draft.detection.feature.emplace();
  feature.reserve(numbers.size());
  for (const dom::element each : numbers) feature.push_back(numberOf(each, kFloats, JsonPlace(place, feature.size())));
}

constexpr std::array<JsonField<DetectionDraft>, 8> kDetectionFields = {{
    {"box", [](dom::element value, const JsonPlace& place,
               DetectionDraft& draft) { draft.edges = numbersOf<double, 4>(value, kCoordinates, place); }},
    {"label",
     [](dom::element value, const JsonPlace& place, DetectionDraft& draft) {
       draft.detection.label = stringOf(value, place);
       draft.hasLabel = true;
     }},
    {"score",
     [](dom::element value, const JsonPlace& place, DetectionDraft& draft) {
       draft.detection.score = numberOf(value, kScores, place);
       draft.hasScore = true;
     }},
    {"id", readName},
    {"objectness", [](dom::element value, const JsonPlace& place,
                      DetectionDraft& draft) { draft.detection.objectness = numberOf(value, kScores, place); }},
    {"classifications",
     [](dom::element value, const JsonPlace& place, DetectionDraft& draft) {
       readList(value, place, kClassificationFields, {std::string(), kFullScore}, draft.detection.classifications);
     }},
    {"attributes",
     [](dom::element value, const JsonPlace& place, DetectionDraft& draft) {
       readList(value, place, kAttributeFields, {0, 0, kFullScore}, draft.detection.attributes);
     }},
    {"feature", readFeature},
}};

/// @param edges Left, top, right, bottom.
Box boxOf(const std::array<double, 4>& edges, const std::optional<PictureSize>& picture, const JsonPlace& place) {
  const auto [left, top, right, bottom] = edges;
  if (right < left) refuse(place, "the right edge is left of the left one");
  if (picture) {
    if (bottom < top) refuse(place, "the bottom edge is above the top one: y grows downward in pixels");
    return boxBetween(toNormalised(Position{left, top}, *picture), toNormalised(Position{right, bottom}, *picture));
  }
  if (top < bottom) {
    refuse(place, "the top edge is below the bottom one: y grows upward, unless a picture is given");
  }
  return boxBetween({left, top}, {right, bottom});
}

/// What was not given follows from what was.
void complete(DetectionDraft& draft, const std::string& usualLabel) {
  ObjectDetection& detection = draft.detection;
  auto& classes = detection.classifications;
  if (!draft.hasLabel && !classes.empty()) {
    const auto best = std::max_element(classes.begin(), classes.end(),
                                       [](const auto& a, const auto& b) { return a.score < b.score; });
    detection.label = best->label;
    if (!draft.hasScore) detection.score = best->score;
    return;
  }
  if (!draft.hasLabel) detection.label = usualLabel;
  if (!draft.hasScore) detection.score = kFullScore;
  if (classes.empty()) classes.push_back({detection.label, detection.score});
}

/// Brings a detection that may hold an earlier one back to its beginnings, but keeps its memory.
void clear(ObjectDetection& detection) {
  detection.classifications.clear();
  detection.attributes.clear();
  detection.feature.reset();
  detection.objectness = 0.0F;
  detection.inbetween = false;
}

class JsonLinesReader final : public Reader {
 public:
  JsonLinesReader(const std::string& path, const ReadSettings& readSettings)
      : settings(readSettings),
        usualCamera(nameOf(path)),
        lines(path, simdjson::SIMDJSON_PADDING),
        parser(LineReader::kLongestLine) {}

  bool read(Record& record) override {
    do {
      if (!lines.next()) return false;
    } while (lines.line() && trimmed(*lines.line()).empty());
    try {
      readLine(record);
    } catch (const JsonFault& fault) {
      record = BadLine{lines.number(), fault.field, fault.message + hint()};
    } catch (const std::bad_alloc&) {
      parser = dom::parser(LineReader::kLongestLine);
      record = BadLine();  // lets go of what the line took
      record = BadLine{lines.number(), "", kNoMemory};
    }
    isFirst = false;
    return true;
  }

  std::uint64_t line() const override { return lines.number(); }

  std::optional<double> progress() const override { return lines.progress(); }

 private:
  /// Which format the input may be of instead, if the first line looks like that.
  std::string hint() const {
    if (!isFirst || !lines.line()) return "";
    for (const Format* const each : formats()) {
      if (each != &kJsonLines && each->recognises(*lines.line())) {
        return fmt::format("; --from {} reads what looks like this", each->name);
      }
    }
    return "";
  }

  dom::object parse() {
    const JsonPlace whole;
    const auto line = lines.line();
    if (!line) refuse(whole, lines.fault());
    dom::element element;
    const auto fault = parser.parse(line->data(), line->size(), false).get(element);
    if (fault == simdjson::MEMALLOC) throw std::bad_alloc();
    if (fault != simdjson::SUCCESS) refuse(whole, explainBadJson(*line, fault));
    return objectOf(element, whole);
  }

  void readLine(Record& record) {
    const JsonPlace whole;
    LineFields line;
    readFields(parse(), whole, kLineFields, line);
    const int purposes = (line.detections ? 1 : 0) + (line.motion ? 1 : 0) + (line.end ? 1 : 0);
    if (purposes > 1) refuse(whole, "expected one of detections, motion and end");
    const std::string camera(line.camera.value_or(usualCamera));
    const auto picture = line.picture ? line.picture : settings.picture;
    if (line.motion) {
      record = CameraMotion{camera, picture, readMatrix(*line.motion, JsonPlace(whole, "motion"))};
    } else if (line.end) {
      record = CameraEnd{camera};
    } else {
      if (!std::holds_alternative<Frame>(record)) record.emplace<Frame>();
      Frame& frame = std::get<Frame>(record);
      frame.camera = camera;
      frame.timestamp = line.timestamp;
      frame.picture = picture;
      readDetections(line.detections, JsonPlace(whole, "detections"), frame);
    }
  }

  static std::array<double, 6> readMatrix(dom::element motion, const JsonPlace& place) {
    using Matrix = std::optional<std::array<double, 6>>;
    constexpr std::array<JsonField<Matrix>, 1> fields = {
        {{"matrix", [](dom::element value, const JsonPlace& here, Matrix& target) {
            target = numbersOf<double, 6>(value, kCoordinates, here);
          }}}};
    Matrix matrix;
    readFields(objectOf(motion, place), place, fields, matrix);
    const JsonPlace here(place, "matrix");
    if (!matrix) refuse(here, "missing");
    const auto& [a, b, c, d, e, f] = *matrix;
    if (a * e == b * d) refuse(here, "this map sends the picture to a line or a point");
    return *matrix;
  }

  void readDetections(const std::optional<dom::element>& list, const JsonPlace& place, Frame& frame) const {
    frame.names.clear();
    if (!list) return frame.detections.clear();
    const dom::array elements = arrayOf(*list, place);
    std::size_t count = 0;
    for (const dom::element each : elements) {
      if (frame.detections.size() == count) frame.detections.emplace_back();
      ObjectDetection& detection = frame.detections[count];
      clear(detection);
      detection.id = static_cast<std::int32_t>(count);
      std::string name;
      readDetection(each, JsonPlace(place, count), frame.picture, {detection, name});
      if (!name.empty() && frame.names.empty()) nameByPosition(count, frame.names);
      if (!name.empty() || !frame.names.empty()) {
        frame.names.push_back(name.empty() ? std::to_string(count) : std::move(name));
      }
      ++count;
    }
    frame.detections.resize(count);
  }

  void readDetection(dom::element element, const JsonPlace& place, const std::optional<PictureSize>& picture,
                     DetectionDraft draft) const {
    readFields(objectOf(element, place), place, kDetectionFields, draft);
    const JsonPlace box(place, "box");
    if (!draft.edges) refuse(box, "missing");
    draft.detection.box = boxOf(*draft.edges, picture, box);
    complete(draft, settings.label);
  }

  static void nameByPosition(std::size_t count, std::vector<std::string>& names) {
    for (std::size_t i = 0; i < count; ++i) names.push_back(std::to_string(i));
  }

  ReadSettings settings;
  std::string usualCamera;
  LineReader lines;
  dom::parser parser;
  bool isFirst = true;
};

bool beginsWithObject(std::string_view beginning) { return beginsWith('{', beginning); }

std::unique_ptr<Reader> readJsonLines(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<JsonLinesReader>(path, settings);
}

}  // namespace

const Format kJsonLines = {
    "jsonl", {".jsonl", ".ndjson", ".json"}, beginsWithObject, readJsonLines, writeJsonTracks, writeJsonDetections};

}  // namespace nivra::tool
