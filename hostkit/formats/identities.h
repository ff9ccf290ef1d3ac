#pragma once

#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "hostkit/formats/picture.h"
#include "hostkit/text/numbers.h"

namespace nivra::hostkit {

constexpr Range<std::int64_t> kIdentities = {std::numeric_limits<std::int64_t>::min(),
                                             std::numeric_limits<std::int64_t>::max()};

/// A box and whose it is.
struct IdentifiedBox {
  PixelBox box;
  std::int64_t identity = 0;
};

/// A box of tracks or truth as files hold it.
struct IdentifiedRow {
  int frame = 0;  // from 1
  int line = 0;   // of the file, from 1; 0 where boxes are no lines
  IdentifiedBox identified;
  double confidence = 1.0;
  int label = kNone;     // in `IdentifiedSequence::labels`
  int category = kNone;  // the label's number, where labels have numbers

  // Of a track, as far as the input tells.
  std::optional<float> score = std::nullopt;  // percent
  bool seen = true;                           // it took a detection
  bool confident = true;

  static constexpr int kNone = -1;
};

/// An identity that an older one took the place of.
struct IdentityMerge {
  int frame = 0;  // from 1
  std::int64_t absorbed = 0;
  std::int64_t into = 0;
};

/// Tracks or truth of a camera.
struct IdentifiedSequence {
  std::string name;
  std::filesystem::path file;
  int frameCount = 0;                       // 0 if nothing tells it
  bool inPixels = true;                     // of a picture; else the picture is 2 wide and 2 high
  std::optional<PictureSize> picture;       // if the input tells it
  std::map<int, std::uint64_t> timestamps;  // ns, of the frames whose time is told
  std::vector<std::string> labels;
  std::vector<IdentifiedRow> rows;
  std::vector<IdentityMerge> merges;  // by frame

  /// The place of a label, which is added if it is new.
  int placeOf(const std::string& label);

 private:
  std::map<std::string, int> places;
};

/// A report's row in a frame, from 1.
/// @param picture In whose pixels it is to be; if there is none, it is in a picture 2 wide and 2 high around the
/// origin, y
///   growing downward.
IdentifiedRow rowOf(const TrackedObjectDetection& track, int frame, const std::optional<PictureSize>& picture);

/// Sorts rows by frame, and leaves those of a frame in their order.
/// @throws FileError, naming file and line, for a frame beyond the last one and an identity twice in a frame.
void finishIdentities(IdentifiedSequence& sequence);

/// @throws FileError for a box in a frame after `lastFrame`, which the truth ends with; naming file and line if it is
/// of a file.
void requireFramesWithin(const IdentifiedSequence& sequence, int lastFrame);

}  // namespace nivra::hostkit
