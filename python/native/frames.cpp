#include "frames.h"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <cmath>
#include <limits>
#include <utility>

namespace nivra::python {

namespace {

using hostkit::Position;

constexpr float kPercent = 100.0F;

/// A column of an argument that has a number for each detection.
std::optional<RealArray> columnOf(const char* argument, const py::object& given, std::size_t count) {
  if (given.is_none()) return std::nullopt;
  RealArray array(argument, given);
  if (array.dimensions() != 1 || static_cast<std::size_t>(array.length(0)) != count) {
    array.refuseShape(fmt::format("({},), a number for each of the boxes", count));
  }
  return array;
}

/// A matrix with a row for each detection, of which the columns are not known.
std::optional<RealArray> matrixOf(const char* argument, const py::object& given, std::size_t count) {
  if (given.is_none()) return std::nullopt;
  RealArray array(argument, given);
  if (count == 0 && array.dimensions() <= 2 && array.isEmpty()) return std::nullopt;
  if (array.dimensions() != 2 || static_cast<std::size_t>(array.length(0)) != count || array.length(1) == 0) {
    array.refuseShape(fmt::format("({}, D), a row for each of the boxes", count));
  }
  return array;
}

/// The library's percent of what the caller counts from 0 to 1.
float percentOf(const char* argument, double fraction, std::size_t position) {
  if (fraction > 1.0) {
    failValue(argument,
              fmt::format("{} at position {}, but they are from 0 to 1; was percent meant?", fraction, position));
  }
  if (!(fraction >= 0.0))  // nor is it one that is not a number
    failValue(argument, fmt::format("{} at position {}, but they are from 0 to 1", fraction, position));
  return static_cast<float>(fraction) * kPercent;
}

/// Scores of detections: a number each, or one for each class.
class Scores {
 public:
  Scores(const py::object& given, std::size_t count, std::size_t classes) {
    if (given.is_none()) return;
    array.emplace("scores", given);
    const bool isMatrix = array->dimensions() == 2;
    const bool fits = (array->dimensions() == 1 || isMatrix) && static_cast<std::size_t>(array->length(0)) == count;
    if (!fits || (isMatrix && static_cast<std::size_t>(array->length(1)) != classes)) {
      array->refuseShape(fmt::format(
          "({},) or ({}, {}), a number for each of the boxes, or one for each of the classes", count, count, classes));
    }
    columns = isMatrix ? classes : 0;
  }

  bool areOfClasses() const { return columns > 0; }

  std::size_t bestClass(std::size_t row) const {
    std::size_t best = 0;
    for (std::size_t i = 1; i < columns; ++i) {
      if ((*array)[row * columns + i] > (*array)[row * columns + best]) best = i;
    }
    return best;
  }

  /// @return The score of the class.
  float fill(std::size_t row, std::size_t ownClass, const Terms& terms, std::vector<Classification>& target) const {
    target.resize(areOfClasses() ? columns : 1);
    if (!areOfClasses()) {
      target[0].label = terms.names[ownClass];
      return target[0].score = array ? percentOf("scores", (*array)[row], row) : kPercent;
    }
    for (std::size_t i = 0; i < columns; ++i) {
      target[i].label = terms.names[i];
      target[i].score = percentOf("scores", (*array)[row * columns + i], row * columns + i);
    }
    return target[ownClass].score;
  }

 private:
  std::optional<RealArray> array;
  std::size_t columns = 0;  // 0 if there is one score for each detection
};

/// What the caller says about the detections' classes.
class Classes {
 public:
  Classes(const py::object& givenIds, const py::object& givenLabels, std::size_t count, const Terms& ownTerms)
      : terms(ownTerms) {
    if (!givenIds.is_none() && !givenLabels.is_none())
      failType("labels", "class_ids are given as well: expected either");
    if (!givenIds.is_none()) ids.emplace(idsOf(givenIds, count));
    if (givenLabels.is_none()) return;
    const bool isText = py::isinstance<py::str>(givenLabels) || py::isinstance<py::bytes>(givenLabels);
    if (isText || PySequence_Check(givenLabels.ptr()) == 0) {
      failType("labels", "expected a sequence with a string for each of the boxes");
    }
    labels = py::reinterpret_steal<py::object>(PySequence_Fast(givenLabels.ptr(), ""));
    if (!labels) throw py::error_already_set();
    if (py::len(labels) != count) {
      failValue("labels", fmt::format("{} of them, expected {}, one for each of the boxes", py::len(labels), count));
    }
  }

