#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/lineReader.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/frameTimes.h"
#include "hostkit/formats/identities.h"
#include "hostkit/formats/jsonLineFields.h"
#include "hostkit/formats/jsonLines.h"
#include "hostkit/formats/jsonReading.h"

namespace nivra::hostkit {

namespace {

/// What counts here of a line; that of a frame has one of the lists.
struct LineFields : JsonLineHead {
  std::optional<dom::element> tracks;
  std::optional<dom::element> detections;
  std::optional<dom::element> merged;
};

constexpr std::array<JsonField<LineFields>, 6> kLineFields = {{
    kCameraField<LineFields>,
    kTimestampField<LineFields>,
    kPictureField<LineFields>,
    {"tracks", [](dom::element value, const JsonPlace&, LineFields& line) { line.tracks = value; }},
    {"detections", [](dom::element value, const JsonPlace&, LineFields& line) { line.detections = value; }},
    {"merged", [](dom::element value, const JsonPlace&, LineFields& line) { line.merged = value; }},
}};

struct TrackFields {
  std::optional<std::int64_t> id;
  std::optional<std::array<double, 4>> edges;
  std::optional<std::string_view> label;
  std::optional<double> score;
  bool seen = false;
  bool confident = true;
};

/// What only shows of a track, and is passed over where it is anything else.
template <auto member, class Value>
void readIfFitting(dom::element value, TrackFields& track) {
  Value read{};
  if (value.get(read) == simdjson::SUCCESS) track.*member = read;
}

constexpr std::array<JsonField<TrackFields>, 6> kTrackFields = {{
    {"id", readNumber<&TrackFields::id, kIdentities>},
    {"box", [](dom::element value, const JsonPlace& place,
               TrackFields& track) { track.edges = numbersOf<double, 4>(value, kCoordinates, place); }},
    {"label",
     [](dom::element value, const JsonPlace& place, TrackFields& track) { track.label = stringOf(value, place); }},
    {"score", [](dom::element value, const JsonPlace&,
                 TrackFields& track) { readIfFitting<&TrackFields::score, double>(value, track); }},
    {"confident", [](dom::element value, const JsonPlace&,
                     TrackFields& track) { readIfFitting<&TrackFields::confident, bool>(value, track); }},
    {"detection", [](dom::element, const JsonPlace&, TrackFields& track) { track.seen = true; }},
}};

/// @param edges Left, top, right, bottom; y grows upward unless they are in pixels.
PixelBox boxOf(const std::array<double, 4>& edges, bool inPixels, const JsonPlace& place) {
  requireUpright(edges, inPixels, place);
  const auto [left, top, right, bottom] = edges;
  return {left, inPixels ? top : -top, right - left, inPixels ? bottom - top : top - bottom};
}

/// Sorts the frames of an input by their cameras.
class Cameras {
 public:
  Cameras(const std::string& path, const ReadSettings& readSettings) : file(path), settings(readSettings) {}

  void add(dom::object object, int line) {
    const JsonPlace whole;
    LineFields fields;
    readFields(object, whole, kLineFields, fields);
    if (fields.tracks && fields.detections) refuse(whole, "expected either tracks or detections");
    const char* const name = fields.tracks ? "tracks" : "detections";
    const auto& list = fields.tracks ? fields.tracks : fields.detections;
    if (!list) return;  // a movement, an end or a fault
    Camera& camera = cameraOf(fields.camera ? std::string(*fields.camera) : usualName());
    const bool inPixels = fields.picture || settings.picture;
    IdentifiedSequence& sequence = camera.sequence;
    if (sequence.rows.empty()) sequence.inPixels = inPixels;
    const int frame = numberOf(fields, camera, whole);
    if (fields.picture) sequence.picture = fields.picture;
    if (fields.timestamp) sequence.timestamps[frame] = *fields.timestamp;
    if (fields.merged) addMerges(*fields.merged, JsonPlace(whole, "merged"), frame, sequence.merges);
    const JsonPlace place(whole, name);
    std::size_t index = 0;
    for (const dom::element each : arrayOf(*list, place)) {
      if (inPixels != sequence.inPixels) refuse(whole, "some lines are in pixels, and this one is not, or vice versa");
      IdentifiedRow row = trackOf(each, JsonPlace(place, index++), sequence);
      row.frame = frame;
      row.line = line;
      const PixelBox& box = row.identified.box;
      // Of tracks that have left the picture, other formats have no row.
      const bool isGone = fields.tracks && (box.width == 0.0 || box.height == 0.0);
      if (!isGone) sequence.rows.push_back(row);
    }
  }

