#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "hostkit/evaluation/figures.h"
#include "hostkit/evaluation/preprocessing.h"
#include "hostkit/formats/identities.h"

namespace nivra::hostkit {

/// The frames in which there is anybody, ascending: others would cost memory and change nothing.
std::vector<int> occupiedFrames(const IdentifiedSequence& sequence);

/// @param category The only class that counts; all if empty.
TruthFrames truthFramesOf(const IdentifiedSequence& truth, Preprocessing preprocessing, const std::string& category);

/// The frames of the truth, and behind them those in which there are tracks alone: their boxes are false, whenever.
/// Tracks without labels may be of any class.
/// @param truthFrames `occupiedFrames` of the truth.
TrackFrames trackFramesOf(const IdentifiedSequence& tracks, const std::vector<int>& truthFrames,
                          const std::string& category);

/// How many frames it has, as far as it tells.
int lengthOf(const IdentifiedSequence& sequence);

/// `evaluate` of tracks with a truth of the same sequence.
/// @param truth Made of the `truthFramesOf` the sequence.
/// @throws FileError when frames are beyond the end of the truth, or one side is in pixels and the other is not.
Figures evaluate(const IdentifiedSequence& truthSequence, const Truth& truth, const std::vector<int>& truthFrames,
                 const IdentifiedSequence& tracks, const std::string& category);

/// What became of every row of a truth and of the tracks.
struct SequenceMatching {
  static constexpr int kNone = FrameMatching::kNone;
  static constexpr int kNotCounted = FrameMatching::kNotCounted;

  std::vector<int> trackOfTruth;      // the row that found each one of the truth; `kNone` for a miss
  std::vector<int> truthOfTrack;      // likewise the other way round; `kNone` for a false box
  std::vector<std::size_t> switches;  // rows of the truth that another identity found when last they were found
  Figures figures;
};

/// `matchBoxes` and `evaluate` of all classes together, by the rows of the sequences.
SequenceMatching matchSequences(const IdentifiedSequence& truth, const IdentifiedSequence& tracks,
                                Preprocessing preprocessing);

}  // namespace nivra::hostkit
