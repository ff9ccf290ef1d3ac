#include "hostkit/replaying/packing.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <map>
#include <new>
#include <vector>

#include "hostkit/text/jsonText.h"

namespace nivra::hostkit {

namespace {

constexpr double kStepsOfSide = 8192.0;

constexpr auto appendBool = [](TextBuffer& json, bool value) { json += value ? "true" : "false"; };
constexpr auto appendIdentity = [](TextBuffer& json, std::int64_t number) {
  appendQuoted(json, std::to_string(number));  // a number of JavaScript has not room for all
};

/// What the page shows of a box, bit by bit.
enum BoxState : int { kSeen = 1, kConfident = 2, kLost = 4, kNotCounted = 8 };

/// A box of an identity.
struct Point {
  std::size_t identity = 0;  // in the order of their first frames
  const IdentifiedRow* row = nullptr;
  int state = 0;
  int partner = 0;  // of the truth, from 1; 0 for none, -1 if it doesn't count
};

/// The identities of tracks or truth, and their boxes one after the other.
struct Identities {
  std::vector<std::int64_t> ids;
  std::map<std::int64_t, std::size_t> places;
  std::vector<Point> points;

  void add(const IdentifiedRow& row, int state, int partner) {
    const auto [place, isNew] = places.emplace(row.identified.identity, ids.size());
    if (isNew) ids.push_back(row.identified.identity);
    points.push_back({place->second, &row, state, partner});
  }

  void sort() {
    std::sort(points.begin(), points.end(), [](const Point& a, const Point& b) {
      return a.identity != b.identity ? a.identity < b.identity : a.row->frame < b.row->frame;
    });
  }
};

int stateOf(const IdentifiedRow& row) { return (row.seen ? kSeen : 0) | (row.confident ? kConfident : 0); }

Identities identitiesOf(const RecordedTracks& tracks, const RecordedCamera& camera, const Identities& truth) {
  Identities identities;
  const auto& rows = tracks.sequence.rows;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    int partner = 0;
    if (tracks.matching) {
      const int row = tracks.matching->truthOfTrack[i];
      const auto identityAt = [&](int at) {
        return camera.truth->rows[static_cast<std::size_t>(at)].identified.identity;
      };
      partner = row >= 0 ? static_cast<int>(truth.places.at(identityAt(row))) + 1
                         : (row == SequenceMatching::kNotCounted ? -1 : 0);
    }
    identities.add(rows[i], stateOf(rows[i]), partner);
  }
  for (const IdentifiedRow& each : tracks.lost) identities.add(each, stateOf(each) | kLost, 0);
  identities.sort();
  return identities;
}

Identities identitiesOf(const IdentifiedSequence& truth, Preprocessing preprocessing) {
  Identities identities;
  for (const IdentifiedRow& each : truth.rows) {
    const bool isCounted = roleOf(each, preprocessing) == TruthRole::counted;
    identities.add(each, kSeen | kConfident | (isCounted ? 0 : kNotCounted), 0);
  }
  identities.sort();
  return identities;
}

/// Numbers, column by column.
class Columns {
 public:
  void add(std::int64_t number) {
    auto bits = static_cast<std::uint64_t>(number) << 1U ^ static_cast<std::uint64_t>(number >> 63);
    for (; bits >= 0x80U; bits >>= 7U) bytes.push_back(static_cast<char>(bits | 0x80U));
    bytes.push_back(static_cast<char>(bits));
  }

  /// Each number as its difference from the one before it.
  template <class Elements, class Number>
  void addDifferences(const Elements& elements, Number numberOf) {
    std::int64_t last = 0;
    for (const auto& each : elements) {
      const auto number = static_cast<std::int64_t>(numberOf(each));
      add(number - last);
      last = number;
    }
  }

