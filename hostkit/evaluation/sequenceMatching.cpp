#include "hostkit/evaluation/sequenceMatching.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "hostkit/errors.h"

namespace nivra::hostkit {

namespace {

/// Whether a row is of a class, of which an empty one stands for all.
bool isOf(const std::string& category, const IdentifiedSequence& sequence, const IdentifiedRow& row) {
  if (category.empty()) return true;
  return row.label != IdentifiedRow::kNone && sequence.labels[static_cast<std::size_t>(row.label)] == category;
}

/// Calls `take(place, row)` for each row of a truth, with the place of its frame among the occupied ones.
template <class Take>
void forEachOfTruth(const IdentifiedSequence& truth, Take take) {
  std::size_t frames = 0;
  int last = 0;
  for (std::size_t row = 0; row < truth.rows.size(); ++row) {
    if (std::exchange(last, truth.rows[row].frame) != truth.rows[row].frame) ++frames;
    take(frames - 1, row);
  }
}

/// Likewise for each row of tracks, with the place of its frame in the truth, or else behind all of those.
template <class Take>
void forEachOfTracks(const IdentifiedSequence& tracks, const std::vector<int>& truthFrames, Take take) {
  std::size_t frames = truthFrames.size();
  auto truthFrame = truthFrames.begin();
  int last = 0;
  for (std::size_t row = 0; row < tracks.rows.size(); ++row) {
    const int frame = tracks.rows[row].frame;
    truthFrame = std::lower_bound(truthFrame, truthFrames.end(), frame);
    const bool isOfTruth = truthFrame != truthFrames.end() && *truthFrame == frame;
    if (std::exchange(last, frame) != frame && !isOfTruth) ++frames;
    take(isOfTruth ? static_cast<std::size_t>(truthFrame - truthFrames.begin()) : frames - 1, row);
  }
}

/// A list of lists that grows with the places it is asked for.
template <class Element>
std::vector<Element>& at(std::vector<std::vector<Element>>& lists, std::size_t place) {
  if (place >= lists.size()) lists.resize(place + 1);
  return lists[place];
}

/// The rows that the positions of a frame stand for.
int rowAt(const std::vector<std::size_t>& rows, int position) {
  return position < 0 ? position : static_cast<int>(rows[static_cast<std::size_t>(position)]);
}

}  // namespace

std::vector<int> occupiedFrames(const IdentifiedSequence& sequence) {
  std::vector<int> frames;
  for (const IdentifiedRow& each : sequence.rows) {
    if (frames.empty() || frames.back() != each.frame) frames.push_back(each.frame);
  }
  return frames;
}

TruthFrames truthFramesOf(const IdentifiedSequence& truth, Preprocessing preprocessing, const std::string& category) {
  TruthFrames frames;
  forEachOfTruth(truth, [&](std::size_t place, std::size_t row) {
    const IdentifiedRow& each = truth.rows[row];
    auto& frame = at(frames, place);
    if (isOf(category, truth, each)) frame.push_back({each.identified, roleOf(each, preprocessing)});
  });
  return frames;
}

TrackFrames trackFramesOf(const IdentifiedSequence& tracks, const std::vector<int>& truthFrames,
                          const std::string& category) {
  const bool takesAll = tracks.labels.empty();
  TrackFrames frames(truthFrames.size());
  forEachOfTracks(tracks, truthFrames, [&](std::size_t place, std::size_t row) {
    const IdentifiedRow& each = tracks.rows[row];
    auto& frame = at(frames, place);
    if (takesAll || isOf(category, tracks, each)) frame.push_back(each.identified);
  });
  return frames;
}

int lengthOf(const IdentifiedSequence& sequence) {
  return std::max(sequence.frameCount, sequence.rows.empty() ? 0 : sequence.rows.back().frame);
}

Figures evaluate(const IdentifiedSequence& truthSequence, const Truth& truth, const std::vector<int>& truthFrames,
                 const IdentifiedSequence& tracks, const std::string& category) {
  if (truthSequence.frameCount > 0) requireFramesWithin(tracks, truthSequence.frameCount);
  if (tracks.inPixels != truthSequence.inPixels && !tracks.rows.empty() && !truthSequence.rows.empty()) {
    throw FileError(fmt::format("of the truth and the tracks of {}, only {} in pixels: give --picture WxH",
                                truthSequence.name, tracks.inPixels ? "those are" : "that is"));
  }
  Figures figures = evaluate(truth, trackFramesOf(tracks, truthFrames, category));
  if (figures.clear.frames > 0.0) figures.clear.frames = std::max(lengthOf(truthSequence), lengthOf(tracks));
  return figures;
}

SequenceMatching matchSequences(const IdentifiedSequence& truthSequence, const IdentifiedSequence& tracks,
                                Preprocessing preprocessing) {
  const std::vector<int> frames = occupiedFrames(truthSequence);
  const Truth truth(truthFramesOf(truthSequence, preprocessing, ""));
  SequenceMatching matching;
  matching.figures = evaluate(truthSequence, truth, frames, tracks, "");
  std::vector<std::vector<std::size_t>> truthRows(frames.size());
  std::vector<std::vector<std::size_t>> trackRows(frames.size());
  forEachOfTruth(truthSequence, [&](std::size_t place, std::size_t row) { truthRows[place].push_back(row); });
  forEachOfTracks(tracks, frames, [&](std::size_t place, std::size_t row) { at(trackRows, place).push_back(row); });

  matching.trackOfTruth.assign(truthSequence.rows.size(), SequenceMatching::kNotCounted);
  matching.truthOfTrack.assign(tracks.rows.size(), SequenceMatching::kNotCounted);
  const auto matchings = matchBoxes(truth, trackFramesOf(tracks, frames, ""));
  for (std::size_t place = 0; place < matchings.size(); ++place) {
    const FrameMatching& frame = matchings[place];
    const auto& truths = at(truthRows, place);
    for (std::size_t i = 0; i < truths.size(); ++i) {
      matching.trackOfTruth[truths[i]] = rowAt(trackRows[place], frame.trackOfTruth[i]);
    }
    for (std::size_t i = 0; i < frame.truthOfTrack.size(); ++i) {
      matching.truthOfTrack[trackRows[place][i]] = rowAt(truths, frame.truthOfTrack[i]);
    }
    for (const std::size_t each : frame.switches) matching.switches.push_back(truths[each]);
  }
  return matching;
}

}  // namespace nivra::hostkit
