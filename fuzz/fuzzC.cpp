// Arbitrary sequences of calls of the C interface, with arguments that are right, wrong and missing.

#include <fuzzer/FuzzedDataProvider.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "nivra/c/nivra.h"

namespace {

constexpr std::array<const char*, 4> kLabels = {"human", "car", "", nullptr};
constexpr std::size_t kMostTrackers = 3;
constexpr std::size_t kMostDetections = 12;

/// One that often makes a list's first element and sometimes null.
template <class Element>
const Element* listOf(FuzzedDataProvider& data, const std::vector<Element>& elements) {
  return data.ConsumeIntegralInRange(0, 9) == 0 ? nullptr : elements.data();
}

float number(FuzzedDataProvider& data) {
  if (data.ConsumeBool()) return data.ConsumeFloatingPointInRange(-1.5F, 1.5F);
  float any = 0.0F;
  const auto bits = data.ConsumeIntegral<std::uint32_t>();
  std::memcpy(&any, &bits, sizeof any);
  return any;
}

class Caller {
 public:
  explicit Caller(FuzzedDataProvider& fuzzedData) : data(fuzzedData) {}
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
  ~Caller() {
    for (nivra_tracker* const each : trackers) nivra_tracker_destroy(each);
  }

  void call() {
    switch (data.ConsumeIntegralInRange(0, 11)) {
      case 0:
        return replace();
      case 1:
      case 2:
      case 3:
        return update();
      case 4:
        return batch();
      case 5:
        return move();
      case 6:
        return describe();
      case 7:
        return explain();
      case 8:
        return moveToAnother();
      default:
        return ask();
    }
  }

 private:
  std::size_t anyTracker() { return data.ConsumeIntegralInRange<std::size_t>(0, kMostTrackers - 1); }

  void replace() {
    const std::size_t place = anyTracker();
    nivra_tracker*& tracker = trackers[place];
    nivra_tracker_destroy(tracker);
    tracker = nullptr;
    nivra_options& options = choices[place].options;
    choose(choices[place]);
    if (data.ConsumeIntegralInRange(0, 9) == 0)
      options.size = data.ConsumeIntegralInRange<std::size_t>(0, sizeof options);
    std::array<char, 20> error{};
    nivra_tracker_create(&options, data.ConsumeIntegralInRange(0, 9) == 0 ? nullptr : &tracker, error.data(),
                         data.ConsumeIntegralInRange<std::size_t>(0, error.size()));
  }

  /// Options, and what they point at.
  struct Choice {
    nivra_options options;
    std::vector<nivra_association> associations;
    std::string value;
    std::vector<nivra_parameter> parameters;
  };

  void choose(Choice& choice) {
    choice.associations = {{data.ConsumeIntegralInRange(-1, 3), 0}};
    choice.value = data.ConsumeRandomLengthString(8);
    choice.parameters = {{data.ConsumeBool() ? "vanilla.scoreAbsorption" : nullptr, choice.value.c_str()}};
    choice.options = NIVRA_OPTIONS_INIT;
    nivra_options& options = choice.options;
    options.kind = data.ConsumeIntegralInRange(-1, 4);
    if (data.ConsumeBool()) options.aspect_ratio = number(data);
    options.labels = kLabels.data();
    options.label_count = data.ConsumeIntegralInRange<std::size_t>(0, kLabels.size());
    options.associations = listOf(data, choice.associations);
    options.association_count = data.ConsumeIntegralInRange<std::size_t>(0, 1);
    options.preset = data.ConsumeIntegralInRange(0, 3) == 0 ? nivra_preset_name(0) : nullptr;
    options.parameters = listOf(data, choice.parameters);
    options.parameter_count = data.ConsumeIntegralInRange<std::size_t>(0, 1);
    options.stabilise = data.ConsumeBool();
  }

  /// A state that is whole makes a tracker, and one that isn't makes none.
  void moveToAnother() {
    nivra_tracker*& tracker = trackers[anyTracker()];
    const Choice& choice = choices[data.ConsumeIntegralInRange<std::size_t>(0, kMostTrackers - 1)];
    const bool isItsOwn = &tracker - trackers.data() == &choice - choices.data();
    std::size_t size = 0;
    if (nivra_tracker_save(tracker, nullptr, 0, &size) != NIVRA_BUFFER_TOO_SMALL) return;
    std::vector<char> state(size);
    if (nivra_tracker_save(tracker, state.data(), size, &size) != NIVRA_OK) __builtin_trap();
    const bool isDamaged = data.ConsumeBool();
    if (isDamaged) state[data.ConsumeIntegralInRange<std::size_t>(0, size - 1)] ^= 0x10;
    nivra_tracker* other = nullptr;
    const nivra_status status = nivra_tracker_restore(&choice.options, state.data(), size, &other, nullptr, 0);
    if (isDamaged ? status == NIVRA_OK : isItsOwn && status != NIVRA_OK) __builtin_trap();
    if (other == nullptr || !isItsOwn) return nivra_tracker_destroy(other);
    nivra_tracker_destroy(tracker);
    tracker = other;
  }

