#include <set>

#include "toolRun.h"

namespace nivra::tool::test {

class Simulate : public ToolTest {};

TEST_F(Simulate, MakesTheCommittedSampleAgain) {
  ASSERT_EQ(nivra({"simulate", "-o", path("plaza")}).code, 0);
  for (const char* const file : {"/seqinfo.ini", "/det/det.txt", "/det/feat.bin", "/gt/gt.txt"}) {
    EXPECT_TRUE(contentOf(path("plaza") + file) == contentOf(kPlaza + file)) << file;
  }
}

TEST_F(Simulate, FollowsItsOptions) {
  ASSERT_EQ(nivra({"simulate", "-o", path("crowd/"), "--seed", "2", "--frames", "90", "--people", "25", "--picture",
                   "640x480", "--fps", "12.5"})
                .code,
            0);
  EXPECT_EQ(contentOf(path("crowd/seqinfo.ini")),
            "[Sequence]\nname=crowd\nframeRate=12.5\nseqLength=90\nimWidth=640\nimHeight=480\n");

  std::set<double> people;
  bool hidden = false;
  for (const auto& row : rowsOf(contentOf(path("crowd/gt/gt.txt")))) {
    ASSERT_EQ(row.size(), 9U);
    EXPECT_LE(row[0], 90.0);
    people.insert(row[1]);
    EXPECT_TRUE(row[2] < 640.0 && row[2] + row[4] > 0.0 && row[3] < 480.0 && row[3] + row[5] > 0.0);
    EXPECT_TRUE(row[8] >= 0.0 && row[8] <= 1.0);
    hidden = hidden || (row[8] < 0.5 && row[2] > 0.0 && row[2] + row[4] < 640.0);
  }
  EXPECT_GT(people.size(), 20U);
  EXPECT_LE(*people.rbegin(), 25.0);
  EXPECT_TRUE(hidden) << "nobody passes behind anybody";
}

}  // namespace nivra::tool::test