  /// Each number as its difference from where the two before it lead, anew for each identity.
  template <class Number>
  void addCourse(const std::vector<Point>& points, Number numberOf) {
    std::int64_t last = 0;
    std::int64_t step = 0;
    std::size_t identity = points.size();
    for (const Point& each : points) {
      const std::int64_t number = numberOf(*each.row);
      if (each.identity != identity) {
        identity = each.identity;
        step = 0;
        add(number - last);
      } else {
        add(number - last - step);
        step = number - last;
      }
      last = number;
    }
  }

  const std::string& text() const { return bytes; }

 private:
  std::string bytes;
};

/// Writes one camera into the head and the columns.
class CameraPacker {
 public:
  CameraPacker(const RecordedCamera& recordedCamera, TextBuffer& head, Columns& numbers)
      : camera(recordedCamera),
        json(head),
        columns(numbers),
        step(std::max(camera.picture.width, camera.picture.height) / kStepsOfSide) {}

  void pack(const Footage& footage) {
    appendField(json, R"({"name":)", camera.name, appendQuoted);
    appendField(json, R"(,"width":)", camera.picture.width, appendWhole);
    appendField(json, R"(,"height":)", camera.picture.height, appendWhole);
    appendField(json, R"(,"step":)", step, appendDouble);
    appendField(json, R"(,"frames":)", camera.frameCount, appendWhole);
    appendArrayField(json, R"(,"labels":)", camera.labels, appendQuoted);
    columns.addDifferences(camera.seconds, [](double seconds) { return std::llround(seconds * 1000.0); });
    packDetections();
    Identities truth;
    if (camera.truth) truth = identitiesOf(*camera.truth, camera.preprocessing);
    if (camera.truth) {
      json += R"(,"truth":{)";
      packIdentities(truth);
      json += '}';
    }
    packZones();
    appendArrayField(json, R"(,"runs":)", camera.runs,
                     [&](TextBuffer&, const RecordedTracks& run) { packRun(run, truth); });
    packFootage(footage);
    json += '}';
  }

 private:
  std::int64_t steps(double pixels) const {
    constexpr double kMost = 1 << 28;  // so that differences of differences fit into 32 bits
    return std::llround(std::clamp(pixels / step, -kMost, kMost));
  }

  void packDetections() {
    std::vector<RecordedDetection> all;
    for (const auto& frame : camera.detections) all.insert(all.end(), frame.begin(), frame.end());
    appendField(json, R"(,"detections":)", static_cast<std::int64_t>(all.size()), appendWhole);
    if (all.empty()) return;
    for (std::size_t i = 0; i < static_cast<std::size_t>(camera.frameCount); ++i) {
      columns.add(i < camera.detections.size() ? static_cast<std::int64_t>(camera.detections[i].size()) : 0);
    }
    columns.addDifferences(all, [&](const auto& each) { return steps(each.box.left); });
    columns.addDifferences(all, [&](const auto& each) { return steps(each.box.top); });
    columns.addDifferences(all, [&](const auto& each) { return steps(each.box.width); });
    columns.addDifferences(all, [&](const auto& each) { return steps(each.box.height); });
    columns.addDifferences(all, [](const auto& each) { return std::lround(each.score); });
    columns.addDifferences(all, [](const auto& each) { return each.label; });
  }

  void appendPoint(Position normalised) {
    const Position pixels = toPixels(normalised, camera.picture);
    appendArray(json, std::array<double, 2>{pixels.x, pixels.y}, appendPixels);
  }

  void packZones() {
    const auto append = [&](TextBuffer&, Position point) { appendPoint(point); };
    appendArrayField(json, R"(,"zones":)", camera.zones.zones, [&](TextBuffer&, const Zone& zone) {
      appendField(json, R"({"name":)", zone.name, appendQuoted);
      appendArrayField(json, R"(,"points":)", zone.polygon, append);
      json += '}';
    });
    appendArrayField(json, R"(,"lines":)", camera.zones.lines, [&](TextBuffer&, const CrossingLine& line) {
      appendField(json, R"({"name":)", line.name, appendQuoted);
      appendArrayField(json, R"(,"points":)", std::array<Position, 2>{line.from, line.to}, append);
      json += '}';
    });
  }

