#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace nivra::test {

/// The metrics of small sequences as their definitions state them: every assignment is tried.
class TextbookEvaluation {
 public:
  struct Box {
    std::int64_t identity;
    double left, top, right, bottom;
  };
  struct Frame {
    std::vector<Box> truth;
    std::vector<Box> tracks;
  };
  using Pairs = std::vector<std::pair<std::size_t, std::size_t>>;
  using Score = std::function<double(std::size_t truth, std::size_t track)>;

  explicit TextbookEvaluation(std::vector<Frame> all) : frames(std::move(all)) {
    for (const Frame& frame : frames) {
      for (const Box& each : frame.truth) ++truthLengths[each.identity];
      for (const Box& each : frame.tracks) ++trackLengths[each.identity];
    }
    followIdentities();
    countSwitches();
    pairIdentities();
  }

  static double iou(const Box& a, const Box& b) {
    const double width = std::max(0.0, std::min(a.right, b.right) - std::max(a.left, b.left));
    const double height = std::max(0.0, std::min(a.bottom, b.bottom) - std::max(a.top, b.top));
    const double both = width * height;
    const double either = (a.right - a.left) * (a.bottom - a.top) + (b.right - b.left) * (b.bottom - b.top) - both;
    return both > 0.0 ? both / either : 0.0;
  }

  /// Of all ways to pair the first `truths` numbers with the first `tracks` ones, one with the greatest total score;
  /// pairs without any score are none.
  static Pairs bestPairs(std::size_t truths, std::size_t tracks, const Score& score) {
    Pairs best;
    Pairs current;
    double bestTotal = 0.0;
    std::vector<bool> taken(tracks);
    const std::function<void(std::size_t, double)> extend = [&](std::size_t truth, double total) {
      if (truth == truths) {
        if (total > bestTotal) std::tie(best, bestTotal) = std::make_pair(current, total);
        return;
      }
      extend(truth + 1, total);
      for (std::size_t track = 0; track < tracks; ++track) {
        const double gain = taken[track] ? 0.0 : score(truth, track);
        if (!(gain > 0.0)) continue;
        taken[track] = true;
        current.emplace_back(truth, track);
        extend(truth + 1, total + gain);
        current.pop_back();
        taken[track] = false;
      }
    };
    extend(0, 0.0);
    return best;
  }

  double detA(double threshold) const { return foundAt(threshold).count / (boxes() - foundAt(threshold).count); }
  double assA(double threshold) const {
    const Found found = foundAt(threshold);
    double sum = 0.0;
    for (const auto& [identities, times] : found.together) {
      const double lengths = truthLengths.at(identities.first) + trackLengths.at(identities.second);
      sum += times * times / (lengths - times);
    }
    return found.count == 0.0 ? 0.0 : sum / found.count;
  }

  int truePositives = 0;
  int switches = 0;
  int fragmentations = 0;
  double overlaps = 0.0;
  double identityTruePositives = 0.0;

 private:
  using Identities = std::pair<std::int64_t, std::int64_t>;
  struct Found {
    double count = 0.0;
    std::map<Identities, double> together;
  };

  double boxes() const {
    double sum = 0.0;
    for (const auto& lengths : {truthLengths, trackLengths}) {
      for (const auto& [identity, length] : lengths) sum += length;
    }
    return sum;
  }

  /// The agreement of identities over the sequence, from which each frame's pairs follow.
  void followIdentities() {
    std::map<Identities, double> agreement;
    for (const auto& [truth, tracks] : frames) {
      for (const Box& a : truth) {
        for (const Box& b : tracks) {
          double all = -iou(a, b);
          for (const Box& other : tracks) all += iou(a, other);
          for (const Box& other : truth) all += iou(other, b);
          if (all > 0.0) agreement[{a.identity, b.identity}] += iou(a, b) / all;
        }
      }
    }
    for (const Frame& frame : frames) {
      followed.push_back(bestPairs(frame.truth.size(), frame.tracks.size(), [&](std::size_t i, std::size_t j) {
        const Box& a = frame.truth[i];
        const Box& b = frame.tracks[j];
        const double common = agreement[{a.identity, b.identity}];
        return common / (truthLengths[a.identity] + trackLengths[b.identity] - common) * iou(a, b);
      }));
    }
  }

  Found foundAt(double threshold) const {
    Found found;
    for (std::size_t t = 0; t < frames.size(); ++t) {
      for (const auto& [i, j] : followed[t]) {
        const Box& a = frames[t].truth[i];
        const Box& b = frames[t].tracks[j];
        if (iou(a, b) < threshold) continue;
        ++found.count;
        ++found.together[{a.identity, b.identity}];
      }
    }
    return found;
  }

  void countSwitches() {
    std::map<std::int64_t, std::int64_t> before;  // found in the last frame with boxes on both sides
    std::map<std::int64_t, std::int64_t> ever;
    std::map<std::int64_t, int> stretches;
    for (const auto& frame : frames) {
      if (frame.truth.empty() || frame.tracks.empty()) continue;
      std::map<std::int64_t, std::int64_t> now;
      const auto score = [&](std::size_t i, std::size_t j) {
        const auto found = before.find(frame.truth[i].identity);
        const bool goesOn = found != before.end() && found->second == frame.tracks[j].identity;
        const double overlap = iou(frame.truth[i], frame.tracks[j]);
        return overlap < 0.5 ? 0.0 : overlap + (goesOn ? 1000.0 : 0.0);
      };
      for (const auto& [i, j] : bestPairs(frame.truth.size(), frame.tracks.size(), score)) {
        const std::int64_t person = frame.truth[i].identity;
        const std::int64_t track = frame.tracks[j].identity;
        ++truePositives;
        overlaps += iou(frame.truth[i], frame.tracks[j]);
        if (ever.count(person) > 0 && ever[person] != track) ++switches;
        if (before.count(person) == 0) ++stretches[person];
        ever[person] = now[person] = track;
      }
      before = now;
    }
    for (const auto& [person, count] : stretches) fragmentations += count - 1;
  }

  void pairIdentities() {
    std::map<Identities, double> shared;
    for (const auto& [truth, tracks] : frames) {
      for (const Box& a : truth) {
        for (const Box& b : tracks) shared[{a.identity, b.identity}] += iou(a, b) >= 0.5 ? 1.0 : 0.0;
      }
    }
    const auto identityAt = [](const std::map<std::int64_t, double>& lengths, std::size_t i) {
      return std::next(lengths.begin(), static_cast<std::ptrdiff_t>(i))->first;
    };
    const auto score = [&](std::size_t i, std::size_t j) {
      return shared[{identityAt(truthLengths, i), identityAt(trackLengths, j)}];
    };
    for (const auto& [i, j] : bestPairs(truthLengths.size(), trackLengths.size(), score)) {
      identityTruePositives += score(i, j);
    }
  }

  std::vector<Frame> frames;
  std::map<std::int64_t, double> truthLengths;
  std::map<std::int64_t, double> trackLengths;
  std::vector<Pairs> followed;
};

}  // namespace nivra::test
