#include "hostkit/replaying/plots.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <string_view>
#include <vector>

#include "hostkit/errors.h"
#include "hostkit/evaluation/thresholds.h"
#include "hostkit/replaying/pageTemplate.h"
#include "hostkit/text/textBuffer.h"

namespace nivra::hostkit {

namespace {

constexpr double kWidth = 800.0;
constexpr double kMargin = 48.0;
constexpr double kLine = 18.0;  // of text

std::string escaped(std::string_view text) {
  std::string plain;
  for (const char each : text) {
    switch (each) {
      case '&':
        plain += "&amp;";
        break;
      case '<':
        plain += "&lt;";
        break;
      case '>':
        plain += "&gt;";
        break;
      case '"':
        plain += "&quot;";
        break;
      default:
        plain += static_cast<unsigned char>(each) < ' ' ? ' ' : each;  // XML has no place for control characters
    }
  }
  return plain;
}

std::string_view colourOf(std::size_t index) { return kPalette[index % kPalette.size()]; }

/// The boxes of an identity in the order of frames.
using Life = std::vector<const IdentifiedRow*>;

std::vector<std::pair<std::int64_t, Life>> livesOf(const IdentifiedSequence& sequence) {
  std::vector<std::pair<std::int64_t, Life>> lives;
  std::map<std::int64_t, std::size_t> places;
  for (const IdentifiedRow& each : sequence.rows) {
    const auto [place, isNew] = places.emplace(each.identified.identity, lives.size());
    if (isNew) lives.emplace_back(each.identified.identity, Life());
    lives[place->second].second.push_back(&each);
  }
  return lives;
}

/// Calls `take(first, last)` for each stretch of a life without a gap, both being positions in it.
template <class Take>
void forEachStretch(const Life& life, Take take) {
  std::size_t first = 0;
  for (std::size_t i = 1; i <= life.size(); ++i) {
    if (i < life.size() && life[i]->frame == life[i - 1]->frame + 1) continue;
    take(first, i - 1);
    first = i;
  }
}

/// A drawing that grows downward.
class Svg {
 public:
  double height = kMargin / 2.0;

  void text(double x, double y, std::string_view words, const char* anchor = "start") {
    fmt::format_to(out(), "<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\">{}</text>\n", x, y, anchor,
                   escaped(words));
  }
  void line(double x1, double y1, double x2, double y2) {
    fmt::format_to(out(), "<path d=\"M{:.1f} {:.1f}L{:.1f} {:.1f}\" stroke=\"#d0d5dc\"/>\n", x1, y1, x2, y2);
  }
  void rectangle(double x, double y, double width, double height_, std::string_view attributes) {
    fmt::format_to(out(), "<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" {}/>\n", x, y, width,
                   height_, attributes);
  }
  template <class Points>
  void path(const Points& points, std::string_view attributes) {
    body += std::string_view("<path d=\"");
    char command = 'M';
    for (const auto& [x, y] : points) {
      fmt::format_to(out(), "{}{:.1f} {:.1f}", command, x, y);
      command = 'L';
    }
    fmt::format_to(out(), "\" fill=\"none\" {}/>\n", attributes);
  }
  void heading(std::string_view words) {
    text(kMargin, height + kLine / 2.0, words);
    height += kLine;
  }

  std::string finish(std::string_view title) {
    return fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0:.0f} {1:.0f}\" width=\"{0:.0f}\" "
        "height=\"{1:.0f}\" "
        "font-family=\"sans-serif\" font-size=\"11\">\n<title>{2}</title>\n"
        "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n{3}</svg>\n",
        kWidth, height + kMargin / 2.0, escaped(title), body.view());
  }

 private:
  std::back_insert_iterator<TextBuffer> out() { return std::back_inserter(body); }

  TextBuffer body;
};

using Points = std::vector<std::pair<double, double>>;

void drawTrajectories(const RecordedCamera& camera, const RecordedTracks& run, Svg& svg) {
  const double width = kWidth - 2.0 * kMargin;
  const double scale = width / camera.picture.width;
  svg.heading(run.name);
  svg.rectangle(kMargin, svg.height, width, camera.picture.height * scale, "fill=\"none\" stroke=\"#d0d5dc\"");
  std::size_t index = 0;
  for (const auto& [identity, life] : livesOf(run.sequence)) {
    const auto foot = [&, top = svg.height](const IdentifiedRow& row) {
      const PixelBox& box = row.identified.box;
      return std::pair(kMargin + (box.left + box.width / 2.0) * scale, top + (box.top + box.height) * scale);
    };
    const std::string colour = fmt::format("stroke=\"{}\" stroke-width=\"1.5\"", colourOf(index++));
    forEachStretch(life, [&, &ofLife = life](std::size_t first, std::size_t last) {
      Points points;
      for (std::size_t i = first; i <= last; ++i) points.push_back(foot(*ofLife[i]));
      svg.path(points, colour);
    });
    const auto [x, y] = foot(*life.front());
    svg.text(x, y - 2.0, std::to_string(identity));
  }
  svg.height += camera.picture.height * scale + kLine;
}