  /// The class of a row; none if it is left out.
  std::optional<std::size_t> of(std::size_t row, const Scores& scores) const {
    if (ids) return terms.classOfId(ids->data()[row], row);
    if (labels) return terms.classOfLabel(labelOf(row), row);
    return scores.areOfClasses() ? scores.bestClass(row) : 0;
  }

 private:
  using Ids = py::array_t<std::int64_t, py::array::c_style | py::array::forcecast>;

  static Ids idsOf(const py::object& given, std::size_t count) {
    const py::array array = py::array::ensure(given);
    if (!array)
      failType("class_ids", fmt::format("expected an array of whole numbers, not {}", Py_TYPE(given.ptr())->tp_name));
    if (array.ndim() != 1 || static_cast<std::size_t>(array.size()) != count) {
      failValue("class_ids",
                fmt::format("shape {}, expected ({},), a number for each of the boxes", shapeText(array), count));
    }
    const char kind = array.dtype().kind();
    const bool isWhole = kind == 'i' || kind == 'u' || array.size() == 0;
    if (!isWhole && !(kind == 'f' && holdsWholeNumbers(array))) {
      failType("class_ids",
               fmt::format("dtype {}, expected whole numbers", std::string(py::str(py::handle(array.dtype())))));
    }
    return Ids::ensure(array);
  }

  /// Detectors often put boxes, scores and classes into one array of floats.
  static bool holdsWholeNumbers(const py::array& array) {
    const auto numbers = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(array);
    constexpr double kMost = 9e15;  // whole numbers up to there have no gaps
    for (py::ssize_t i = 0; i < numbers.size(); ++i) {
      const double number = numbers.data()[i];
      if (!(std::abs(number) <= kMost) || number != std::floor(number)) return false;
    }
    return true;
  }

  std::string labelOf(std::size_t row) const {
    PyObject* const item = PySequence_Fast_GET_ITEM(labels.ptr(), static_cast<Py_ssize_t>(row));
    if (!PyUnicode_Check(item))
      failType("labels", fmt::format("{} at position {}, expected a string", Py_TYPE(item)->tp_name, row));
    Py_ssize_t length = 0;
    const char* const text = PyUnicode_AsUTF8AndSize(item, &length);
    if (text != nullptr) return {text, static_cast<std::size_t>(length)};
    PyErr_Clear();
    failValue("labels", fmt::format("no text at position {}, but half a character", row));
  }

