#include "hostkit/counting/eventLines.h"

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hostkit/counting/cameraEvents.h"
#include "hostkit/formats/jsonLines.h"
#include "hostkit/text/jsonText.h"

namespace nivra::hostkit {

namespace {

constexpr double kUsualAspectRatio = 16.0 / 9.0;

std::string_view nameOf(Event::Kind kind) {
  constexpr std::string_view kNames[] = {"confirmed", "lost", "revived", "merged",   "ended",
                                         "entered",   "left", "crossed", "corrected"};
  return kNames[static_cast<std::size_t>(kind)];
}

void appendPlace(TextBuffer& json, const CountedPlace& place) {
  if (place.kind == PlaceKind::zone) appendField(json, R"(,"zone":)", place.name, appendQuoted);
  if (place.kind != PlaceKind::line) return;
  appendField(json, R"(,"line":)", place.name, appendQuoted);
  json += place.side == Side::left ? R"(,"to":"left")" : R"(,"to":"right")";
}

void appendSighting(TextBuffer& json, const Life::Sighting& sighting, const std::optional<PictureSize>& picture) {
  appendField(json, R"({"timestamp":)", sighting.timestamp, appendWhole);
  json += R"(,"box":)";
  appendBox(json, sighting.box, picture);
  json += '}';
}

class EventWriter final : public TrackWriter {
 public:
  explicit EventWriter(const EventOptions& eventOptions) : options(eventOptions) {}

  void frame(const Frame& frame, const FrameTracks& result, TextBuffer& json) override {
    tellDropped(json);
    Camera& camera = cameraOf(frame);
    camera.picture = frame.picture;
    camera.events.take(frame, result, happened);
    tellEvents(frame.camera, camera, json);
    if (!options.every || *frame.timestamp < camera.nextCount) return;
    tellCounts(frame.camera, camera, json);
    camera.nextCount = nextAfter(*frame.timestamp, camera.nextCount);
  }

  void motion(const CameraMotion&, TextBuffer& json) override { tellDropped(json); }

  void end(const CameraEnd& end, const std::set<int>&, TextBuffer& json) override {
    tellDropped(json);
    finish(end.camera, json);
  }

  bool fault(const BadLine& fault, TextBuffer& json) override {
    tellDropped(json);
    appendFault(json, fault);
    json += "}\n";
    return true;
  }

  void dropped(const std::vector<std::string>& names) override {
    for (const std::string& name : names) finish(name, ofDropped);
  }

  void finish(TextBuffer& json) override {
    tellDropped(json);
    while (!cameras.empty()) finish(std::string(cameras.begin()->first), json);
  }

 private:
  struct Camera {
    CameraEvents events;
    std::optional<PictureSize> picture;  // of the last frame
    std::uint64_t nextCount = 0;         // ns
  };

  Camera& cameraOf(const Frame& frame) {
    const auto found = cameras.find(frame.camera);
    if (found != cameras.end()) return found->second;
    const double aspect = frame.picture ? static_cast<double>(aspectRatio(*frame.picture)) : kUsualAspectRatio;
    Camera camera{{options.zones, frame.camera, aspect}, frame.picture};
    if (options.every) camera.nextCount = *frame.timestamp + *options.every;
    return cameras.emplace(frame.camera, std::move(camera)).first->second;
  }

  /// The first time after `time` that is whole intervals after `due`.
  std::uint64_t nextAfter(std::uint64_t time, std::uint64_t due) const {
    return due + ((time - due) / *options.every + 1) * *options.every;
  }

  void tellDropped(TextBuffer& json) {
    json += ofDropped.view();
    ofDropped.clear();
  }

  void finish(const std::string& name, TextBuffer& json) {
    const auto found = cameras.find(name);
    if (found == cameras.end()) return;
    found->second.events.end(happened);
    tellEvents(name, found->second, json);
    tellCounts(name, found->second, json);
    cameras.erase(found);
  }

  static void beginLine(TextBuffer& json, std::string_view event, const std::string& camera, std::uint64_t timestamp) {
    appendField(json, R"({"event":)", event, appendQuoted);
    appendField(json, R"(,"camera":)", camera, appendQuoted);
    appendField(json, R"(,"timestamp":)", timestamp, appendWhole);
  }

  void tellEvents(const std::string& name, const Camera& camera, TextBuffer& json) {
    for (const Event& event : happened) tell(event, name, camera.picture, json);
    happened.clear();
  }

  static void tell(const Event& event, const std::string& camera, const std::optional<PictureSize>& picture,
                   TextBuffer& json) {
    beginLine(json, nameOf(event.kind), camera, event.timestamp);
    appendField(json, R"(,"id":)", event.identity, appendWhole);
    appendField(json, R"(,"label":)", event.label, appendQuoted);
    if (event.into) appendField(json, R"(,"into":)", *event.into, appendWhole);
    appendPlace(json, event.place);
    if (event.dwell) appendField(json, R"(,"dwell":)", *event.dwell, appendWhole);
    if (event.kind == Event::Kind::corrected) json += R"(,"identities":-1)";
    if (event.life) appendLife(json, *event.life, picture);
    json += "}\n";
  }

  static void appendLife(TextBuffer& json, const Life& life, const std::optional<PictureSize>& picture) {
    json += R"(,"first":)";
    appendSighting(json, life.first, picture);
    json += R"(,"last":)";
    appendSighting(json, life.last, picture);
    appendField(json, R"(,"distance":)", life.distance, appendPixels);
    appendField(json, R"(,"score":)", life.score, appendNumber);
    appendArrayField(json, R"(,"labels":)", life.labels, appendQuoted);
  }

  static void tellCounts(const std::string& name, const Camera& camera, TextBuffer& json) {
    beginLine(json, "counts", name, camera.events.timestamp());
    const Counts counts = camera.events.counts();
    appendCounts(json, R"(,"identities":[)", counts, PlaceKind::picture);
    appendCounts(json, R"(],"zones":[)", counts, PlaceKind::zone);
    appendCounts(json, R"(],"lines":[)", counts, PlaceKind::line);
    json += "]}\n";
  }

  static void appendCounts(TextBuffer& json, std::string_view start, const Counts& counts, PlaceKind kind) {
    json += start;
    bool isFirst = true;
    for (const auto& [key, count] : counts) {
      const auto& [place, label] = key;
      if (place.kind != kind) continue;
      if (!std::exchange(isFirst, false)) json += ',';
      appendField(json, R"({"label":)", label, appendQuoted);
      appendPlace(json, place);
      if (kind == PlaceKind::zone) appendField(json, R"(,"entries":)", count.times, appendWhole);
      if (kind == PlaceKind::line) appendField(json, R"(,"crossings":)", count.times, appendWhole);
      appendField(json, R"(,"identities":)", count.identities, appendWhole);
      if (kind == PlaceKind::zone) appendField(json, R"(,"inside":)", count.inside, appendWhole);
      json += '}';
    }
  }

  const EventOptions& options;
  std::map<std::string, Camera> cameras;
  std::vector<Event> happened;  // in the running call
  TextBuffer ofDropped;         // to be told with the next line
};

}  // namespace

std::unique_ptr<TrackWriter> writeEvents(const EventOptions& options) { return std::make_unique<EventWriter>(options); }

}  // namespace nivra::hostkit
