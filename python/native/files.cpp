#include "files.h"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <iostream>
#include <limits>
#include <memory>
#include <utility>

#include "frames.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/formats.h"
#include "reports.h"

namespace nivra::python {

namespace {

using hostkit::CameraEnd;
using hostkit::CameraMotion;
using hostkit::Format;
using hostkit::Frame;
using hostkit::Record;

constexpr double kPercent = 100.0;

const Format& formatToRead(const std::string& path, const std::optional<std::string>& name) {
  return name ? hostkit::formatNamed("format", *name) : hostkit::recogniseFormat(path);
}

const Format& formatToWrite(const std::string& path, const std::optional<std::string>& name) {
  if (name) return hostkit::formatNamed("format", *name);
  const Format* const known = hostkit::formatOfFileName(path);
  if (known == nullptr)
    failValue("path", fmt::format("the name {} tells no format; format says which one it is", path));
  return *known;
}

/// The records of a file, one after the other.
class FileReader {
 public:
  FileReader(std::string ownPath, const std::optional<std::string>& format, hostkit::ReadSettings settings)
      : path(std::move(ownPath)) {
    settings.warn = [this](const std::string& warning) { warnings.push_back(warning); };
    reader = formatToRead(path, format).read(path, settings);
  }
  FileReader(const FileReader&) = delete;
  FileReader& operator=(const FileReader&) = delete;

  /// @throws StopIteration at the end, FileError for a line that is none of these.
  Record next() {
    Record record;
    {
      const py::gil_scoped_release others;
      if (!reader->read(record)) throw py::stop_iteration();
    }
    if (const auto* const bad = std::get_if<hostkit::BadLine>(&record)) {
      hostkit::failAt(hostkit::shownName(path), static_cast<int>(bad->line), bad->field, bad->message);
    }
    return record;
  }

  std::vector<std::string> takeWarnings() { return std::exchange(warnings, {}); }

