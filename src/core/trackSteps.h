#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <set>
#include <vector>

#include "core/boxGeometry.h"
#include "nivra/motionTrackerServer.h"

/// Steps that trackers of different track types do alike.
namespace nivra {

/// Hands out the next identity; after the largest one the count starts again at 0.
inline std::int32_t takeNextId(std::int32_t& nextId) {
  const std::int32_t id = nextId;
  nextId = id == std::numeric_limits<std::int32_t>::max() ? 0 : id + 1;
  return id;
}

/// Fetches a track that is soon to be worked on. Where many trackers take turns, each finds its tracks in no near
/// cache; without this, every line of them would be waited for.
template <class Track>
void prefetch(const Track& track) {
  constexpr std::size_t kCacheLine = 64;
  const auto* bytes = reinterpret_cast<const char*>(&track);
  for (std::size_t offset = 0; offset < sizeof(Track); offset += kCacheLine) __builtin_prefetch(bytes + offset);
}

/// Calls predictTrack(track) for each track, and has the next ones fetched meanwhile.
template <class Track, class PredictTrack>
void predictTracks(std::vector<Track>& tracks, PredictTrack predictTrack) {
  constexpr std::size_t kAhead = 4;
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    if (i + kAhead < tracks.size()) prefetch(tracks[i + kAhead]);
    predictTrack(tracks[i]);
  }
}

/// Removes the expired tracks, keeping the order of the rest, and returns their identities.
template <class Track>
std::set<int> eraseExpired(std::vector<Track>& tracks) {
  std::set<int> removed;
  for (const Track& track : tracks) {
    if (track.isExpired()) removed.insert(track.getId());
  }
  if (removed.empty()) return removed;
  const auto isExpired = [](const Track& track) { return track.isExpired(); };
  tracks.erase(std::remove_if(tracks.begin(), tracks.end(), isExpired), tracks.end());
  return removed;
}

/// Moves every track to where the camera movement puts the centre of its reported box, until the server
/// can't tell a position.
/// @param owner Watches the tracker that holds `tracks`: the host may destroy it from within its position
///   function.
template <class Track>
void shiftByCameraMotion(std::vector<Track>& tracks, MotionTrackerServer& server,
                         const std::weak_ptr<const void>& owner) {
  for (Track& track : tracks) {
    const Box box = track.getClampedBox();
    const Point from = center(box);
    Point to = from;
    if (!server.recalculatePosition(to) || owner.expired()) return;
    track.updateBox(shifted(box, to.x - from.x, to.y - from.y));
  }
}

}  // namespace nivra
