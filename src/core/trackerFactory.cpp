#include "nivra/trackerFactory.h"

#include <stdexcept>
#include <utility>

#include "nivra/trackerParams.h"
#include "nivra/vanilla/vanillaTracker.h"

namespace nivra {

std::unique_ptr<ObjectTracker> makeTracker(int selector, ParameterMap params,
                                           const LabelAssociations& labelAssociations, float aspectRatio) {
  switch (selector) {
    case 0:
      return std::make_unique<vanilla::VanillaTracker>(parseParameters(params, parseVanillaParameters, aspectRatio),
                                                       labelAssociations);
    case 1:
    case 2:
    case 3:
      throw std::logic_error("Function not yet implemented");
    default:
      return nullptr;
  }
}

}  // namespace nivra
