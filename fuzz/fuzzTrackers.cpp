// Arbitrary frames through all trackers, whose promises hold whatever comes; each beside its plain oracle.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "support.h"
#include "support/detections.h"
#include "support/plainTrackers.h"

namespace nivra::fuzz {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

test::Settings anySettings(FuzzedDataProvider& data) {
  test::Settings settings =
      test::defaultSettings({{"human", {"human"}}, {"car", {"car", "truck"}}, {"truck", {"truck"}}, {"", {""}}}, 1.5F);
  const auto options = data.ConsumeIntegral<std::uint8_t>();
  if ((options & 1U) != 0) {
    settings.reid.minTimeBeforeConfident = 1;
    settings.reid.minTimeBeforeConfidentId = settings.reid.inactiveAge = 2 * test::kFrame;
  }
  if ((options & 2U) != 0) settings.reid.kalmanParams.mahalanobisLimit = kInfinity;
  if ((options & 4U) != 0) settings.reid.maxFeatureDistance = settings.reid.maxReviveFeatureDistance = 2;
  if ((options & 8U) != 0) settings.reid.maxIouDistance = 1;
  for (vanilla::TrackerParams* params : {&settings.vanilla, &settings.lowFps}) {
    if ((options & 16U) != 0) params->widthFactorGating = params->heightFactorGating = kInfinity;
    if ((options & 32U) != 0) params->widthRelativeDiffGating = params->heightRelativeDiffGating = 1e30F;
    if ((options & 64U) != 0) params->expirationLikelihoodThreshold = -50;
    if ((options & 128U) != 0) params->confidentLikelihoodThreshold = 0;
  }
  return settings;
}

// Fingerprints say the same, at many times the cost.
bool isSame(const internal::DebugTrack& a, const internal::DebugTrack& b) {
  const auto isSameFloat = [](float x, float y) {
    return std::isnan(x) ? std::isnan(y) : x == y && std::signbit(x) == std::signbit(y);
  };
  const auto floatsOf = [](const internal::DebugTrack& debug) {
    const TrackedObjectDetection& track = debug.track;
    std::vector<float> floats = {track.box.left,
                                 track.box.top,
                                 track.box.right,
                                 track.box.bottom,
                                 track.velocityX,
                                 track.velocityY,
                                 track.score,
                                 debug.maxPositionDifferenceX,
                                 debug.maxPositionDifferenceY};
    for (const auto& each : track.classifications) floats.push_back(each.score);
    for (const auto& each : track.attributes) floats.push_back(each.score);
    return floats;
  };
  const auto othersOf = [](const internal::DebugTrack& debug) {
    return std::tie(debug.track.id, debug.track.label, debug.track.confident, debug.state, debug.lastDetectionId);
  };
  const std::vector<float> x = floatsOf(a);
  const std::vector<float> y = floatsOf(b);
  return othersOf(a) == othersOf(b) && std::equal(x.begin(), x.end(), y.begin(), y.end(), isSameFloat) &&
         std::equal(a.track.classifications.begin(), a.track.classifications.end(), b.track.classifications.begin(),
                    b.track.classifications.end(),
                    [](const auto& one, const auto& other) { return one.label == other.label; });
}

/// One camera: a tracker, its oracle, and what is known of its identities.
class View {
 public:
  /// @param takesAnything Whether numbers and times of arbitrary bits come, too.
  View(int selector, const test::Settings& settings, bool takesAnything)
      : isTame(!takesAnything), server(std::make_unique<MotionTrackerServer>()) {
    server->setCameraMotionTracker(&camera, 0, test::Camera::move);
    std::tie(tracker, plain) = test::makeBoth(selector, settings);
  }

  void takeFrame(FuzzedDataProvider& data) {
    std::vector<ObjectDetection> detections;
    for (int left = data.ConsumeIntegralInRange(0, 6); left > 0; --left) {
      const bool repeats = !last.empty() && data.ConsumeIntegralInRange(0, 3) != 0;
      const bool isWild = !isTame && !repeats && data.ConsumeIntegralInRange(0, 7) == 0;
      detections.push_back(repeats ? last[data.ConsumeIntegralInRange<std::size_t>(0, last.size() - 1)]
                                   : anyDetection(data, isWild));
      if (repeats) shift(detections.back().box, latticeFloat(data) / 16.0F);
      detections.back().id = static_cast<int>(detections.size());
    }
    last = detections;
    advance(data);

    std::vector<ObjectDetection> copies = detections;
    const TrackUpdateResult result = tracker->update(detections, now);
    const TrackUpdateResult expected = plain->update(copies, now);
    require(result.removedIds == expected.removedIds && result.mergedIds == expected.mergedIds,
            "the plain tracker ends and merges the same identities");
    require(detections.size() == copies.size(), "no detection is added or taken away");
    for (std::size_t i = 0; i < copies.size(); ++i) {
      require(detections[i].id == copies[i].id && detections[i].inbetween == copies[i].inbetween,
              "the plain tracker orders and marks the detections alike");
    }
    checkIdentities(result);
    checkReports();
  }

