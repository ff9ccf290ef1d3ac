#include "nivra/c/nivra.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nivra/nivra.h"
#include "reasons.h"

#define NIVRA_TEXT_OF(x) #x
#define NIVRA_TEXT(x) NIVRA_TEXT_OF(x)

namespace {

using namespace nivra;

/// A call that is refused, with what is wrong.
struct Refusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void require(bool isRight, const char* what) {
  if (!isRight) throw Refusal(what);
}

/// A list that the caller hands over; null is none.
template <class Element>
void requireList(const Element* first, std::size_t count, const char* what) {
  require(first != nullptr || count == 0, what);
}

/// Whether a struct may have the size in any header. Other sizes would cut members in two.
template <class Struct>
bool isSizeOf(std::size_t size) {
  return size % alignof(Struct) == 0;
}

/// What the caller's own, perhaps older or newer, header has of a struct that begins with its size, and the defaults of
/// what it doesn't have.
template <class Struct>
Struct known(const Struct* given, Struct defaults, const char* what) {
  require(given != nullptr, what);
  const std::size_t size = given->size;
  require(size >= sizeof(size) && isSizeOf<Struct>(size), "the size of a struct isn't set: start from its initialiser");
  std::memcpy(&defaults, given, std::min(size, sizeof(Struct)));
  return defaults;
}

/// A list's element, where elements are as large as the caller's header has them.
template <class Struct>
Struct elementAt(const Struct* first, std::size_t elementSize, std::size_t position) {
  Struct element{};
  std::memcpy(&element, reinterpret_cast<const char*>(first) + position * elementSize,
              std::min(elementSize, sizeof(Struct)));
  return element;
}

/// Does what may fail, and tells what became of it.
template <class Work>
nivra_status guarded(std::string* error, Work work) noexcept {
  const auto note = [&](const char* what) {
    try {
      if (error != nullptr) *error = what;
    } catch (const std::bad_alloc&) {
      error->clear();
    }
  };
  try {
    return work();
  } catch (const std::bad_alloc&) {
    note("not enough memory");
    return NIVRA_OUT_OF_MEMORY;
  } catch (const Refusal& refusal) {
    note(refusal.what());
    return NIVRA_INVALID_ARGUMENT;
  } catch (const StateError& refusal) {
    note(refusal.what());
    return NIVRA_INVALID_ARGUMENT;
  } catch (const std::exception& defect) {
    note(defect.what());
  } catch (...) {
    note("unknown error");
  }
  return NIVRA_INTERNAL_ERROR;
}

/// Writes a list into the caller's buffer, if there is room for all of it.
template <class List, class Target, class Convert>
nivra_status handOut(const List& list, Target* target, std::size_t capacity, std::size_t* count, Convert convert) {
  require(count != nullptr, "count is null");
  requireList(target, capacity, "the buffer is null");
  *count = list.size();
  if (list.size() > capacity) return NIVRA_BUFFER_TOO_SMALL;
  std::transform(list.begin(), list.end(), target, convert);
  return NIVRA_OK;
}

std::vector<std::string> labelsOf(const nivra_options& options) {
  require(options.labels != nullptr && options.label_count > 0, "labels: at least one is needed");
  std::vector<std::string> labels;
  for (std::size_t i = 0; i < options.label_count; ++i) {
    require(options.labels[i] != nullptr, "labels: one is null");
    require(std::find(labels.begin(), labels.end(), options.labels[i]) == labels.end(), "labels: two are alike");
    labels.emplace_back(options.labels[i]);
  }
  return labels;
}

const std::string& labelAt(const std::vector<std::string>& labels, std::int32_t position, const char* what) {
  require(position >= 0 && static_cast<std::size_t>(position) < labels.size(), what);
  return labels[static_cast<std::size_t>(position)];
}

/// A track that took in one that is not a number would have none for ever.
float scoreOf(float given) {
  require(!std::isnan(given), "detections: a score is not a number");
  return given;
}

LabelAssociations associationsOf(const nivra_options& options, const std::vector<std::string>& labels) {
  LabelAssociations associations;
  for (const std::string& each : labels) associations[each].insert(each);
  requireList(options.associations, options.association_count, "associations are null");
  constexpr char kNoLabel[] = "associations: there is no such label";
  for (std::size_t i = 0; i < options.association_count; ++i) {
    const auto& [track, detection] = options.associations[i];
    associations[labelAt(labels, track, kNoLabel)].insert(labelAt(labels, detection, kNoLabel));
  }
  return associations;
}

bool isPreset(const std::string& name) {
  const std::vector<std::string> names = presetNames();
  return std::find(names.begin(), names.end(), name) != names.end();
}

ParameterMap parametersOf(const nivra_options& options) {
  ParameterMap params;
  if (options.preset != nullptr) {
    if (!isPreset(options.preset)) throw Refusal(std::string("preset: there is no ") + options.preset);
    params = presetParameters(options.preset, options.kind);
  }
  requireList(options.parameters, options.parameter_count, "parameters are null");
  for (std::size_t i = 0; i < options.parameter_count; ++i) {
    const auto& [key, value] = options.parameters[i];
    require(key != nullptr && value != nullptr, "parameters: a key or value is null");
    params[key] = value;
  }
  for (const ParameterFault& fault : checkParameters(options.kind, params)) {
    throw Refusal("parameters: " + fault.key + "=" + fault.value + ": " + fault.text);
  }
  return params;
}

/// Writes a list into the caller's buffer likewise, of elements that are as large as the caller's header has them.
template <class List, class Struct, class Convert>
nivra_status handOutStructs(const List& list, Struct* target, std::size_t elementSize, std::size_t capacity,
                            std::size_t* count, Convert convert) {
  require(count != nullptr, "count is null");
  requireList(target, capacity, "the buffer is null");
  *count = list.size();
  if (list.size() > capacity) return NIVRA_BUFFER_TOO_SMALL;
  auto* next = reinterpret_cast<char*>(target);
  for (const auto& each : list) {
    const Struct element = convert(each);
    std::memcpy(next, &element, std::min(elementSize, sizeof(element)));
    next += elementSize;
  }
  return NIVRA_OK;
}

nivra_track trackOf(const TrackReport& report, std::int32_t label) {
  const TrackedObjectDetection& track = report.track;
  return {{track.box.left, track.box.top, track.box.right, track.box.bottom},
          track.velocityX,
          track.velocityY,
          track.score,
          label,
          track.id,
          report.detectionId,
          track.confident ? 1 : 0};
}

/// Holds the fault handler's two parts together.
struct FaultReceiver {
  nivra_fault_handler handler;
  void* userData;

