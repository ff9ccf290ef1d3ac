#include "evaluation.h"

#include "hostkit/evaluation/evaluation.h"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <utility>

#include "frames.h"
#include "hostkit/formats/formats.h"

namespace nivra::python {

namespace {

using hostkit::Figures;
using hostkit::IdentifiedBox;

py::list evaluateFiles(const std::string& truth, const std::vector<std::pair<std::string, std::string>>& trackers,
                       const std::optional<std::string>& truthFormat, const std::optional<std::string>& trackFormat,
                       const std::optional<std::string>& preprocessing, std::vector<std::string> sequences,
                       std::vector<std::string> classes, const PictureSides& picture,
                       const std::optional<double>& frameRate, int jobs, const py::function& warn) {
  hostkit::EvaluationOptions options;
  options.truth = truth;
  for (const auto& [name, path] : trackers) options.trackers.push_back({name, path});
  if (truthFormat) options.truthFormat = &hostkit::formatNamed("truth_format", *truthFormat);
  if (trackFormat) options.trackFormat = &hostkit::formatNamed("format", *trackFormat);
  if (preprocessing) options.preprocessing = hostkit::parsePreprocessing("preprocessing", *preprocessing);
  options.sequences = std::move(sequences);
  options.classes = std::move(classes);
  options.read.picture = pictureOf(picture);
  options.read.frameRate = frameRate;
  options.jobs = jobs;
  std::vector<std::string> warnings;
  options.read.warn = [&warnings](const std::string& warning) { warnings.push_back(warning); };
  const hostkit::Evaluation evaluation = [&] {
    const py::gil_scoped_release others;
    return hostkit::evaluate(options);
  }();
  for (const std::string& each : warnings) warn(each);
  py::list rows;
  for (const hostkit::EvaluationRow& each : evaluation.rows) {
    rows.append(py::make_tuple(each.tracker, each.sequence, each.category, figuresOf(each.figures)));
  }
  return rows;
}

/// The identities and boxes of each frame.
hostkit::TrackFrames framesOf(const char* argument, const py::iterable& given, BoxFormat format) {
  hostkit::TrackFrames frames;
  for (const auto& each : given) {
    const auto [ids, boxes] = identifiedBoxes(argument, each, frames.size());
    auto& frame = frames.emplace_back();
    for (std::size_t i = 0; i < static_cast<std::size_t>(ids.size()); ++i) {
      hostkit::PixelBox box = pixelBox(boxes, i, format, true);
      if (box.height < 0.0) {  // y grows upward
        box.top += box.height;
        box.height = -box.height;
      }
      frame.push_back({box, ids.data()[i]});
    }
  }
  return frames;
}

py::tuple evaluateFrames(const py::iterable& truth, const py::iterable& tracks, const std::string& boxFormat) {
  const BoxFormat format = parseBoxFormat(boxFormat);
  const hostkit::TrackFrames found = framesOf("tracks", tracks, format);
  hostkit::TruthFrames truths;
  for (const auto& frame : framesOf("truth", truth, format)) {
    auto& boxes = truths.emplace_back();
    for (const IdentifiedBox& each : frame) boxes.push_back({each});
  }
  const Figures figures = [&] {
    const py::gil_scoped_release others;
    return hostkit::evaluate(hostkit::Truth(truths), found);
  }();
  return figuresOf(figures);
}

}  // namespace

py::tuple figuresOf(const Figures& figures) {
  py::dict numbers;
  for (const hostkit::FigureName& each : hostkit::figureNames()) numbers[each.name] = each.of(figures);
  py::dict curves;
  for (const hostkit::CurveName& each : hostkit::curveNames()) {
    const auto curve = each.of(figures);
    curves[each.name] = py::array_t<double>(static_cast<py::ssize_t>(curve.size()), curve.data());
  }
  return py::make_tuple(numbers, curves);
}

std::pair<py::array_t<std::int64_t, py::array::c_style>, RealArray> identifiedBoxes(const char* argument,
                                                                                    const py::handle& given,
                                                                                    std::size_t frame) {
  using Ids = py::array_t<std::int64_t, py::array::c_style>;
  const auto pair = py::cast<std::pair<py::object, py::object>>(given);
  Ids ids = py::cast<Ids>(pair.first);
  RealArray boxes(argument, pair.second);
  const bool isNothing = ids.size() == 0 && boxes.isEmpty();
  if (!isNothing && (boxes.dimensions() != 2 || boxes.length(0) != ids.size() || boxes.length(1) != 4)) {
    boxes.refuseShape(fmt::format("({}, 4) in frame {}, a box for each of the identities", ids.size(), frame));
  }
  return {std::move(ids), std::move(boxes)};
}

hostkit::PixelBox pixelBox(const RealArray& boxes, std::size_t row, BoxFormat format, bool inPixels) {
  hostkit::PixelBox box{boxes[4 * row], boxes[4 * row + 1], boxes[4 * row + 2], boxes[4 * row + 3]};
  if (!inPixels) {
    box.top = -box.top;
    if (format == BoxFormat::corners) box.height = -box.height;
  }
  if (format == BoxFormat::corners) {
    box.width -= box.left;
    box.height -= box.top;
  } else if (format == BoxFormat::centreAndSize) {
    box.left -= box.width / 2.0;
    box.top -= box.height / 2.0;
  }
  return box;
}

void declareEvaluation(py::module_& module) {
  module.def("evaluate_files", evaluateFiles);
  module.def("evaluate_frames", evaluateFrames);
}

}  // namespace nivra::python
