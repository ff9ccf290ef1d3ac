// Arbitrary files of the formats with numbered frames: frames that hold together, or the readers' own errors.
//
// The lower bits of the first byte choose the format and whether the frame rate is known; the rest is the file.

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <string>
#include <string_view>

#include "hostkit/errors.h"
#include "hostkit/formats/cocoResults.h"
#include "hostkit/formats/csv.h"
#include "hostkit/formats/formats.h"
#include "hostkit/formats/frameResults.h"
#include "hostkit/formats/kitti.h"
#include "hostkit/formats/yolo.h"
#include "support.h"
#include "temporaryFolder.h"

namespace nivra::fuzz {
namespace {

constexpr int kMostRecords = 1000;  // of frames without end

void check(const hostkit::Frame& frame) {
  for (const ObjectDetection& each : frame.detections) {
    require(each.box.right >= each.box.left && each.box.top >= each.box.bottom, "boxes are numbers, and not inverted");
    require(std::isfinite(each.score), "scores are numbers");
    require(each.classifications.size() == 1, "the class is given once");
  }
}

void readAll(hostkit::Reader& reader) {
  hostkit::Record record;
  std::uint64_t last = 0;
  for (int count = 0; count < kMostRecords && reader.read(record); ++count) {
    const auto* const frame = std::get_if<hostkit::Frame>(&record);
    if (frame == nullptr) continue;
    check(*frame);
    const std::uint64_t timestamp = frame->timestamp.value_or(0);
    require(count == 0 || timestamp >= last, "times ascend");
    last = timestamp;
  }
}

void run(std::string_view text) {
  static const TemporaryFolder folder;
  constexpr std::array<const hostkit::Format*, 5> all = {&hostkit::kCocoResults, &hostkit::kYolo, &hostkit::kKitti,
                                                         &hostkit::kCsv, &hostkit::kFrameResults};
  const auto mode = static_cast<unsigned char>(text.empty() ? 0 : text.front());
  text.remove_prefix(std::min<std::size_t>(1, text.size()));
  const std::filesystem::path file = folder / "v_1.txt";
  write(file, text);
  hostkit::ReadSettings settings;
  settings.picture = hostkit::PictureSize{640, 480};
  if ((mode & 8U) == 0) settings.frameRate = 25.0;
  try {
    if (const hostkit::Format* const found = hostkit::formatLooking(text))
      require(*found->name != '\0', "it has a name");
    readAll(*all[(mode & 7U) % all.size()]->read(file.string(), settings));
  } catch (const hostkit::FileError& error) {
    require(*error.what() != '\0', "an error says what is wrong");
  } catch (const hostkit::UsageError&) {
    require(!settings.frameRate, "the caller is only asked for what is missing");
  }
}

}  // namespace
}  // namespace nivra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  nivra::fuzz::run({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