  void operator()(const std::string& message) const { handler(message.c_str(), userData); }
};

std::vector<std::pair<const char*, const ParameterDescription*>> parametersOfKind(std::int32_t kind) {
  std::vector<std::pair<const char*, const ParameterDescription*>> parameters;
  for (const ParameterSection& section : sectionsOf(kind)) {
    for (const ParameterDescription& each : *section.table) parameters.emplace_back(section.name, &each);
  }
  return parameters;
}

}  // namespace

namespace {

constexpr StateKind kStateKind = {0x4343564EU, 1, "tracker of the C interface"};  // "NVCC"

/// What later frames of a tracker depend on, beside the options that it was made with.
struct StoredState {
  std::string tracker;                // as `ObjectTracker::saveState` has it
  std::optional<std::string> motion;  // likewise, if the camera's movement is estimated
  std::optional<std::uint64_t> lastTimestamp;
  std::optional<std::uint64_t> featureLength;
};

template <class Archive>
void fields(Archive& archive, StoredState& state) {
  archive(state.tracker, state.motion, state.lastTimestamp, state.featureLength);
}

StoredState storedState(std::string_view bytes) {
  StateReader archive(bytes, kStateKind);
  StoredState state;
  archive(state);
  archive.finish();
  return state;
}

}  // namespace