  void moveCamera(FuzzedDataProvider& data) {
    if (!server) return;
    const bool isWild = !isTame && data.ConsumeIntegralInRange(0, 7) == 0;
    const test::Camera moved = {anyNumber(data, isWild), anyNumber(data, isWild), data.ConsumeIntegralInRange(0, 12)};
    camera = moved;
    server->updateClients();
    camera = moved;
    plain->followCamera(*server);
    checkReports();
  }

  /// The trackers keep going without it.
  void endServer() { server.reset(); }

 private:
  static void shift(Box& box, float by) {
    box.left += by;
    box.right += by;
  }

  void advance(FuzzedDataProvider& data) {
    switch (data.ConsumeIntegralInRange(0, 9)) {
      case 0:
        break;
      case 1:
        now -= std::min(now, data.ConsumeIntegralInRange<std::uint64_t>(0, 10 * test::kFrame));
        break;
      case 2:
        now += data.ConsumeIntegralInRange<std::uint64_t>(0, 30 * test::kSecond);
        break;
      case 3:
        now = isTame ? now + 1 : data.ConsumeIntegral<std::uint64_t>();
        break;
      default:
        now += test::kFrame;
    }
  }

  void checkIdentities(const TrackUpdateResult& result) {
    std::set<int> reported;
    for (const internal::DebugTrack& debug : tracker->getDebugTracks()) {
      const int id = debug.track.id;
      require(id >= 0 && reported.insert(id).second, "an identity stands for one track");
      require(ended.count(id) == 0 && result.removedIds.count(id) == 0, "an identity that ended doesn't come back");
    }
    for (const int id : result.removedIds) require(ended.insert(id).second, "an identity ends once");
    for (const auto& [absorbed, older] : result.mergedIds) {
      require(result.removedIds.count(absorbed) != 0, "an absorbed identity is among the removed ones");
      require(known.count(absorbed) != 0 && known.count(older) != 0, "merged identities were known");
      require(reported.count(older) != 0, "the older of two merged identities lives on");
    }
    known.merge(reported);
  }

  void checkReports() const {
    const auto reports = tracker->getDebugTracks();
    const auto expected = plain->getDebugTracks();
    if (!std::equal(reports.begin(), reports.end(), expected.begin(), expected.end(), isSame)) {
      fail("the plain tracker reports the same",
           test::fingerprint(reports) + "---- plain\n" + test::fingerprint(expected));
    }

    const auto tracks = tracker->getTracks();
    require(tracks.size() == plain->getTracks().size(), "the plain tracker shows as many tracks");
    for (const TrackedObjectDetection& track : tracks) {
      for (const float edge : {track.box.left, track.box.top, track.box.right, track.box.bottom}) {
        require(!(edge < -1 || edge > 1), "reported boxes lie within the picture");
        require(!(isTame && std::isnan(edge)), "numbers of ordinary size give numbers");
      }
    }
  }

  bool isTame;  // all numbers are of ordinary size
  test::Camera camera;
  std::unique_ptr<MotionTrackerServer> server;
  std::unique_ptr<ObjectTracker> tracker;
  std::unique_ptr<test::PlainTracker> plain;
  std::vector<ObjectDetection> last;
  std::uint64_t now = test::kSecond;
  std::set<int> known, ended;
};

void run(FuzzedDataProvider& data) {
  std::array<std::unique_ptr<View>, 2> views;
  for (int step = 0; step < 60 && data.remaining_bytes() > 0; ++step) {
    std::unique_ptr<View>& view = views[data.ConsumeIntegralInRange<std::size_t>(0, 4) / 4];
    const int action = data.ConsumeIntegralInRange(0, 31);
    if (!view || action == 31) {
      const int selector = data.ConsumeIntegralInRange(0, 3);
      const test::Settings settings = anySettings(data);
      view = std::make_unique<View>(selector, settings, data.ConsumeBool());
    }
    if (action < 26)
      view->takeFrame(data);
    else if (action < 30)
      view->moveCamera(data);
    else if (action == 30)
      view->endServer();
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
