#include "hostkit/replaying/page.h"

#include <fmt/format.h>

#include <string>
#include <string_view>

#include "hostkit/files/textFile.h"
#include "hostkit/replaying/packing.h"
#include "hostkit/replaying/pageTemplate.h"
#include "hostkit/text/base64.h"
#include "hostkit/text/textBuffer.h"

namespace nivra::hostkit {

namespace {

/// What the page may load besides itself: files that it refers to, or what is in it.
std::string sourcesOf(const Footage& footage) {
  bool hasPictures = false;
  bool hasVideo = false;
  for (const auto& [name, camera] : footage.cameras) {
    hasPictures = hasPictures || !camera.pictures.empty();
    hasVideo = hasVideo || !camera.video.empty();
  }
  const char* const place = footage.isEmbedded ? "blob:" : "'self' file:";
  std::string sources;
  if (hasPictures) sources += fmt::format("; img-src {}", place);
  if (hasVideo) sources += fmt::format("; media-src {}", place);
  return sources;
}

/// Writes data that no browser takes for anything else.
void writeBlock(const std::string& id, std::string_view bytes, Output& output) {
  TextBuffer text;
  text += fmt::format("<script type=\"text/plain\" id=\"{}\">", id);
  appendBase64(text, bytes);
  text += "</script>\n";
  output.write(text.view());
}

void writeFootage(const Recording& recording, const Footage& footage, Output& output) {
  for (std::size_t i = 0; i < recording.cameras.size(); ++i) {
    const auto found = footage.cameras.find(recording.cameras[i].name);
    if (found == footage.cameras.end()) continue;
    const auto& [pictures, video] = found->second;
    for (std::size_t frame = 0; frame < pictures.size(); ++frame) {
      writeBlock(fmt::format("picture-{}-{}", i, frame), readFile(pictures[frame]), output);
    }
    if (!video.empty()) writeBlock(fmt::format("video-{}", i), readFile(video), output);
  }
}

}  // namespace

void writePage(const Recording& recording, const Footage& footage, Output& output) {
  constexpr std::string_view kSourcesMark = "{{sources}}";
  constexpr std::string_view kRecordingMark = "{{recording}}\n";
  const auto sources = kPageTemplate.find(kSourcesMark);
  const auto data = kPageTemplate.find(kRecordingMark);
  const std::string packed = pack(recording, footage);
  output.write(kPageTemplate.substr(0, sources));
  output.write(sourcesOf(footage));
  output.write(kPageTemplate.substr(sources + kSourcesMark.size(), data - sources - kSourcesMark.size()));
  writeBlock("recording", packed, output);
  if (footage.isEmbedded) writeFootage(recording, footage, output);
  output.write(kPageTemplate.substr(data + kRecordingMark.size()));
}

}  // namespace nivra::hostkit
