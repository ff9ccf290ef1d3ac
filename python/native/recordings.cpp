#include "recordings.h"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <utility>
#include <variant>

#include "evaluation.h"
#include "hostkit/errors.h"
#include "hostkit/explaining/explaining.h"
#include "hostkit/explaining/report.h"
#include "hostkit/formats/formats.h"
#include "hostkit/replaying/page.h"
#include "hostkit/replaying/plots.h"
#include "hostkit/tuning/inputs.h"
#include "hostkit/tuning/report.h"
#include "hostkit/tuning/tuning.h"
#include "reports.h"
#include "setup.h"

namespace nivra::python {

namespace {

using hostkit::IdentifiedRow;
using hostkit::IdentifiedSequence;
using hostkit::IdentityInput;
using hostkit::Record;
using hostkit::TrackInput;

std::optional<hostkit::Preprocessing> preprocessingOf(const std::optional<std::string>& given) {
  if (!given || *given == "auto") return std::nullopt;
  return hostkit::parsePreprocessing("preprocessing", *given);
}

const hostkit::Format* formatOf(const char* argument, const std::optional<std::string>& name) {
  return name ? &hostkit::formatNamed(argument, *name) : nullptr;
}

// ---- Recordings in memory ----

TrackInput inputOfFile(const std::string& path, const std::optional<std::string>& format) {
  return {path, format ? formatOf("format", format) : &hostkit::recogniseFormat(path)};
}

TrackInput inputOfRecords(const std::string& name, const py::iterable& given) {
  auto records = std::make_shared<std::vector<Record>>();
  for (const auto& each : given) records->push_back(py::cast<Record>(each));
  return {name, nullptr, std::move(records)};
}

/// Identities and boxes of each frame: one sequence, without a name.
/// @param argument Its name in complaints.
IdentityInput identitiesOfArrays(const char* argument, const py::iterable& given, const Terms& terms) {
  IdentifiedSequence sequence;
  sequence.inPixels = terms.picture.has_value();
  sequence.picture = terms.picture;
  for (const auto& each : given) {
    const auto [ids, boxes] = identifiedBoxes(argument, each, static_cast<std::size_t>(sequence.frameCount));
    ++sequence.frameCount;
    for (std::size_t i = 0; i < static_cast<std::size_t>(ids.size()); ++i) {
      IdentifiedRow row;
      row.frame = sequence.frameCount;
      row.identified = {pixelBox(boxes, i, terms.boxFormat, sequence.inPixels), ids.data()[i]};
      sequence.rows.push_back(row);
    }
  }
  return {"", nullptr, {std::move(sequence)}};
}

/// What trackers reported of each frame: a sequence for each camera.
IdentityInput identitiesOfTracks(
    const std::vector<std::tuple<std::string, std::uint64_t, std::shared_ptr<Terms>, py::tuple>>& frames) {
  IdentityInput input;
  std::map<std::string, std::size_t> places;
  for (const auto& [camera, timestamp, terms, reports] : frames) {
    const auto [place, isNew] = places.emplace(camera, input.sequences.size());
    if (isNew) input.sequences.emplace_back().name = camera;
    IdentifiedSequence& sequence = input.sequences[place->second];
    sequence.inPixels = terms->picture.has_value();
    sequence.picture = terms->picture;
    const int number = ++sequence.frameCount;
    sequence.timestamps[number] = timestamp;
    const hostkit::FrameTracks tracks = tracksOf(reports, *terms);
    for (const TrackReport& report : tracks.tracks) {
      IdentifiedRow row = hostkit::rowOf(report.track, number, terms->picture);
      row.label = sequence.placeOf(report.track.label);
      row.seen = report.detectionId >= 0;
      if (hostkit::hasArea(row.identified.box)) sequence.rows.push_back(row);
    }
    for (const auto& [absorbed, into] : tracks.changes.mergedIds) sequence.merges.push_back({number, absorbed, into});
  }
  if (input.sequences.empty()) input.sequences.emplace_back();
  return input;
}

/// Truth in memory is told of each frame, so of one camera's frames in memory there can't be more.
void requireNoMoreThanFrames(const TrackInput& input, const IdentityInput& truth) {
  if (!input.records || truth.sequences.size() != 1) return;
  const auto isFrame = [](const Record& each) { return std::holds_alternative<hostkit::Frame>(each); };
  const auto frames = std::count_if(input.records->begin(), input.records->end(), isFrame);
  const int given = truth.sequences.front().frameCount;
  if (given > frames) failValue("truth", fmt::format("{} of them, but there are {} frames", given, frames));
}

// ---- What is made of them ----

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    constexpr std::string_view kMark = "warning: ";
    lines.push_back(line.rfind(kMark, 0) == 0 ? line.substr(kMark.size()) : line);
  }
  return lines;
}

