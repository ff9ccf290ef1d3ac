#include "hostkit/formats/jsonLines.h"
#include "hostkit/formats/jsonLineFields.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <set>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/lineReader.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/formats.h"
#include "hostkit/formats/jsonReading.h"
#include "hostkit/text/base64.h"
#include "hostkit/text/jsonText.h"
#include "hostkit/text/littleEndian.h"
#include "hostkit/text/suggestion.h"

namespace nivra::hostkit {

namespace {

static_assert(kJsonMargin >= simdjson::SIMDJSON_PADDING);

constexpr float kFullScore = 100.0F;  // percent
constexpr Range<float> kScores = {static_cast<float>(kCoordinates.least), static_cast<float>(kCoordinates.most)};
constexpr Range<float> kFloats = {std::numeric_limits<float>::lowest(), std::numeric_limits<float>::max()};
constexpr Range<int> kInts = {std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};

/// The fields of a line, of which all but the plainest wait until the picture is known.
struct LineFields : JsonLineHead {
  std::optional<dom::element> detections;
  std::optional<dom::element> motion;
  bool end = false;
};

constexpr std::array<JsonField<LineFields>, 6> kLineFields = {{
    kCameraField<LineFields>,
    kTimestampField<LineFields>,
    kPictureField<LineFields>,
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
  float fullScore;
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
    TextBuffer quotedName;
    appendQuoted(quotedName, value.get_string().value_unsafe());
    draft.name = quotedName.view();
  } else if (value.is_int64() || value.is_uint64()) {
    draft.name = simdjson::minify(value);
  } else {
    refuse(place, "expected a whole number or a string", value);
  }
}

/// Numbers as their little-endian bytes, in base64.
void readPackedFeature(std::string_view text, const JsonPlace& place, DetectionDraft& draft) {
  if (text.empty()) return;
  const auto size = sizeFromBase64(text);
  if (!size || *size % kWord != 0) {
    refuse(place, fmt::format("{} characters are no base64 of whole numbers of {} bytes", text.size(), kWord));
  }
  std::vector<float>& feature = draft.detection.feature.emplace(*size / kWord);
  char* bytes = reinterpret_cast<char*>(feature.data());
  if (const auto wrong = decodeBase64(text, bytes)) {
    refuse(place, fmt::format("no base64: {} at character {}", quoted(text.substr(*wrong, 1)), *wrong + 1));
  }
  for (std::size_t i = 0; i < feature.size(); ++i, bytes += kWord) {
    feature[i] = floatAt(bytes);
    if (!std::isfinite(feature[i])) {
      refuse(JsonPlace(place, i), fmt::format("{}, found {}", expectation(kFloats), feature[i]));
    }
  }
}

void readFeature(dom::element value, const JsonPlace& place, DetectionDraft& draft) {
  if (value.is_string()) return readPackedFeature(value.get_string().value_unsafe(), place, draft);
  if (!value.is_array()) refuse(place, "expected an array or a string of base64", value);
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
       readList(value, place, kClassificationFields, {std::string(), draft.fullScore}, draft.detection.classifications);
     }},
    {"attributes",
     [](dom::element value, const JsonPlace& place, DetectionDraft& draft) {
       readList(value, place, kAttributeFields, {0, 0, kFullScore}, draft.detection.attributes);
     }},
    {"feature", readFeature},
}};

/// @param edges Left, top, right, bottom.
Box boxOf(const std::array<double, 4>& edges, const std::optional<PictureSize>& picture, const JsonPlace& place) {
  requireUpright(edges, picture.has_value(), place);
  const auto [left, top, right, bottom] = edges;
  if (!picture) return boxBetween({left, top}, {right, bottom});
  return boxBetween(toNormalised(Position{left, top}, *picture), toNormalised(Position{right, bottom}, *picture));
}

/// The names of a table's fields, in its order.
template <class Target, std::size_t count>
std::vector<std::string> namesOf(const std::array<JsonField<Target>, count>& fields) {
  std::vector<std::string> names;
  for (const JsonField<Target>& each : fields) names.emplace_back(each.name);
  return names;
}

/// What other writers call the list of a frame's detections.
constexpr std::array<std::string_view, 7> kOtherLists = {"objects", "predictions", "results",  "boxes",
                                                         "dets",    "annotations", "instances"};

/// Which known field may have been meant by another one.
std::string hintAt(std::string_view field, const std::vector<std::string>& known) {
  const bool isOtherList = std::find(kOtherLists.begin(), kOtherLists.end(), field) != kOtherLists.end();
  if (isOtherList && known.back() == kLineFields.back().name) return "; detections are a list called detections";
  if (known.back() == kDetectionFields.back().name) {
    if (field == "confidence" || field == "conf") return "; a detection's score is called score";
    if (field == "class" || field == "name" || field == "category") return "; a detection's class is called label";
  }
  return suggestionFor(field, known);
}

