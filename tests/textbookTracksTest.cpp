// The library's tracks against their textbook form, side by side through long lives of random events.

#include "support/textbookTracks.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/dice.h"

namespace nivra::test {
namespace {

constexpr std::uint32_t kSeed = 20261123;

/// Words must be the same, numbers but for rounding, of which velocities show most after a pause.
void expectSame(const internal::DebugTrack& actual, const internal::DebugTrack& expected) {
  const auto split = [](const internal::DebugTrack& debug) {
    const auto& [id, box, vx, vy, score, label, attributes, classifications, confident] = debug.track;
    std::vector<float> numbers = {box.left, box.top, box.right, box.bottom, vx, vy, score};
    numbers.insert(numbers.end(), {debug.maxPositionDifferenceX, debug.maxPositionDifferenceY});
    std::ostringstream words;
    words << id << label << confident << debug.state << " took " << debug.lastDetectionId;
    for (const auto& each : classifications) words << ' ' << each.label, numbers.push_back(each.score);
    for (const auto& a : attributes) {
      words << ' ' << a.attributeType << '=' << a.attributeValue;
      numbers.push_back(a.score);
    }
    return std::pair(words.str(), numbers);
  };
  const auto [actualWords, actualNumbers] = split(actual);
  const auto [words, numbers] = split(expected);
  ASSERT_EQ(actualWords, words);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const double tolerance = i == 4 || i == 5 ? 0.05 : 2e-3;
    ASSERT_NEAR(actualNumbers[i], numbers[i], tolerance * (0.2 + std::abs(numbers[i])))
        << i << "th number of " << words;
  }
}

/// A detection near a place, whose other parts are drawn from so few values that scores often tie.
ObjectDetection detectionNear(const Box& place, Dice& dice) {
  const auto few = [&dice](std::size_t values) { return static_cast<float>(dice.below(values)); };
  const float noise = 0.02F * width(place), shift = dice.between(-noise, noise);
  ObjectDetection detection =
      detectionOf(place, dice.happens(0.8F) ? "car" : "human", static_cast<int>(dice.below(99)));
  for (float* edge : {&detection.box.left, &detection.box.right}) *edge += shift + dice.between(-noise, noise);
  for (float* edge : {&detection.box.top, &detection.box.bottom}) *edge += dice.between(-noise, noise);
  detection.score = 10 * few(11);
  detection.objectness = dice.happens(0.5F) ? 10 * few(11) : 0;
  detection.classifications.clear();
  const float shared = 20 * few(4);
  for (const char* label : {"truck", "car", "human", "bus"}) {
    if (dice.happens(0.7F)) detection.classifications.push_back({label, dice.happens(0.7F) ? shared : 20 * few(5)});
  }
  for (std::size_t i = dice.below(4); i > 0; --i) {
    detection.attributes.push_back({static_cast<int>(dice.below(2)), static_cast<int>(dice.below(3)), few(5)});
  }
  detection.feature = {1, dice.between(-1, 1), dice.between(-1, 1), dice.between(-1, 1)};
  return detection;
}

/// The time of the next frame, which is refused now and then.
std::uint64_t after(std::uint64_t now, float longestPause, Dice& dice) {
  if (dice.happens(0.02F)) return now - dice.below(2) * kFrame;
  if (dice.happens(0.02F)) return now + static_cast<std::uint64_t>(dice.between(0.1F, longestPause) * 1e9F);
  return now + kFrame;
}

/// An object that moves at up to half of the picture a second and turns around at its border.
struct Mover {
  void advance(double seconds) {
    x += velocityX * static_cast<float>(seconds);
    y += velocityY * static_cast<float>(seconds);
    if (std::abs(x) > 1) x = std::copysign(1.0F, x), velocityX = -velocityX;
    if (std::abs(y) > 1) y = std::copysign(1.0F, y), velocityY = -velocityY;
  }
  float x, y, velocityX, velocityY;
};

template <class Track>
void followTextbook(vanilla::TrackerParams params) {
  constexpr bool isLowFps = std::is_same_v<Track, vanillaLowFps::ObjectTrack>;
  Dice dice(kSeed);
  std::uint64_t now = kNow;
  int confirmed = 0, expired = 0, fast = 0;
  for (int life = 0; life < 40; ++life) {
    Mover mover = {0, 0, dice.between(-0.5F, 0.5F), dice.between(-0.5F, 0.5F)};
    const auto detect = [&] { return detectionNear(boxAt(mover.x, mover.y), dice); };
    params.scoreAbsorption = dice.between(0.05F, 0.5F);
    params.confidentLikelihoodThreshold = dice.between(0, 8);
    const ObjectDetection first = detect();
    Track track(first, life, now, params);
    TextbookLikelihoodTrack textbook(first, life, now, params, isLowFps);
    const float presence = dice.between(0.5F, 1);
    for (int step = 0; step < 300; ++step) {
      SCOPED_TRACE(step);
      const std::uint64_t next = after(now, 2, dice);
      DenseKalman::Four factors = DenseKalman::Four::Ones();
      if constexpr (isLowFps) {
        const bool useVelocityNoise = dice.happens(0.7F);
        const std::vector<float> own = track.getProcessNoiseFactors(useVelocityNoise);
        factors = Eigen::Vector4f(own.data()).template cast<double>();
        const double margin =
            std::min(std::abs(std::abs(textbook.filter.x(1)) - 0.3), std::abs(std::abs(textbook.filter.x(3)) - 0.2));
        ASSERT_TRUE(margin < 1e-4 || factors == textbook.noiseFactors(useVelocityNoise)) << margin;
        fast += factors.sum() > 4 ? 1 : 0;
        track.predict(next, useVelocityNoise);
      } else {
        track.predict(next);
      }
      textbook.predict(next, factors);
      mover.advance(next > now ? static_cast<double>(next - now) / 1e9 : 0);
      now = std::max(now, next);
      if (dice.happens(presence)) {
        const ObjectDetection detection = detect();
        track.update(detection, next);
        textbook.update(detection, next);
      } else {
        track.emptyUpdate();
        textbook.emptyUpdate();
      }
      if (dice.happens(0.01F)) {
        const Box box = boxAt(dice.between(-1, 1), dice.between(-1, 1), dice.between(0.1F, 0.3F));
        track.updateBox(box);
        textbook.filter.place(box);
      }
      ASSERT_NO_FATAL_FAILURE(expectSame(track.reportDebugTrack(), textbook.report()));
      ASSERT_TRUE(track.isTentative() == textbook.isTentative && track.isExpired() == textbook.isExpired());
      confirmed += textbook.isTentative ? 0 : 1;
      expired += textbook.isExpired() ? 1 : 0;
    }
  }
  EXPECT_TRUE(confirmed > 1000 && expired > 1000 && (!isLowFps || fast > 1000))
      << confirmed << ' ' << expired << ' ' << fast;
}

TEST(TextbookTracks, OfLikelihoodAreFollowed) {
  testing::internal::CaptureStderr();  // of refused times
  const std::string classes = "car, 0.5, bus, 0.9";
  followTextbook<vanilla::ObjectTrack>(vanillaParams({{"vanilla.kalman.objectnessClasses", classes}}));
  followTextbook<vanillaLowFps::ObjectTrack>(lowFpsParams({{"vanillaLowFps.kalman.objectnessClasses", classes}}));
  testing::internal::GetCapturedStderr();
}

/// A track of the library, its textbook form, and what they see.
struct Twins {
  Twins(const Box& box, std::vector<float> looks, int id, std::uint64_t now, const reid::TrackerParams& params,
        Dice& dice)
      : place(box),
        feature(std::move(looks)),
        seen(detect(dice)),
        track(seen, id, now, params),
        textbook(seen, id, now, params) {}

