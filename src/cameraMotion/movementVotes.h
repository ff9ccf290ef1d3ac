#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "cameraMotion/boxTable.h"
#include "cameraMotion/movementFit.h"
#include "nivra/trackedObjectDetection.h"

namespace nivra {

/// A track that may have been seen again: where it was expected, and what distances are measured by, its size.
struct MovementVoter {
  double placeX;
  double placeY;
  double perSquaredWidth;
  double perSquaredHeight;
  double stepX;  ///< By how much its velocity has moved it on.
  double stepY;
  double lagX;  ///< From the track to the detection that it took last.
  double lagY;
  bool isSettled;  ///< Its velocity has been learned.

  double weightX(const Precision& precision) const { return perSquaredWidth * precision.x; }
  double weightY(const Precision& precision) const { return perSquaredHeight * precision.y; }
};

/// By how much a detection is off from a track's last one, moved on by the track's velocity.
struct MovementVote {
  std::size_t voter;
  double seenX;
  double seenY;
};

/// Tells young tracks from others by their identities, which every tracker counts upwards.
class TrackAges {
 public:
  void pass(double elapsed);
  void see(std::int32_t id);
  /// Whether the track is older than it takes a filter to learn its velocity, 0.3 seconds.
  bool isSettled(std::int32_t id) const { return id < beyondThoseSeen.back(); }

 private:
  template <class Archive>
  friend void fields(Archive& archive, TrackAges& ages) {
    archive(ages.beyondThoseSeenNow, ages.beyondThoseSeen, ages.sinceNewest);
  }

  static constexpr double kInterval = 0.1;  // seconds

  std::int64_t beyondThoseSeenNow = 0;
  std::array<std::int64_t, 4> beyondThoseSeen = {};  // the newest one first, an interval after the other
  double sinceNewest = 0.0;
};

/// The votes of tracks for movements, and the movement that most of them share.
class MovementVotes {
 public:
  /// Remembers the tracks that took a detection in this frame until the next one; of more than kMostVoters, every so
  /// many-th.
  void remember(const std::vector<TrackReport>& tracks);
  void forget() { rememberedCount = 0; }

  /// Asks the tracks that it remembers, and forgets them.
  /// @param expected Of more detections than kMostVotesOfOne within reach of a track, those nearest to it count.
  /// @param elapsed Seconds since the frame before.
  void collect(const BoxTable& before, const BoxTable& now, const Movement& expected, double elapsed);

  /// Finds the largest group of tracks that share a movement, each with its best vote.
  /// @param expected Where the search begins; if nearly all agree with it, it also ends there.
  void agree(const Movement& expected, const Precision& precision, double zoomPrecision);

  std::size_t askedCount() const { return asked; }
  std::size_t voterCount() const { return voterTotal; }
  const MovementVoter& voterOf(const MovementVote& vote) const { return voters[vote.voter]; }

  /// The votes that agree, one of each track.
  const MovementVote* begin() const { return agreed.data(); }
  const MovementVote* end() const { return agreed.data() + agreedCount; }
  std::size_t size() const { return agreedCount; }

 private:
  /// What is asked and answered matters within a frame alone.
  template <class Archive>
  friend void fields(Archive& archive, MovementVotes& object) {
    archive(object.ages, object.rememberedCount);
    archive.require(object.rememberedCount <= kMostVoters, "more tracks than are asked");
    for (std::uint32_t i = 0; i < object.rememberedCount; ++i) {
      RememberedTrack& track = object.remembered[i];
      archive(track.box, track.velocityX, track.velocityY, track.id, track.detectionId);
    }
  }

  static constexpr std::size_t kMostVoters = 20;
  static constexpr std::size_t kMostVotesOfOne = 8;

  struct RememberedTrack {
    Box box;
    float velocityX;
    float velocityY;
    std::int32_t id;
    std::int32_t detectionId;
  };

  void ask(const RememberedTrack& track, const BoxTable& before, const BoxTable& now, const Movement& expected,
           double elapsed);
  double distance(const MovementVote& vote, const Movement& movement) const;
  Movement search() const;
  double supportOf(const Movement& movement) const;
  void gather(const Movement& movement);
  Movement fit(const Precision& precision, double zoomPrecision) const;

  TrackAges ages;
  std::array<RememberedTrack, kMostVoters> remembered;
  std::uint32_t rememberedCount = 0;
  std::array<MovementVoter, kMostVoters> voters;
  std::array<MovementVote, kMostVoters * kMostVotesOfOne> votes;  // voter by voter
  std::array<MovementVote, kMostVoters> agreed;
  std::size_t asked = 0;       // tracks that could have voted
  std::size_t voterTotal = 0;  // those which had a detection within reach
  std::size_t voteTotal = 0;
  std::size_t agreedCount = 0;
};

}  // namespace nivra
