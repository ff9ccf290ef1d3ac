// What trackers explain, held to what they did.

#include "nivra/explanation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/crowd.h"
#include "support/dice.h"
#include "support/recordingExplainer.h"

namespace nivra::test {
namespace {

using Outcome = Decision::Outcome;
using Change = TrackExplanation::Change;

constexpr int kFrames = 90;
const LabelAssociations kAssociations = {{"human", {"human"}}, {"car", {"car", "bus"}}, {"bus", {"bus"}}};

/// A crowd whose members come and go, jump, grow and are taken for each other.
std::vector<std::vector<ObjectDetection>> worldOf(std::uint32_t seed) {
  Crowd crowd(10, seed);
  Dice dice(seed);
  std::vector<std::vector<ObjectDetection>> frames(kFrames);
  for (int frame = 0; frame < kFrames; ++frame) {
    for (ObjectDetection each : crowd.nextFrame()) {
      if ((frame / 8 + each.id) % 3 == 0) continue;
      each.objectness = static_cast<float>(dice.below(101));
      if (dice.happens(0.2F)) {
        const Point at = center(each.box);
        const float grown = dice.between(0.5F, 2.4F);
        each.box = boxAt(at.x + dice.between(-1.5F, 1.5F) * width(each.box),
                         at.y + dice.between(-1.5F, 1.5F) * height(each.box), grown * width(each.box),
                         dice.between(0.8F, 1.2F) * grown * height(each.box));
      }
      if (dice.happens(0.1F)) each.label = each.label == "human" ? "car" : "bus";
      if (dice.happens(0.1F)) each.feature.reset();
      if (each.feature && dice.happens(0.3F)) (*each.feature)[0] += dice.between(-0.6F, 0.6F);
      std::vector<ObjectDetection>& detections = frames[static_cast<std::size_t>(frame)];
      const auto add = [&](float offset, float objectness) {
        ObjectDetection detection = each;
        detection.box.left += offset * width(each.box);
        detection.box.right += offset * width(each.box);
        detection.objectness = objectness;
        detection.id = static_cast<int>(detections.size());
        detections.push_back(detection);
      };
      add(0.0F, each.objectness);
      if (!dice.happens(0.05F)) continue;
      for (const float side : {-0.5F, 0.5F}) add(side * dice.between(0.2F, 1.0F), static_cast<float>(dice.below(101)));
    }
  }
  return frames;
}

/// Lives so short that all happens within seconds; of two kinds, since some ages hide others.
ParameterMap settingsOf(int selector, bool expireEarly) {
  if (selector == 0 || selector == 3) return {};
  const auto frames = [](std::uint64_t count) { return std::to_string(count * kFrame); };
  return {{"reid.minTimeBeforeConfident", frames(2)},
          {"reid.minTimeBeforeConfidentId", frames(5)},
          {"reid.minConfidentFeatureVectors", "2"},
          {"reid.maxStoreFeaturesIou", "0.3"},
          {"reid.maxTentativeAge", frames(2)},
          {"reid.maxConfidentAge", frames(3)},
          {"reid.inactiveAge", frames(expireEarly ? 8 : 3)},
          {"reid.expiryAge", frames(expireEarly ? 4 : 20)},
          {"reid.maxReviveAttempts", expireEarly ? "2" : "1"},
          {"reid.maxDynamicReviveAge", frames(6)},
          {"reid.maxReviveAge", frames(20)},
          {"reid.maxReviveFeatureDistance", "0.02"},
          {"reid.maxFeatureDistance", "0.3"}};
}

/// A verdict, and of whom.
struct Claim {
  std::string about;
  Verdict verdict;
};

/// What a frame did, and what was told of it.
struct Told {
  std::string outcome;
  std::vector<Claim> claims;
};

std::string nameOf(std::initializer_list<std::int64_t> parts, Rule rule) {
  std::string name;
  for (const std::int64_t part : parts) name += std::to_string(part) + ' ';
  return name + "rule " + std::to_string(static_cast<int>(rule));
}

std::vector<Claim> claimsOf(const RecordingExplainer& told) {
  std::vector<Claim> claims;
  const auto number = [](std::size_t position) { return static_cast<std::int64_t>(position); };
  for (const auto& each : told.inBetweens) {
    const auto& [middle, neighbours, verdicts] = each;
    for (const Verdict& verdict : verdicts) {
      claims.push_back(
          {nameOf({1, number(middle), number(neighbours[0]), number(neighbours[1])}, verdict.rule), verdict});
    }
  }
  for (const auto& each : told.pairs) {
    for (const Verdict& verdict : each.verdicts) {
      claims.push_back({nameOf({2, each.pair.track, number(each.pair.detection)}, verdict.rule), verdict});
    }
  }
  for (const auto& each : told.revivals) {
    for (const Verdict& verdict : each.verdicts) {
      claims.push_back({nameOf({3, each.pair.lost, each.pair.young}, verdict.rule), verdict});
    }
  }
  for (const auto& each : told.tracks) {
    for (const Verdict& verdict : each.verdicts) claims.push_back({nameOf({4, each.track}, verdict.rule), verdict});
  }
  return claims;
}

using DebugTracks = std::map<int, internal::DebugTrack>;

DebugTracks tracksOf(const ObjectTracker& tracker) {
  DebugTracks tracks;
  for (const internal::DebugTrack& each : tracker.getDebugTracks()) tracks.emplace(each.track.id, each);
  return tracks;
}

bool isRefused(const std::vector<Verdict>& verdicts) {
  return !std::all_of(verdicts.begin(), verdicts.end(), [](const Verdict& each) { return each.holds; });
}

/// Whether all verdicts hold but the last, which tells who was better.
bool isOutbid(const std::vector<Verdict>& verdicts) {
  const Rule last = verdicts.back().rule;
  return isRefused({verdicts.back()}) && !isRefused({verdicts.begin(), verdicts.end() - 1}) &&
         (last == Rule::turn || last == Rule::cost || last == Rule::order);
}

template <class Explanations, class KeyOf>
void expectOutcomesFollow(const Explanations& explanations, KeyOf keyOf) {
  std::set<std::pair<std::int64_t, std::int64_t>> matched;
  for (const auto& each : explanations) {
    if (each.outcome != Outcome::matched) continue;
    EXPECT_TRUE(matched.insert(keyOf(each.pair)).second);
  }
  for (const auto& each : explanations) {
    const auto own = keyOf(each.pair);
    const auto rival = keyOf(each.rival);
    EXPECT_EQ(each.outcome == Outcome::outbid, isOutbid(each.verdicts));
    EXPECT_EQ(each.outcome == Outcome::matched, !isRefused(each.verdicts));
    EXPECT_EQ(each.outcome == Outcome::refused, !each.cost.has_value());
    if (each.outcome != Outcome::outbid) continue;
    EXPECT_EQ(matched.count(rival), 1U);
    EXPECT_TRUE((own.first == rival.first) != (own.second == rival.second));
  }
}

/// @param before, after The tracks around the frame.
void expectTrue(const RecordingExplainer& told, const std::vector<ObjectDetection>& detections,
                const TrackUpdateResult& result, const DebugTracks& before, const DebugTracks& after) {
  expectOutcomesFollow(told.pairs, [](const auto& pair) {
    return std::pair<std::int64_t, std::int64_t>(pair.track, static_cast<std::int64_t>(pair.detection));
  });
  expectOutcomesFollow(told.revivals,
                       [](const auto& pair) { return std::pair<std::int64_t, std::int64_t>(pair.lost, pair.young); });
  std::map<int, int> taken;  // ids of detections, by track
  for (const PairExplanation& each : told.pairs) {
    if (each.outcome == Outcome::matched) taken[each.pair.track] = detections[each.pair.detection].id;
  }
  for (const RevivalExplanation& each : told.revivals) {
    if (each.outcome == Outcome::matched) taken[each.pair.lost] = taken.at(each.pair.young);
  }

  std::set<int> removed, begun;
  std::set<std::pair<int, int>> merged;
  std::map<int, int> states;  // as told, by track
  for (const auto& [id, track] : before) states[id] = track.state;
  for (const TrackExplanation& each : told.tracks) {
    switch (each.change) {
      case Change::merged:
        merged.emplace(each.track, each.other.value());
        [[fallthrough]];
      case Change::ended:
        EXPECT_TRUE(removed.insert(each.track).second);
        break;
      case Change::began:
        EXPECT_TRUE(begun.insert(each.track).second);
        taken[each.track] = detections[each.detection.value()].id;
        break;
      case Change::lost:
        states[each.track] = 0;
        break;
      case Change::confirmed:
        states[each.track] = 2;
        break;
      case Change::identified:
      case Change::revived:
        states[each.track] = 3;
        break;
      case Change::none:
        break;
    }
    for (const Verdict& verdict : each.verdicts) {
      if (verdict.rule != Rule::confidence) continue;
      states[each.track] = verdict.holds ? 2 : 1;
    }
  }
  EXPECT_EQ(removed, result.removedIds);
  EXPECT_EQ(merged, result.mergedIds);
  for (const auto& [id, track] : after) {
    EXPECT_EQ(begun.count(id) == 0, before.count(id) != 0) << id;
    EXPECT_EQ(track.lastDetectionId, taken.count(id) == 0 ? -1 : taken[id]) << id;
    EXPECT_EQ(track.state, states.count(id) == 0 ? 1 : states[id]) << id;
  }
  std::set<std::size_t> between;
  for (const InBetweenExplanation& each : told.inBetweens) {
    if (!isRefused(each.verdicts)) between.insert(each.middle);
  }
  for (std::size_t i = 0; i < detections.size(); ++i) {
    // The hybrid tracker's host doesn't see the flags.
    EXPECT_TRUE(!detections[i].inbetween || between.count(i) == 1) << i;
  }
}

/// Takes a tracker through the first frames of a world.
std::vector<Told> run(int selector, const ParameterMap& params, const std::vector<std::vector<ObjectDetection>>& world,
                      std::size_t frames, bool explain = true) {
  const auto tracker = makeTracker(selector, params, kAssociations, 1.5F, nullptr);
  RecordingExplainer told;
  if (explain) tracker->explainTo(&told);
  std::vector<Told> all;
  DebugTracks before;
  for (std::size_t frame = 0; frame < frames; ++frame) {
    told.clear();
    auto detections = world[frame];
    const TrackUpdateResult result = tracker->update(detections, (frame + 1) * kFrame);
    const DebugTracks after = tracksOf(*tracker);
    if (explain) expectTrue(told, detections, result, before, after);
    std::string outcome = fingerprint(tracker->getDebugTracks());
    for (const int id : result.removedIds) outcome += " removed " + std::to_string(id);
    all.push_back({std::move(outcome), claimsOf(told)});
    before = after;
  }
  return all;
}

/// A value of a parameter that turns a verdict around, and none in the frames before.
struct Flip {
  std::size_t frame;
  Claim claim;
  std::string value;
};

/// The later ones, since they are the harder ones: at most two up and two down for every parameter.
std::vector<Flip> flipsOf(const std::vector<Told>& frames) {
  struct Untouched {
    double low = -std::numeric_limits<double>::infinity();
    double high = std::numeric_limits<double>::infinity();
  };
  std::map<std::string, Untouched> untouched;  // the open range of values that change nothing so far, by parameter
  std::map<std::pair<std::string, bool>, std::vector<Flip>> found;
  for (std::size_t frame = 0; frame < frames.size(); ++frame) {
    auto next = untouched;
    for (const Claim& claim : frames[frame].claims) {
      const std::string value = flippingValue(claim.verdict);
      if (value.empty()) continue;
      const double number = std::stod(value);
      const double limit = claim.verdict.limit;
      const std::string parameter = claim.verdict.parameter;
      const Untouched& range = untouched[parameter];
      // Pairs beyond three times a limit are told only if they are near.
      const bool isTold = number <= 3.0 * std::abs(limit);
      if (isTold && range.low < number && number < range.high) {
        std::vector<Flip>& flips = found[{parameter, number > limit}];
        if (flips.size() == 2) flips.erase(flips.begin());
        flips.push_back({frame, claim, value});
      }
      Untouched& narrowed = next[parameter];
      (number > limit ? narrowed.high : narrowed.low) =
          number > limit ? std::min(narrowed.high, number) : std::max(narrowed.low, number);
    }
    untouched = std::move(next);
  }
  std::vector<Flip> flips;
  for (const auto& [direction, each] : found) flips.insert(flips.end(), each.begin(), each.end());
  return flips;
}

class Explanations : public testing::TestWithParam<int> {};

TEST_P(Explanations, FlipWhenTheirParameterGoesJustPastTheFigure) {
  std::map<std::string, int> flipped;
  for (const std::uint32_t seed : {1U, 2U, 3U, 4U}) {
    const auto world = worldOf(seed);
    const ParameterMap params = settingsOf(GetParam(), seed % 2 == 0);
    const auto frames = run(GetParam(), params, world, kFrames);
    const auto silent = run(GetParam(), params, world, kFrames, false);
    for (std::size_t i = 0; i < kFrames; ++i) EXPECT_EQ(frames[i].outcome, silent[i].outcome);

    for (const Flip& flip : flipsOf(frames)) {
      const std::string parameter = flip.claim.verdict.parameter;
      SCOPED_TRACE(parameter + " = " + flip.value + ", frame " + std::to_string(flip.frame) + ": " + flip.claim.about +
                   ", seed " + std::to_string(seed));
      ParameterMap changed = params;
      changed[parameter] = flip.value;
      const auto again = run(GetParam(), changed, world, flip.frame + 1);
      for (std::size_t i = 0; i < flip.frame; ++i) ASSERT_EQ(again[i].outcome, frames[i].outcome) << "frame " << i;
      int same = 0, opposite = 0;
      for (const Claim& claim : again[flip.frame].claims) {
        if (claim.about == flip.claim.about) ++(claim.verdict.holds == flip.claim.verdict.holds ? same : opposite);
      }
      // Neighbours whose objectness doesn't matter any more are none, and not told of.
      const bool isTold = flip.claim.verdict.rule != Rule::objectnessMargin;
      EXPECT_EQ(std::pair(same, opposite), std::pair(0, isTold ? 1 : 0));
      ++flipped[parameter];
    }
  }

  const auto prefixed = [&](const std::string& section, const std::vector<std::string>& names) {
    for (const std::string& name : names) EXPECT_GE(flipped[section + name], 1) << section << name;
  };
  const bool hasPeople = GetParam() == 1 || GetParam() == 2;
  if (GetParam() != 1) {
    prefixed(GetParam() == 3 ? "vanillaLowFps." : "vanilla.",
             {"widthFactorGating", "heightFactorGating", "widthRelativeDiffGating", "heightRelativeDiffGating",
              "expirationLikelihoodThreshold", "confidentLikelihoodThreshold"});
  }
  if (hasPeople) {
    prefixed("reid.", {"kalman4d.mahalanobisLimit", "maxIouDistance", "maxFeatureDistance", "inbetweenIouScoreMargin",
                       "inbetweenAngleThreshold", "maxReviveFeatureDistance", "minTimeBeforeConfident",
                       "minTimeBeforeConfidentId", "minConfidentFeatureVectors", "maxTentativeAge", "maxConfidentAge",
                       "expiryAge", "inactiveAge", "maxReviveAttempts", "maxDynamicReviveAge", "maxReviveAge"});
  }
}

TEST(ExplanationWords, NameWhoIsMeantAndWhatDecided) {
  const Verdict wide = {Rule::widthChange, false, 2.3712, 1.0, "vanilla.widthRelativeDiffGating"};
  const Verdict near = {Rule::cost, false, 0.25, 0.2500001, ""};
  const Verdict old = {Rule::expiryAge, false, 2.5e9, 2e9, "reid.expiryAge"};
  const Verdict sure = {Rule::confidence, true, -0.1, -0.5, "vanilla.confidentLikelihoodThreshold"};
  const Verdict label = {Rule::label, false, 1.0, 0.0, ""};
  const std::string width = "width changed by 2.37 of itself, at most 1 (vanilla.widthRelativeDiffGating)";
  const std::string cost = "a cost of 0.25, above the winner's 0.2500001";
  const Decision refused = {Outcome::refused, {sure, wide, label}, {}};
  const Decision outbid = {Outcome::outbid, {near}, 0.25F};
  const Decision matched = {Outcome::matched, {sure}, 0.25F};
  const std::vector<std::pair<std::string, std::string>> cases = {
      {inWords(PairExplanation{refused, {4, 7}, {}}),
       "id 4 refused detection 7: " + width + "; a label that such tracks don't take"},
      {inWords(PairExplanation{outbid, {4, 7}, {5, 7}}), "id 4 lost detection 7 to id 5: " + cost},
      {inWords(PairExplanation{outbid, {4, 7}, {4, 8}}), "id 4 took detection 8 instead of 7: " + cost},
      {inWords(PairExplanation{matched, {4, 7}, {}}), "id 4 took detection 7"},
      {inWords(RevivalExplanation{refused, {1, 9}, {}}),
       "lost id 1 is not id 9: " + width + "; a label that such tracks don't take"},
      {inWords(RevivalExplanation{outbid, {1, 9}, {2, 9}}), "lost id 1 is not id 9, but lost id 2 is id 9: " + cost},
      {inWords(RevivalExplanation{matched, {1, 9}, {}}), "lost id 1 is id 9"},
      {inWords(InBetweenExplanation{3, {1, 2}, {sure}}), "detection 3 lies between 1 and 2"},
      {inWords(InBetweenExplanation{3, {1, 2}, {sure, wide}}), "detection 3 does not lie between 1 and 2: " + width},
      {inWords(TrackExplanation{4, Change::none, {}, 7, {sure}}), "id 4 goes on"},
      {inWords(TrackExplanation{4, Change::began, {}, 7, {}}), "id 4 began with detection 7"},
      {inWords(TrackExplanation{4, Change::merged, 2, {}, {}}), "id 4 was merged into id 2"},
      {inWords(TrackExplanation{2, Change::revived, 4, {}, {}}), "id 2 was revived by id 4"},
      {inWords(TrackExplanation{4, Change::ended, {}, {}, {sure, old, sure}}),
       "id 4 ended: 2.5 s without detection, at most 2 s (reid.expiryAge)"},
  };
  for (const auto& [found, expected] : cases) EXPECT_EQ(found, expected);
}

INSTANTIATE_TEST_SUITE_P(All, Explanations, testing::Range(0, 4));

}  // namespace
}  // namespace nivra::test