  ObjectDetection detect(Dice& dice) const {
    ObjectDetection detection = detectionNear(place, dice);
    for (std::size_t i = 0; i < 4; ++i) (*detection.feature)[i] = feature[i] + 0.2F * (*detection.feature)[i];
    if (dice.happens(0.1F)) detection.feature.reset();
    return detection;
  }
  void compare(std::uint64_t now) const {
    expectSame(track.reportDebugTrack(), textbook.report());
    ASSERT_EQ(track.canGetConfidentId(now), textbook.canGetConfidentId(now));
    ASSERT_EQ(track.getConfidentTrackExpiryAge(), textbook.confidentExpiryAge());
    ASSERT_TRUE(track.getUpdateTimestamp() == textbook.updatedAt && track.getDetection() == textbook.detection);
    if (textbook.gallery.empty()) return;
    const auto nearest = [&](const auto& a, const auto& b) {
      return TextbookReidTrack::distance(feature, a) < TextbookReidTrack::distance(feature, b);
    };
    const auto& match = *std::min_element(textbook.gallery.begin(), textbook.gallery.end(), nearest);
    ASSERT_NEAR(track.computeMinDistance(feature), TextbookReidTrack::distance(feature, match), 1e-5);
  }

  Box place;
  std::vector<float> feature;
  ObjectDetection seen;
  reid::ObjectTrack track;
  TextbookReidTrack textbook;
  bool isAway = false;
};

TEST(TextbookTracks, OfReidentificationAreFollowed) {
  reid::TrackerParams params = reidParams({{"reid.scoreAbsorption", "0.2"},
                                           {"reid.kalman4d.borderNoiseScaleFactor1", "5"},
                                           {"reid.kalman4d.borderNoiseScaleFactor2", "3"}},
                                          1.8F);
  // Where an edge is at the border of the picture, it is well within the margin that decides on that.
  const std::vector<Box> places = {boxAt(0, 0),
                                   boxAt(0.3F, -0.4F, 0.05F, 0.1F),
                                   {-1, 0.5F, -0.9F, 0.2F},
                                   {0.8F, 1.0F, 1.0F, 0.6F},
                                   {-0.3F, 0.4F, 0.4F, -1.0F},
                                   {0.5F, 0.2F, 1.005F, -0.4F}};
  Dice dice(kSeed);
  std::uint64_t now = kNow;
  int ids = 0, identified = 0, revived = 0;
  const auto make = [&] {
    std::vector<float> looks(4);
    for (float& number : looks) number = dice.between(-1, 1);
    return std::make_unique<Twins>(places[dice.below(places.size())], looks, ids++, now, params, dice);
  };
  std::vector<std::unique_ptr<Twins>> all;
  for (int i = 0; i < 5; ++i) all.push_back(make());
  testing::internal::CaptureStderr();
  for (int step = 0; step < 5000; ++step) {
    SCOPED_TRACE(step);
    const std::uint64_t next = after(now, 6, dice);
    for (auto& each : all) {
      auto& [place, feature, seen, track, textbook, isAway] = *each;
      track.predict(next);
      textbook.predict(next);
      track.update(seen, next + 1, true);
      textbook.update(seen, next + 1, true);
      if (next <= now) continue;
      if (dice.happens(isAway ? 0.02F : 0.005F)) isAway = !isAway;
      if (!isAway && dice.happens(0.9F)) {
        seen = each->detect(dice);
        const bool storesFeature = dice.happens(0.5F);
        track.update(seen, next, storesFeature);
        textbook.update(seen, next, storesFeature);
      } else {
        track.emptyUpdate(next);
        textbook.emptyUpdate(next);
      }
      if (textbook.canGetConfidentId(next) && dice.happens(0.1F)) {
        ASSERT_NO_THROW(track.makeConfidentId(next));
        textbook.state = reid::TrackState::ConfidentId;
        ++identified;
      }
      if (dice.happens(0.003F)) {
        place = places[dice.below(places.size())];
        track.updateBox(place);
        textbook.filter.place(place);
      }
    }
    now = std::max(now, next);
    Twins &lost = *all[dice.below(all.size())], &found = *all[dice.below(all.size())];
    if (lost.textbook.state == reid::TrackState::Inactive && found.textbook.detection != nullptr && next == now) {
      lost.track.registerReviveAttempt();
      ++lost.textbook.reviveAttempts;
      if (!lost.textbook.gallery.empty() && !found.textbook.gallery.empty()) {
        const double distance =
            TextbookReidTrack::distance(lost.textbook.gallery, found.textbook.gallery, params.reviveQuantile);
        ASSERT_NEAR(lost.track.computeTrackTrackDistance(found.track), distance, 1e-5);
      }
      if (dice.happens(0.1F)) {
        lost.track.revive(found.track, now);
        lost.textbook.revive(found.textbook, now);
        lost.place = found.place;
        lost.isAway = false;
        ++revived;
      }
    }
    for (auto& each : all) {
      ASSERT_NO_FATAL_FAILURE(each->compare(now));
      each->track.releaseDetection();
      each->textbook.detection = nullptr;
      if (each->track.isExpired()) each = make();
    }
  }
  testing::internal::GetCapturedStderr();
  EXPECT_TRUE(ids > 50 && identified > 20 && revived > 10) << ids << ' ' << identified << ' ' << revived;
}

}  // namespace
}  // namespace nivra::test
