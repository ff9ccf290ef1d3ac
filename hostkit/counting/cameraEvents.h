#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "hostkit/counting/zones.h"
#include "hostkit/formats/format.h"
#include "hostkit/formats/frame.h"

namespace nivra::hostkit {

/// Where something happens: in the picture, in a zone or at a line.
enum class PlaceKind { picture, zone, line };

/// To which side of a line somebody goes, as seen from its `from` to its `to`.
enum class Side { none, left, right };

/// A place, and for lines the side to which it is crossed.
struct CountedPlace {
  PlaceKind kind = PlaceKind::picture;
  std::string name = {};
  Side side = Side::none;

  bool operator<(const CountedPlace& other) const {
    return std::tie(kind, name, side) < std::tie(other.kind, other.name, other.side);
  }
};

/// What there is to say of an identity's whole life so far, in the frames in which it took a detection.
struct Life {
  struct Sighting {
    std::uint64_t timestamp = 0;
    Box box;
  };

  Sighting first;
  Sighting last;
  double distance = 0.0;  // the way of the box's centre: pixels, or picture units where frames aren't in pixels
  float score = 0.0F;     // the highest one, percent
  std::vector<std::string> labels;  // in the order in which it had them
};

struct Event {
  enum class Kind { confirmed, lost, revived, merged, ended, entered, left, crossed, corrected };

  Kind kind = Kind::confirmed;
  std::uint64_t timestamp = 0;  // when it happened, ns
  int identity = 0;
  std::string label = {};
  CountedPlace place = {};
  std::optional<std::uint64_t> dwell = {};  // ns in a zone that was left
  std::optional<int> into = {};             // the identity that lives on after a merge
  std::optional<Life> life = {};            // of events that are of no place
};

/// What is counted for a place and a label.
struct Count {
  std::uint64_t times = 0;       // identities were confirmed, zones entered, lines crossed
  std::uint64_t identities = 0;  // to which that happened, each once however often, and merged ones as one
  std::uint64_t inside = 0;      // identities that are in a zone, and not lost
};
using Counts = std::map<std::pair<CountedPlace, std::string>, Count>;

/// Watches what a camera's tracker reports for what happens to identities, in zones and at lines.
///
/// Somebody is where the middle of the box's lower edge is, in frames with a detection; what lies between two of them
/// is a straight way. To be in or out, or on a side, takes a distance of a twentieth of the box's height from the
/// border, so that boxes that tremble on it cause nothing. What happens before an identity is confirmed is told when it
/// is. The memory is that of the identities that have not ended.
class CameraEvents {
 public:
  /// @param watched Outlives this object.
  /// @param aspectRatio Width by height of the picture.
  CameraEvents(const Zones& watched, const std::string& camera, double aspectRatio);

  /// @param frame With its time; newer than the one before.
  /// @param tracks What is told of it.
  /// @param events Takes what happened, behind what it holds.
  void take(const Frame& frame, const FrameTracks& tracks, std::vector<Event>& events);

  /// Ends all identities.
  void end(std::vector<Event>& events);

  /// What was counted since the beginning, and who is where now.
  Counts counts() const;

  std::uint64_t timestamp() const { return now; }  // of the last frame

 private:
  enum class Presence { unknown, outside, inside };
  struct InZone {
    Presence presence = Presence::unknown;
    std::uint64_t since = 0;
  };
  struct ClearPlace {
    Side side = Side::none;
    Position place;
  };
  struct AtLine {
    ClearPlace first;
    ClearPlace last;
  };
  struct Followed {
    int identity = 0;
    bool isConfirmed = false;
    bool isLost = false;
    std::uint64_t toldIn = 0;  // number of the frame
    std::string label;
    Life life;
    std::vector<InZone> zones;
    std::vector<AtLine> lines;
    std::map<CountedPlace, std::string> counted;  // and the label under which
    std::vector<Event> waiting;                   // for the confirmation
  };

  void see(const Frame& frame, const TrackReport& report);
  static void prolong(Life& life, const Frame& frame, const TrackedObjectDetection& track);
  void walk(Followed& followed, const Box& box, std::uint64_t gone);
  void visit(Followed& followed, std::size_t zone, Position place, double margin, std::uint64_t gone);
  void cross(Followed& followed, std::size_t line, Position place, double margin);
  double offset(std::size_t line, Position place) const;
  bool isCrossedBetween(std::size_t line, const ClearPlace& before, const ClearPlace& after) const;
  void leave(Followed& followed, std::size_t zone, std::uint64_t time);
  void confirm(Followed& followed);
  void merge(int absorbed, int older);
  void mergePlaces(Followed& gone, Followed& staying);
  void end(Followed& followed);
  void tellLife(Event::Kind kind, const Followed& followed, std::optional<int> into = std::nullopt);
  void happen(Followed& followed, Event event);
  void count(Followed& followed, const CountedPlace& place);
  Position placed(Position normalised) const { return {normalised.x * aspect, normalised.y}; }

  std::vector<const Zone*> zones;  // of this camera
  std::vector<const CrossingLine*> lines;
  double aspect;
  std::map<int, Followed> identities;
  Counts totals;
  std::uint64_t frameNumber = 0;
  std::uint64_t now = 0;
  std::vector<Event>* told = nullptr;  // of the running call
};

}  // namespace nivra::hostkit
