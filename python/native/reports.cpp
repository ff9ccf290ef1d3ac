#include "reports.h"

#include <pybind11/stl.h>

#include <algorithm>

namespace nivra::python {

namespace {

/// Numbers of all reports one after the other, and how many each has.
template <class Value>
py::array_t<Value> arrayOf(const std::vector<Value>& values) {
  return py::array_t<Value>(static_cast<py::ssize_t>(values.size()), values.data());
}

template <class Value>
std::vector<Value> valuesOf(const py::handle& array) {
  const auto values = py::array_t<Value, py::array::c_style | py::array::forcecast>::ensure(array);
  return {values.data(), values.data() + values.size()};
}

/// Whether classes are told by the rows' own class and score.
bool haveOneHypothesis(const std::vector<TrackReport>& tracks) {
  return std::all_of(tracks.begin(), tracks.end(), [](const TrackReport& each) {
    const auto& hypotheses = each.track.classifications;
    return hypotheses.size() == 1 && hypotheses[0].label == each.track.label && hypotheses[0].score == each.track.score;
  });
}

py::object hypothesesOf(const std::vector<TrackReport>& tracks, const Terms& terms) {
  if (haveOneHypothesis(tracks)) return py::none();
  std::vector<std::int64_t> counts;
  std::vector<std::int32_t> classes;
  std::vector<float> scores;
  for (const TrackReport& each : tracks) {
    counts.push_back(static_cast<std::int64_t>(each.track.classifications.size()));
    for (const Classification& hypothesis : each.track.classifications) {
      classes.push_back(terms.classNamed(hypothesis.label));
      scores.push_back(hypothesis.score);
    }
  }
  return py::make_tuple(arrayOf(counts), arrayOf(classes), arrayOf(scores));
}

py::object attributesOf(const std::vector<TrackReport>& tracks) {
  const auto hasNone = [](const TrackReport& each) { return each.track.attributes.empty(); };
  if (std::all_of(tracks.begin(), tracks.end(), hasNone)) return py::none();
  std::vector<std::int64_t> counts;
  std::vector<std::int32_t> types;
  std::vector<std::int32_t> values;
  std::vector<float> scores;
  for (const TrackReport& each : tracks) {
    counts.push_back(static_cast<std::int64_t>(each.track.attributes.size()));
    for (const AttributeClassification& attribute : each.track.attributes) {
      types.push_back(attribute.attributeType);
      values.push_back(attribute.attributeValue);
      scores.push_back(attribute.score);
    }
  }
  return py::make_tuple(arrayOf(counts), arrayOf(types), arrayOf(values), arrayOf(scores));
}

Row rowOf(const TrackReport& report, std::size_t place, const Terms& terms) {
  const TrackedObjectDetection& track = report.track;
  return {track.id,
          report.detectionId,
          {track.box.left, track.box.top, track.box.right, track.box.bottom},
          {track.velocityX, track.velocityY},
          track.score,
          terms.classNamed(track.label),
          static_cast<std::int32_t>(place),
          track.confident};
}

TrackReport reportOf(const Row& row, const Terms& terms) {
  TrackReport report;
  report.detectionId = static_cast<std::int32_t>(row.detection);
  TrackedObjectDetection& track = report.track;
  track.id = static_cast<std::int32_t>(row.id);
  track.box = {row.box[0], row.box[1], row.box[2], row.box[3]};
  track.velocityX = row.velocity[0];
  track.velocityY = row.velocity[1];
  track.score = row.score;
  track.label = terms.names.at(static_cast<std::size_t>(row.classPlace));
  track.confident = row.confident;
  track.classifications = {{track.label, track.score}};
  return report;
}

/// Where the list of each report begins.
std::vector<std::size_t> beginningsOf(const py::handle& counts) {
  std::vector<std::size_t> beginnings = {0};
  for (const std::int64_t count : valuesOf<std::int64_t>(counts)) {
    beginnings.push_back(beginnings.back() + static_cast<std::size_t>(count));
  }
  return beginnings;
}

using Rows = py::array_t<Row, py::array::c_style | py::array::forcecast>;

py::array_t<float> boxesOf(const Rows& rows, const Terms& terms) {
  py::array_t<float> boxes({rows.size(), py::ssize_t{4}});
  float* next = boxes.mutable_data();
  for (py::ssize_t i = 0; i < rows.size(); ++i) {
    const float* const box = rows.data()[i].box;
    for (const double each : terms.fromLibrary({box[0], box[1], box[2], box[3]})) *next++ = static_cast<float>(each);
  }
  return boxes;
}

}  // namespace

py::tuple reportsOf(const hostkit::FrameTracks& result, const Terms& terms) {
  static const py::dtype& type = *new py::dtype(py::dtype::of<Row>());  // looked up once, and never let go
  py::array rows(type, static_cast<py::ssize_t>(result.tracks.size()));
  Row* const first = static_cast<Row*>(rows.mutable_data());
  for (std::size_t i = 0; i < result.tracks.size(); ++i) first[i] = rowOf(result.tracks[i], i, terms);

  const auto& [removed, merged] = result.changes;
  static const py::tuple& none = *new py::tuple();
  return py::make_tuple(std::move(rows), removed.empty() ? none : py::tuple(py::cast(removed)),
                        merged.empty() ? none : py::tuple(py::cast(merged)), hypothesesOf(result.tracks, terms),
                        attributesOf(result.tracks));
}

hostkit::FrameTracks tracksOf(const py::tuple& reports, const Terms& terms) {
  hostkit::FrameTracks result;
  const auto rows = Rows::ensure(reports[0]);
  if (!rows) throw py::error_already_set();
  for (py::ssize_t i = 0; i < rows.size(); ++i) result.tracks.push_back(reportOf(rows.data()[i], terms));
  result.changes.removedIds = py::cast<std::set<int>>(py::set(reports[1]));
  for (const auto& each : reports[2]) result.changes.mergedIds.insert(py::cast<std::pair<int, int>>(each));
  const auto forEach = [&](const py::tuple& lists, const auto& clear, const auto& add) {
    const auto beginnings = beginningsOf(lists[0]);
    for (py::ssize_t i = 0; i < rows.size(); ++i) {
      const auto place = static_cast<std::size_t>(rows.data()[i].place);
      TrackedObjectDetection& track = result.tracks[static_cast<std::size_t>(i)].track;
      clear(track);
      for (std::size_t j = beginnings.at(place); j < beginnings.at(place + 1); ++j) add(track, j);
    }
  };
  if (!reports[3].is_none()) {
    const py::tuple lists = reports[3];
    const auto classes = valuesOf<std::int32_t>(lists[1]);
    const auto scores = valuesOf<float>(lists[2]);
    forEach(
        lists, [](TrackedObjectDetection& track) { track.classifications.clear(); },
        [&](TrackedObjectDetection& track, std::size_t i) {
          track.classifications.push_back({terms.names.at(static_cast<std::size_t>(classes.at(i))), scores.at(i)});
        });
  }
  if (!reports[4].is_none()) {
    const py::tuple lists = reports[4];
    const auto types = valuesOf<std::int32_t>(lists[1]);
    const auto values = valuesOf<std::int32_t>(lists[2]);
    const auto scores = valuesOf<float>(lists[3]);
    forEach(
        lists, [](TrackedObjectDetection&) {},
        [&](TrackedObjectDetection& track, std::size_t i) {
          track.attributes.push_back({types.at(i), values.at(i), scores.at(i)});
        });
  }
  return result;
}

void declareReports(py::module_& module) {
  PYBIND11_NUMPY_DTYPE(Row, id, detection, box, velocity, score, classPlace, place, confident);
  module.def("boxes_of", boxesOf);
}

}  // namespace nivra::python