struct nivra_tracker {
  explicit nivra_tracker(const nivra_options& options)
      : labels(labelsOf(options)),
        tracker(makeTracker(options.kind, parametersOf(options), associationsOf(options, labels), options.aspect_ratio,
                            &motionServer)) {
    if (options.stabilise != 0) motionEstimator.emplace();
  }

  /// One that goes on from a state.
  nivra_tracker(const nivra_options& options, const StoredState& state)
      : labels(labelsOf(options)),
        tracker(restoreTracker(state.tracker, options.kind, parametersOf(options), associationsOf(options, labels),
                               options.aspect_ratio, &motionServer)),
        lastTimestamp(state.lastTimestamp),
        featureLength(state.featureLength) {
    if (state.motion) motionEstimator.emplace(std::string_view(*state.motion));
    tracker->getTracks(reports);
  }

  /// All that such a one needs.
  const std::string& save() {
    StoredState state;
    tracker->saveState(state.tracker);
    if (motionEstimator) motionEstimator->saveState(state.motion.emplace());
    state.lastTimestamp = lastTimestamp;
    state.featureLength = featureLength;
    StateWriter archive(bytes, kStateKind);
    archive(state);
    archive.seal();
    return bytes;
  }

  /// Takes the caller's frame over into `detections`, all of which is checked first.
  void read(const nivra_frame& frame) {
    require(!lastTimestamp || frame.timestamp > *lastTimestamp, "timestamp: not newer than the last one");
    requireList(frame.detections, frame.detection_count, "detections are null");
    require(frame.detection_count == 0 || (frame.detection_size >= offsetof(nivra_detection, classifications) &&
                                           isSizeOf<nivra_detection>(frame.detection_size)),
            "detection_size: expected sizeof(nivra_detection)");
    auto length = featureLength;
    detections.resize(frame.detection_count);
    for (std::size_t i = 0; i < frame.detection_count; ++i) {
      read(elementAt(frame.detections, frame.detection_size, i), detections[i], length);
    }
    featureLength = length;
  }

  void update(const nivra_frame& frame) {
    read(frame);
    lastTimestamp = frame.timestamp;
    if (motionEstimator) {
      const CameraMotionEstimate motion = motionEstimator->estimate(detections, frame.timestamp);
      if (motion.verdict == CameraMotionEstimate::Verdict::moving) moveTracks(motionServer, motion.map);
    }
    changes = {};
    reasons.clear();
    changes = tracker->update(detections, frame.timestamp);
    reasons.nameDetections(detections);
    tracker->getTracks(reports);
    if (motionEstimator) motionEstimator->follow(reports);
  }

  void move(const float* map) {
    require(map != nullptr, "map is null");
    require(std::all_of(map, map + 6, [](float each) { return std::isfinite(each); }), "map: expected finite numbers");
    motionEstimator.reset();  // the caller knows better
    moveTracks(motionServer, PictureMap{map[0], map[1], map[2], map[3], map[4], map[5]});
  }

  const nivra::c::Reason& reasonAt(std::size_t position) const {
    require(position < reasons.all().size(), "reason: there are fewer");
    return reasons.all()[position];
  }

  const TrackedObjectDetection& trackAt(std::size_t position) const {
    require(position < reports.size(), "track: there are fewer");
    return reports[position].track;
  }

  /// Tracks have no labels but those of detections.
  std::int32_t labelNumber(const std::string& label) const {
    const auto found = std::find(labels.begin(), labels.end(), label);
    return static_cast<std::int32_t>(found - labels.begin());
  }