  void packCounts(const std::vector<RecordedCounts>& counts) {
    appendArrayField(json, R"(,"counts":)", counts, [&](TextBuffer&, const RecordedCounts& each) {
      appendField(json, R"({"frame":)", each.frame, appendWhole);
      appendArrayField(json, R"(,"places":)", each.counts, [&](TextBuffer&, const auto& entry) {
        const auto& [place, label] = entry.first;
        appendField(json, R"({"name":)", place.name, appendQuoted);
        appendField(json, R"(,"side":)", static_cast<int>(place.side), appendWhole);
        appendField(json, R"(,"label":)", label, appendQuoted);
        appendField(json, R"(,"times":)", static_cast<std::int64_t>(entry.second.times), appendWhole);
        appendField(json, R"(,"inside":)", static_cast<std::int64_t>(entry.second.inside), appendWhole);
        json += '}';
      });
      json += '}';
    });
  }

  void packIdentities(const Identities& identities) {
    const std::vector<Point>& points = identities.points;
    appendArrayField(json, R"("ids":)", identities.ids, appendIdentity);
    appendField(json, R"(,"boxes":)", static_cast<std::int64_t>(points.size()), appendWhole);
    std::vector<std::int64_t> counts(identities.ids.size());
    for (const Point& each : points) ++counts[each.identity];
    for (const std::int64_t each : counts) columns.add(each);
    columns.addDifferences(points, [](const Point& each) { return each.row->frame; });
    columns.addCourse(points, [&](const IdentifiedRow& row) { return steps(row.identified.box.left); });
    columns.addCourse(points, [&](const IdentifiedRow& row) { return steps(row.identified.box.top); });
    columns.addCourse(points, [&](const IdentifiedRow& row) { return steps(row.identified.box.width); });
    columns.addCourse(points, [&](const IdentifiedRow& row) { return steps(row.identified.box.height); });
    columns.addDifferences(points, [](const Point& each) { return each.state; });
    columns.addDifferences(points, [](const Point& each) { return std::lround(each.row->score.value_or(100.0F)); });
    columns.addDifferences(points, [](const Point& each) { return each.row->label; });
    columns.addDifferences(points, [](const Point& each) { return each.partner; });
  }

  void packRun(const RecordedTracks& run, const Identities& truth) {
    const Identities identities = identitiesOf(run, camera, truth);
    appendField(json, R"({"name":)", run.name, appendQuoted);
    json += ',';
    packIdentities(identities);
    packMerges(run.sequence.merges, identities);
    packCounts(run.counts);
    if (run.reasons) packReasons(run.reasons->lives, identities);
    if (run.matching) packMatching(run, truth);
    json += '}';
  }

  /// Identities without a box in any frame are passed over.
  void packMerges(const std::vector<IdentityMerge>& merges, const Identities& identities) {
    std::vector<IdentityMerge> known;
    std::copy_if(merges.begin(), merges.end(), std::back_inserter(known), [&](const IdentityMerge& each) {
      return identities.places.count(each.absorbed) > 0 && identities.places.count(each.into) > 0;
    });
    appendArrayField(json, R"(,"merges":)", known, [&](TextBuffer&, const IdentityMerge& each) {
      const auto place = [&](std::int64_t id) { return static_cast<std::int64_t>(identities.places.at(id)); };
      appendArray(json, std::array<std::int64_t, 3>{each.frame, place(each.absorbed), place(each.into)}, appendWhole);
    });
  }

