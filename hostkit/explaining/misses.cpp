#include "hostkit/explaining/misses.h"

#include <algorithm>
#include <iterator>

namespace nivra::hostkit {

namespace {

bool refuses(const Verdict& verdict) { return !verdict.holds; }

}  // namespace

std::vector<Verdict> refusalsOf(const Decision& decision) {
  std::vector<Verdict> refusals;
  std::copy_if(decision.verdicts.begin(), decision.verdicts.end(), std::back_inserter(refusals), refuses);
  return refusals;
}

double excessOf(const PairExplanation& pair) {
  double most = 1.0;
  for (const Verdict& each : pair.verdicts) {
    if (each.holds || pair.outcome != Decision::Outcome::refused) continue;
    most = std::max(most, each.limit > 0.0 ? each.figure / each.limit : 1.0 + each.figure - each.limit);
  }
  return most;
}

Remoteness remotenessOf(const PairExplanation& pair, const ChronicleFrame& frame) {
  const auto refusals = std::count_if(pair.verdicts.begin(), pair.verdicts.end(), refuses);
  return {frame.detectionOf(pair.pair.track).has_value(), static_cast<std::size_t>(refusals), excessOf(pair)};
}

}  // namespace nivra::hostkit