py::tuple explain(const Setup& setup, const TrackInput& input, const IdentityInput& truth, const std::string& camera,
                  std::optional<int> id, std::optional<int> frame, std::optional<std::size_t> worst,
                  const std::optional<std::string>& preprocessing) {
  requireNoMoreThanFrames(input, truth);
  hostkit::ExplainOptions options;
  static_cast<hostkit::AnswerOptions&>(options.track) = setup.answers;
  options.track.inputs = {input};
  options.camera = camera;
  options.id = id;
  options.frame = frame;
  options.worst = worst;
  options.truth = truth;
  options.preprocessing = preprocessingOf(preprocessing);
  std::ostringstream warnings;
  const hostkit::Explanations explanations = [&] {
    const py::gil_scoped_release others;
    return hostkit::explain(options, setup.recipe(), warnings);
  }();
  return py::make_tuple(hostkit::reportAsJson(explanations), hostkit::reportAsText(explanations),
                        explanations.badRecords, linesOf(warnings.str()));
}

/// Does work on a thread of its own while Python's signals are handled on this one.
/// @param isInterrupted Is set by Ctrl-C, or what else a handler raises, which then is thrown when the work has ended;
///   the first Ctrl-C isn't.
template <class Work>
auto interruptible(std::atomic<bool>& isInterrupted, Work work) {
  constexpr std::chrono::milliseconds kPatience(100);
  std::exception_ptr raised;
  const py::gil_scoped_release others;
  auto result = std::async(std::launch::async, work);
  while (result.wait_for(kPatience) != std::future_status::ready) {
    const py::gil_scoped_acquire lock;
    if (PyErr_CheckSignals() == 0) continue;
    const bool isFirst = !isInterrupted.exchange(true) && PyErr_ExceptionMatches(PyExc_KeyboardInterrupt) != 0;
    const py::error_already_set error;
    if (!isFirst) raised = std::make_exception_ptr(error);
  }
  if (raised) std::rethrow_exception(raised);
  return result.get();
}

py::object scoreOf(const hostkit::TuningOptions& options, const hostkit::Figures& figures) {
  return py::make_tuple(options.objective.of(figures), figuresOf(figures));
}

std::vector<std::pair<TrackInput, IdentityInput>> tunedInputs(const std::vector<std::string>& paths,
                                                              const std::string& truth,
                                                              const std::optional<std::string>& format,
                                                              const std::optional<std::string>& truthFormat) {
  std::vector<std::pair<TrackInput, IdentityInput>> inputs;
  const IdentityInput given{truth, formatOf("truth_format", truthFormat)};
  for (const auto& each :
       hostkit::tunedInputs(paths, given, [&](const std::string& path) { return inputOfFile(path, format).format; })) {
    inputs.emplace_back(each, each.truth);
  }
  return inputs;
}

py::tuple tune(const Setup& setup, const std::vector<std::pair<TrackInput, IdentityInput>>& inputs,
               std::vector<std::string> vary, const std::string& objective, int evaluations, int folds,
               double leastGain, std::uint64_t seed, int jobs, const std::optional<std::string>& preprocessing) {
  hostkit::TuningOptions options;
  static_cast<hostkit::AnswerOptions&>(options) = setup.answers;
  for (const auto& [input, truth] : inputs) {
    requireNoMoreThanFrames(input, truth);
    options.inputs.push_back({input, truth});
  }
  options.preprocessing = preprocessingOf(preprocessing);
  options.tracker = setup.choice;
  options.settings = setup.settings;
  options.parameters = std::move(vary);
  options.objective = hostkit::Objective("objective", objective);
  options.seed = seed;
  options.evaluations = evaluations;
  options.folds = folds;
  options.leastGain = leastGain;
  options.jobs = jobs;
  std::vector<std::string> warnings;
  options.read.warn = [&warnings](const std::string& warning) { warnings.push_back(warning); };
  std::atomic<bool> isInterrupted{false};
  options.isInterrupted = [&isInterrupted] { return isInterrupted.load(); };
  const hostkit::Tuning tuning = [&] {
    try {
      return interruptible(isInterrupted, [&options] { return hostkit::tune(options); });
    } catch (const hostkit::FileError&) {
      if (!isInterrupted) throw;
      PyErr_SetNone(PyExc_KeyboardInterrupt);  // before anything was found
      throw py::error_already_set();
    }
  }();

  py::dict params;
  for (const hostkit::Setting& each : tuning.kept) params[py::str(each.key)] = each.value;
  py::list changes;
  for (const hostkit::TunedParameter& each : tuning.changes) {
    params[py::str(each.key)] = each.value;
    changes.append(py::make_tuple(each.key, each.value, each.defaultValue, each.gain));
  }
  py::dict scores;
  for (const hostkit::TunedScore& each : tuning.scores) scores[py::str(each.name)] = scoreOf(options, each.figures);
  const py::object heldOut = tuning.heldOut ? scoreOf(options, *tuning.heldOut) : py::none();
  return py::make_tuple(params, changes, scores, heldOut, tuning.sequences, tuning.isInterrupted,
                        hostkit::parametersAsText(options, tuning), warnings);
}