  std::vector<IdentifiedSequence> finish() {
    std::vector<IdentifiedSequence> sequences;
    if (cameras.empty()) cameraOf(usualName());
    for (Camera& each : cameras) {
      each.sequence.frameCount = each.frames;
      takeUntoldAsSeen(each.sequence.rows);
      finishIdentities(each.sequence);
      sequences.push_back(std::move(each.sequence));
    }
    return sequences;
  }

 private:
  struct Camera {
    IdentifiedSequence sequence;
    FrameNumbering numbering;
    int frames = 0;
  };

  /// Of tracks that never name a detection, nobody knows when they took one.
  static void takeUntoldAsSeen(std::vector<IdentifiedRow>& rows) {
    const bool isTold = std::any_of(rows.begin(), rows.end(), [](const IdentifiedRow& row) { return row.seen; });
    for (IdentifiedRow& each : rows) each.seen = each.seen || !isTold;
  }

  std::string usualName() const { return nameOf(std::filesystem::path(file)); }

  Camera& cameraOf(const std::string& name) {
    const auto [place, isNew] = places.emplace(name, cameras.size());
    if (isNew) {
      cameras.push_back({{}, FrameNumbering(settings.frameRate, std::nullopt)});
      cameras.back().sequence.name = name;
      cameras.back().sequence.file = shownName(file);
    }
    return cameras[place->second];
  }

  /// By their times if the frame rate is known; else they are counted.
  int numberOf(const LineFields& fields, Camera& camera, const JsonPlace& whole) const {
    if (!settings.frameRate) return ++camera.frames;
    const JsonPlace place(whole, "timestamp");
    if (!fields.timestamp) refuse(place, "missing, while --fps is given");
    try {
      return camera.frames = camera.numbering.next(*fields.timestamp);
    } catch (const FileError& fault) {
      refuse(place, fault.what());
    }
  }

  static void addMerges(dom::element list, const JsonPlace& place, int frame, std::vector<IdentityMerge>& merges) {
    std::size_t index = 0;
    for (const dom::element each : arrayOf(list, place)) {
      const auto [absorbed, into] = numbersOf<std::int64_t, 2>(each, kIdentities, JsonPlace(place, index++));
      merges.push_back({frame, absorbed, into});
    }
  }

  static IdentifiedRow trackOf(dom::element element, const JsonPlace& place, IdentifiedSequence& sequence) {
    TrackFields fields;
    readFields(objectOf(element, place), place, kTrackFields, fields);
    if (!fields.id) refuse(JsonPlace(place, "id"), "missing");
    if (!fields.edges) refuse(JsonPlace(place, "box"), "missing");
    IdentifiedRow row;
    row.identified = {boxOf(*fields.edges, sequence.inPixels, JsonPlace(place, "box")), *fields.id};
    if (fields.label) row.label = sequence.placeOf(std::string(*fields.label));
    if (fields.score) row.score = static_cast<float>(*fields.score);
    row.seen = fields.seen;
    row.confident = fields.confident;
    return row;
  }

  std::string file;
  const ReadSettings& settings;
  std::vector<Camera> cameras;  // as they come
  std::map<std::string, std::size_t> places;
};

}  // namespace

std::vector<IdentifiedSequence> readJsonIdentities(const std::string& path, const ReadSettings& settings) {
  Cameras cameras(path, settings);
  dom::parser parser(LineReader::kLongestLine);
  LineReader lines(path, simdjson::SIMDJSON_PADDING);
  while (lines.next()) {
    const auto number = static_cast<int>(lines.number());
    try {
      const JsonPlace whole;
      const auto line = lines.line();
      if (!line) refuse(whole, lines.fault());
      if (trimmed(*line).empty()) continue;
      dom::element element;
      const auto fault = parser.parse(line->data(), line->size(), false).get(element);
      if (fault != simdjson::SUCCESS) refuse(whole, explainBadJson(*line, fault));
      cameras.add(objectOf(element, whole), number);
    } catch (const JsonFault& fault) {
      failAt(shownName(path), number, fault.field, fault.message);
    }
  }
  return cameras.finish();
}

}  // namespace nivra::hostkit