  void explain() {
    nivra_tracker* const tracker = trackers[anyTracker()];
    if (data.ConsumeBool()) nivra_tracker_explain(tracker, data.ConsumeBool() ? 1 : 0);
    const auto capacity = data.ConsumeIntegralInRange<std::size_t>(0, 40);
    std::vector<nivra_reason> reasons(capacity);
    std::size_t count = 0;
    if (nivra_tracker_reasons(tracker, reasons.data(), sizeof(nivra_reason), capacity, &count) != NIVRA_OK) return;
    for (std::size_t i = 0; i <= count; ++i) {  // one too many
      std::vector<nivra_verdict> verdicts(capacity);
      std::vector<char> text(capacity * 10);
      std::size_t length = 0;
      const auto status = nivra_tracker_verdicts(tracker, i, verdicts.data(), sizeof(nivra_verdict), capacity, &length);
      if (i < count && (status == NIVRA_INVALID_ARGUMENT || length != reasons[i].verdict_count)) __builtin_trap();
      if (nivra_tracker_sentence(tracker, i, text.data(), text.size(), &length) != NIVRA_OK) continue;
      if (i == count || std::strlen(text.data()) + 1 != length) __builtin_trap();
    }
  }

  nivra_detection detection() {
    nivra_detection made{};
    made.box = {number(data), number(data), number(data), number(data)};
    made.score = number(data);
    made.objectness = number(data);
    made.label = data.ConsumeIntegralInRange(-1, 2);
    made.id = data.ConsumeIntegral<std::int32_t>();
    made.classifications = listOf(data, classifications);
    made.classification_count = data.ConsumeIntegralInRange<std::size_t>(0, classifications.size());
    made.attributes = listOf(data, attributes);
    made.attribute_count = data.ConsumeIntegralInRange<std::size_t>(0, attributes.size());
    made.feature = data.ConsumeBool() ? feature.data() : nullptr;
    made.feature_length = made.feature != nullptr && data.ConsumeBool() ? feature.size() : 0;
    return made;
  }

  nivra_frame frame() {
    detections.resize(data.ConsumeIntegralInRange<std::size_t>(0, kMostDetections));
    for (nivra_detection& each : detections) each = detection();
    nivra_frame made = NIVRA_FRAME_INIT;
    time += data.ConsumeBool() ? 40'000'000 : data.ConsumeIntegral<std::uint64_t>();
    made.timestamp = time;
    made.detections = listOf(data, detections);
    made.detection_count = detections.size();
    return made;
  }

  void update() {
    const nivra_frame made = frame();
    nivra_tracker_update(trackers[anyTracker()], data.ConsumeIntegralInRange(0, 9) == 0 ? nullptr : &made);
  }

  void batch() {
    const nivra_frame made = frame();
    const std::array<const nivra_frame*, kMostTrackers> frames = {&made, &made, data.ConsumeBool() ? &made : nullptr};
    std::array<nivra_status, kMostTrackers> statuses{};
    nivra_update_batch(trackers.data(), frames.data(), frames.size(), data.ConsumeBool() ? statuses.data() : nullptr);
  }

  void move() {
    const std::array<float, 6> map = {number(data), number(data), number(data),
                                      number(data), number(data), number(data)};
    nivra_tracker_move(trackers[anyTracker()], map.data());
  }

  void describe() {
    nivra_parameter_info info = NIVRA_PARAMETER_INFO_INIT;
    const auto kind = data.ConsumeIntegralInRange(-1, 4);
    const auto index = data.ConsumeIntegralInRange<std::size_t>(0, 100);
    const bool isThere = index < nivra_parameter_count(kind);
    if ((nivra_parameter_describe(kind, index, &info) == NIVRA_OK) != isThere) __builtin_trap();
    nivra_preset_name(index);
  }

  /// Buffers that are exactly as large as is said, for the sanitizers to watch.
  void ask() {
    nivra_tracker* const tracker = trackers[anyTracker()];
    const auto capacity = data.ConsumeIntegralInRange<std::size_t>(0, 20);
    const auto position = data.ConsumeIntegralInRange<std::size_t>(0, 20);
    std::vector<nivra_track> tracks(capacity);
    std::vector<nivra_classification> classes(capacity);
    std::vector<nivra_attribute> found(capacity);
    std::vector<std::int32_t> ids(capacity);
    std::vector<nivra_merge> merges(capacity);
    std::size_t count = 0;
    const nivra_status status = nivra_tracker_tracks(tracker, tracks.data(), sizeof(nivra_track), capacity, &count);
    if (status == NIVRA_OK && count > capacity) __builtin_trap();
    nivra_tracker_classifications(tracker, position, classes.data(), capacity, &count);
    nivra_tracker_attributes(tracker, position, found.data(), capacity, &count);
    nivra_tracker_removed(tracker, ids.data(), capacity, &count);
    nivra_tracker_merged(tracker, merges.data(), capacity, &count);
    if (std::strlen(nivra_tracker_error(tracker)) > 1000) __builtin_trap();
  }

  FuzzedDataProvider& data;
  std::array<nivra_tracker*, kMostTrackers> trackers{};
  std::array<Choice, kMostTrackers> choices{};
  std::vector<nivra_detection> detections;
  const std::vector<nivra_classification> classifications = {{0, 60.0F}, {1, 30.0F}, {2, 10.0F}};
  const std::vector<nivra_attribute> attributes = {{1, 2, 0.5F}, {1, 3, 0.75F}};
  const std::vector<float> feature = {0.5F, 0.25F, 0.125F};
  std::uint64_t time = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  nivra_set_fault_handler([](const char*, void*) {}, nullptr);
  Caller caller(data);
  for (int calls = 0; calls < 200 && data.remaining_bytes() > 0; ++calls) caller.call();
  return 0;
}