  std::vector<std::string> labels;
  MotionTrackerServer motionServer;  // before the tracker, which subscribes to it
  nivra::c::ReasonKeeper reasons;    // likewise: tells it
  std::unique_ptr<ObjectTracker> tracker;
  std::optional<CameraMotionEstimator> motionEstimator;
  std::optional<std::uint64_t> lastTimestamp;
  std::optional<std::uint64_t> featureLength;
  std::vector<ObjectDetection> detections;
  std::vector<TrackReport> reports;
  TrackUpdateResult changes;
  std::string bytes;  // of the last state that was saved, for the memory
  std::string error;

 private:
  void read(const nivra_detection& given, ObjectDetection& detection, std::optional<std::uint64_t>& length) const {
    constexpr char kNoLabel[] = "detections: there is no such label";
    detection.box = {given.box.left, given.box.top, given.box.right, given.box.bottom};
    detection.score = scoreOf(given.score);
    detection.objectness = scoreOf(given.objectness);
    detection.label = labelAt(labels, given.label, kNoLabel);
    detection.id = given.id;
    detection.inbetween = false;
    requireList(given.classifications, given.classification_count, "detections: classifications are null");
    detection.classifications.resize(std::max<std::size_t>(given.classification_count, 1));
    detection.classifications[0] = {detection.label, detection.score};
    for (std::size_t i = 0; i < given.classification_count; ++i) {
      const auto& [label, score] = given.classifications[i];
      detection.classifications[i] = {labelAt(labels, label, kNoLabel), scoreOf(score)};
    }
    requireList(given.attributes, given.attribute_count, "detections: attributes are null");
    detection.attributes.clear();
    for (std::size_t i = 0; i < given.attribute_count; ++i) {
      const auto& [type, value, score] = given.attributes[i];
      detection.attributes.push_back({type, value, scoreOf(score)});
    }
    readFeature(given, detection, length);
  }

  static void readFeature(const nivra_detection& given, ObjectDetection& detection,
                          std::optional<std::uint64_t>& length) {
    requireList(given.feature, given.feature_length, "detections: a feature is null");
    if (given.feature == nullptr) return detection.feature.reset();
    if (!length) length = given.feature_length;
    require(given.feature_length == *length, "detections: a feature of another length than the others of this camera");
    if (!detection.feature) detection.feature.emplace();
    detection.feature->assign(given.feature, given.feature + given.feature_length);
  }
};

namespace {

constexpr nivra_options kUsualOptions = NIVRA_OPTIONS_INIT;
constexpr nivra_frame kUsualFrame = NIVRA_FRAME_INIT;

/// Makes a tracker by options that are checked first.
/// @param create Returns it.
template <class Create>
nivra_status make(const nivra_options* options, nivra_tracker** tracker, char* error, std::size_t errorSize,
                  Create create) noexcept {
  std::string what;
  const nivra_status status = guarded(&what, [&] {
    require(tracker != nullptr, "tracker is null");
    *tracker = nullptr;
    const nivra_options all = known(options, kUsualOptions, "options are null");
    require(all.kind >= NIVRA_VANILLA && all.kind <= NIVRA_LOWFPS, "kind: there is no such tracker");
    require(std::isfinite(all.aspect_ratio) && all.aspect_ratio > 0.0F, "aspect_ratio: expected a number above 0");
    *tracker = create(all).release();
    return NIVRA_OK;
  });
  if (error != nullptr && errorSize > 0) error[what.copy(error, errorSize - 1)] = '\0';
  return status;
}

/// Does what may fail with a tracker, if there is one.
template <class Work>
nivra_status with(nivra_tracker* tracker, Work work) noexcept {
  if (tracker == nullptr) return NIVRA_INVALID_ARGUMENT;
  tracker->error.clear();
  return guarded(&tracker->error, work);
}

}  // namespace

const char* nivra_version(void) {
  return NIVRA_TEXT(NIVRA_VERSION_MAJOR) "." NIVRA_TEXT(NIVRA_VERSION_MINOR) "." NIVRA_TEXT(NIVRA_VERSION_PATCH);
}

