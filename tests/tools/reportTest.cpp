#include <fmt/format.h>

#include <map>
#include <sstream>

#include "hostkit/tracking/reportPolicy.h"
#include "toolRun.h"

namespace nivra::tool::test {

using namespace hostkit;

namespace {

constexpr std::uint64_t kFrame = 40'000'000;  // ns

float wayAfter(std::size_t frames) { return static_cast<float>(frames) / 16.0F; }

/// Reports of frame `number`, such as "3 4d 5dc 5>4": tracks, those with a detection and confirmed ones, and merges.
/// Tracks move to the right at a steady pace; but without a detection they stay at the left border.
FrameTracks tracksOf(std::size_t number, const std::string& text) {
  FrameTracks frame;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const auto arrow = word.find('>');
    if (arrow != std::string::npos) {
      frame.changes.mergedIds.emplace(std::stoi(word), std::stoi(word.substr(arrow + 1)));
      frame.changes.removedIds.insert(std::stoi(word));
      continue;
    }
    TrackReport& report = frame.tracks.emplace_back();
    report.track.id = std::stoi(word);
    report.track.confident = word.find('c') != std::string::npos;
    const bool isSeen = word.find('d') != std::string::npos;
    report.detectionId = isSeen ? 7 : -1;
    const float left = isSeen ? wayAfter(number) : -1.0F;
    report.track.box = {left, 0.5F, left + 0.25F, 0.0F};
  }
  return frame;
}

/// The same in words, with an exclamation mark where a track without a detection is on its way nevertheless.
std::string wordsOf(std::size_t number, const FrameTracks& frame) {
  std::string text;
  for (const auto& [track, detection] : frame.tracks) {
    const bool isOnItsWay = track.box.left == wayAfter(number) && track.box.right == wayAfter(number) + 0.25F;
    text += fmt::format("{}{}{}{}", text.empty() ? "" : " ", track.id,
                        detection >= 0 ? "d"
                        : isOnItsWay   ? "!"
                                       : "",
                        track.confident ? "c" : "");
  }
  return text;
}

using Frames = std::vector<std::string>;

Frames reported(const ReportPolicy& policy, const Frames& frames) {
  ReportStep step(policy);
  for (std::size_t i = 0; i < frames.size(); ++i) step.learn(i * kFrame, tracksOf(i, frames[i]));
  Frames told;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    FrameTracks frame = tracksOf(i, frames[i]);
    step.apply(i * kFrame, frame);
    told.push_back(wordsOf(i, frame));
  }
  return told;
}

std::string lineOf(const std::string& camera, int frame, const std::string& rest) {
  return fmt::format(R"({{"camera":"{}","timestamp":{},{}}})"
                     "\n",
                     camera, static_cast<std::uint64_t>(frame) * kFrame, rest);
}

/// Answers by their cameras, each camera's in order.
std::map<std::string, std::string> answersOfCameras(const std::string& text) {
  std::map<std::string, std::string> answers;
  for (const std::string& line : splitAt('\n', text)) answers[line.substr(0, line.find(','))] += line + "\n";
  return answers;
}

}  // namespace