 private:
  std::string path;
  std::vector<std::string> warnings;
  std::unique_ptr<hostkit::Reader> reader;
};

/// A number of each detection, in double precision.
template <class Get>
py::array_t<double> columnOf(const Frame& frame, Get get) {
  py::array_t<double> column(static_cast<py::ssize_t>(frame.detections.size()));
  double* next = column.mutable_data();
  for (const ObjectDetection& each : frame.detections) *next++ = get(each);
  return column;
}

py::array_t<double> boxesOf(const Frame& frame) {
  const Terms terms(frame.picture, BoxFormat::corners, {}, {}, true);
  py::array_t<double> boxes({static_cast<py::ssize_t>(frame.detections.size()), py::ssize_t{4}});
  double* next = boxes.mutable_data();
  for (const ObjectDetection& each : frame.detections) {
    for (const double number : terms.fromLibrary(each.box)) *next++ = number;
  }
  return boxes;
}

std::vector<std::string> labelsOf(const Frame& frame) {
  std::vector<std::string> labels;
  for (const ObjectDetection& each : frame.detections) labels.push_back(each.label);
  return labels;
}

/// Rows of NaN for detections without one; None if no detection has any.
py::object featuresOf(const Frame& frame) {
  std::size_t length = 0;
  for (const ObjectDetection& each : frame.detections) {
    if (each.feature) length = std::max(length, each.feature->size());
  }
  if (length == 0) return py::none();
  py::array_t<float> features({frame.detections.size(), length});
  std::fill_n(features.mutable_data(), features.size(), std::numeric_limits<float>::quiet_NaN());
  float* row = features.mutable_data();
  for (const ObjectDetection& each : frame.detections) {
    if (each.feature) std::copy(each.feature->begin(), each.feature->end(), row);
    row += length;
  }
  return features;
}

auto attributesOf(const Frame& frame) {
  std::vector<std::vector<std::tuple<std::int32_t, std::int32_t, float>>> attributes;
  for (const ObjectDetection& each : frame.detections) {
    auto& list = attributes.emplace_back();
    for (const auto& [type, value, score] : each.attributes) list.emplace_back(type, value, score);
  }
  return attributes;
}

/// A detection as pickles hold it.
using PlainDetection =
    std::tuple<std::array<float, 4>, std::string, float, float, std::int32_t,
               std::vector<std::pair<std::string, float>>, std::vector<std::tuple<std::int32_t, std::int32_t, float>>,
               std::optional<std::vector<float>>>;

PlainDetection plainOf(const ObjectDetection& detection) {
  const Box& box = detection.box;
  std::vector<std::pair<std::string, float>> classifications;
  for (const auto& [label, score] : detection.classifications) classifications.emplace_back(label, score);
  std::vector<std::tuple<std::int32_t, std::int32_t, float>> attributes;
  for (const auto& [type, value, score] : detection.attributes) attributes.emplace_back(type, value, score);
  return {{box.left, box.top, box.right, box.bottom},
          detection.label,
          detection.score,
          detection.objectness,
          detection.id,
          classifications,
          attributes,
          detection.feature};
}

ObjectDetection detectionOf(PlainDetection plain) {
  ObjectDetection detection;
  std::array<float, 4> box{};
  std::vector<std::pair<std::string, float>> classifications;
  std::vector<std::tuple<std::int32_t, std::int32_t, float>> attributes;
  std::tie(box, detection.label, detection.score, detection.objectness, detection.id, classifications, attributes,
           detection.feature) = std::move(plain);
  detection.box = {box[0], box[1], box[2], box[3]};
  for (const auto& [label, score] : classifications) detection.classifications.push_back({label, score});
  for (const auto& [type, value, score] : attributes) detection.attributes.push_back({type, value, score});
  return detection;
}

py::tuple pickled(const Frame& frame) {
  std::vector<PlainDetection> detections;
  for (const ObjectDetection& each : frame.detections) detections.push_back(plainOf(each));
  return py::make_tuple(frame.camera, frame.timestamp, sidesOf(frame.picture), frame.percentPerConfidence, frame.names,
                        detections);
}

Frame unpickled(const py::tuple& state) {
  Frame frame;
  frame.camera = py::cast<std::string>(state[0]);
  frame.timestamp = py::cast<std::optional<std::uint64_t>>(state[1]);
  frame.picture = pictureOf(py::cast<PictureSides>(state[2]));
  frame.percentPerConfidence = py::cast<float>(state[3]);
  frame.names = py::cast<std::vector<std::string>>(state[4]);
  for (auto& each : py::cast<std::vector<PlainDetection>>(state[5])) {
    frame.detections.push_back(detectionOf(std::move(each)));
  }
  return frame;
}

Frame makeFrame(const Terms& terms, std::string camera, const py::object& timestamp, py::object boxes,
                py::object scores, py::object classIds, py::object labels, py::object features, py::object attributes,
                py::object objectness) {
  Frame frame;
  frame.camera = std::move(camera);
  frame.picture = terms.picture;
  if (!timestamp.is_none()) frame.timestamp = parseTimestamp(timestamp);
  fillDetections({std::move(boxes), std::move(scores), std::move(classIds), std::move(labels), std::move(features),
                  std::move(attributes), std::move(objectness)},
                 terms, frame.detections);
  return frame;
}

void writeRecords(const std::string& path, const py::iterable& records, const std::optional<std::string>& format,
                  const std::optional<double>& frameRate, bool replaces) {
  const Format& target = hostkit::detectionFormatNamed("format", format ? *format : formatToWrite(path, format).name);
  const auto writer = target.writeDetections({std::cout, path, replaces}, {frameRate, std::nullopt});
  for (const auto& each : records) {
    if (!py::isinstance<Frame>(each) && !py::isinstance<CameraMotion>(each) && !py::isinstance<CameraEnd>(each)) {
      failType("records",
               fmt::format("expected what read hands out or frame makes, not {}", Py_TYPE(each.ptr())->tp_name));
    }
    writer->write(py::cast<Record>(each));
  }
  writer->finish();
}

void writeTracks(const std::string& path,
                 const std::vector<std::tuple<Frame, std::shared_ptr<Terms>, py::tuple>>& frames,
                 const std::optional<std::string>& format, const std::optional<double>& frameRate, bool replaces) {
  const Format& target = formatToWrite(path, format);
  if (target.writeTracks == nullptr) failValue("format", fmt::format("{} files hold no tracks", target.name));
  const auto writer = target.writeTracks({frameRate, std::nullopt});
  const auto output = hostkit::openOutput({std::cout, path, replaces});
  output->write(target.trackHeader);
  hostkit::TextBuffer text;
  for (const auto& [frame, terms, reports] : frames) {
    writer->frame(frame, tracksOf(reports, *terms), text);
    output->write(text.view());
    text.clear();
  }
  output->finish();
}

}  // namespace

hostkit::ReadSettings readSettingsOf(const PictureSides& picture, const std::optional<double>& frameRate,
                                     std::string label, std::map<std::int64_t, std::string> categories,
                                     const std::optional<std::string>& scores) {
  hostkit::ReadSettings settings;
  settings.picture = pictureOf(picture);
  settings.frameRate = frameRate;
  settings.label = std::move(label);
  settings.categories = std::move(categories);
  if (!scores) return settings;
  if (*scores != "fraction" && *scores != "percent") {
    failValue("scores", fmt::format("'{}', expected 'fraction' or 'percent'", *scores));
  }
  settings.scores = *scores == "percent" ? hostkit::ScoreUnit::percent : hostkit::ScoreUnit::fraction;
  return settings;
}

void declareFiles(py::module_& module) {
  py::class_<Frame>(module, "Frame")
      .def_readonly("camera", &Frame::camera)
      .def_readonly("timestamp", &Frame::timestamp)
      .def_property_readonly("picture", [](const Frame& frame) { return sidesOf(frame.picture); })
      .def_property_readonly("boxes", boxesOf)
      .def_property_readonly("scores",
                             [](const Frame& frame) {
                               return columnOf(frame, [](const ObjectDetection& each) {
                                 return static_cast<double>(each.score) / kPercent;
                               });
                             })
      .def_property_readonly("objectness",
                             [](const Frame& frame) {
                               return columnOf(frame, [](const ObjectDetection& each) {
                                 return static_cast<double>(each.objectness) / kPercent;
                               });
                             })
      .def_property_readonly("labels", labelsOf)
      .def_property_readonly("features", featuresOf)
      .def_property_readonly("attributes", attributesOf)
      .def("__len__", [](const Frame& frame) { return frame.detections.size(); })
      .def("head",
           [](const Frame& frame) {  // all but the detections
             Frame head;
             head.camera = frame.camera;
             head.timestamp = frame.timestamp;
             head.picture = frame.picture;
             head.percentPerConfidence = frame.percentPerConfidence;
             head.names = frame.names;
             return head;
           })
      .def(py::pickle(&pickled, &unpickled));
  module.def("make_frame", makeFrame);

  py::class_<CameraMotion>(module, "CameraMotion")
      .def(py::init([](const py::object& matrix, const PictureSides& picture, std::string camera) {
             return CameraMotion{std::move(camera), pictureOf(picture), parseCameraMotion(matrix)};
           }),
           py::arg("matrix"), py::arg("picture"), py::arg("camera"))
      .def_readonly("camera", &CameraMotion::camera)
      .def_property_readonly("picture", [](const CameraMotion& motion) { return sidesOf(motion.picture); })
      .def_property_readonly("matrix",
                             [](const CameraMotion& motion) {
                               return py::array_t<double>({2, 3}, motion.matrix.data());
                             })
      .def(py::pickle(
          [](const CameraMotion& motion) {
            return py::make_tuple(motion.camera, sidesOf(motion.picture), motion.matrix);
          },
          [](const py::tuple& state) {
            return CameraMotion{py::cast<std::string>(state[0]), pictureOf(py::cast<PictureSides>(state[1])),
                                py::cast<std::array<double, 6>>(state[2])};
          }));
  py::class_<CameraEnd>(module, "CameraEnd")
      .def(py::init([](std::string camera) { return CameraEnd{std::move(camera)}; }), py::arg("camera"))
      .def_readonly("camera", &CameraEnd::camera)
      .def(py::pickle([](const CameraEnd& end) { return py::make_tuple(end.camera); },
                      [](const py::tuple& state) { return CameraEnd{py::cast<std::string>(state[0])}; }));

  py::class_<FileReader>(module, "FileReader")
      .def(py::init([](const std::string& path, const std::optional<std::string>& format, const PictureSides& picture,
                       const std::optional<double>& frameRate, std::string label,
                       std::map<std::int64_t, std::string> categories, const std::optional<std::string>& scores) {
        return std::make_unique<FileReader>(
            path, format, readSettingsOf(picture, frameRate, std::move(label), std::move(categories), scores));
      }))
      .def("__iter__", [](const py::object& reader) { return reader; })
      .def("__next__",
           [](FileReader& reader) -> std::variant<Frame, CameraMotion, CameraEnd> {
             Record record = reader.next();
             if (auto* const motion = std::get_if<CameraMotion>(&record)) return std::move(*motion);
             if (auto* const end = std::get_if<CameraEnd>(&record)) return std::move(*end);
             return std::get<Frame>(std::move(record));
           })
      .def("take_warnings", &FileReader::takeWarnings);
  module.def("write_records", writeRecords);
  module.def("write_tracks", writeTracks);
}

}  // namespace nivra::python
