#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "hostkit/evaluation/assignment.h"
#include "hostkit/evaluation/figures.h"
#include "support/textbookEvaluation.h"

namespace nivra::hostkit {

using nivra::test::TextbookEvaluation;

constexpr double kClose = 1e-12;

CostMatrix matrixOf(const std::vector<std::vector<double>>& rows) {
  CostMatrix matrix;
  matrix.reset(rows.size(), rows.front().size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    for (std::size_t j = 0; j < rows[i].size(); ++j) matrix.at(i, j) = rows[i][j];
  }
  return matrix;
}

TEST(Assignment, CostsTheLeast) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  AssignmentSolver solver;
  for (int round = 0; round < 2000; ++round) {
    CostMatrix matrix;
    matrix.reset(random() % 6, random() % 6);
    const bool hasTies = random() % 2 == 0;
    for (double& each : matrix.costs)
      each = hasTies ? -static_cast<double>(random() % 4) : -std::generate_canonical<double, 53>(random);
    double best = 0.0;
    for (const auto& [i, j] : TextbookEvaluation::bestPairs(
             matrix.rows, matrix.columns, [&](std::size_t i, std::size_t j) { return -matrix.at(i, j); })) {
      best += matrix.at(i, j);
    }
    double total = 0.0;
    std::vector<bool> taken(matrix.columns);
    const std::vector<int>& columns = solver.solve(matrix);
    ASSERT_EQ(columns.size(), matrix.rows);
    for (std::size_t i = 0; i < matrix.rows; ++i) {
      if (columns[i] == AssignmentSolver::kNone) continue;
      const auto column = static_cast<std::size_t>(columns[i]);
      ASSERT_FALSE(taken[column]);
      taken[column] = true;
      total += matrix.at(i, column);
    }
    ASSERT_NEAR(total, best, kClose);
    const auto count = static_cast<std::size_t>(std::count(taken.begin(), taken.end(), true));
    ASSERT_EQ(count, std::min(matrix.rows, matrix.columns));
  }
}

/// What scipy.optimize.linear_sum_assignment (1.10) chooses where several assignments cost the same.
TEST(Assignment, ChoosesAmongEqualsAsScipyDoes) {
  const std::pair<std::vector<std::vector<double>>, std::vector<int>> cases[] = {
      {{{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}, {0, 1, 2}},
      {{{0, 0, 0}, {0, 1, 1}}, {1, 0}},
      {{{0, 0}, {1, 1}, {1, 1}}, {0, 1, -1}},
      {{{1, 1, 1, 1, 1}, {1, 1, 0, 0, 0}, {0, 1, 1, 0, 0}}, {0, 2, 3}},
      {{{1, 0, 1}, {0, 0, 1}, {0, 0, 0}, {1, 0, 1}, {0, 0, 1}}, {1, 0, 2, -1, -1}},
      {{{1, 1, 1, 2, 2}, {2, 2, 1, 1, 2}, {1, 0, 2, 0, 2}, {1, 0, 0, 1, 0}, {0, 1, 2, 1, 2}}, {2, 3, 1, 4, 0}},
      {{{1, 1, 1, 0}, {1, 0, 0, 0}, {0, 1, 0, 0}, {0, 1, 1, 1}, {0, 1, 0, 0}, {0, 1, 1, 1}}, {3, 1, 0, -1, 2, -1}},
      {{{0, 1, 0, 2, 2, 0, 1}, {2, 2, 2, 1, 0, 2, 1}, {0, 0, 1, 2, 1, 1, 2}, {2, 1, 1, 1, 0, 0, 1}}, {0, 4, 1, 5}},
  };
  AssignmentSolver solver;
  for (const auto& [rows, columns] : cases) EXPECT_EQ(solver.solve(matrixOf(rows)), columns);
}

TruthBox truthBox(std::int64_t identity, const PixelBox& box, TruthRole role = TruthRole::counted) {
  return {{box, identity}, role};
}

TEST(Evaluation, AgreesWithTheDefinitions) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> place(0.0, 12.0);
  for (int round = 0; round < 300; ++round) {
    std::vector<TextbookEvaluation::Frame> frames(1 + random() % 12);
    TruthFrames truth(frames.size());
    TrackFrames tracks(frames.size());
    for (std::size_t t = 0; t < frames.size(); ++t) {
      for (std::int64_t identity = 0; identity < 4; ++identity) {
        const PixelBox box = {place(random) + 8.0 * static_cast<double>(identity), place(random) / 3.0, 20.0, 10.0};
        const TextbookEvaluation::Box corners = {identity, box.left, box.top, box.left + box.width,
                                                 box.top + box.height};
        if (random() % 4 > 0) {
          truth[t].push_back(truthBox(identity, box));
          frames[t].truth.push_back(corners);
        }
        const PixelBox moved = {box.left + place(random) - 6.0, box.top, box.width, box.height};
        if (random() % 4 > 0) {
          const std::int64_t track = identity * 1'000'000'007 + (random() % 6 == 0 ? 1 : 0);
          tracks[t].push_back({moved, track});
          frames[t].tracks.push_back(
              {track, moved.left, moved.top, moved.left + moved.width, moved.top + moved.height});
        }
      }
    }
    const TextbookEvaluation expected(frames);
    const Figures found = evaluate(Truth(truth), tracks);
    for (std::size_t i = 0; i < kHotaThresholds; ++i) {
      const double threshold = 0.05 * static_cast<double>(i + 1);
      ASSERT_NEAR(found.hota.detA()[i], expected.detA(threshold), kClose);
      ASSERT_NEAR(found.hota.assA()[i], expected.assA(threshold), kClose);
    }
    ASSERT_EQ(found.clear.truePositives, expected.truePositives);
    ASSERT_EQ(found.clear.switches, expected.switches);
    ASSERT_EQ(found.clear.fragmentations, expected.fragmentations);
    ASSERT_NEAR(found.clear.overlapSum, expected.overlaps, kClose * 100.0);
    ASSERT_EQ(found.identity.truePositives, expected.identityTruePositives);
  }
}