TEST(ReportStepTest, TellsWhatItsPolicySays) {
  constexpr auto kAll = ReportedTracks::all;
  constexpr auto kConfident = ReportedTracks::confident;
  constexpr auto kSettled = ReportedTracks::settled;
  constexpr std::uint64_t kAlways = ReportPolicy::kAlways;
  const Frames life = {"1d", "1d 2d", "1dc 2", "1c", "1c", "1dc 3d", "1c"};
  const Frames returning = {"4dc", "4c", "5d", "5d", "5>4 4dc"};
  const Frames beside = {"4dc", "4c 5d", "4dc 5d", "4c 5d", "4c 5", "5d", "5>4 4dc"};
  const struct {
    ReportPolicy policy;
    Frames frames;
    Frames told;
  } cases[] = {
      {{kAll, kAlways}, life, life},
      {{kAll, 0}, life, {"1d", "1d 2d", "1dc", "", "", "1dc 3d", ""}},
      {{kAll, kFrame}, life, {"1d", "1d 2d", "1dc 2", "1c", "", "1dc 3d", "1c"}},
      {{kConfident, kAlways}, life, {"", "", "1dc", "1c", "1c", "1dc", "1c"}},
      {{kConfident, 0}, life, {"", "", "1dc", "", "", "1dc", ""}},
      {{kSettled, kAlways}, life, {"1d", "1d", "1dc", "1c", "1c", "1dc", "1c"}},
      {{kSettled, 2 * kFrame - 1}, life, {"1d", "1d", "1dc", "1c", "", "1dc", "1c"}},
      {{kAll, kAlways}, returning, {"4dc", "4c", "5d", "5d", "4dc"}},
      {{kConfident, kAlways}, returning, {"4dc", "4c", "", "", "4dc"}},
      {{kSettled, 0}, returning, {"4dc", "", "4d", "4d", "4dc"}},
      {{kSettled, kAlways}, beside, {"4dc", "4d", "4dc", "4d", "4c", "4d", "4dc"}},
      // Gaps.
      {{kAll, kAlways, 3 * kFrame}, life, {"1d", "1d 2d", "1dc 2", "1!c", "1!c", "1dc 3d", "1c"}},
      {{kAll, 0, 3 * kFrame}, life, {"1d", "1d 2d", "1dc", "1!c", "1!c", "1dc 3d", ""}},
      {{kAll, 0, 3 * kFrame - 1}, life, {"1d", "1d 2d", "1dc", "", "", "1dc 3d", ""}},
      {{kSettled, 0, 2 * kFrame}, returning, {"4dc", "4!c", "4d", "4d", "4dc"}},
      {{kAll, 0, 4 * kFrame}, returning, {"4dc", "", "5d", "5d", "4dc"}},
      {{kConfident, 0, 4 * kFrame}, {"6d", "6", "6dc", "6c", "6dc"}, {"", "", "6dc", "6!c", "6dc"}},
  };
  for (const auto& each : cases) EXPECT_EQ(reported(each.policy, each.frames), each.told);
}

TEST(ReportStepTest, TakesDetectedBoxesWithinThePicture) {
  std::vector<ObjectDetection> detections(2);
  detections[0].id = 7;
  detections[0].box = {-1.5F, 0.25F, 0.75F, -2.0F};
  detections[1].id = 2;
  for (const ReportedBoxes boxes : {ReportedBoxes::smoothed, ReportedBoxes::detected}) {
    FrameTracks frame = tracksOf(8, "1d 2");
    ReportStep({ReportedTracks::all, 0, 0, boxes}).chooseBoxes(detections, frame);
    const Box& box = frame.tracks[0].track.box;
    const bool isDetected = boxes == ReportedBoxes::detected;
    EXPECT_EQ((std::vector{box.left, box.top, box.right, box.bottom}),
              isDetected ? (std::vector{-1.0F, 0.25F, 0.75F, -1.0F}) : (std::vector{0.5F, 0.5F, 0.75F, 0.0F}));
    EXPECT_EQ(frame.tracks[1].track.box.left, -1.0F) << "no detection, no other box";
  }
}

class Report : public ToolTest {};

TEST_F(Report, TellsStreamsLateAsItTellsFiles) {
  const std::string plaza = nivra({"convert", kPlaza}).out;
  std::string stream;  // two cameras side by side, one of which begins anew
  int number = 0;
  for (std::string line : splitAt('\n', plaza)) {
    stream += line + "\n";
    line.replace(line.find("plaza"), 5, "other");
    stream += line + "\n";
    if (++number == 100)
      stream += R"({"camera":"other","end":true})"
                "\n"
                R"({"camera":"plaza","motion":{"matrix":[1,0,0,0,1,0]}})"
                "\n";
  }
  const std::string file = write("stream.jsonl", stream);
  const Arguments likeFiles = {"--report", "settled", "--hold", "100ms", "--boxes", "detected"};
  for (const char* const tracker : {"vanilla", "reid"}) {
    SCOPED_TRACE(tracker);
    const Arguments arguments = {"track", "--tracker", tracker};
    const Outcome ahead = nivra(arguments + Arguments{file});
    EXPECT_EQ(ahead.err, "");
    const Outcome late = nivraReading(stream, arguments + likeFiles + Arguments{"--delay", "1h"});
    EXPECT_EQ(answersOfCameras(ahead.out), answersOfCameras(late.out)) << late.err;
    EXPECT_EQ(nivra(arguments + Arguments{file, "--delay", "1h"}).out, late.out);
    EXPECT_EQ(splitAt('\n', ahead.out).size(), splitAt('\n', stream).size());
    const std::string atOnce = nivraReading(stream, arguments + likeFiles + Arguments{"--delay", "0"}).out;
    EXPECT_LT(atOnce.size(), late.out.size()) << "nobody was confirmed at once";
  }
}

