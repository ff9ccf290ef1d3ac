#include "hostkit/counting/zones.h"

#include <fmt/format.h>

#include <optional>
#include <set>
#include <utility>

#include "hostkit/formats/jsonReading.h"

namespace nivra::hostkit {

namespace {

Position readPoint(dom::element value, const JsonPlace& place) {
  const auto [x, y] = numbersOf<double, 2>(value, kCoordinates, place);
  return {x, y};
}

struct Draft {
  Zone zone;
  std::optional<Position> from;
  std::optional<Position> to;
};

void readName(dom::element value, const JsonPlace& place, Draft& draft) {
  draft.zone.name = stringOf(value, place);
  if (draft.zone.name.empty()) refuse(place, "must not be empty");
}

void readCamera(dom::element value, const JsonPlace& place, Draft& draft) {
  draft.zone.camera = stringOf(value, place);
}

void readPolygon(dom::element value, const JsonPlace& place, Draft& draft) {
  std::size_t index = 0;
  for (const dom::element each : arrayOf(value, place)) {
    draft.zone.polygon.push_back(readPoint(each, JsonPlace(place, index++)));
  }
}

constexpr std::array<JsonField<Draft>, 3> kZoneFields = {
    {{"name", readName}, {"camera", readCamera}, {"polygon", readPolygon}}};

constexpr std::array<JsonField<Draft>, 4> kLineFields = {{
    {"name", readName},
    {"camera", readCamera},
    {"from", [](dom::element value, const JsonPlace& place, Draft& draft) { draft.from = readPoint(value, place); }},
    {"to", [](dom::element value, const JsonPlace& place, Draft& draft) { draft.to = readPoint(value, place); }},
}};

struct File {
  Zones watched;
  std::optional<PictureSize> picture;
  std::set<std::string> names;
};

void takeName(const Draft& draft, const JsonPlace& place, File& file) {
  const JsonPlace here(place, "name");
  if (draft.zone.name.empty()) refuse(here, "missing");
  if (!file.names.insert(draft.zone.name).second) refuse(here, "given twice");
}

/// What a file with a misspelt field says is not what its author means.
constexpr auto refuseUnknown(const JsonPlace& place) {
  return [&place](std::string_view field) { refuse(JsonPlace(place, field), "unknown"); };
}

template <std::size_t count, class Take>
void readPlaces(dom::element list, const JsonPlace& place, const std::array<JsonField<Draft>, count>& fields,
                File& file, Take take) {
  std::size_t index = 0;
  for (const dom::element each : arrayOf(list, place)) {
    const JsonPlace here(place, index++);
    Draft draft;
    readFields(objectOf(each, here), here, fields, draft, refuseUnknown(here));
    takeName(draft, here, file);
    take(draft, here);
  }
}

void readZoneList(dom::element list, const JsonPlace& place, File& file) {
  readPlaces(list, place, kZoneFields, file, [&](Draft& draft, const JsonPlace& here) {
    if (draft.zone.polygon.size() < 3) refuse(JsonPlace(here, "polygon"), "expected three points or more");
    file.watched.zones.push_back(std::move(draft.zone));
  });
}

void readLineList(dom::element list, const JsonPlace& place, File& file) {
  readPlaces(list, place, kLineFields, file, [&](Draft& draft, const JsonPlace& here) {
    if (!draft.from) refuse(JsonPlace(here, "from"), "missing");
    if (!draft.to) refuse(JsonPlace(here, "to"), "missing");
    if (draft.from->x == draft.to->x && draft.from->y == draft.to->y) refuse(JsonPlace(here, "to"), "the same as from");
    file.watched.lines.push_back({draft.zone.name, draft.zone.camera, *draft.from, *draft.to});
  });
}

constexpr std::array<JsonField<File>, 3> kFileFields = {{
    {"picture",
     [](dom::element value, const JsonPlace& place, File& file) {
       const auto [width, height] = numbersOf<int, 2>(value, kPictureSides, place);
       file.picture = PictureSize{width, height};
     }},
    {"zones", readZoneList},
    {"lines", readLineList},
}};

void normalise(Zones& watched, PictureSize picture) {
  const auto place = [&](Position& point) { point = toNormalised(point, picture); };
  for (Zone& zone : watched.zones) {
    for (Position& corner : zone.polygon) place(corner);
  }
  for (CrossingLine& line : watched.lines) {
    place(line.from);
    place(line.to);
  }
}

}  // namespace

Zones readZones(const std::string& path) {
  File file;
  readJsonFile(path, "zones", [&](dom::element whole) {
    const JsonPlace outermost;
    readFields(objectOf(whole, outermost), outermost, kFileFields, file, refuseUnknown(outermost));
  });
  if (file.picture) normalise(file.watched, *file.picture);
  return file.watched;
}

}  // namespace nivra::hostkit