nivra_status nivra_tracker_create(const nivra_options* options, nivra_tracker** tracker, char* error,
                                  size_t error_size) {
  return make(options, tracker, error, error_size,
              [](const nivra_options& all) { return std::make_unique<nivra_tracker>(all); });
}

void nivra_tracker_destroy(nivra_tracker* tracker) { delete tracker; }

const char* nivra_tracker_error(const nivra_tracker* tracker) {
  return tracker == nullptr ? "the tracker is null" : tracker->error.c_str();
}

nivra_status nivra_tracker_update(nivra_tracker* tracker, const nivra_frame* frame) {
  return with(tracker, [&] {
    tracker->update(known(frame, kUsualFrame, "frame is null"));
    return NIVRA_OK;
  });
}

nivra_status nivra_update_batch(nivra_tracker* const* trackers, const nivra_frame* const* frames, size_t count,
                                nivra_status* statuses) {
  if (count > 0 && (trackers == nullptr || frames == nullptr)) return NIVRA_INVALID_ARGUMENT;
  nivra_status first = NIVRA_OK;
  for (std::size_t i = 0; i < count; ++i) {
    const nivra_status status = nivra_tracker_update(trackers[i], frames[i]);
    if (statuses != nullptr) statuses[i] = status;
    if (first == NIVRA_OK) first = status;
  }
  return first;
}

nivra_status nivra_tracker_move(nivra_tracker* tracker, const float map[6]) {
  return with(tracker, [&] {
    tracker->move(map);
    return NIVRA_OK;
  });
}

nivra_status nivra_tracker_tracks(nivra_tracker* tracker, nivra_track* tracks, size_t track_size, size_t capacity,
                                  size_t* count) {
  return with(tracker, [&] {
    return handOutStructs(tracker->reports, tracks, track_size, capacity, count, [&](const TrackReport& each) {
      return trackOf(each, tracker->labelNumber(each.track.label));
    });
  });
}

nivra_status nivra_tracker_classifications(nivra_tracker* tracker, size_t track, nivra_classification* classifications,
                                           size_t capacity, size_t* count) {
  return with(tracker, [&] {
    const auto& all = tracker->trackAt(track).classifications;
    return handOut(all, classifications, capacity, count, [&](const Classification& each) {
      return nivra_classification{tracker->labelNumber(each.label), each.score};
    });
  });
}

nivra_status nivra_tracker_attributes(nivra_tracker* tracker, size_t track, nivra_attribute* attributes,
                                      size_t capacity, size_t* count) {
  return with(tracker, [&] {
    const auto& all = tracker->trackAt(track).attributes;
    return handOut(all, attributes, capacity, count, [](const AttributeClassification& each) {
      return nivra_attribute{each.attributeType, each.attributeValue, each.score};
    });
  });
}

nivra_status nivra_tracker_removed(nivra_tracker* tracker, int32_t* ids, size_t capacity, size_t* count) {
  return with(tracker,
              [&] { return handOut(tracker->changes.removedIds, ids, capacity, count, [](int id) { return id; }); });
}

nivra_status nivra_tracker_merged(nivra_tracker* tracker, nivra_merge* merges, size_t capacity, size_t* count) {
  return with(tracker, [&] {
    return handOut(tracker->changes.mergedIds, merges, capacity, count, [](const std::pair<int, int>& ids) {
      return nivra_merge{ids.first, ids.second};
    });
  });
}

nivra_status nivra_tracker_explain(nivra_tracker* tracker, int32_t on) {
  return with(tracker, [&] {
    tracker->reasons.clear();
    tracker->tracker->explainTo(on != 0 ? &tracker->reasons : nullptr);
    return NIVRA_OK;
  });
}

nivra_status nivra_tracker_reasons(nivra_tracker* tracker, nivra_reason* reasons, size_t reason_size, size_t capacity,
                                   size_t* count) {
  return with(tracker, [&] {
    return handOutStructs(tracker->reasons.all(), reasons, reason_size, capacity, count, nivra::c::asStruct);
  });
}