  /// What happened to each identity, in the order of frames.
  void packReasons(const std::vector<Told>& lives, const Identities& identities) {
    std::vector<std::vector<const Told*>> told(identities.ids.size());
    for (const Told& each : lives) {
      const auto place = identities.places.find(each.track);
      if (place != identities.places.end()) told[place->second].push_back(&each);
    }
    appendArrayField(json, R"(,"reasons":)", told, [&](TextBuffer&, const auto& life) {
      appendArray(json, life, [&](TextBuffer&, const Told* each) {
        appendField(json, R"({"frame":)", each->frame, appendWhole);
        appendField(json, R"(,"sentence":)", each->sentence, appendQuoted);
        json += '}';
      });
    });
  }

  void packSwitches(const RecordedTracks& run, const Identities& truth) {
    std::size_t index = 0;
    appendArrayField(json, R"(,"switches":)", run.matching->switches, [&](TextBuffer&, std::size_t at) {
      const IdentifiedRow& row = camera.truth->rows[at];
      const auto place = static_cast<std::int64_t>(truth.places.at(row.identified.identity));
      appendField(json, R"({"frame":)", row.frame, appendWhole);
      appendField(json, R"(,"person":)", place, appendWhole);
      if (run.reasons) appendField(json, R"(,"sentence":)", run.reasons->switches[index++].sentence, appendQuoted);
      json += '}';
    });
  }

  void packMatching(const RecordedTracks& run, const Identities& truth) {
    const SequenceMatching& matching = *run.matching;
    packSwitches(run, truth);
    std::vector<FigureName> shown;
    std::copy_if(figureNames().begin(), figureNames().end(), std::back_inserter(shown),
                 [](const FigureName& figure) { return figure.isShown; });
    appendArrayField(json, R"(,"figures":)", shown, [&](TextBuffer&, const FigureName& figure) {
      appendField(json, R"({"name":)", figure.heading, appendQuoted);
      appendField(json, R"(,"isFraction":)", figure.kind == FigureName::Kind::fraction, appendBool);
      appendField(json, R"(,"value":)", figure.of(matching.figures), appendDouble);
      json += '}';
    });
    appendArrayField(json, R"(,"curves":)", curveNames(), [&](TextBuffer&, const CurveName& curve) {
      appendField(json, R"({"name":)", curve.name, appendQuoted);
      appendArrayField(json, R"(,"values":)", curve.of(matching.figures), appendDouble);
      json += '}';
    });
  }

  void packFootage(const Footage& footage) {
    const auto found = footage.cameras.find(camera.name);
    if (found == footage.cameras.end()) return;
    const auto& [pictures, video] = found->second;
    // What is embedded is found in the page by its number.
    const auto address = [&](TextBuffer&, const std::filesystem::path& file) {
      appendQuoted(json, footage.isEmbedded ? std::string() : footage.addressOf(file));
    };
    if (!pictures.empty()) appendArrayField(json, R"(,"pictures":)", pictures, address);
    if (!video.empty()) appendField(json, R"(,"video":)", video, address);
  }

  const RecordedCamera& camera;
  TextBuffer& json;
  Columns& columns;
  double step;
};

std::string deflated(const std::string& bytes) {
  uLongf size = compressBound(bytes.size());
  std::string packed(size, '\0');
  const int outcome = compress2(reinterpret_cast<Bytef*>(packed.data()), &size,
                                reinterpret_cast<const Bytef*>(bytes.data()), bytes.size(), Z_BEST_COMPRESSION);
  if (outcome != Z_OK) throw std::bad_alloc();  // there is nothing else that can fail
  packed.resize(size);
  return packed;
}

}  // namespace

std::string pack(const Recording& recording, const Footage& footage) {
  TextBuffer head;
  Columns columns;
  appendArrayField(head, R"({"cameras":)", recording.cameras, [&](TextBuffer&, const RecordedCamera& camera) {
    CameraPacker(camera, head, columns).pack(footage);
  });
  appendField(head, R"(,"isEmbedded":)", footage.isEmbedded, appendBool);
  head += '}';
  std::string bytes;
  for (unsigned i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(head.view().size() >> (8 * i)));
  bytes += head.view();
  bytes += columns.text();
  return deflated(bytes);
}

}  // namespace nivra::hostkit
