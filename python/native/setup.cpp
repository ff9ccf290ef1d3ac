#include "setup.h"

#include <pybind11/stl.h>

#include <cmath>
#include <limits>
#include <utility>

#include "files.h"

namespace nivra::python {

namespace {

using hostkit::ReportPolicy;

/// @param seconds May be infinite.
std::uint64_t nanosecondsOf(double seconds) {
  if (!(seconds >= 0.0)) failValue("hold", "expected seconds from 0");
  constexpr double kMost = 1e9;
  return seconds > kMost ? ReportPolicy::kAlways : static_cast<std::uint64_t>(std::llround(seconds * 1e9));
}

Setup setupOf(const std::string& tracker, const std::optional<std::string>& preset, const ParameterMap& params,
              std::vector<std::string> labels, LabelAssociations associations, const hostkit::ReadSettings& read,
              bool stabilise, const std::optional<std::string>& report, const std::optional<double>& hold,
              const std::optional<std::string>& boxes) {
  const hostkit::TrackerChoice choice = hostkit::parseTrackerChoice(tracker);
  Setup setup{choice, settingsOf(choice, preset, params), {}};
  hostkit::AnswerOptions& answers = setup.answers;
  answers.read = read;
  answers.labels = std::move(labels);
  answers.associations = std::move(associations);
  answers.mostDetections = std::numeric_limits<std::size_t>::max();
  answers.stabilise = stabilise;
  if (report) answers.report.tracks = hostkit::parseReportedTracks("report", *report);
  if (hold) answers.report.hold = nanosecondsOf(*hold);
  if (boxes) answers.report.boxes = hostkit::parseReportedBoxes("boxes", *boxes);
  return setup;
}

}  // namespace

std::vector<hostkit::Setting> settingsOf(const hostkit::TrackerChoice& choice, const std::optional<std::string>& preset,
                                         const ParameterMap& params) {
  std::vector<hostkit::Setting> settings;
  const auto add = [&](const ParameterMap& more) {
    for (const auto& [key, value] : more) settings.push_back({key, value});
  };
  if (preset) add(presetParameters(hostkit::parsePreset(*preset), choice.selector));
  add(params);
  return settings;
}

void declareSetup(py::module_& module) {
  py::class_<hostkit::ReadSettings>(module, "ReadSettings")
      .def(py::init(&readSettingsOf), py::arg("picture"), py::arg("fps"), py::arg("label"), py::arg("categories"),
           py::arg("scores"));
  py::class_<Setup>(module, "Setup")
      .def(py::init(&setupOf), py::arg("tracker"), py::arg("preset"), py::arg("params"), py::arg("labels"),
           py::arg("associations"), py::arg("read"), py::arg("stabilise"), py::arg("report"), py::arg("hold"),
           py::arg("boxes"));
}

}  // namespace nivra::python
