#include "nivra/objectTracker.h"

namespace nivra {

ObjectTracker::~ObjectTracker() = default;

}  // namespace nivra
