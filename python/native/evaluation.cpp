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

/// The figures by name: numbers, and an array for each that has a value at every threshold.
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
  using Ids = py::array_t<std::int64_t, py::array::c_style>;
  hostkit::TrackFrames frames;
  for (const auto& each : given) {
    const auto pair = py::cast<std::pair<py::object, py::object>>(each);
    const Ids ids = py::cast<Ids>(pair.first);
    const RealArray boxes(argument, pair.second);
    const bool isNothing = ids.size() == 0 && boxes.isEmpty();
    if (!isNothing && (boxes.dimensions() != 2 || boxes.length(0) != ids.size() || boxes.length(1) != 4)) {
      boxes.refuseShape(
          fmt::format("({}, 4) in frame {}, a box for each of the identities", ids.size(), frames.size()));
    }
    auto& frame = frames.emplace_back();
    for (std::size_t i = 0; i < static_cast<std::size_t>(ids.size()); ++i) {
      hostkit::PixelBox box{boxes[4 * i], boxes[4 * i + 1], boxes[4 * i + 2], boxes[4 * i + 3]};
      if (format == BoxFormat::corners) {
        box.width -= box.left;
        box.height -= box.top;
        if (box.height < 0.0) {  // y grows upward
          box.top += box.height;
          box.height = -box.height;
        }
      } else if (format == BoxFormat::centreAndSize) {
        box.left -= box.width / 2.0;
        box.top -= box.height / 2.0;
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

void declareEvaluation(py::module_& module) {
  module.def("evaluate_files", evaluateFiles);
  module.def("evaluate_frames", evaluateFrames);
}

}  // namespace nivra::python