TEST_F(Report, HoldsAnswersBackForAsLongAsItIsTold) {
  const std::string box = R"("detections":[{"box":[0.1,0.4,0.3,0.1],"label":"human"}])";
  std::string stream;
  for (int frame = 0; frame < 8; ++frame) stream += lineOf("a", frame, box);
  stream += R"({"camera":"a","motion":{"matrix":[1,0,0,0,1,0]}})"
            "\n" +
            lineOf("b", 0, box) + "{\n" + lineOf("a", 8, box) +
            R"({"camera":"a","end":true})"
            "\n";
  const Arguments late = {"track", "--labels", "human", "--report", "settled", "--delay"};
  const auto order = [&](const char* delay) {
    std::string said;
    for (const std::string& line : splitAt('\n', nivraReading(stream, late + Arguments{delay}).out)) {
      const auto time = line.find("\"timestamp\":");
      if (line.find("error") != std::string::npos)
        said += "! ";
      else if (line.find("motion") != std::string::npos)
        said += "motion ";
      else if (line.find("end") != std::string::npos)
        said += "end ";
      else
        said += fmt::format("{}{} ", line.substr(11, 1), std::stoull(line.substr(time + 12)) / kFrame);
    }
    return said;
  };
  EXPECT_EQ(order("0.04"), "a0 a1 a2 a3 a4 a5 a6 ! a7 motion a8 end b0 ");
  EXPECT_EQ(order("0.2"), "a0 a1 a2 ! a3 a4 a5 a6 a7 motion a8 end b0 ");
  EXPECT_EQ(order("10"), "! a0 a1 a2 a3 a4 a5 a6 a7 motion a8 end b0 ");
}

TEST_F(Report, RefusesWhatCannotBeKnown) {
  const std::pair<Arguments, const char*> cases[] = {
      {{"--report", "settled"}, "--report settled needs --delay TIME in a stream"},
      {{"--fill", "1"}, "--fill needs a file"},
      {{kPlaza, "--delay", "1", "--fill", "1"}, "--fill needs a file"},
      {{"--delay", "1"}, "--delay is for --report settled"},
      {{kPlaza, "--report", "some"}, "--report some: expected all, confident or settled"},
      {{kPlaza, "--boxes", "none"}, "--boxes none: expected smoothed or detected"},
      {{kPlaza, "--hold", "-1"}, "--hold -1: expected a time in seconds"},
      {{kPlaza, "--hold", "1m"}, "--hold 1m: expected a time in seconds"},
      {{kPlaza, "--hold", "1e10"}, "--hold 1e10: expected a time in seconds"},
  };
  for (const auto& [arguments, message] : cases) {
    const Outcome outcome = nivraReading("", Arguments{"track"} + arguments);
    EXPECT_EQ(outcome.code, 2);
    EXPECT_EQ(outcome.err.find(message), 7U) << outcome.err;
  }
}

TEST_F(Report, TakesTimesInEveryUnit) {
  const auto held = [&](const char* time) { return nivra({"track", kPlaza, "--hold", time}).out; };
  for (const char* const time : {"0.12s", "120ms", "0.002min", "3.333333333333e-5h"})
    EXPECT_EQ(held(time), held("0.12")) << time;
  EXPECT_NE(held("0.12"), held("0.11"));
}

}  // namespace nivra::tool::test
