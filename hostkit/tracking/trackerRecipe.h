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
  bool reportsAll;  // that there are, so that its tracks with inner state are the same ones
};

constexpr std::array<TrackerChoice, 4> kTrackers = {
    {{"vanilla", 0, true}, {"reid", 1, false}, {"hybrid", 2, false}, {"lowfps", 3, true}}};

/// @throws UsageError unless `text` is one of the names or selectors.
TrackerChoice parseTrackerChoice(const std::string& text);

/// A tracker with its parameters, checked once for as many trackers as there are cameras.
class TrackerRecipe {
 public:
  /// @param settings Of several for one parameter the last one holds; the others are checked as well.
  /// @throws UsageError, FileError naming the setting that is at fault.
  TrackerRecipe(const TrackerChoice& trackerChoice, const std::vector<Setting>& settings);

  /// What is possible, but hardly meant; each ends its line.
  const std::string& warnings() const { return doubts; }

  bool reportsAll() const { return choice.reportsAll; }

  std::unique_ptr<ObjectTracker> make(const LabelAssociations& associations, float aspectRatio,
                                      MotionTrackerServer* motionServer) const;

 private:
  void take(const Setting& setting);

  TrackerChoice choice;
  std::string doubts;
  ParameterMap params;
};

}  // namespace nivra::hostkit
