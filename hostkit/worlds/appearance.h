#pragma once

#include <vector>

#include "hostkit/worlds/random.h"

namespace nivra::hostkit {

/// What somebody or something looks like: a direction, as appearance features are compared by their angle.
using Appearance = std::vector<double>;

Appearance normalised(Appearance appearance);
Appearance randomAppearance(Random& random, int length);

/// What a camera sees of an appearance: a little beside it each time.
std::vector<float> seenAs(const Appearance& appearance, Random& random);

}  // namespace nivra::hostkit
