// Arbitrary files of truth and tracks: figures that hold together, or the readers' own errors.
//
// The first byte chooses the formats and what is done; the rest is the text of the truth, of the tracks and of
// seqinfo.ini, separated by form feeds.

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <string_view>

#include "hostkit/errors.h"
#include "hostkit/evaluation/evaluation.h"
#include "hostkit/formats/csv.h"
#include "hostkit/formats/jsonLines.h"
#include "hostkit/formats/kitti.h"
#include "hostkit/formats/motChallenge.h"
#include "support.h"
#include "temporaryFolder.h"

namespace nivra::fuzz {
namespace {

namespace fs = std::filesystem;

void check(const hostkit::Figures& figures) {
  for (const hostkit::FigureName& each : hostkit::figureNames()) {
    const double value = each.of(figures);
    require(std::isfinite(value), "figures are numbers", each.name);
    if (each.kind == hostkit::FigureName::Kind::count) {
      require(value >= 0.0 && value == std::floor(value), "counts are whole", each.name);
    } else if (each.kind == hostkit::FigureName::Kind::fraction) {
      require(value <= 1.0 + 1e-9, "fractions are no more than one", each.name);
    }
  }
  const auto& [hota, clear, identity] = figures;
  const double truth = clear.truePositives + clear.falseNegatives;
  const double tracks = clear.truePositives + clear.falsePositives;
  require(truth == identity.truePositives + identity.falseNegatives, "each box of the truth is found or missed");
  require(tracks == identity.truePositives + identity.falsePositives, "each box of a track is right or wrong");
  require(truth == hota.truePositives()[0] + hota.falseNegatives()[0], "HOTA has the same boxes");
  require(clear.truePositives >= identity.truePositives, "partners' boxes are found");
  for (std::size_t i = 1; i < hostkit::kHotaThresholds; ++i) {
    require(hota.truePositives()[i] <= hota.truePositives()[i - 1], "a higher threshold finds no more");
  }
}

void run(std::string_view text) {
  static const TemporaryFolder folder;
  constexpr std::array<const hostkit::Format*, 4> formats = {&hostkit::kMotChallenge, &hostkit::kJsonLines,
                                                             &hostkit::kKitti, &hostkit::kCsv};
  const auto mode = static_cast<unsigned char>(text.empty() ? 0 : text.front());
  text.remove_prefix(std::min<std::size_t>(1, text.size()));
  fs::create_directories(folder / "s/gt");
  write(folder / "s/gt/gt.txt", takePart(text));
  write(folder / "tracks", takePart(text));
  const std::string_view info = takePart(text);
  std::error_code ignored;
  if (info.empty())
    fs::remove(folder / "s/seqinfo.ini", ignored);
  else
    write(folder / "s/seqinfo.ini", info);

  hostkit::EvaluationOptions options;
  options.truthFormat = formats[mode % formats.size()];
  const bool isFolder = options.truthFormat == &hostkit::kMotChallenge;
  options.truth = (isFolder ? folder / "s" : folder / "s/gt/gt.txt").string();
  options.trackers = {{"tracks", (folder / "tracks").string()}};
  options.trackFormat = formats[mode / 4U % formats.size()];
  if ((mode & 16U) != 0) options.preprocessing = hostkit::Preprocessing::mot20;
  if ((mode & 32U) != 0) options.classes = {"human"};
  if ((mode & 64U) != 0) options.read.frameRate = 25.0;
  if ((mode & 128U) != 0) options.read.picture = hostkit::PictureSize{640, 480};
  try {
    for (const hostkit::EvaluationRow& row : hostkit::evaluate(options).rows) check(row.figures);
  } catch (const hostkit::FileError& error) {
    require(*error.what() != '\0', "an error says what is wrong");
  } catch (const hostkit::UsageError&) {
    require(!options.classes.empty() && options.preprocessing, "the call is fine but for a contradiction");
  }
}

}  // namespace
}  // namespace nivra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  nivra::fuzz::run({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
