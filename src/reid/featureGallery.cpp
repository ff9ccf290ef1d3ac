#include "nivra/reid/featureGallery.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "reid/dotProducts.h"

namespace nivra::reid {

namespace {

constexpr float kIncomparableDistance = 2.0F;

float dotProduct(const float* a, const float* b, std::size_t size) {
  float product;
  fastestDotProducts()(a, 1, size, b, size, &product);
  return product;
}

float distanceOf(float dot, float squaredNormA, float squaredNormB) {
  if (squaredNormA == 0.0F || squaredNormB == 0.0F) return kIncomparableDistance;
  const float product = squaredNormA * squaredNormB;
  if (product != 0.0F) return 1.0F - dot / std::sqrt(product);
  // Vectors so short that the product underflows have a direction nevertheless.
  return static_cast<float>(1.0 - dot / std::sqrt(static_cast<double>(squaredNormA) * squaredNormB));
}

}  // namespace

float cosineDistance(const std::vector<float>& a, const std::vector<float>& b) {
  if (a.size() != b.size()) return kIncomparableDistance;
  const std::size_t size = a.size();
  return distanceOf(dotProduct(a.data(), b.data(), size), Feature(a).squaredNorm, Feature(b).squaredNorm);
}

Feature::Feature(const std::vector<float>& vector)
    : Feature(vector.data(), vector.size(), dotProduct(vector.data(), vector.data(), vector.size())) {}

Feature::Feature(const float* firstValue, std::size_t valueCount, float squareOfNorm)
    : values(firstValue), size(valueCount), squaredNorm(squareOfNorm) {}

void FeatureGallery::add(const Feature& feature) {
  // A vector of this gallery's own moves along when the memory grows; it is not longer than the rows.
  const bool isOwn = std::less_equal<>()(numbers.data(), feature.values) &&
                     std::less<>()(feature.values, numbers.data() + numbers.size());
  const std::size_t ownPlace = isOwn ? static_cast<std::size_t>(feature.values - numbers.data()) : 0;
  if (feature.size > stride) widenRows(feature.size);
  const std::size_t slot = rows.size() < kCapacity ? rows.size() : oldest;
  if (slot == rows.size()) {
    numbers.resize((slot + 1) * stride);
    rows.emplace_back();
  } else {
    oldest = (oldest + 1) % kCapacity;
  }
  rows[slot] = {feature.size, feature.squaredNorm};
  const float* values = isOwn ? numbers.data() + ownPlace : feature.values;
  std::copy_n(values, feature.size, numbers.data() + slot * stride);
}

void FeatureGallery::widenRows(std::size_t newStride) {
  std::vector<float> wider(rows.size() * newStride);
  for (std::size_t slot = 0; slot < rows.size(); ++slot) {
    std::copy_n(numbers.data() + slot * stride, stride, wider.data() + slot * newStride);
  }
  numbers = std::move(wider);
  stride = newStride;
}

Feature FeatureGallery::operator[](std::size_t position) const {
  if (position >= rows.size()) throw std::out_of_range("FeatureGallery: no vector " + std::to_string(position));
  const std::size_t slot = (oldest + position) % rows.size();
  return {numbers.data() + slot * stride, rows[slot].length, rows[slot].squaredNorm};
}

void FeatureGallery::computeDistances(const Feature& feature, float* distances) const {
  if (feature.size > stride) {
    std::fill_n(distances, rows.size(), kIncomparableDistance);
    return;
  }
  fastestDotProducts()(numbers.data(), rows.size(), stride, feature.values, feature.size, distances);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    distances[i] = rows[i].length == feature.size ? distanceOf(distances[i], rows[i].squaredNorm, feature.squaredNorm)
                                                  : kIncomparableDistance;
  }
}

float FeatureGallery::computeMinDistance(const Feature& feature) const {
  std::array<float, kCapacity> distances;
  computeDistances(feature, distances.data());
  float minimum = std::numeric_limits<float>::infinity();
  for (std::size_t i = 0; i < rows.size(); ++i) minimum = std::min(minimum, distances[i]);
  return minimum;
}

}  // namespace nivra::reid
