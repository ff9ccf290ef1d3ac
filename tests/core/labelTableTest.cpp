// The numbered labels against the map that they come from.

#include "core/labelTable.h"

#include <gtest/gtest.h>

#include "core/labels.h"
#include "support/dice.h"

namespace nivra::test {

TEST(LabelTable, AdmitsWhatTheMapAdmits) {
  Dice dice(5);
  for (const std::size_t count : {1U, 3U, 12U, 100U}) {
    std::vector<std::string> labels = {"", "a", "aa"};
    for (std::size_t i = 0; i < count; ++i) labels.push_back(std::to_string(i));
    LabelAssociations associations;
    for (const std::string& label : labels) {
      if (dice.happens(0.3F)) continue;  // may be mentioned on the other side alone, or nowhere
      auto& admissible = associations[label];
      const float share = dice.between(0, 1);
      for (const std::string& other : labels) {
        if (dice.happens(share)) admissible.insert(other);
      }
    }
    const LabelTable table(associations);
    labels.emplace_back("unheard of");
    for (const std::string& track : labels) {
      ASSERT_EQ(table.hasEntry(table.numberOf(track)), associations.count(track) != 0) << track;
      for (const std::string& detection : labels) {
        ASSERT_EQ(table.admissibleTo(table.numberOf(track)).contains(table.numberOf(detection)),
                  isAdmissible(associations, track, detection))
            << track << " of " << labels.size() << " takes " << detection;
      }
    }
    EXPECT_EQ(table.numberOf("unheard of"), LabelTable::kUnknown);
  }
}

}  // namespace nivra::test
