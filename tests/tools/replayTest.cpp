#include <gtest/gtest.h>

#include <string>

#include "hostkit/errors.h"
#include "hostkit/evaluation/sequenceMatching.h"
#include "hostkit/formats/formats.h"
#include "hostkit/text/base64.h"
#include "toolRun.h"

namespace nivra::tool::test {
namespace {

using Replay = ToolTest;

const std::string kTracks = "1,1,10,10,20,40,1,-1,-1,-1\n2,1,11,10,20,40,1,-1,-1,-1\n4,1,13,10,20,40,1,-1,-1,-1\n";
const Arguments kOutline = {"--picture", "100x100", "--fps", "25"};

TEST_F(Replay, Base64ComesBackAtEveryLength) {
  std::string bytes;
  for (int length = 0; length < 260; ++length) {
    hostkit::TextBuffer text;
    hostkit::appendBase64(text, bytes);
    std::string back(hostkit::sizeFromBase64(text.view()).value(), '\0');
    EXPECT_EQ(text.view().size() % 4, 0U);
    EXPECT_FALSE(hostkit::decodeBase64(text.view(), back.data()));
    EXPECT_EQ(back, bytes);
    bytes.push_back(static_cast<char>(length * 37));
  }
}

TEST_F(Replay, TracksAreToldFromDetections) {
  const std::string detections = "1,-1,10,10,20,40,1\n";
  const std::string line = "{\"camera\":\"\\\"tracks\\\":\",\"picture\":[9,9],\"";
  const struct {
    const char* file;
    std::string text;
    bool areTracks;
  } cases[] = {
      {"a.txt", kTracks, true},
      {"b.txt", detections, false},
      {"c.txt", "1,0,10,10,20,40\n", true},
      {"d.txt", "Car 0 0 0 1 1 2 2 0 0 0 0 0 0 0\n", false},
      {"e.txt", "0 7 Car 0 0 0 1 1 2 2 0 0 0 0 0 0 0\n", true},
      {"f.csv", "frame,left,top,width,height\n1,1,1,1,1\n", false},
      {"g.csv", "frame,track_id,left,top,width,height\n1,1,1,1,1,1\n", true},
      {"h.jsonl", line + "detections\":[]}\n", false},
      {"i.jsonl", line + "tracks\":[]}\n", true},
      {"j.jsonl", "{\"error\":{\"line\":1,\"field\":\"\",\"message\":\"\"}}\n" + line + "tracks\":[]}\n", true},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.file);
    const std::string file = write(each.file, each.text);
    EXPECT_EQ(hostkit::holdsTracks(file, hostkit::recogniseFormat(file)), each.areTracks);
  }
}

hostkit::IdentifiedSequence sequenceOf(const std::vector<std::array<double, 3>>& frameIdentityLeft) {
  hostkit::IdentifiedSequence sequence;
  for (const auto& [frame, identity, left] : frameIdentityLeft) {
    auto& row = sequence.rows.emplace_back();
    row.frame = static_cast<int>(frame);
    row.identified = {{left, 0.0, 10.0, 10.0}, static_cast<std::int64_t>(identity)};
  }
  return sequence;
}

TEST_F(Replay, RowsOfTracksFindRowsOfTheTruth) {
  auto truth = sequenceOf({{1, 1, 0}, {1, 2, 50}, {2, 1, 0}, {3, 1, 0}});
  truth.rows[1].confidence = 0.0;  // need not be found
  // Of frame 3, someone else; in frame 9 there is nobody any more.
  const auto tracks = sequenceOf({{1, 7, 50}, {1, 5, 1}, {3, 6, 1}, {3, 8, 90}, {9, 6, 0}});
  const auto matching = hostkit::matchSequences(truth, tracks, hostkit::Preprocessing::none);
  constexpr int kNone = hostkit::SequenceMatching::kNone;
  constexpr int kNotCounted = hostkit::SequenceMatching::kNotCounted;
  EXPECT_EQ(matching.trackOfTruth, (std::vector<int>{1, kNotCounted, kNone, 2}));
  EXPECT_EQ(matching.truthOfTrack, (std::vector<int>{kNone, 0, 3, kNone, kNone}));
  EXPECT_EQ(matching.switches, std::vector<std::size_t>{3});
  EXPECT_EQ(matching.figures.clear.switches, 1.0);
  EXPECT_EQ(matching.figures.clear.frames, 9.0);
}

TEST_F(Replay, WhatDoesNotGoTogetherIsRefused) {
  const std::string tracks = write("tracks.txt", kTracks);
  const std::string other = path("nowhere");
  const std::string stream = NIVRA_SAMPLES "/stream.jsonl";
  write("empty/readme.md", "no picture");
  const struct {
    Arguments arguments;
    int code;
    std::string message;
  } cases[] = {
      {{"replay", tracks, "--tracker", "reid"}, 2, "no detections to be tracked"},
      {{"replay", tracks, "--beside", "reid"}, 2, "no detections to be tracked"},
      {{"replay", kPlaza, "--beside", "red"}, 2, "expected vanilla, reid"},
      {{"replay", kPlaza, "--beside", "reid nowhere.params"}, 1, "nowhere.params"},
      {{"replay", kPlaza, "--beside", "reid reid.nothing=1"}, 2, "reid.nothing"},
      {{"replay", "-", "--beside", "reid", "--tracker", "vanilla"}, 2, "can't read the standard input"},
      {{"replay", kPlaza, "--truth", other}, 1, "nowhere"},
      {{"replay", kPlaza, "--pictures", other}, 1, "nowhere"},
      {{"replay", kPlaza, "--pictures", path("empty")}, 1, "no pictures in"},
      {{"replay", kPlaza, "--video", other}, 1, "no such file"},
      {{"replay", stream, "--labels", "car", "--video", other}, 2, "CAMERA=PATH"},
      {{"plot", kPlaza, "--kind", "ways"}, 2, "expected trajectories, lives or hota"},
      {{"plot", kPlaza, "--kind", "hota"}, 2, "give --truth"},
      {{"plot", stream, "--labels", "car"}, 2, "there are 2 cameras: give --camera"},
      {{"plot", stream, "--labels", "car", "--camera", "roof"}, 1, "no camera roof"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.message);
    const Outcome outcome = nivra(each.arguments);
    EXPECT_EQ(outcome.code, each.code) << outcome.err;
    EXPECT_NE(outcome.err.find(each.message), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.out, "");
  }
}

std::size_t countOf(const std::string& piece, const std::string& text) {
  std::size_t count = 0;
  for (auto at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++count;
  return count;
}

TEST_F(Replay, PlotsShowEveryStretchAndEscapeNames) {
  const std::string tracks = write("tracks.txt", kTracks);
  const Arguments plot = Arguments{"plot", "--tracks", "<i>&\"=" + tracks} + kOutline;
  const Outcome ways = nivra(plot);
  EXPECT_EQ(ways.err, "");
  EXPECT_EQ(countOf("fill=\"none\" stroke=\"#00a0ff\"", ways.out), 2U);
  EXPECT_NE(ways.out.find(">&lt;i&gt;&amp;&quot;</text>"), std::string::npos);
  EXPECT_EQ(countOf("<i>", ways.out), 0U);

  const Outcome lives = nivra(plot + Arguments{"--kind", "lives"});
  EXPECT_EQ(countOf("<rect x=", lives.out), 2U);

  const Outcome hota = nivra({"plot", kPlaza, "--truth", kPlaza, "--kind", "hota", "--beside", "reid"});
  EXPECT_EQ(countOf("stroke-width=\"2\"", hota.out), 6U) << "three curves of two trackers";
}

}  // namespace
}  // namespace nivra::tool::test
