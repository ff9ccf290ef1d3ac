#include "nivra/reid/featureGallery.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "reid/dotProducts.h"

namespace nivra::test {

static std::vector<float> randomVector(std::size_t size, std::mt19937& random) {
  std::vector<float> vector(size);
  for (float& value : vector) value = static_cast<float>(random() % 2001) / 1000.0F - 1.0F;
  return vector;
}

TEST(DotProducts, AreTheSameBitsOnEveryInstructionSet) {
  const auto variants = reid::availableDotProducts();
  std::mt19937 random(7);
  for (const std::size_t length : {0U, 1U, 15U, 16U, 17U, 31U, 100U, 128U, 512U, 515U}) {
    for (const std::size_t rows : {1U, 2U, 7U, 8U, 9U, 50U}) {
      const std::size_t stride = length + 3;  // so that rows don't begin at even addresses
      const auto matrix = randomVector(rows * stride, random);
      const auto vector = randomVector(length, random);
      std::vector<float> expected(rows), products(rows);
      variants.back().compute(matrix.data(), rows, stride, vector.data(), length, expected.data());
      for (const auto& variant : variants) {
        variant.compute(matrix.data(), rows, stride, vector.data(), length, products.data());
        ASSERT_EQ(std::memcmp(products.data(), expected.data(), rows * sizeof(float)), 0)
            << variant.instructionSet << ", length " << length << ", rows " << rows;
      }
      for (std::size_t row = 0; row < rows; ++row) {
        double sum = 0;
        for (std::size_t i = 0; i < length; ++i) sum += double{matrix[row * stride + i]} * double{vector[i]};
        ASSERT_NEAR(expected[row], sum, 1e-4) << "length " << length << ", row " << row;
      }
    }
  }
}

// The plain form: all vectors apart, each compared by itself.
TEST(FeatureGallery, FindsTheDistancesOfItsLatestVectors) {
  std::mt19937 random(11);
  reid::FeatureGallery gallery;
  std::vector<std::vector<float>> plain;
  EXPECT_EQ(gallery.computeMinDistance(reid::Feature({1, 0})), INFINITY);
  for (int added = 0; added < 300; ++added) {
    const std::size_t length = random() % 8 == 0 ? random() % 40 : 20;  // now and then another one, longer or shorter
    plain.push_back(randomVector(length, random));
    if (random() % 16 == 0 && length > 0) plain.back()[0] = NAN;
    if (plain.size() > reid::FeatureGallery::kCapacity) plain.erase(plain.begin());
    gallery.add(reid::Feature(plain.back()));
    ASSERT_EQ(gallery.size(), plain.size());
    for (const std::size_t queried : {length, std::size_t{20}, std::size_t{41}, std::size_t{0}}) {
      const auto query = randomVector(queried, random);
      float minimum = INFINITY;
      for (const auto& vector : plain) minimum = std::min(minimum, reid::cosineDistance(query, vector));
      ASSERT_EQ(gallery.computeMinDistance(reid::Feature(query)), minimum) << added << ", length " << queried;
    }
    const auto position = random() % plain.size();
    const reid::Feature stored = gallery[position];
    const auto bytes = plain[position].size() * sizeof(float);
    ASSERT_TRUE(stored.size == plain[position].size() &&
                (bytes == 0 || std::memcmp(stored.values, plain[position].data(), bytes) == 0));
  }
}

TEST(FeatureGallery, TakesItsOwnVectorsAndRefusesPositionsBeyondThem) {
  reid::FeatureGallery gallery;
  EXPECT_THROW(gallery[0], std::out_of_range);
  for (const float value : {1.0F, 2.0F, 3.0F}) gallery.add(reid::Feature({value, 0, 0, 0, 0}));
  for (int copy = 0; copy < 100; ++copy) {
    const float oldest = gallery[0].values[0];
    gallery.add(gallery[0]);  // whose memory goes when the gallery grows
    ASSERT_EQ(gallery[gallery.size() - 1].values[0], oldest) << copy;
  }
  EXPECT_THROW(gallery[gallery.size()], std::out_of_range);
}

}  // namespace nivra::test