nivra_status nivra_tracker_verdicts(nivra_tracker* tracker, size_t reason, nivra_verdict* verdicts, size_t verdict_size,
                                    size_t capacity, size_t* count) {
  return with(tracker, [&] {
    const std::vector<Verdict>& all = nivra::c::verdictsOf(tracker->reasonAt(reason));
    return handOutStructs(all, verdicts, verdict_size, capacity, count, [](const Verdict& each) {
      return nivra_verdict{nameOf(each.rule), each.parameter, each.figure, each.limit, each.holds ? 1 : 0};
    });
  });
}

nivra_status nivra_tracker_sentence(nivra_tracker* tracker, size_t reason, char* text, size_t capacity, size_t* count) {
  return with(tracker, [&] {
    std::string sentence = nivra::c::sentenceOf(tracker->reasonAt(reason));
    sentence.push_back('\0');
    return handOut(sentence, text, capacity, count, [](char each) { return each; });
  });
}

nivra_status nivra_tracker_save(nivra_tracker* tracker, void* state, size_t capacity, size_t* count) {
  return with(tracker, [&] {
    return handOut(tracker->save(), static_cast<char*>(state), capacity, count, [](char each) { return each; });
  });
}

nivra_status nivra_tracker_restore(const nivra_options* options, const void* state, size_t state_size,
                                   nivra_tracker** tracker, char* error, size_t error_size) {
  return make(options, tracker, error, error_size, [&](const nivra_options& all) {
    requireList(static_cast<const char*>(state), state_size, "the state is null");
    const StoredState stored = storedState({static_cast<const char*>(state), state_size});
    return std::make_unique<nivra_tracker>(all, stored);
  });
}

nivra_status nivra_set_fault_handler(nivra_fault_handler handler, void* user_data) {
  return guarded(nullptr, [&] {
    setFaultHandler(handler == nullptr ? FaultHandler() : FaultReceiver{handler, user_data});
    return NIVRA_OK;
  });
}

size_t nivra_parameter_count(int32_t kind) {
  std::size_t count = 0;
  const nivra_status status = guarded(nullptr, [&] {
    count = parametersOfKind(kind).size();
    return NIVRA_OK;
  });
  return status == NIVRA_OK ? count : 0;
}

nivra_status nivra_parameter_describe(int32_t kind, size_t index, nivra_parameter_info* info) {
  return guarded(nullptr, [&] {
    const nivra_parameter_info theirs = known(info, NIVRA_PARAMETER_INFO_INIT, "info is null");
    const auto all = parametersOfKind(kind);
    require(index < all.size(), "index: there are fewer");
    const auto& [section, parameter] = all[index];
    const bool hasRange = parameter->kind != ParameterKind::classList;
    const ParameterRange range = hasRange ? parameter->range : ParameterRange{0.0, 0.0};
    const ParameterRange usual = hasRange ? parameter->usual : ParameterRange{0.0, 0.0};
    const nivra_parameter_info found = {theirs.size,     section,
                                        parameter->name, parameter->defaultValue,
                                        parameter->unit, parameter->meaning,
                                        parameter->pull, range.least,
                                        range.most,      usual.least,
                                        usual.most};
    std::memcpy(info, &found, std::min(theirs.size, sizeof(found)));
    return NIVRA_OK;
  });
}

size_t nivra_preset_count(void) {
  std::size_t count = 0;
  const nivra_status status = guarded(nullptr, [&] {
    count = presetNames().size();
    return NIVRA_OK;
  });
  return status == NIVRA_OK ? count : 0;
}

const char* nivra_preset_name(size_t index) {
  const char* name = nullptr;
  guarded(nullptr, [&] {
    static const std::vector<std::string> names = presetNames();
    if (index < names.size()) name = names[index].c_str();
    return NIVRA_OK;
  });
  return name;
}
