#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "hostkit/formats/identities.h"

namespace nivra::hostkit {

/// The boxes of each frame; nobody has two boxes in one frame.
using TrackFrames = std::vector<std::vector<IdentifiedBox>>;

/// What a box of the truth is there for.
enum class TruthRole {
  counted,     // is to be found
  distractor,  // need not be found: a box that finds it is left out
  passedOver,  // need not be found; has a part only in telling which boxes find distractors
};

struct TruthBox {
  IdentifiedBox identified;
  TruthRole role = TruthRole::counted;
};

using TruthFrames = std::vector<std::vector<TruthBox>>;

/// Two boxes of a frame that have some area in common.
struct Overlap {
  std::size_t truth = 0;  // position among the frame's counted boxes of the truth
  std::size_t track = 0;  // position among its boxes of tracks
  std::size_t pair = 0;   // of identities, in `Comparison::pairs`
  double iou = 0.0;       // area of the intersection divided by that of the union, above 0
};

/// A part of a list.
template <class Element>
struct Span {
  const Element* first = nullptr;
  std::size_t count = 0;

  const Element* begin() const { return first; }
  const Element* end() const { return first + count; }
  std::size_t size() const { return count; }
  bool empty() const { return count == 0; }
  const Element& operator[](std::size_t i) const { return first[i]; }
};

/// A list of lists.
template <class Element>
class Rows {
 public:
  void add(const Element& element) { elements.push_back(element); }
  void endRow() { ends.push_back(elements.size()); }

  Span<Element> operator[](std::size_t row) const {
    const std::size_t begin = row == 0 ? 0 : ends[row - 1];
    return {elements.data() + begin, ends[row] - begin};
  }
  std::size_t size() const { return ends.size(); }
  const std::vector<Element>& all() const { return elements; }

 private:
  std::vector<Element> elements;
  std::vector<std::size_t> ends;
};

/// All that the figures follow from: who is where, by identities that count from 0, and which boxes overlap.
struct Comparison {
  struct IdentityPair {
    std::size_t truth = 0;
    std::size_t track = 0;
  };

  std::size_t frameCount() const { return truths.size(); }
  std::size_t truthBoxes() const { return truths.all().size(); }
  std::size_t trackBoxes() const { return tracks.all().size(); }

  Rows<std::size_t> truths;               // identities of the counted boxes of each frame
  Rows<std::size_t> tracks;               // likewise of the tracks' boxes that were not left out
  Rows<Overlap> overlaps;                 // of each frame, by position of the truth, then of the track
  std::vector<IdentityPair> pairs;        // identities that overlap anywhere
  std::vector<std::size_t> truthLengths;  // boxes of each identity
  std::vector<std::size_t> trackLengths;
};

/// A truth that tracks can be compared with again and again: what depends on it alone is worked out once.
class Truth {
 public:
  explicit Truth(const TruthFrames& frames);

  std::size_t frameCount() const { return boxes.size(); }
  std::size_t boxCount(std::size_t frame) const { return boxes[frame].size(); }
  bool isCounted(std::size_t frame, std::size_t box) const { return boxes[frame][box].role == TruthRole::counted; }

  /// Overlaps of 0.5 or more tell which boxes find distractors; they are left out.
  /// @param tracks Of any number of frames; there is nobody in those that are missing on one side.
  /// @param leftOut If not null, takes for every box of each frame whether it was.
  Comparison compare(const TrackFrames& tracks, std::vector<std::vector<bool>>* leftOut = nullptr) const;

 private:
  friend class Comparer;

  /// A box as overlaps are computed from it.
  struct Corners {
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;
    double area = 0.0;
  };
  struct Box {
    Corners corners;
    TruthRole role = TruthRole::counted;
    std::size_t identity = 0;  // of those that are counted
  };

  static Corners cornersOf(const PixelBox& box);
  static double iou(const Corners& a, const Corners& b);

  Rows<Box> boxes;
  std::vector<bool> hasDistractors;  // of each frame
  std::vector<std::size_t> lengths;  // boxes of each identity
};

}  // namespace nivra::hostkit
