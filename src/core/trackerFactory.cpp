#include "nivra/trackerFactory.h"

#include <utility>

#include "nivra/hybrid/hybridTracker.h"
#include "nivra/reid/reidTracker.h"
#include "nivra/trackerParams.h"
#include "nivra/vanilla/vanillaTracker.h"
#include "nivra/vanillaLowFps/vanillaLowFpsTracker.h"

namespace nivra {

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

}  // namespace nivra
