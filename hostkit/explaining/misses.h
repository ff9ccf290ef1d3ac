#pragma once

#include <cstddef>
#include <tuple>
#include <vector>

#include "hostkit/explaining/chronicle.h"

namespace nivra::hostkit {

/// Those verdicts of a decision that don't hold.
std::vector<Verdict> refusalsOf(const Decision& decision);

/// How many times the limit the worst figure of a pair is; 1 for pairs that passed the gates.
double excessOf(const PairExplanation& pair);

/// What orders the pairs of a frame by how near they were to going together: rather of a track that went without, then
/// by how many rules refused it, then by how far.
using Remoteness = std::tuple<bool, std::size_t, double>;
Remoteness remotenessOf(const PairExplanation& pair, const ChronicleFrame& frame);

}  // namespace nivra::hostkit