/// Names what is passed over, each field once.
class PassedOver {
 public:
  explicit PassedOver(const ReadSettings& settings) : warn(settings.warn) {}

  /// @param known What it could have been.
  /// @param place Of the object, as a prefix.
  void name(std::string_view field, const std::vector<std::string>& known, const char* place, const std::string& input,
            std::uint64_t line) {
    if (named.size() == kMost || !named.insert(fmt::format("{}{}", place, field)).second) return;
    warn(fmt::format("field {}{} is unknown and passed over{} ({}:{})", place, hostkit::quoted(field),
                     hintAt(field, known), input, line));
  }

 private:
  static constexpr std::size_t kMost = 20;  // of a stream whose fields have names without end

  std::function<void(const std::string&)> warn;
  std::set<std::string> named;
};

/// Watches for scores that are none of percent.
class ScoreWatch {
 public:
  void see(float score) {
    ++count;
    most = std::max(most, score);
  }

  /// Whether all of them look like fractions; said once, when it is certain enough or the input has ended.
  bool areFractions(bool atEnd) {
    if (said || most > 1.0F || most <= 0.0F || (!atEnd && count < kEnough)) return false;
    return said = true;
  }

 private:
  static constexpr std::size_t kEnough = 1000;

  std::size_t count = 0;
  float most = 0.0F;
  bool said = false;
};