  const Terms& terms;
  std::optional<Ids> ids;
  py::object labels;
};

void fillFeature(const RealArray& features, std::size_t row, std::optional<std::vector<float>>& target) {
  const auto length = static_cast<std::size_t>(features.length(1));
  bool isThere = false;
  for (std::size_t i = 0; i < length && !isThere; ++i) isThere = !std::isnan(features[row * length + i]);
  if (!isThere) return target.reset();
  if (!target) target.emplace();
  target->resize(length);
  for (std::size_t i = 0; i < length; ++i) (*target)[i] = static_cast<float>(features[row * length + i]);
}

/// The attributes of each detection: (type, value, score), any number of them.
using Attributes = std::vector<std::vector<std::tuple<std::int32_t, std::int32_t, float>>>;

Attributes parseAttributes(const py::object& given, std::size_t count) {
  Attributes attributes;
  if (given.is_none()) return attributes;
  try {
    attributes = py::cast<Attributes>(given);
  } catch (const py::cast_error&) {
    failType("attributes", "expected a list of (type, value, score) for each of the boxes");
  }
  if (attributes.size() != count) {
    failValue("attributes", fmt::format("{} lists, expected {}, one for each of the boxes", attributes.size(), count));
  }
  for (std::size_t row = 0; row < count; ++row) {
    for (const auto& [type, value, score] : attributes[row]) {
      if (std::isnan(score))
        failValue("attributes", fmt::format("the score of one at position {} is not a number", row));
    }
  }
  return attributes;
}

RealArray parseBoxes(const py::object& given) {
  RealArray boxes("boxes", given);
  const bool isNothing = boxes.dimensions() == 1 && boxes.length(0) == 0;
  if (!isNothing && (boxes.dimensions() != 2 || boxes.length(1) != 4)) boxes.refuseShape("(N, 4)");
  return boxes;
}

}  // namespace

std::optional<hostkit::PictureSize> pictureOf(const PictureSides& given) {
  if (!given) return std::nullopt;
  return hostkit::PictureSize{given->first, given->second};
}

PictureSides sidesOf(const std::optional<hostkit::PictureSize>& picture) {
  if (!picture) return std::nullopt;
  return std::pair(picture->width, picture->height);
}

BoxFormat parseBoxFormat(const std::string& text) {
  if (text == "xyxy") return BoxFormat::corners;
  if (text == "xywh") return BoxFormat::cornerAndSize;
  if (text == "cxcywh") return BoxFormat::centreAndSize;
  failValue("box_format", fmt::format("'{}', expected 'xyxy', 'xywh' or 'cxcywh'", text));
}

Terms::Terms(std::optional<hostkit::PictureSize> pictureSize, BoxFormat format, std::vector<std::int64_t> classIds,
             std::vector<std::string> classNames, bool others)
    : picture(pictureSize),
      boxFormat(format),
      ids(std::move(classIds)),
      names(std::move(classNames)),
      leavesOut(others) {
  for (std::size_t i = 0; i < ids.size(); ++i) byId.emplace(ids[i], i);
  for (std::size_t i = 0; i < names.size(); ++i) byName.emplace(names[i], i);
}

std::optional<std::size_t> Terms::classOfId(std::int64_t id, std::size_t row) const {
  const auto position = static_cast<std::size_t>(id);  // of a list, mostly
  if (position < ids.size() && ids[position] == id) return position;
  const auto found = byId.find(id);
  if (found != byId.end()) return found->second;
  if (leavesOut) return std::nullopt;
  failValue("class_ids", fmt::format("{} at position {}, but there are {} classes", id, row, ids.size()));
}

std::optional<std::size_t> Terms::classOfLabel(const std::string& label, std::size_t row) const {
  const auto found = byName.find(label);
  if (found != byName.end()) return found->second;
  if (leavesOut) return std::nullopt;
  failValue("labels", fmt::format("'{}' at position {} is none of the classes", label, row));
}

std::int32_t Terms::classNamed(const std::string& label) const {
  if (names[lastNamed] != label) lastNamed = byName.at(label);
  return static_cast<std::int32_t>(lastNamed);
}

Box Terms::toLibrary(const std::array<double, 4>& box) const {
  const auto& [x, y, third, fourth] = box;
  if (boxFormat == BoxFormat::cornerAndSize && picture) return hostkit::toNormalised({x, y, third, fourth}, *picture);
  Position from{x, y};
  Position to{third, fourth};
  if (boxFormat != BoxFormat::corners) {
    // Without a picture, y grows upward, and the corner is the upper left one.
    const double height = picture ? fourth : -fourth;
    if (boxFormat == BoxFormat::centreAndSize) from = {x - third / 2.0, y - height / 2.0};
    to = {from.x + third, from.y + height};
  }
  if (!picture) return hostkit::boxBetween(from, to);
  return hostkit::boxBetween(hostkit::toNormalised(from, *picture), hostkit::toNormalised(to, *picture));
}

std::array<double, 4> Terms::fromLibrary(const Box& box) const {
  Position from{box.left, box.top};
  Position to{box.right, box.bottom};
  if (picture) {
    from = hostkit::toPixels(from, *picture);
    to = hostkit::toPixels(to, *picture);
  }
  const double width = to.x - from.x;
  const double height = std::abs(to.y - from.y);
  switch (boxFormat) {
    case BoxFormat::corners:
      return {from.x, from.y, to.x, to.y};
    case BoxFormat::cornerAndSize:
      return {from.x, from.y, width, height};
    case BoxFormat::centreAndSize:
      return {(from.x + to.x) / 2.0, (from.y + to.y) / 2.0, width, height};
  }
  return {};
}

std::size_t fillDetections(const DetectionArguments& given, const Terms& terms,
                           std::vector<ObjectDetection>& detections) {
  const RealArray boxes = parseBoxes(given.boxes);
  const auto count = static_cast<std::size_t>(boxes.length(0));
  const Scores scores(given.scores, count, terms.names.size());
  const Classes classes(given.classIds, given.labels, count, terms);
  const auto features = matrixOf("features", given.features, count);
  const auto objectness = columnOf("objectness", given.objectness, count);
  const Attributes attributes = parseAttributes(given.attributes, count);

  detections.resize(count);
  std::size_t used = 0;
  for (std::size_t row = 0; row < count; ++row) {
    const auto ownClass = classes.of(row, scores);
    if (!ownClass) continue;
    ObjectDetection& detection = detections[used++];
    detection.box = terms.toLibrary({boxes[4 * row], boxes[4 * row + 1], boxes[4 * row + 2], boxes[4 * row + 3]});
    detection.label = terms.names[*ownClass];
    detection.score = scores.fill(row, *ownClass, terms, detection.classifications);
    detection.objectness = objectness ? percentOf("objectness", (*objectness)[row], row) : 0.0F;
    detection.id = static_cast<std::int32_t>(row);
    detection.inbetween = false;
    if (features) {
      fillFeature(*features, row, detection.feature);
    } else {
      detection.feature.reset();
    }
    detection.attributes.clear();
    if (attributes.empty()) continue;
    for (const auto& [type, value, score] : attributes[row]) detection.attributes.push_back({type, value, score});
  }
  detections.resize(used);
  return count;
}

std::uint64_t parseTimestamp(const py::object& given) {
  if (PyFloat_Check(given.ptr()) || !PyIndex_Check(given.ptr())) {
    failType("timestamp",
             fmt::format("expected whole nanoseconds, not {}: today's would not fit into a float's 53 bits",
                         Py_TYPE(given.ptr())->tp_name));
  }
  const auto number = py::reinterpret_steal<py::object>(PyNumber_Index(given.ptr()));
  if (!number) {
    PyErr_Clear();
    failType("timestamp", "expected whole nanoseconds, not an array of them");
  }
  const auto timestamp = PyLong_AsUnsignedLongLong(number.ptr());
  if (PyErr_Occurred() == nullptr) return timestamp;
  PyErr_Clear();
  failValue("timestamp", fmt::format("{}, expected nanoseconds from 0 to 2**64 - 1", std::string(py::str(number))));
}

std::array<double, 6> parseCameraMotion(const py::object& given) {
  const RealArray matrix("camera_motion", given);
  const bool isMatrix = matrix.dimensions() == 2 && matrix.length(1) == 3;
  if (!isMatrix || (matrix.length(0) != 2 && matrix.length(0) != 3)) matrix.refuseShape("(2, 3) or (3, 3)");
  std::array<double, 6> map{};
  for (std::size_t i = 0; i < map.size(); ++i) {
    map[i] = matrix[i];
    if (!std::isfinite(map[i])) failValue("camera_motion", "expected finite numbers");
  }
  if (matrix.length(0) == 2) return map;
  const double scale = matrix[8];
  if (matrix[6] != 0.0 || matrix[7] != 0.0 || !std::isfinite(scale) || scale == 0.0) {
    failValue("camera_motion", "a perspective; expected an affine map, whose last row is (0, 0, 1)");
  }
  for (double& each : map) each /= scale;
  return map;
}

}  // namespace nivra::python