/// A scale of time below or above what was drawn.
void drawTimes(const RecordedCamera& camera, double top, double bottom, Svg& svg) {
  constexpr int kTicks = 8;
  const double width = kWidth - 2.0 * kMargin;
  for (int i = 0; i <= kTicks; ++i) {
    const double x = kMargin + width * i / kTicks;
    svg.line(x, top, x, bottom);
    const double seconds = camera.seconds.empty() ? 0.0 : camera.seconds.back() * i / kTicks;
    svg.text(x, bottom + kLine * 0.75, fmt::format("{:.4g} s", seconds), "middle");
  }
}

void drawLives(const RecordedCamera& camera, const RecordedTracks& run, Svg& svg) {
  constexpr double kBar = 10.0;
  constexpr double kRow = 13.0;
  const double width = kWidth - 2.0 * kMargin;
  const auto lives = livesOf(run.sequence);
  svg.heading(fmt::format("{}: {} identities", run.name, lives.size()));
  const double top = svg.height;
  drawTimes(camera, top, top + kRow * static_cast<double>(lives.size()), svg);
  const double frame = width / std::max(camera.frameCount, 1);
  std::size_t index = 0;
  for (const auto& [identity, life] : lives) {
    const double y = svg.height;
    const std::string colour = fmt::format("fill=\"{}\"", colourOf(index++));
    svg.text(kMargin - 6.0, y + kBar - 1.0, std::to_string(identity), "end");
    forEachStretch(life, [&, &ofLife = life](std::size_t first, std::size_t last) {
      const int start = ofLife[first]->frame;
      svg.rectangle(kMargin + (start - 1) * frame, y, (ofLife[last]->frame - start + 1) * frame, kBar, colour);
    });
    svg.height += kRow;
  }
  svg.height += 2.0 * kLine;
}

void drawHota(const RecordedCamera& camera, Svg& svg) {
  constexpr double kHeight = 360.0;
  constexpr std::array<std::pair<std::string_view, const char*>, 3> kCurves = {
      {{"HOTA", ""}, {"DetA", "stroke-dasharray=\"6 3\""}, {"AssA", "stroke-dasharray=\"2 3\""}}};
  const double width = kWidth - 2.0 * kMargin;
  const double top = svg.height;
  const auto place = [&](double threshold, double value) {
    return std::pair(kMargin + threshold * width, top + (1.0 - value) * kHeight);
  };
  for (int i = 0; i <= 10; ++i) {
    const double share = i / 10.0;
    const auto [x, y] = place(share, share);
    svg.line(kMargin, y, kMargin + width, y);
    svg.text(kMargin - 6.0, y + 4.0, fmt::format("{}", i * 10), "end");
    svg.text(x, top + kHeight + kLine, fmt::format("{:.1f}", share), "middle");
  }
  svg.text(kMargin + width / 2.0, top + kHeight + 2.0 * kLine, "least overlap (intersection over union)", "middle");
  svg.height += kHeight + 3.0 * kLine;
  const auto thresholds = hotaThresholds();
  std::size_t index = 0;
  for (const RecordedTracks& run : camera.runs) {
    const auto colour = colourOf(index++);
    for (const CurveName& curve : curveNames()) {
      const auto shown =
          std::find_if(kCurves.begin(), kCurves.end(), [&](const auto& each) { return each.first == curve.name; });
      if (shown == kCurves.end()) continue;
      const auto values = curve.of(run.matching->figures);
      Points points;
      for (std::size_t i = 0; i < values.size(); ++i) points.push_back(place(thresholds[i], values[i]));
      svg.path(points, fmt::format("stroke=\"{}\" stroke-width=\"2\" {}", colour, shown->second));
    }
    svg.rectangle(kMargin, svg.height - 9.0, 10.0, 10.0, fmt::format("fill=\"{}\"", colour));
    const double hota = figureNames().front().of(run.matching->figures);
    svg.text(kMargin + 16.0, svg.height, fmt::format("{}: HOTA {:.1f}", run.name, hota * 100.0));
    svg.height += kLine;
  }
  svg.text(kMargin, svg.height, "HOTA as a line, DetA with long dashes, AssA with short ones; percent");
}

}  // namespace

PlotKind parsePlotKind(const std::string& option, const std::string& text) {
  if (text == "trajectories") return PlotKind::trajectories;
  if (text == "lives") return PlotKind::lives;
  if (text == "hota") return PlotKind::hota;
  throw UsageError(fmt::format("{} {}: expected trajectories, lives or hota", option, text));
}

std::string plot(const RecordedCamera& camera, PlotKind kind) {
  Svg svg;
  if (kind == PlotKind::hota) {
    if (!camera.truth) throw UsageError("HOTA takes a truth: give --truth");
    drawHota(camera, svg);
  } else {
    const auto draw = kind == PlotKind::trajectories ? drawTrajectories : drawLives;
    for (const RecordedTracks& each : camera.runs) draw(camera, each, svg);
  }
  return svg.finish(camera.name);
}

}  // namespace nivra::hostkit
