#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include "hostkit/formats/jsonReading.h"
#include "hostkit/formats/picture.h"

/// What lines of JSON have in common, whether they tell detections or tracks.
namespace nivra::hostkit {

struct JsonLineHead {
  std::optional<std::string_view> camera;
  std::optional<std::uint64_t> timestamp;
  std::optional<PictureSize> picture;
};

inline constexpr Range<std::uint64_t> kTimestamps = {0, std::numeric_limits<std::int64_t>::max()};

template <class Line>
constexpr JsonField<Line> kCameraField = {
    "camera", [](dom::element value, const JsonPlace& place, Line& line) { line.camera = stringOf(value, place); }};

template <class Line>
constexpr JsonField<Line> kTimestampField = {"timestamp", readNumber<&JsonLineHead::timestamp, kTimestamps>};

template <class Line>
constexpr JsonField<Line> kPictureField = {"picture", [](dom::element value, const JsonPlace& place, Line& line) {
                                             const auto [width, height] =
                                                 numbersOf<int, 2>(value, kPictureSides, place);
                                             line.picture = PictureSize{width, height};
                                           }};

/// Refuses edges that stand the wrong way round.
/// @param edges Left, top, right, bottom.
inline void requireUpright(const std::array<double, 4>& edges, bool inPixels, const JsonPlace& place) {
  const auto [left, top, right, bottom] = edges;
  if (right < left) refuse(place, "the right edge is left of the left one");
  if (inPixels && bottom < top) refuse(place, "the bottom edge is above the top one: y grows downward in pixels");
  if (!inPixels && top < bottom) {
    refuse(place, "the top edge is below the bottom one: y grows upward, unless a picture is given");
  }
}

}  // namespace nivra::hostkit
