#include "hostkit/evaluation/identityMetrics.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <utility>
#include <vector>

#include "hostkit/evaluation/assignment.h"
#include "hostkit/evaluation/thresholds.h"

namespace nivra::hostkit {

namespace {

/// Two identities and in how many frames they overlap enough.
struct Meeting {
  std::size_t truth = 0;
  std::size_t track = 0;
  double frames = 0.0;
};

std::vector<Meeting> meetingsIn(const Comparison& comparison) {
  std::vector<Meeting> meetings;
  for (const auto& [truth, track] : comparison.pairs) meetings.push_back({truth, track});
  for (const Overlap& each : comparison.overlaps.all()) {
    if (each.iou >= kMatchingIou) meetings[each.pair].frames += 1.0;
  }
  meetings.erase(
      std::remove_if(meetings.begin(), meetings.end(), [](const Meeting& each) { return each.frames == 0.0; }),
      meetings.end());
  return meetings;
}

using Side = std::size_t Meeting::*;

/// Of those who meet nobody but the same one, only the one with the most frames can be a partner: the others go, such
/// as the pieces of broken tracks, for which a matrix would have no room.
void leaveOutLesser(std::vector<Meeting>& meetings, Side one, Side other, std::size_t oneCount,
                    std::size_t otherCount) {
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::vector<std::size_t> meetingsOf(oneCount);
  for (const Meeting& each : meetings) ++meetingsOf[each.*one];
  std::vector<std::size_t> best(otherCount, kNone);
  for (std::size_t i = 0; i < meetings.size(); ++i) {
    if (meetingsOf[meetings[i].*one] > 1) continue;
    std::size_t& place = best[meetings[i].*other];
    if (place == kNone || meetings[i].frames > meetings[place].frames) place = i;
  }
  std::vector<Meeting> kept;
  for (std::size_t i = 0; i < meetings.size(); ++i) {
    if (meetingsOf[meetings[i].*one] > 1 || best[meetings[i].*other] == i) kept.push_back(meetings[i]);
  }
  meetings = std::move(kept);
}

/// Sets that grow together; each is known by one of its elements.
class DisjointSets {
 public:
  explicit DisjointSets(std::size_t count) : parents(count) { std::iota(parents.begin(), parents.end(), 0U); }

  std::size_t find(std::size_t element) {
    while (parents[element] != element) element = parents[element] = parents[parents[element]];
    return element;
  }
  void unite(std::size_t a, std::size_t b) { parents[find(a)] = find(b); }

 private:
  std::vector<std::size_t> parents;
};

/// Splits meetings so that nobody of one part meets anybody of another one: a matrix of all identities of a long
/// recording would be too large.
std::vector<std::vector<Meeting>> partsOf(const std::vector<Meeting>& meetings, const Comparison& comparison) {
  const std::size_t truthCount = comparison.truthLengths.size();
  DisjointSets sets(truthCount + comparison.trackLengths.size());
  for (const Meeting& each : meetings) sets.unite(each.truth, truthCount + each.track);
  std::map<std::size_t, std::vector<Meeting>> parts;
  for (const Meeting& each : meetings) parts[sets.find(each.truth)].push_back(each);
  std::vector<std::vector<Meeting>> list;
  for (auto& [set, part] : parts) list.push_back(std::move(part));
  return list;
}

/// Numbers the values of a member from 0.
std::size_t renumber(std::vector<Meeting>& meetings, Side member) {
  std::map<std::size_t, std::size_t> numbers;
  for (Meeting& each : meetings) each.*member = numbers.try_emplace(each.*member, numbers.size()).first->second;
  return numbers.size();
}

/// The most frames that partners can share.
double mostShared(std::vector<Meeting> meetings) {
  const std::size_t truths = renumber(meetings, &Meeting::truth);
  const std::size_t tracks = renumber(meetings, &Meeting::track);
  CostMatrix costs;
  costs.reset(truths, tracks);
  for (const Meeting& each : meetings) costs.at(each.truth, each.track) = -each.frames;
  AssignmentSolver solver;
  const std::vector<int>& partners = solver.solve(costs);
  double shared = 0.0;
  for (std::size_t i = 0; i < truths; ++i) {
    if (partners[i] != AssignmentSolver::kNone) shared -= costs.at(i, static_cast<std::size_t>(partners[i]));
  }
  return shared;
}

}  // namespace

IdentityMetrics::IdentityMetrics(const Comparison& comparison) {
  std::vector<Meeting> meetings = meetingsIn(comparison);
  const std::size_t truths = comparison.truthLengths.size();
  const std::size_t tracks = comparison.trackLengths.size();
  leaveOutLesser(meetings, &Meeting::track, &Meeting::truth, tracks, truths);
  leaveOutLesser(meetings, &Meeting::truth, &Meeting::track, truths, tracks);
  for (std::vector<Meeting>& part : partsOf(meetings, comparison)) {
    truePositives += mostShared(std::move(part));
  }
  falseNegatives = static_cast<double>(comparison.truthBoxes()) - truePositives;
  falsePositives = static_cast<double>(comparison.trackBoxes()) - truePositives;
}

IdentityMetrics& IdentityMetrics::operator+=(const IdentityMetrics& other) {
  truePositives += other.truePositives;
  falseNegatives += other.falseNegatives;
  falsePositives += other.falsePositives;
  return *this;
}

double IdentityMetrics::idf1() const {
  return truePositives / std::max(1.0, truePositives + 0.5 * falsePositives + 0.5 * falseNegatives);
}
double IdentityMetrics::precision() const { return truePositives / std::max(1.0, truePositives + falsePositives); }
double IdentityMetrics::recall() const { return truePositives / std::max(1.0, truePositives + falseNegatives); }

}  // namespace nivra::hostkit
