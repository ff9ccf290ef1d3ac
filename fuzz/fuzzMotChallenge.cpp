// Arbitrary sequence folders and detection files: a sequence that holds together, or the reader's own errors.
//
// The first byte chooses what is given; the rest is the text of det.txt, of seqinfo.ini and the bytes of feat.bin,
// separated by form feeds.

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <string_view>

#include "hostkit/errors.h"
#include "hostkit/formats/motChallenge.h"
#include "support.h"
#include "temporaryFolder.h"

namespace nivra::fuzz {
namespace {

namespace fs = std::filesystem;

void check(const hostkit::Sequence& sequence) {
  require(sequence.picture.width > 0 && sequence.picture.height > 0, "the picture has a size");
  require(sequence.frameRate > 0, "there is a frame rate");
  int lastFrame = 1;
  for (const auto& [frame, detection, hasScore] : sequence.detections) {
    require(frame >= lastFrame && frame <= sequence.frameCount, "frames ascend within the sequence");
    lastFrame = frame;
    require(detection.box.right >= detection.box.left && detection.box.top >= detection.box.bottom,
            "boxes are numbers, and not inverted");
    require(std::isfinite(detection.score), "confidences are numbers");
    require(detection.classifications.size() == 1, "the class is given once");
  }
}

void run(std::string_view text) {
  static const TemporaryFolder folder;
  const auto mode = static_cast<unsigned char>(text.empty() ? 0 : text.front());
  text.remove_prefix(std::min<std::size_t>(1, text.size()));
  const bool givesFolder = (mode & 1U) != 0;
  fs::create_directory(folder / "det");
  const fs::path detections = folder / "det/det.txt";
  const std::array<fs::path, 2> others = {folder / "seqinfo.ini", folder / "det/feat.bin"};
  write(detections, takePart(text));
  for (std::size_t i = 0; i < others.size(); ++i) {
    std::error_code ignored;
    const std::string_view part = takePart(text);
    if (givesFolder && (mode & (2U << i)) != 0)
      write(others[i], part);
    else
      fs::remove(others[i], ignored);
  }
  hostkit::ReadSettings settings;
  if ((mode & 8U) != 0) settings.picture = hostkit::PictureSize{640, 480};
  if ((mode & 16U) != 0) settings.frameRate = 25.0;
  try {
    check(hostkit::readMotChallenge((givesFolder ? folder / "" : detections).string(), settings));
  } catch (const hostkit::FileError& error) {
    require(*error.what() != '\0', "an error says what is wrong");
  } catch (const hostkit::UsageError&) {
    require(!settings.picture || !settings.frameRate, "the caller is only asked for what is missing");
  }
}

}  // namespace
}  // namespace nivra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  nivra::fuzz::run({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
