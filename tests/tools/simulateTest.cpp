#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <numeric>
#include <set>
#include <utility>

#include "hostkit/worlds/simulation.h"
#include "toolRun.h"

namespace nivra::tool::test {

using namespace hostkit;

class Simulate : public ToolTest {};

/// A frame as handed out, what it shows in truth, and how the camera has moved since the one before.
struct SeenFrame {
  Frame frame;
  int number = 0;
  std::vector<Figure> truth;
  double moved = 0.0;
};

std::vector<SeenFrame> watch(Simulation& simulation) {
  std::vector<SeenFrame> seen;
  double moved = 0.0;
  for (Record record; simulation.read(record);) {
    if (const auto* const motion = std::get_if<CameraMotion>(&record)) {
      EXPECT_TRUE(motion->picture);
      moved += motion->matrix[2];
    } else {
      seen.push_back({std::get<Frame>(record), simulation.frameNumber(), simulation.truth(), moved});
      moved = 0.0;
    }
  }
  return seen;
}

std::vector<std::string> toText(const SimulationOptions& options) {
  Simulation simulation(options);
  std::vector<std::string> lines;
  for (const SeenFrame& each : watch(simulation)) {
    lines.push_back(fmt::format("{} {}", each.frame.timestamp.value(), each.moved));
    for (const ObjectDetection& detection : each.frame.detections) {
      const Box& box = detection.box;
      lines.push_back(fmt::format("{} {} {} {} {} {} {}", box.left, box.top, box.right, box.bottom, detection.score,
                                  detection.label, fmt::join(detection.feature.value(), " ")));
    }
  }
  return lines;
}

SimulationOptions with(const std::function<void(SimulationOptions&)>& change) {
  SimulationOptions options;
  change(options);
  return options;
}

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

TEST_F(Simulate, WritesJsonLinesThatSayTheSame) {
  ASSERT_EQ(nivra({"simulate", "-o", path("new/plaza"), "--to", "jsonl"}).code, 0);
  EXPECT_TRUE(contentOf(path("new/plaza/gt/gt.txt")) == contentOf(kPlaza + "/gt/gt.txt"));
  const auto lines = splitAt('\n', contentOf(path("new/plaza/detections.jsonl")));
  ASSERT_EQ(lines.size(), 300U);
  EXPECT_EQ(lines[0], splitAt('\n', nivra({"convert", kPlaza}).out)[0]);
}

TEST_F(Simulate, OptionsDecideOnTheRecords) {
  const std::vector<std::string> usual = toText({});
  EXPECT_TRUE(toText({}) == usual);
  const std::pair<const char*, std::function<void(SimulationOptions&)>> changes[] = {
      {"seed", [](SimulationOptions& each) { each.seed = 2; }},
      {"vehicles", [](SimulationOptions& each) { each.vehicles = 3; }},
      {"pan", [](SimulationOptions& each) { each.pan = 0.1; }},
      {"drop", [](SimulationOptions& each) { each.drop = 0.1; }},
      {"reentries", [](SimulationOptions& each) { each.reentries = 1.0; }},
      {"feature length", [](SimulationOptions& each) { each.featureLength = 8; }},
  };
  for (const auto& [name, change] : changes) {
    const std::vector<std::string> changed = toText(with(change));
    EXPECT_TRUE(changed != usual) << name;
    EXPECT_TRUE(changed == toText(with(change))) << name;
  }
}

TEST_F(Simulate, VehiclesPassByAndHidePeople) {
  Simulation empty({});
  const std::vector<SeenFrame> without = watch(empty);
  Simulation busy(with([](SimulationOptions& each) { each.vehicles = 12; }));
  std::map<std::string, int> labels;
  std::set<int> vehicles;
  int hidden = 0;
  for (const SeenFrame& seen : watch(busy)) {
    for (const ObjectDetection& each : seen.frame.detections) ++labels[each.label];
    std::vector<double> visibilities;
    for (const Figure& each : seen.truth) {
      if (each.kind == Kind::person) {
        visibilities.push_back(each.visibility);
      } else {
        EXPECT_GT(each.object, 10);
        EXPECT_GT(each.box.width, each.box.height);
        vehicles.insert(each.object);
      }
    }
    const std::vector<Figure>& before = without[static_cast<std::size_t>(seen.number - 1)].truth;
    ASSERT_EQ(visibilities.size(), before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
      EXPECT_LE(visibilities[i], before[i].visibility);
      if (visibilities[i] < before[i].visibility - 0.5) ++hidden;
    }
  }
  EXPECT_GE(vehicles.size(), 10U);
  EXPECT_GT(hidden, 0);
  for (const char* const label : {"human", "car", "truck"}) EXPECT_GT(labels[label], 50) << label;
}

TEST_F(Simulate, CameraMotionsMakeUpForThePan) {
  const SimulationOptions options = with([](SimulationOptions& each) {
    each.pan = 1.0;
    each.drop = 0.3;
  });
  Simulation simulation(options);
  std::map<int, std::pair<int, double>> last;  // by object: the frame, and where the box was
  double farthest = 0.0;
  double moved = 0.0;
  std::size_t compared = 0;
  for (const SeenFrame& seen : watch(simulation)) {
    farthest = std::max(farthest, std::abs(moved += seen.moved));
    for (const Figure& each : seen.truth) {
      const double left = each.box.left - moved;
      const auto [place, isNew] = last.try_emplace(each.object, seen.number, left);
      const int passed = seen.number - place->second.first;
      // The camera makes up to 51 pixels a frame, people hardly more than 12.
      EXPECT_LE(std::abs(left - place->second.second), 15.0 * passed) << seen.number << ' ' << each.object;
      compared += isNew ? 0 : 1;
      place->second = {seen.number, left};
    }
  }
  EXPECT_GT(compared, 500U);
  EXPECT_NEAR(farthest, 0.3 * 1280.0, 20.0);
}

TEST_F(Simulate, DroppedFramesLeaveGapsInTheSameWorld) {
  Simulation whole({});
  const std::vector<SeenFrame> all = watch(whole);
  Simulation dropping(with([](SimulationOptions& each) { each.drop = 0.25; }));
  const std::vector<SeenFrame> rest = watch(dropping);
  EXPECT_EQ(all.size(), 300U);
  EXPECT_NEAR(static_cast<double>(rest.size()), 225.0, 25.0);
  for (const SeenFrame& seen : rest) {
    const SeenFrame& same = all[static_cast<std::size_t>(seen.number - 1)];
    EXPECT_EQ(seen.frame.timestamp, same.frame.timestamp);
    EXPECT_EQ(seen.frame.timestamp, static_cast<std::uint64_t>(seen.number - 1) * 40'000'000U);
    ASSERT_EQ(seen.truth.size(), same.truth.size());
    for (std::size_t i = 0; i < seen.truth.size(); ++i) EXPECT_EQ(seen.truth[i].box.left, same.truth[i].box.left);
  }
}

/// The feature of the detection that lies where the figure is.
const std::vector<float>* featureOf(const Figure& figure, const Frame& frame) {
  for (const ObjectDetection& each : frame.detections) {
    const PixelBox box = toPixels(each.box, *frame.picture);
    const double off = std::abs(box.left - figure.box.left) + std::abs(box.top - figure.box.top);
    if (off < 0.1 * figure.box.height) return &each.feature.value();
  }
  return nullptr;
}

TEST_F(Simulate, PeopleComeBackAsThemselves) {
  Simulation simulation(with([](SimulationOptions& each) {
    each.frames = 1500;
    each.people = 8;
    each.reentries = 1.0;
  }));
  std::map<int, int> lastSeen;                  // frames, by object
  std::map<int, std::vector<float>> firstLook;  // features, by object
  int returns = 0;
  for (const SeenFrame& seen : watch(simulation)) {
    for (const Figure& each : seen.truth) {
      const int away =
          seen.number - std::exchange(lastSeen.try_emplace(each.object, seen.number).first->second, seen.number);
      EXPECT_TRUE(away <= 1 || away >= 50) << seen.number << ' ' << each.object;
      if (away > 1) ++returns;

      const std::vector<float>* const feature = featureOf(each, seen.frame);
      if (each.visibility < 1.0 || feature == nullptr) continue;
      const std::vector<float>& known = firstLook.try_emplace(each.object, *feature).first->second;
      EXPECT_GT(std::inner_product(feature->begin(), feature->end(), known.begin(), 0.0F), 0.6F)
          << seen.number << ' ' << each.object;
    }
  }
  EXPECT_EQ(firstLook.size(), 8U);
  EXPECT_GT(returns, 8);
}

}  // namespace nivra::tool::test