void scale(ObjectDetection& detection, float percentPerScore) {
  detection.score *= percentPerScore;
  detection.objectness *= percentPerScore;
  for (Classification& each : detection.classifications) each.score *= percentPerScore;
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
  if (!draft.hasScore) detection.score = draft.fullScore;
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

class LineParser final : public JsonLineParser {
 public:
  LineParser(const ReadSettings& readSettings, std::string inputName)
      : settings(readSettings),
        input(std::move(inputName)),
        passedOver(settings),
        percentPerScore(settings.scores == ScoreUnit::fraction ? kFullScore : 1.0F),
        parser(LineReader::kLongestLine) {}

  void read(const JsonLine& line, Record& record) override {
    current = line;
    try {
      readLine(record);
    } catch (const JsonFault& fault) {
      record = BadLine{line.number, fault.field, fault.message + hint()};
    } catch (const std::bad_alloc&) {
      parser = dom::parser(LineReader::kLongestLine);
      record = BadLine();  // lets go of what the line took
      record = BadLine{line.number, "", kNoMemory};
    }
    lookAtScores(false);
  }

  std::optional<std::string_view> cameraOf(const JsonLine& line) override {
    std::string_view camera;
    const bool isThere =
        parser.parse(line.text.data(), line.text.size(), false)["camera"].get(camera) == simdjson::SUCCESS;
    return isThere ? std::optional(camera) : std::nullopt;
  }

  void finish() override { lookAtScores(true); }

 private:
  /// Which format the input may be of instead, if the first line looks like that.
  std::string hint() const {
    if (!current.isFirst) return "";
    const Format* const other = formatLooking(current.text);
    if (other == nullptr || other->readsAsItComes) return "";
    return fmt::format("; --from {} reads what looks like this", other->name);
  }

  void lookAtScores(bool atEnd) {
    if (settings.scores || !scores.areFractions(atEnd)) return;
    settings.warn(
        fmt::format("no score is above 1, but jsonl has percent; --scores fraction takes them as fractions "
                    "({})",
                    input));
  }

  dom::object parse() {
    const JsonPlace whole;
    dom::element element;
    const auto fault = parser.parse(current.text.data(), current.text.size(), false).get(element);
    if (fault == simdjson::MEMALLOC) throw std::bad_alloc();
    if (fault != simdjson::SUCCESS) refuse(whole, explainBadJson(current.text, fault));
    return objectOf(element, whole);
  }

  void readLine(Record& record) {
    const JsonPlace whole;
    static const std::vector<std::string> known = namesOf(kLineFields);
    LineFields line;
    unknown.clear();
    const bool anyKnown =
        readFields(parse(), whole, kLineFields, line, [this](std::string_view field) { unknown.push_back(field); });
    if (!anyKnown) refuseUnknown(known);
    for (const std::string_view field : unknown) passedOver.name(field, known, "", input, current.number);
    const int purposes = (line.detections ? 1 : 0) + (line.motion ? 1 : 0) + (line.end ? 1 : 0);
    if (purposes > 1) refuse(whole, "expected one of detections, motion and end");
    const std::string camera(line.camera.value_or(current.usualCamera));
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

  [[noreturn]] void refuseUnknown(const std::vector<std::string>& known) const {
    std::string found;
    std::string suggestion;
    for (const std::string_view field : unknown) {
      if (found.size() < 60) found += fmt::format("{}{}", found.empty() ? ", but " : ", ", hostkit::quoted(field));
      if (suggestion.empty() && hint().empty()) suggestion = hintAt(field, known);
    }
    refuse(JsonPlace(), fmt::format("none of the fields {}{}{}", fmt::join(known, ", "), found, suggestion));
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

  void readDetections(const std::optional<dom::element>& list, const JsonPlace& place, Frame& frame) {
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
      readDetection(each, JsonPlace(place, count), frame.picture, {detection, name, kFullScore / percentPerScore});
      if (!name.empty() && frame.names.empty()) nameByPosition(count, frame.names);
      if (!name.empty() || !frame.names.empty()) {
        frame.names.push_back(name.empty() ? std::to_string(count) : std::move(name));
      }
      ++count;
    }
    frame.detections.resize(count);
  }

  void readDetection(dom::element element, const JsonPlace& place, const std::optional<PictureSize>& picture,
                     DetectionDraft draft) {
    static const std::vector<std::string> known = namesOf(kDetectionFields);
    readFields(objectOf(element, place), place, kDetectionFields, draft, [this](std::string_view field) {
      passedOver.name(field, known, "detections[].", input, current.number);
    });
    const JsonPlace box(place, "box");
    if (!draft.edges) refuse(box, "missing");
    draft.detection.box = boxOf(*draft.edges, picture, box);
    const auto& classes = draft.detection.classifications;
    if (draft.hasScore) scores.see(draft.detection.score);
    for (const Classification& each : classes) scores.see(each.score);
    complete(draft, settings.label);
    if (percentPerScore != 1.0F) scale(draft.detection, percentPerScore);
  }

  static void nameByPosition(std::size_t count, std::vector<std::string>& names) {
    for (std::size_t i = 0; i < count; ++i) names.push_back(std::to_string(i));
  }

  ReadSettings settings;
  std::string input;
  PassedOver passedOver;
  std::vector<std::string_view> unknown;  // fields of the line
  ScoreWatch scores;
  float percentPerScore;
  dom::parser parser;
  JsonLine current;
};

class JsonLinesReader final : public Reader {
 public:
  JsonLinesReader(const std::string& path, const ReadSettings& settings)
      : usualCamera(nameOf(path)), parser(settings, shownName(path)), lines(path, kJsonMargin, settings.wait) {}

  bool read(Record& record) override {
    do {
      if (!lines.next()) {
        parser.finish();
        return false;
      }
    } while (lines.line() && trimmed(*lines.line()).empty());
    if (lines.line()) {
      parser.read({*lines.line(), lines.number(), usualCamera, isFirst}, record);
    } else {
      record = BadLine{lines.number(), "", lines.fault()};
    }
    isFirst = false;
    return true;
  }

  std::uint64_t line() const override { return lines.number(); }

  std::optional<double> progress() const override { return lines.progress(); }

 private:
  std::string usualCamera;
  LineParser parser;
  LineReader lines;
  bool isFirst = true;
};

bool beginsWithObject(std::string_view beginning) { return beginsWith('{', beginning); }

/// A quote inside of a text has a backslash before it, so that only a field can be called so.
bool holdsIdentities(std::string_view beginning) { return beginning.find(R"("tracks":)") != std::string_view::npos; }

std::unique_ptr<Reader> readJsonLines(const std::string& path, const ReadSettings& settings) {
  return std::make_unique<JsonLinesReader>(path, settings);
}

}  // namespace

std::unique_ptr<JsonLineParser> parseJsonLines(const ReadSettings& settings, std::string input) {
  return std::make_unique<LineParser>(settings, std::move(input));
}

const Format kJsonLines = [] {
  Format format{"jsonl", "JSON Lines", beginsWithObject, readJsonLines, writeJsonTracks, writeJsonDetections};
  format.extensions = {".jsonl", ".ndjson", ".json"};
  format.outputExtension = ".jsonl";
  format.readsAsItComes = true;
  format.answersInKind = true;
  format.holdsNotices = true;
  format.holdsLabels = true;
  format.holdsMotion = true;
  format.holdsIdentities = holdsIdentities;
  format.readIdentities = readJsonIdentities;
  return format;
}();

}  // namespace nivra::hostkit