/// A box of 10 by 10.
PixelBox at(double left) { return {left, 0.0, 10.0, 10.0}; }

TEST(Evaluation, KeepsToThePublishedDetails) {
  struct Case {
    const char* name;
    TruthFrames truth;
    TrackFrames tracks;
    double found, switches, fragmentations, mostlyTracked, identityFound;
  };
  const TruthBox one = truthBox(1, at(0));
  const IdentifiedBox a = {at(0), 7};
  const IdentifiedBox b = {at(1), 8};
  const PixelBox wide = {0.0, 0.0, 30.0, 10.0};
  const Case cases[] = {
      {"a switch counts against the last match ever, however long ago",
       {{one}, {one}, {one}},
       {{a}, {}, {b}},
       2,
       1,
       0,
       0,
       1},
      {"nobody is switched who is found again", {{one}, {one}, {one}}, {{a}, {{at(50), 7}}, {a}}, 2, 0, 1, 0, 2},
      {"who goes on is preferred to who fits better", {{one}, {one}}, {{b}, {b, a}}, 2, 0, 0, 1, 2},
      {"one who comes back may change", {{one}, {one}, {one}}, {{b}, {{at(50), 8}}, {b, a}}, 2, 1, 1, 0, 2},
      {"frames without tracks break nothing off", {{one}, {one}, {one}}, {{b}, {}, {b, a}}, 2, 0, 0, 0, 2},
      {"half is enough, and no pixel is added", {{one}}, {{{{0.0, 0.0, 20.0, 10.0}, 7}}}, 1, 0, 0, 1, 1},
      {"a third isn't", {{one}}, {{{wide, 7}}}, 0, 0, 0, 0, 0},
      {"four of five are not mostly tracked", {{one}, {one}, {one}, {one}, {one}}, {{a}, {a}, {a}, {a}}, 4, 0, 0, 0, 4},
      {"boxes without area are nowhere",
       {{truthBox(1, {5.0, 5.0, 0.0, 10.0})}},
       {{{{5.0, 5.0, 0.0, 10.0}, 7}}},
       0,
       0,
       0,
       0,
       0},
      {"tracks may go on after the truth", {{one}}, {{a}, {a}}, 1, 0, 0, 1, 1},
  };
  for (const Case& each : cases) {
    const Figures figures = evaluate(Truth(each.truth), each.tracks);
    EXPECT_EQ(figures.clear.truePositives, each.found) << each.name;
    EXPECT_EQ(figures.clear.switches, each.switches) << each.name;
    EXPECT_EQ(figures.clear.fragmentations, each.fragmentations) << each.name;
    EXPECT_EQ(figures.clear.mostlyTracked, each.mostlyTracked) << each.name;
    EXPECT_EQ(figures.identity.truePositives, each.identityFound) << each.name;
  }
}

