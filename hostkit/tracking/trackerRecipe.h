#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hostkit/tracking/settings.h"
#include "nivra/nivra.h"

namespace nivra::hostkit {

struct TrackerChoice {
  std::string_view name;  // as it stands in messages
  int selector;
};

constexpr std::array<TrackerChoice, 4> kTrackers = {{{"vanilla", 0}, {"reid", 1}, {"hybrid", 2}, {"lowfps", 3}}};

/// @throws UsageError unless `text` is one of the names or selectors.
TrackerChoice parseTrackerChoice(const std::string& text);

/// @throws UsageError unless `text` is the name of a preset, which is returned.
std::string parsePreset(const std::string& text);

/// A tracker with its parameters, checked once for as many trackers as there are cameras.
class TrackerRecipe {
 public:
  /// @param settings Of several for one parameter the last one holds; the others are checked as well.
  /// @throws UsageError, FileError naming the setting that is at fault.
  TrackerRecipe(const TrackerChoice& trackerChoice, const std::vector<Setting>& settings);

  /// The same with another value of a parameter, which is not checked.
  TrackerRecipe with(const std::string& key, const std::string& value) const;

  /// What is possible, but hardly meant; each ends its line.
  const std::string& warnings() const { return doubts; }

  std::unique_ptr<ObjectTracker> make(const LabelAssociations& associations, float aspectRatio,
                                      MotionTrackerServer* motionServer) const;
  /// Such a tracker, which goes on from a state.
  /// @throws StateError when it is none of such a tracker.
  std::unique_ptr<ObjectTracker> restore(const std::string& state, const LabelAssociations& associations,
                                         float aspectRatio, MotionTrackerServer* motionServer) const;

 private:
  void take(const Setting& setting);

  TrackerChoice choice;
  std::string doubts;
  ParameterMap params;
};

}  // namespace nivra::hostkit
