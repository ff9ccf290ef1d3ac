#include "tracker.h"

#include <fmt/format.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "hostkit/formats/frameTimes.h"
#include "hostkit/tracking/cameras.h"
#include "reports.h"
#include "setup.h"

namespace nivra::python {

namespace {

using hostkit::Frame;

constexpr StateKind kCameraState = {0x4143564EU, 1, "camera"};  // "NVCA"

hostkit::TrackerRecipe recipeOf(const std::string& tracker, const std::optional<std::string>& preset,
                                const ParameterMap& params) {
  const hostkit::TrackerChoice choice = hostkit::parseTrackerChoice(tracker);
  return {choice, settingsOf(choice, preset, params)};
}

/// A camera's tracker, and what of a frame is used again for the next one.
class Tracker {
 public:
  Tracker(const std::string& tracker, const std::optional<std::string>& preset, const ParameterMap& params,
          LabelAssociations labelAssociations, std::shared_ptr<const Terms> ownTerms,
          std::optional<double> framesPerSecond, bool stabilise)
      : terms(std::move(ownTerms)),
        associations(std::move(labelAssociations)),
        recipe(recipeOf(tracker, preset, params)),
        camera(
            std::make_unique<hostkit::Camera>(recipe, associations, hostkit::aspectRatio(terms->picture), stabilise)),
        frameRate(framesPerSecond) {}

  std::string warnings() const { return recipe.warnings(); }

  /// @return What came of the frame: its time, how many boxes it had, and the reports.
  py::tuple update(py::object boxes, const py::object& timestamp, py::object scores, py::object classIds,
                   py::object labels, py::object features, py::object attributes, py::object objectness,
                   const py::object& motion) {
    const Use use(*this);
    const auto count = fillDetections({std::move(boxes), std::move(scores), std::move(classIds), std::move(labels),
                                       std::move(features), std::move(attributes), std::move(objectness)},
                                      *terms, frame.detections);
    return take(frame, count, timeOf(timestamp), motion);
  }

  /// The same for a frame that was read from a file.
  py::tuple updateFrame(const Frame& read) {
    const Use use(*this);
    Frame copy = read;  // a tracker may reorder detections
    const auto isLeftOut = [&](const ObjectDetection& each) {
      return !terms->classOfLabel(each.label, static_cast<std::size_t>(each.id));
    };
    auto& detections = copy.detections;
    detections.erase(std::remove_if(detections.begin(), detections.end(), isLeftOut), detections.end());
    const auto time = read.timestamp ? *read.timestamp : timeOf(py::none());
    return take(copy, read.detections.size(), time, py::none());
  }

  /// What later frames depend on, to be gone on from by one with the same arguments.
  py::bytes state() {
    const Use use(*this);
    std::string bytes;
    StateWriter archive(bytes, kCameraState);
    archive(camera->state(), framesTaken);
    archive.seal();
    return py::bytes(bytes);
  }

  void goOnFrom(const std::string& bytes) {
    const Use use(*this);
    StateReader archive(bytes, kCameraState);
    const auto state = std::make_unique<hostkit::CameraState>();  // of one on the stack, g++ 12 warns without reason
    std::int32_t frames = 0;
    archive(*state, frames);
    archive.finish();
    camera = std::make_unique<hostkit::Camera>(recipe, associations, *state);
    framesTaken = frames;
  }

  void move(const py::object& motion) {
    const Use use(*this);
    moveBy(parseCameraMotion(motion));
  }

 private:
  /// Marks the tracker as in use, since others may run while a frame is worked on.
  class Use {
   public:
    explicit Use(Tracker& used) : tracker(used) {
      if (tracker.isInUse) throw std::runtime_error("another thread is using this tracker: each needs its own");
      tracker.isInUse = true;
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use() { tracker.isInUse = false; }

   private:
    Tracker& tracker;
  };

  std::uint64_t timeOf(const py::object& given) const {
    if (!given.is_none()) return parseTimestamp(given);
    if (!frameRate) failType("timestamp", "expected the frame's time in nanoseconds, since the tracker has no fps");
    return hostkit::timestampOf(framesTaken + 1, *frameRate);
  }

  py::tuple take(Frame& taken, std::size_t count, std::uint64_t time, const py::object& motion) {
    taken.timestamp = time;
    if (!motion.is_none()) {
      failFor(camera->refusalOf(taken), time);
      moveBy(parseCameraMotion(motion));
    }
    std::optional<hostkit::Refusal> refusal;
    {
      const py::gil_scoped_release others;
      refusal = camera->update(taken, 0, false, result);
    }
    failFor(refusal, time);
    ++framesTaken;
    return py::make_tuple(time, count, reportsOf(result, *terms));
  }

  static void failFor(const std::optional<hostkit::Refusal>& refusal, std::uint64_t time) {
    if (!refusal) return;
    const bool isTime = refusal->field == "timestamp";
    failValue(isTime ? refusal->field : "features",
              isTime ? fmt::format("{} is {}", time, refusal->message) : refusal->message);
  }

  void moveBy(const std::array<double, 6>& matrix) {
    const py::gil_scoped_release others;
    camera->move({"", terms->picture, matrix});
  }

  const std::shared_ptr<const Terms> terms;
  const LabelAssociations associations;
  const hostkit::TrackerRecipe recipe;
  std::unique_ptr<hostkit::Camera> camera;
  const std::optional<double> frameRate;
  std::int32_t framesTaken = 0;
  bool isInUse = false;
  Frame frame;
  hostkit::FrameTracks result;
};

}  // namespace

void declareTracker(py::module_& module) {
  py::class_<Terms, std::shared_ptr<Terms>>(module, "Terms")
      .def(py::init([](const PictureSides& picture, const std::string& boxFormat, std::vector<std::int64_t> ids,
                       std::vector<std::string> names, bool leavesOutOthers) {
             return std::make_shared<Terms>(pictureOf(picture), parseBoxFormat(boxFormat), std::move(ids),
                                            std::move(names), leavesOutOthers);
           }),
           py::arg("picture"), py::arg("box_format"), py::arg("ids"), py::arg("names"), py::arg("leaves_out_others"));

  py::class_<Tracker>(module, "Tracker")
      .def(py::init<const std::string&, const std::optional<std::string>&, const ParameterMap&, LabelAssociations,
                    std::shared_ptr<Terms>, std::optional<double>, bool>(),
           py::arg("tracker"), py::arg("preset"), py::arg("params"), py::arg("associations"), py::arg("terms"),
           py::arg("fps"), py::arg("stabilise"))
      .def_property_readonly("warnings", &Tracker::warnings)
      .def("update", &Tracker::update)
      .def("update_frame", &Tracker::updateFrame)
      .def("move", &Tracker::move)
      .def("state", &Tracker::state)
      .def("go_on_from", &Tracker::goOnFrom);
}

}  // namespace nivra::python
