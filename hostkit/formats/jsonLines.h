#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/formats/format.h"

namespace nivra::hostkit {

/// How many bytes behind a line can be read, whatever they are.
inline constexpr std::size_t kJsonMargin = 64;

/// A line by itself.
struct JsonLine {
  std::string_view text = {};         // with `kJsonMargin` behind it
  std::uint64_t number = 0;           // from 1
  std::string_view usualCamera = {};  // of lines that name none
  bool isFirst = false;               // of an input, so that it may show which format the input is of instead
};

/// Reads lines, wherever they come from.
class JsonLineParser {
 public:
  virtual ~JsonLineParser() = default;

  /// @param record Takes what the line says; what it holds may be reused.
  virtual void read(const JsonLine& line, Record& record) = 0;
  /// The camera that a line names, however bad it is otherwise; nothing if it names none. Valid until the next call.
  virtual std::optional<std::string_view> cameraOf(const JsonLine& line) = 0;
  /// Told when no more lines come: now is the time for doubts about all of them.
  virtual void finish() = 0;
};

/// @param input Its name in warnings.
std::unique_ptr<JsonLineParser> parseJsonLines(const ReadSettings& settings, std::string input);

/// Appends [left, top, right, bottom], in pixels if there is a picture.
void appendBox(TextBuffer& json, const Box& box, const std::optional<PictureSize>& picture);

/// Appends the line that answers a bad one, without its end.
void appendFault(TextBuffer& json, const BadLine& fault);

/// Lines of JSON, one a frame, a movement or an end of a camera; docs/streams.md tells what they hold.
extern const Format kJsonLines;

// Its writing half, in jsonLinesWriting.cpp.
std::unique_ptr<TrackWriter> writeJsonTracks(const WriteSettings& settings);
std::unique_ptr<DetectionWriter> writeJsonDetections(const Target& target, const WriteSettings& settings);

/// Tracks as they are written, or detections with the identities of objects as their ids, camera by camera; in
/// jsonLinesIdentities.cpp.
std::vector<IdentifiedSequence> readJsonIdentities(const std::string& path, const ReadSettings& settings);

}  // namespace nivra::hostkit
