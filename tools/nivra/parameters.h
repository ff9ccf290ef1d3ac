#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nivra/nivra.h"

namespace nivra::tool {

struct TrackerChoice {
  std::string name;  // as it stands in messages
  int selector = 0;
};

/// @throws UsageError unless `text` is one of the names or selectors.
TrackerChoice parseTrackerChoice(const std::string& text);

/// Makes the tracker that the caller asked for.
/// @param settings Arguments of --param; of several for one name the last one holds.
/// @throws UsageError naming the argument that is at fault.
std::unique_ptr<ObjectTracker> createTracker(const TrackerChoice& choice, const std::vector<std::string>& settings,
                                             const LabelAssociations& associations, float aspectRatio);

class TrackerRecipe {
 public:
  TrackerRecipe(TrackerChoice trackerChoice, std::vector<std::string> trackerSettings)
      : choice(std::move(trackerChoice)), settings(std::move(trackerSettings)) {}
  std::unique_ptr<ObjectTracker> make(const LabelAssociations& associations, float aspectRatio) const {
    return createTracker(choice, settings, associations, aspectRatio);
  }

 private:
  TrackerChoice choice;
  std::vector<std::string> settings;
};

/// Every parameter with its default, unit, meaning and pull.
std::string listParameters();

}  // namespace nivra::tool