std::pair<hostkit::Recording, std::vector<std::string>> record(
    const hostkit::ReadSettings& read, const std::optional<TrackInput>& detections,
    const std::vector<std::pair<std::string, IdentityInput>>& tracks, const IdentityInput& truth,
    const std::optional<std::string>& preprocessing) {
  hostkit::RecordingOptions options;
  options.track.read = read;
  if (detections) options.track.inputs.push_back(*detections);
  for (const auto& [name, input] : tracks) options.tracks.push_back({name, input});
  options.truth = truth;
  options.preprocessing = preprocessingOf(preprocessing);
  std::ostringstream warnings;
  const py::gil_scoped_release others;
  auto recording = hostkit::record(options, warnings);
  return {std::move(recording), linesOf(warnings.str())};
}

using Places = std::map<std::string, std::string>;  // by camera; by nothing for the only one

void writePage(const hostkit::Recording& recording, const std::string& path, const Places& pictures,
               const Places& videos, bool embed, bool replaces) {
  hostkit::Footage footage;
  footage.isEmbedded = embed;
  footage.pageFolder = std::filesystem::absolute(path).parent_path();
  for (const auto& [camera, folder] : pictures) {
    footage.cameras[hostkit::cameraNamed(recording, camera).name].pictures = hostkit::picturesIn(folder);
  }
  for (const auto& [camera, file] : videos) {
    footage.cameras[hostkit::cameraNamed(recording, camera).name].video = hostkit::videoAt(file);
  }
  const py::gil_scoped_release others;
  const auto output = hostkit::openOutput({std::cout, path, replaces});
  hostkit::writePage(recording, footage, *output);
  output->finish();
}

std::string plot(const hostkit::Recording& recording, const std::string& kind, const std::string& camera) {
  return hostkit::plot(hostkit::cameraNamed(recording, camera), hostkit::parsePlotKind("kind", kind));
}

}  // namespace

void declareRecordings(py::module_& module) {
  py::class_<TrackInput>(module, "Input");
  module.def("input_of_file", inputOfFile);
  module.def("input_of_records", inputOfRecords);
  py::class_<IdentityInput>(module, "Identities")
      .def(py::init([](const std::string& path, const std::optional<std::string>& format) {
             return IdentityInput{path, formatOf("format", format)};
           }),
           py::arg("path"), py::arg("format"));
  module.def("identities_of_arrays", identitiesOfArrays);
  module.def("identities_of_tracks", identitiesOfTracks);
  module.def("explain", explain);
  module.def("tuned_inputs", tunedInputs);
  module.def("tune", tune);
  module.def("tuning_ranges", [] {
    using Options = hostkit::TuningOptions;
    const auto ends = [](auto range) { return py::make_tuple(range.least, range.most); };
    return py::dict(py::arg("evaluations") = ends(Options::kEvaluations), py::arg("folds") = ends(Options::kFolds),
                    py::arg("least_gain") = ends(Options::kGains), py::arg("seed") = ends(Options::kSeeds),
                    py::arg("jobs") = ends(Options::kJobs));
  });
  py::class_<hostkit::Recording>(module, "Recording").def("write_page", writePage).def("plot", plot);
  module.def("record", record);
}

}  // namespace nivra::python
