#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "arrays.h"
#include "hostkit/formats/frame.h"

namespace nivra::python {

using PictureSides = std::optional<std::pair<int, int>>;

std::optional<hostkit::PictureSize> pictureOf(const PictureSides& given);
PictureSides sidesOf(const std::optional<hostkit::PictureSize>& picture);

/// How the four numbers of a box are meant, x to the right and y as the coordinates have it.
enum class BoxFormat { corners, cornerAndSize, centreAndSize };

/// @throws ValueError unless it is xyxy, xywh or cxcywh.
BoxFormat parseBoxFormat(const std::string& text);

/// Coordinates and classes as a camera's caller counts them.
class Terms {
 public:
  /// @param classIds, classNames One each for each class.
  /// @param others Whether detections of other classes are left out; else they are refused.
  Terms(std::optional<hostkit::PictureSize> pictureSize, BoxFormat format, std::vector<std::int64_t> classIds,
        std::vector<std::string> classNames, bool others);

  /// The class of a detection, by its id or label; none if it is left out.
  /// @param row Of the detection.
  /// @throws ValueError for other classes, if they are refused.
  std::optional<std::size_t> classOfId(std::int64_t id, std::size_t row) const;
  std::optional<std::size_t> classOfLabel(const std::string& label, std::size_t row) const;

  /// The first class that is called so; they are few, and neighbours alike.
  std::int32_t classNamed(const std::string& label) const;

  Box toLibrary(const std::array<double, 4>& box) const;
  /// As the caller has it, in double precision.
  std::array<double, 4> fromLibrary(const Box& box) const;

  const std::optional<hostkit::PictureSize> picture;
  const BoxFormat boxFormat;
  const std::vector<std::int64_t> ids;
  const std::vector<std::string> names;

 private:
  bool leavesOut;
  std::map<std::int64_t, std::size_t> byId;
  std::map<std::string, std::size_t> byName;
  mutable std::size_t lastNamed = 0;
};

/// The arguments of a call that describe a frame's detections; None for what isn't given.
struct DetectionArguments {
  py::object boxes;
  py::object scores;
  py::object classIds;
  py::object labels;
  py::object features;
  py::object attributes;
  py::object objectness;
};

/// Brings detections into the library's terms. What they held before is overwritten.
/// @return How many rows there were, of which some may be left out.
/// @throws ValueError, TypeError naming the argument.
std::size_t fillDetections(const DetectionArguments& given, const Terms& terms,
                           std::vector<ObjectDetection>& detections);

/// @param given An integer, which a float isn't.
std::uint64_t parseTimestamp(const py::object& given);

/// @param given A matrix of two or three rows and three columns.
std::array<double, 6> parseCameraMotion(const py::object& given);

}  // namespace nivra::python