TEST(Evaluation, ThresholdsCarryAMargin) {
  const Truth truth(TruthFrames{{truthBox(1, {0.0, 0.0, 1.0, 1.0})}});
  const auto foundAt = [&](double width) { return evaluate(truth, {{{{0.0, 0.0, width, 1.0}, 1}}}); };
  const double below = std::nextafter(0.5, 0.0);
  EXPECT_EQ(foundAt(below).clear.truePositives, 1.0);
  EXPECT_EQ(foundAt(below).hota.truePositives()[9], 1.0);
  EXPECT_EQ(foundAt(below).identity.truePositives, 0.0);
  EXPECT_EQ(foundAt(0.5).identity.truePositives, 1.0);
  EXPECT_EQ(foundAt(0.4999).hota.truePositives()[9], 0.0);
}

TEST(Evaluation, FiguresOfSeveralSequencesAreWeightedByWhatIsFound) {
  // All of ten boxes by one track; and of two boxes one each by two tracks.
  const Figures first = evaluate(Truth(TruthFrames(10, {truthBox(1, at(0))})), TrackFrames(10, {{at(0), 1}}));
  const Figures second = evaluate(Truth(TruthFrames(2, {truthBox(1, at(0))})), {{{at(0), 1}}, {{at(0), 2}}});
  Figures both = first;
  both += second;
  EXPECT_NEAR(first.hota.assA()[0], 1.0, kClose);
  EXPECT_NEAR(second.hota.assA()[0], 0.5, kClose);
  EXPECT_NEAR(both.hota.assA()[0], (10.0 * 1.0 + 2.0 * 0.5) / 12.0, kClose);
  EXPECT_NEAR(both.hota.hota()[0], std::sqrt(11.0 / 12.0), kClose);
  EXPECT_NEAR(both.clear.mota(), 11.0 / 12.0, kClose);
  EXPECT_NEAR(both.identity.idf1(), 11.0 / 12.0, kClose);
}

TEST(Evaluation, LeavesOutWhatFindsDistractors) {
  const TruthBox person = truthBox(1, at(0));
  const TruthBox distractor = truthBox(2, at(30), TruthRole::distractor);
  const TruthBox nobody = truthBox(3, at(60), TruthRole::passedOver);
  struct Case {
    const char* name;
    std::vector<TruthBox> truth;
    std::vector<IdentifiedBox> tracks;
    double found, missed, falsePositives;
    FrameMatching matching;
  };
  constexpr int kNone = FrameMatching::kNone;
  constexpr int kNotCounted = FrameMatching::kNotCounted;
  const Case cases[] = {
      {"on a distractor",
       {person, distractor},
       {{at(30), 7}, {at(0), 8}},
       1,
       0,
       0,
       {{1, kNotCounted}, {kNotCounted, 0}, {}}},
      {"not well enough", {person, distractor}, {{at(34), 7}}, 0, 1, 1, {{kNone, kNotCounted}, {kNone}, {}}},
      {"one box each",
       {person, distractor},
       {{at(30), 7}, {at(31), 9}},
       0,
       1,
       1,
       {{kNone, kNotCounted}, {kNotCounted, kNone}, {}}},
      {"on nobody", {person, nobody}, {{at(60), 7}}, 0, 1, 1, {{kNone, kNotCounted}, {kNone}, {}}},
      {"a person takes it first",
       {distractor, truthBox(1, at(31))},
       {{at(31), 7}},
       1,
       0,
       0,
       {{kNotCounted, 0}, {1}, {}}},
      {"who counts not takes it first",
       {distractor, truthBox(3, at(31), TruthRole::passedOver)},
       {{at(31), 7}},
       0,
       0,
       1,
       {{kNotCounted, kNotCounted}, {kNone}, {}}},
  };
  for (const Case& each : cases) {
    const Truth truth(TruthFrames{each.truth});
    const Figures figures = evaluate(truth, {each.tracks});
    EXPECT_EQ(figures.clear.truePositives, each.found) << each.name;
    EXPECT_EQ(figures.clear.falseNegatives, each.missed) << each.name;
    EXPECT_EQ(figures.clear.falsePositives, each.falsePositives) << each.name;
    const FrameMatching matching = matchBoxes(truth, {each.tracks}).at(0);
    EXPECT_EQ(matching.trackOfTruth, each.matching.trackOfTruth) << each.name;
    EXPECT_EQ(matching.truthOfTrack, each.matching.truthOfTrack) << each.name;
  }
}

TEST(Evaluation, MatchingNamesTheSwitches) {
  const TruthFrames truth(2, {truthBox(5, at(60), TruthRole::passedOver), truthBox(1, at(0))});
  const auto matchings = matchBoxes(Truth(truth), {{{at(0), 1}}, {{at(0), 2}}});
  EXPECT_EQ(matchings.at(0).switches, std::vector<std::size_t>());
  EXPECT_EQ(matchings.at(1).switches, std::vector<std::size_t>{1});
}

}  // namespace nivra::hostkit
