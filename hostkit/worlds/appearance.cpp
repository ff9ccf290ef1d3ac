#include "hostkit/worlds/appearance.h"

#include <cmath>
#include <cstddef>
#include <utility>

namespace nivra::hostkit {

Appearance normalised(Appearance appearance) {
  double squares = 0.0;
  for (const double number : appearance) squares += number * number;
  for (double& number : appearance) number /= std::sqrt(squares);
  return appearance;
}

Appearance randomAppearance(Random& random, int length) {
  Appearance appearance(static_cast<std::size_t>(length));
  for (double& number : appearance) number = random.normal();
  return normalised(std::move(appearance));
}

std::vector<float> seenAs(const Appearance& appearance, Random& random) {
  const float noise = 0.3F / std::sqrt(static_cast<float>(appearance.size()));
  std::vector<float> feature(appearance.begin(), appearance.end());
  for (float& number : feature) number += random.between(-noise, noise);
  return feature;
}

}  // namespace nivra::hostkit
