#pragma once

#include <string>
#include <vector>

#include "hostkit/formats/picture.h"

namespace nivra::hostkit {

/// A part of the picture.
struct Zone {
  std::string name;
  std::string camera;             // empty for every camera
  std::vector<Position> polygon;  // its corners in the library's coordinates; at least three
};

/// A line across the picture, from one point to another, which are in the library's coordinates.
struct CrossingLine {
  std::string name;
  std::string camera;  // empty for every camera
  Position from;
  Position to;
};

/// What of a picture is watched.
struct Zones {
  std::vector<Zone> zones;
  std::vector<CrossingLine> lines;
};

/// Reads a file of zones and lines, as docs/events.md describes it.
/// @throws FileError naming the field that is at fault.
Zones readZones(const std::string& path);

}  // namespace nivra::hostkit
