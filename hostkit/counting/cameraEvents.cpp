#include "hostkit/counting/cameraEvents.h"

#include <algorithm>
#include <cmath>

namespace nivra::hostkit {

namespace {

constexpr double kMargin = 0.05;             // of the height of a box
constexpr std::size_t kMostWaiting = 1'000;  // events of an identity that is not confirmed

Position operator-(Position a, Position b) { return {a.x - b.x, a.y - b.y}; }
double crossProduct(Position a, Position b) { return a.x * b.y - a.y * b.x; }
double dot(Position a, Position b) { return a.x * b.x + a.y * b.y; }
double length(Position a) { return std::hypot(a.x, a.y); }

double distanceToEdge(Position point, Position from, Position to) {
  const Position edge = to - from;
  const double square = dot(edge, edge);
  const double share = square > 0.0 ? std::clamp(dot(point - from, edge) / square, 0.0, 1.0) : 0.0;
  return length(point - Position{from.x + share * edge.x, from.y + share * edge.y});
}

bool isInside(Position point, const std::vector<Position>& polygon) {
  bool inside = false;
  for (std::size_t i = 0, before = polygon.size() - 1; i < polygon.size(); before = i++) {
    const Position& a = polygon[i];
    const Position& b = polygon[before];
    if ((a.y > point.y) == (b.y > point.y)) continue;
    inside ^= point.x < a.x + (b.x - a.x) * (point.y - a.y) / (b.y - a.y);
  }
  return inside;
}

template <class Place>
std::vector<const Place*> placesOf(const std::vector<Place>& all, const std::string& camera) {
  std::vector<const Place*> places;
  for (const Place& each : all) {
    if (each.camera.empty() || each.camera == camera) places.push_back(&each);
  }
  return places;
}

Position middle(const Box& box) {
  const Point point = center(box);
  return {point.x, point.y};
}

}  // namespace

CameraEvents::CameraEvents(const Zones& watched, const std::string& camera, double aspectRatio)
    : zones(placesOf(watched.zones, camera)), lines(placesOf(watched.lines, camera)), aspect(aspectRatio) {}

void CameraEvents::take(const Frame& frame, const FrameTracks& tracks, std::vector<Event>& events) {
  told = &events;
  now = *frame.timestamp;
  ++frameNumber;
  for (const auto& [absorbed, older] : tracks.changes.mergedIds) merge(absorbed, older);
  for (const TrackReport& report : tracks.tracks) see(frame, report);
  for (const int identity : tracks.changes.removedIds) {
    const auto found = identities.find(identity);
    if (found == identities.end()) continue;
    end(found->second);
    identities.erase(found);
  }
  for (auto& [identity, followed] : identities) {
    if (followed.toldIn == frameNumber || followed.isLost || !followed.isConfirmed) continue;
    followed.isLost = true;
    tellLife(Event::Kind::lost, followed);
  }
}

void CameraEvents::end(std::vector<Event>& events) {
  told = &events;
  for (auto& [identity, followed] : identities) end(followed);
  identities.clear();
}

Counts CameraEvents::counts() const {
  Counts counts = totals;
  for (const auto& [identity, followed] : identities) {
    const bool isThere = followed.isConfirmed && !followed.isLost;
    for (std::size_t i = 0; isThere && i < zones.size(); ++i) {
      if (followed.zones[i].presence != Presence::inside) continue;
      ++counts[{{PlaceKind::zone, zones[i]->name}, followed.label}].inside;
    }
  }
  return counts;
}

void CameraEvents::see(const Frame& frame, const TrackReport& report) {
  const TrackedObjectDetection& track = report.track;
  const auto [place, isNew] = identities.try_emplace(track.id);
  Followed& followed = place->second;
  if (isNew) {
    followed.identity = track.id;
    followed.life.first = followed.life.last = {now, track.box};
    followed.zones.resize(zones.size());
    followed.lines.resize(lines.size());
  }
  followed.toldIn = frameNumber;
  followed.label = track.label;
  if (report.detectionId >= 0) {
    const std::uint64_t gone = followed.isLost ? followed.life.last.timestamp : now;
    prolong(followed.life, frame, track);
    walk(followed, track.box, gone);
  }
  if (track.confident && !followed.isConfirmed) confirm(followed);
  if (followed.isLost) {
    followed.isLost = false;
    tellLife(Event::Kind::revived, followed);
  }
}

void CameraEvents::prolong(Life& life, const Frame& frame, const TrackedObjectDetection& track) {
  Position step = middle(track.box) - middle(life.last.box);
  if (frame.picture) step = {step.x / 2.0 * frame.picture->width, step.y / 2.0 * frame.picture->height};
  life.distance += length(step);
  life.last = {*frame.timestamp, track.box};
  life.score = std::max(life.score, track.score);
  if (std::find(life.labels.begin(), life.labels.end(), track.label) == life.labels.end()) {
    life.labels.push_back(track.label);
  }
}

/// @param gone When they left who are seen outside of a zone for the first time.
void CameraEvents::walk(Followed& followed, const Box& box, std::uint64_t gone) {
  const Position place = placed({middle(box).x, box.bottom});
  const double margin = kMargin * static_cast<double>(height(box));
  for (std::size_t i = 0; i < zones.size(); ++i) visit(followed, i, place, margin, gone);
  for (std::size_t i = 0; i < lines.size(); ++i) cross(followed, i, place, margin);
}

void CameraEvents::visit(Followed& followed, std::size_t zone, Position place, double margin, std::uint64_t gone) {
  std::vector<Position> polygon;
  for (const Position& corner : zones[zone]->polygon) polygon.push_back(placed(corner));
  for (std::size_t i = 0, before = polygon.size() - 1; i < polygon.size(); before = i++) {
    if (distanceToEdge(place, polygon[before], polygon[i]) < margin) return;
  }
  InZone& stay = followed.zones[zone];
  const bool inside = isInside(place, polygon);
  if (inside && stay.presence != Presence::inside) {
    stay = {Presence::inside, now};
    happen(followed, {Event::Kind::entered, now, 0, "", {PlaceKind::zone, zones[zone]->name}});
  } else if (!inside) {
    leave(followed, zone, gone);
    stay.presence = Presence::outside;
  }
}

void CameraEvents::leave(Followed& followed, std::size_t zone, std::uint64_t time) {
  InZone& stay = followed.zones[zone];
  if (stay.presence != Presence::inside) return;
  stay.presence = Presence::outside;
  happen(followed, {Event::Kind::left, time, 0, "", {PlaceKind::zone, zones[zone]->name}, time - stay.since});
}

/// How far to the left of a line somebody is.
double CameraEvents::offset(std::size_t line, Position place) const {
  const Position from = placed(lines[line]->from);
  const Position along = placed(lines[line]->to) - from;
  return crossProduct(along, place - from) / length(along);
}

void CameraEvents::cross(Followed& followed, std::size_t line, Position place, double margin) {
  const double left = offset(line, place);
  if (std::abs(left) < margin) return;
  const ClearPlace here = {left > 0.0 ? Side::left : Side::right, place};
  AtLine& at = followed.lines[line];
  if (at.first.side == Side::none) at.first = here;
  if (isCrossedBetween(line, std::exchange(at.last, here), here)) {
    happen(followed, {Event::Kind::crossed, now, 0, "", {PlaceKind::line, lines[line]->name, here.side}});
  }
}

/// Whether the straight way between them meets the line between its ends.
bool CameraEvents::isCrossedBetween(std::size_t line, const ClearPlace& before, const ClearPlace& after) const {
  if (before.side == Side::none || after.side == Side::none || before.side == after.side) return false;
  const double there = offset(line, before.place);
  const double share = there / (there - offset(line, after.place));
  const Position step = after.place - before.place;
  const Position meeting = {before.place.x + share * step.x, before.place.y + share * step.y};
  const Position from = placed(lines[line]->from);
  const Position along = placed(lines[line]->to) - from;
  const double position = dot(meeting - from, along) / dot(along, along);
  return position >= 0.0 && position <= 1.0;
}

void CameraEvents::confirm(Followed& followed) {
  followed.isConfirmed = true;
  tellLife(Event::Kind::confirmed, followed);
  count(followed, {});
  for (Event& each : std::exchange(followed.waiting, {})) happen(followed, std::move(each));
}

/// Tells what happens in a place, and counts it.
void CameraEvents::happen(Followed& followed, Event event) {
  if (!followed.isConfirmed) {
    if (followed.waiting.size() < kMostWaiting) followed.waiting.push_back(std::move(event));
    return;
  }
  if (event.kind != Event::Kind::left) count(followed, event.place);
  event.identity = followed.identity;
  event.label = followed.label;
  told->push_back(std::move(event));
}

void CameraEvents::count(Followed& followed, const CountedPlace& place) {
  const auto [counted, isNew] = followed.counted.try_emplace(place, followed.label);
  Count& total = totals[{place, counted->second}];
  ++total.times;
  if (isNew) ++total.identities;
}

void CameraEvents::tellLife(Event::Kind kind, const Followed& followed, std::optional<int> into) {
  Event& event = told->emplace_back();
  event.kind = kind;
  event.timestamp = now;
  event.identity = followed.identity;
  event.label = followed.label;
  event.into = into;
  event.life = followed.life;
}

/// The older identity goes on with what was counted for both; what was counted twice is taken back.
void CameraEvents::merge(int absorbed, int older) {
  auto node = identities.extract(absorbed);
  if (node.empty()) return;
  Followed& gone = node.mapped();
  if (gone.isConfirmed) tellLife(Event::Kind::merged, gone, older);
  const auto found = identities.find(older);
  if (found == identities.end()) {
    gone.identity = node.key() = older;
    identities.insert(std::move(node));
    return;
  }
  Followed& staying = found->second;
  for (const auto& [place, label] : gone.counted) {
    if (staying.counted.try_emplace(place, label).second) continue;
    --totals[{place, label}].identities;
    told->push_back({Event::Kind::corrected, now, absorbed, label, place, std::nullopt, older});
  }
  mergePlaces(gone, staying);
  for (Event& each : gone.waiting) happen(staying, std::move(each));
  Life& life = staying.life;
  if (gone.life.first.timestamp < life.first.timestamp) life.first = gone.life.first;
  if (gone.life.last.timestamp > life.last.timestamp) life.last = gone.life.last;
  life.distance += gone.life.distance;
  life.score = std::max(life.score, gone.life.score);
  for (const std::string& label : gone.life.labels) {
    if (std::find(life.labels.begin(), life.labels.end(), label) == life.labels.end()) life.labels.push_back(label);
  }
}

/// The older identity is where the other one is by now, and went there after it was lost.
void CameraEvents::mergePlaces(Followed& gone, Followed& staying) {
  const std::uint64_t back = gone.life.first.timestamp;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const AtLine& other = gone.lines[i];
    ClearPlace& own = staying.lines[i].last;
    if (other.last.side == Side::none) continue;
    if (staying.life.last.timestamp < back && isCrossedBetween(i, own, other.first)) {
      happen(staying, {Event::Kind::crossed, back, 0, "", {PlaceKind::line, lines[i]->name, other.first.side}});
    }
    own = other.last;
  }
  for (std::size_t i = 0; i < zones.size(); ++i) {
    const bool stays = gone.zones[i].presence == Presence::inside && staying.zones[i].presence == Presence::inside;
    if (stays) continue;
    leave(staying, i, staying.life.last.timestamp);
    staying.zones[i] = gone.zones[i];
  }
}

void CameraEvents::end(Followed& followed) {
  for (std::size_t i = 0; i < zones.size(); ++i) leave(followed, i, followed.life.last.timestamp);
  if (followed.isConfirmed) tellLife(Event::Kind::ended, followed);
}

}  // namespace nivra::hostkit
