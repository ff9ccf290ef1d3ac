#include "nivra/trackerFactory.h"

#include <cstdint>
#include <utility>

#include "nivra/hybrid/hybridTracker.h"
#include "nivra/reid/reidTracker.h"
#include "nivra/trackerParams.h"
#include "nivra/vanilla/vanillaTracker.h"
#include "nivra/vanillaLowFps/vanillaLowFpsTracker.h"
#include "states/trackerState.h"

namespace nivra {

namespace {

template <class Tracker, class TrackerParams>
std::unique_ptr<ObjectTracker> restored(StateReader& reader, MotionTrackerServer* motionServer) {
  Configuration<TrackerParams> configuration;
  reader(configuration.params, configuration.associations);
  std::uint64_t digest = 0;
  reader(digest);
  auto tracker = std::make_unique<Tracker>(configuration.params, configuration.associations, motionServer);
  reader.require(reader.version() < kTrackerState.version || digest == tracker->configurationDigest(),
                 "a configuration that isn't understood");
  tracker->fields(reader);
  reader.finish();
  return tracker;
}

}  // namespace

std::unique_ptr<ObjectTracker> makeTracker(int selector, ParameterMap params,
                                           const LabelAssociations& labelAssociations, float aspectRatio) {
  return makeTracker(selector, std::move(params), labelAssociations, aspectRatio,
                     MotionTrackerServer::getMotionTrackerServer());
}

std::unique_ptr<ObjectTracker> makeTracker(int selector, ParameterMap params,
                                           const LabelAssociations& labelAssociations, float aspectRatio,
                                           MotionTrackerServer* motionServer) {
  switch (selector) {
    case 0:
      return std::make_unique<vanilla::VanillaTracker>(parseParameters(params, parseVanillaParameters, aspectRatio),
                                                       labelAssociations, motionServer);
    case 1:
      return std::make_unique<reid::ReidTracker>(parseParameters(params, parseReidParameters, aspectRatio),
                                                 labelAssociations, motionServer);
    case 2:
      return std::make_unique<hybrid::HybridTracker>(parseParameters(params, parseHybridParameters, aspectRatio),
                                                     labelAssociations, motionServer);
    case 3:
      return std::make_unique<vanillaLowFps::VanillaLowFpsTracker>(
          parseParameters(params, parseVanillaLowFpsParameters, aspectRatio), labelAssociations, motionServer);
    default:
      return nullptr;
  }
}

std::unique_ptr<ObjectTracker> restoreTracker(std::string_view state, MotionTrackerServer* motionServer) {
  StateReader reader(state, kTrackerState);
  TrackerKind kind{};
  reader(kind);
  switch (kind) {
    case TrackerKind::vanilla:
      return restored<vanilla::VanillaTracker, vanilla::TrackerParams>(reader, motionServer);
    case TrackerKind::reid:
      return restored<reid::ReidTracker, reid::TrackerParams>(reader, motionServer);
    case TrackerKind::hybrid:
      return restored<hybrid::HybridTracker, hybrid::TrackerParams>(reader, motionServer);
    case TrackerKind::lowFps:
      return restored<vanillaLowFps::VanillaLowFpsTracker, vanilla::TrackerParams>(reader, motionServer);
  }
  throw StateError("stored state of a tracker: damaged: of no kind that there is");
}

std::unique_ptr<ObjectTracker> restoreTracker(std::string_view state, int selector, ParameterMap params,
                                              const LabelAssociations& labelAssociations, float aspectRatio,
                                              MotionTrackerServer* motionServer) {
  const auto expected = makeTracker(selector, std::move(params), labelAssociations, aspectRatio, nullptr);
  if (!expected) return nullptr;
  auto tracker = restoreTracker(state, motionServer);
  if (tracker->configurationDigest() != expected->configurationDigest()) {
    throw StateError("stored state of a tracker: of another tracker, other parameters or other label associations");
  }
  return tracker;
}

}  // namespace nivra
