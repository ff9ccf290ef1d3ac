// Stored states with any bytes changed behind their checksums' back: they are refused, or make trackers that hold out.

#include <malloc.h>

#include <algorithm>
#include <cstdlib>

#include "support.h"
#include "support/detections.h"
#include "support/replacedNew.h"

namespace {

std::size_t livingBytes = 0;
std::size_t mostBytes = 0;

void* allocate(std::size_t size) noexcept {
  void* memory = std::malloc(size);
  if (memory == nullptr) return nullptr;
  livingBytes += malloc_usable_size(memory);
  mostBytes = std::max(mostBytes, livingBytes);
  return memory;
}

[[gnu::noinline]] void release(void* memory) noexcept {
  if (memory != nullptr) livingBytes -= malloc_usable_size(memory);
  std::free(memory);
}

}  // namespace

namespace nivra::fuzz {
namespace {

constexpr std::size_t kHead = 16;  // bytes before the body, and behind it a checksum
constexpr std::size_t kChecksum = 8;

/// A state's body, which can be changed at will and still gets a head and a checksum that are right.
class Forgery {
 public:
  explicit Forgery(const std::string& state) : body(state.substr(kHead, state.size() - kHead - kChecksum)) {
    internal::decode(state.data(), kind.mark);
  }

  void change(FuzzedDataProvider& data) {
    const auto place = data.ConsumeIntegralInRange<std::size_t>(0, body.size());
    const auto length = data.ConsumeIntegralInRange<std::size_t>(0, std::min<std::size_t>(8, body.size() - place));
    const std::string bytes =
        data.ConsumeBytesAsString(data.ConsumeBool() ? length : data.ConsumeIntegral<std::uint8_t>());
    body.replace(place, length, bytes);
  }

  /// The digest of a tracker's configuration, behind so many bytes, is made to fit them again.
  void correctDigest(std::size_t configurationLength) {
    if (body.size() < configurationLength + sizeof(std::uint64_t)) return;
    std::string ignored;
    StateWriter writer(ignored, kind);
    writeBody(writer, configurationLength);
    internal::encode(writer.digest(), &body[configurationLength]);
  }

  std::string sealed() const {
    std::string state;
    StateWriter writer(state, kind);
    writeBody(writer, body.size());
    writer.seal();
    return state;
  }

  /// After how many bytes the digest of all of them stands.
  std::size_t placeOfDigest() const {
    std::string ignored;
    StateWriter writer(ignored, kind);
    for (std::size_t place = 0; place + sizeof(std::uint64_t) <= body.size(); ++place) {
      std::uint64_t digest = 0;
      internal::decode(body.data() + place, digest);
      if (digest == writer.digest()) return place;
      writer(body[place]);
    }
    fail("a tracker's state holds the digest of its configuration");
  }

 private:
  void writeBody(StateWriter& writer, std::size_t length) const {
    for (std::size_t i = 0; i < length; ++i) writer(body[i]);
  }

  StateKind kind{0, 1, "fuzz"};
  std::string body;
};

/// A tracker and its estimator after some frames of a few people and cars.
struct Original {
  std::string tracker;
  std::string estimator;
  std::size_t configurationLength = 0;
};

Original makeOriginal(int selector) {
  ParameterMap params;
  if (selector == 1 || selector == 2) params = {{"reid.minTimeBeforeConfidentId", "80000001"}};
  const auto tracker = makeTracker(selector, params, {{"human", {"human"}}, {"car", {"car", "truck"}}}, 1.5F, nullptr);
  CameraMotionEstimator estimator;
  std::vector<TrackReport> reports;
  for (int frame = 1; frame <= 20; ++frame) {
    const auto way = 0.01F * static_cast<float>(frame);
    std::vector<ObjectDetection> detections = {test::detectionOf(test::boxAt(way, 0), "car", 0),
                                               test::detectionOf(test::boxAt(way - 0.5F, 0.1F), "human", 1)};
    if (frame < 18) detections.push_back(test::detectionOf(test::boxAt(-way, -0.5F), "human", 2));
    for (ObjectDetection& each : detections) {
      each.attributes = {{1, frame % 3, 50}, {2, 1, 40}};
      each.classifications.push_back({"truck", 30});
      each.feature = std::vector<float>{1, way};
    }
    const std::uint64_t now = static_cast<std::uint64_t>(frame) * test::kFrame;
    estimator.estimate(detections, now);
    tracker->update(detections, now);
    tracker->getTracks(reports);
    estimator.follow(reports);
  }
  Original original;
  tracker->saveState(original.tracker);
  estimator.saveState(original.estimator);
  original.configurationLength = Forgery(original.tracker).placeOfDigest();
  return original;
}

/// What restore() makes of a state, if anything.
template <class Restore>
auto restoredOf(const std::string& state, Restore restore) -> decltype(restore()) {
  const std::size_t before = mostBytes = livingBytes;
  decltype(restore()) restored;
  try {
    restored = restore();
  } catch (const StateError&) {
  }
  // Fifty features of different lengths lie in rows as long as the longest of them.
  require(mostBytes - before <= 100 * state.size() + 16'384, "a state takes no more memory than its length allows",
          std::to_string(mostBytes - before) + " for " + std::to_string(state.size()));
  return restored;
}

void run(FuzzedDataProvider& data) {
  static const Original originals[] = {makeOriginal(0), makeOriginal(1), makeOriginal(2), makeOriginal(3)};
  const Original& original = originals[data.ConsumeIntegralInRange(0, 3)];
  Forgery tracker(original.tracker);
  Forgery estimator(original.estimator);
  for (int changes = data.ConsumeIntegralInRange(1, 6); changes > 0; --changes) {
    (data.ConsumeIntegralInRange(0, 3) == 0 ? estimator : tracker).change(data);
  }
  if (data.ConsumeBool()) tracker.correctDigest(original.configurationLength);

  const std::string trackerState = tracker.sealed();
  const std::string estimatorState = estimator.sealed();
  const auto follower = restoredOf(trackerState, [&] { return restoreTracker(trackerState, nullptr); });
  const auto judge =
      restoredOf(estimatorState, [&] { return std::make_unique<CameraMotionEstimator>(estimatorState); });
  std::vector<TrackReport> reports;
  for (std::uint64_t frame = 21; frame < 24 && data.remaining_bytes() > 0; ++frame) {
    std::vector<ObjectDetection> detections;
    for (int left = data.ConsumeIntegralInRange(0, 4); left > 0; --left)
      detections.push_back(anyDetection(data, false));
    if (judge) judge->estimate(detections, frame * test::kFrame);
    if (follower) follower->update(detections, frame * test::kFrame);
    if (follower) follower->getTracks(reports);
    if (judge) judge->follow(reports);
  }
  std::string again;
  if (follower) {
    follower->saveState(again);
    restoreTracker(again, nullptr);
  }
  if (judge) {
    judge->saveState(again);
    CameraMotionEstimator{again};
  }
}

}  // namespace
}  // namespace nivra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  nivra::fuzz::run(data);
  return 0;
}
