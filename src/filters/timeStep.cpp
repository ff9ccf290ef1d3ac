#include "nivra/timeStep.h"

#include <cmath>

namespace nivra {

TimeStep::TimeStep(float seconds)
    : dt(seconds), dt2(seconds * seconds), dt3(std::pow(seconds, 3.0F)), dt4(std::pow(seconds, 4.0F)) {}

}  // namespace nivra
