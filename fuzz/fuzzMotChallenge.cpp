// Arbitrary sequence folders and detection files: a sequence that holds together, or the reader's own errors.
//
// The first byte chooses what is given; the rest is the text of det.txt, of seqinfo.ini and the bytes of feat.bin,
// separated by form feeds.

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "errors.h"
#include "motChallenge.h"
#include "support.h"

namespace nivra::fuzz {
namespace {

namespace fs = std::filesystem;

/// A folder of this process, gone when it ends.
struct Folder {
  Folder() {
    std::string pattern = (fs::temp_directory_path() / "nivraFuzzXXXXXX").string();
    require(mkdtemp(pattern.data()) != nullptr, "a temporary folder can be made");
    path = pattern;
    fs::create_directory(path / "det");
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  fs::path path;
};

void write(const fs::path& path, std::string_view text) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
  require(file && std::fwrite(text.data(), 1, text.size(), file.get()) == text.size(), "a file can be written");
}

std::string_view takePart(std::string_view& text) {
  const auto end = std::min(text.find('\f'), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return part;
}

void check(const tool::Sequence& sequence) {
  require(sequence.picture.width > 0 && sequence.picture.height > 0, "the picture has a size");
  require(sequence.frameRate > 0, "there is a frame rate");
  int lastFrame = 1;
  for (const auto& [frame, detection] : sequence.detections) {
    require(frame >= lastFrame && frame <= sequence.frameCount, "frames ascend within the sequence");
    lastFrame = frame;
    require(detection.box.right >= detection.box.left && detection.box.top >= detection.box.bottom,
            "boxes are numbers, and not inverted");
    require(std::isfinite(detection.score), "confidences are numbers");
    require(detection.classifications.size() == 1, "the class is given once");
  }
}

void run(std::string_view text) {
  static const Folder folder;
  const auto mode = static_cast<unsigned char>(text.empty() ? 0 : text.front());
  text.remove_prefix(std::min<std::size_t>(1, text.size()));
  const bool givesFolder = (mode & 1U) != 0;
  const fs::path detections = folder.path / "det" / "det.txt";
  const std::array<fs::path, 2> others = {folder.path / "seqinfo.ini", folder.path / "det" / "feat.bin"};
  write(detections, takePart(text));
  for (std::size_t i = 0; i < others.size(); ++i) {
    std::error_code ignored;
    const std::string_view part = takePart(text);
    if (givesFolder && (mode & (2U << i)) != 0)
      write(others[i], part);
    else
      fs::remove(others[i], ignored);
  }
  tool::ReadSettings settings;
  if ((mode & 8U) != 0) settings.picture = tool::PictureSize{640, 480};
  if ((mode & 16U) != 0) settings.frameRate = 25.0;
  try {
    check(tool::readMotChallenge((givesFolder ? folder.path : detections).string(), settings));
  } catch (const tool::FileError& error) {
    require(*error.what() != '\0', "an error says what is wrong");
  } catch (const tool::UsageError&) {
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
