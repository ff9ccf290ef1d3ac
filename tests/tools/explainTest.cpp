#include <fmt/format.h>
#include <simdjson.h>

#include <string>
#include <string_view>

#include "toolRun.h"

namespace nivra::tool::test {

namespace {

/// The decisions of a report, each by a function of its object.
template <class Take>
void forEachTold(const std::string& json, Take take) {
  simdjson::dom::parser parser;
  for (const simdjson::dom::element each : parser.parse(json)["told"]) take(each);
}

std::string textOf(const simdjson::dom::element& told, const char* field) {
  return std::string(std::string_view(told[field]));
}

/// One person on the way to the right, who jumps in frame 10 by so many widths and is missed in frame 9.
std::string jumping(double widths) {
  std::string rows;
  for (int frame = 1; frame <= 60; ++frame) {
    if (frame == 9) continue;
    const double left = 300 + 2 * frame + (frame < 10 ? 0.0 : 100.0 * widths);
    rows += fmt::format("{},-1,{},200,100,200,90\n", frame, left);
  }
  return rows;
}

}  // namespace

class Explain : public ToolTest {
 protected:
  std::string tell(const Arguments& arguments) const {
    const Outcome outcome = nivra(Arguments{"explain"} + arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return outcome.out;
  }
};

TEST_F(Explain, NamesTheNearestMissAndTheParameterThatWouldHaveChangedIt) {
  // With a filter that expects anything, the gate of the offset decides alone.
  const Arguments wide = {"--param", "vanilla.kalman.initialVelocityVariance=20", "--param",
                          "vanilla.kalman.processNoiseVariance=20"};
  const std::string input =
      sequence(jumping(1.25), "[Sequence]\nframeRate=25\nseqLength=60\nimWidth=1280\nimHeight=720\n");
  EXPECT_EQ(
      tell(Arguments{input} + wide),
      "2 identities\nframe 10 (0.360 s): id 1 began here because id 0, 0.08 s without detection, refused it: centre "
      "1.25 widths to the side, at most 1 (vanilla.widthFactorGating)\n"
      "    vanilla.widthFactorGating = 1.25 would have changed it; identities 1 instead of 2\n");

  int births = 0;
  forEachTold(tell(Arguments{input, "--json"} + wide), [&](const simdjson::dom::element& told) {
    ++births;
    EXPECT_EQ(textOf(told, "kind"), "birth");
    EXPECT_EQ(std::int64_t(told["other"]), 0);
    EXPECT_EQ(std::int64_t(told["detection"]), 0);
    EXPECT_TRUE(bool(told["check"]["turnsAround"]));
    EXPECT_EQ(std::int64_t(told["check"]["totals"]["identities"]), 1);
  });
  EXPECT_EQ(births, 1);
}

TEST_F(Explain, FollowsALifeAndLooksIntoAFrame) {
  const std::string input =
      sequence(jumping(5.0), "[Sequence]\nframeRate=25\nseqLength=60\nimWidth=1280\nimHeight=720\n");
  std::string changes;
  forEachTold(tell({input, "--id", "0", "--json", "--param", "vanilla.confidentLikelihoodThreshold=1"}),
              [&](const simdjson::dom::element& told) {
                changes += fmt::format("{}:{} ", std::int64_t(told["frame"]), textOf(told, "change"));
              });
  EXPECT_EQ(changes.substr(0, 8), "1:began ") << changes;
  EXPECT_NE(changes.find(":confirmed "), std::string::npos) << changes;
  EXPECT_NE(changes.find("9:none "), std::string::npos) << changes;
  EXPECT_EQ(changes.substr(changes.size() - 6), "ended ") << changes;
  const std::string frame = tell({input, "--frame", "5"});
  EXPECT_NE(frame.find("frame 5 (0.160 s): detection 0: id 0 took it, at a cost of "), std::string::npos) << frame;
}

TEST_F(Explain, CountsTheSwitchesOfEval) {
  const Arguments loose = {"--param", "vanilla.confidentLikelihoodThreshold=0"};
  ASSERT_EQ(nivra(Arguments{"track", kPlaza, "-o", path("plaza.txt")} + loose).code, 0);
  const Outcome eval = nivra({"eval", kPlaza, path("plaza.txt"), "--json"});
  simdjson::dom::parser parser;
  const double expected = parser.parse(eval.out).at_pointer("/results/0/CLEAR/IDSW");
  std::size_t switches = 0;
  forEachTold(tell(Arguments{kPlaza, "--truth", kPlaza, "--json"} + loose), [&](const simdjson::dom::element& told) {
    EXPECT_EQ(textOf(told, "kind"), "switch");
    EXPECT_NE(std::int64_t(told["track"]), std::int64_t(told["other"]));
    ++switches;
  });
  EXPECT_EQ(static_cast<double>(switches), expected);
  EXPECT_GT(switches, 0U);
}

TEST_F(Explain, TellsWhomIdentitiesFollowAtASwitch) {
  std::string detections;
  std::string truth;
  for (int frame = 1; frame <= 30; ++frame) {
    for (const int place : {0, 1}) {
      detections += fmt::format("{},-1,{},200,50,150,0.9\n", frame, 100 + 400 * place);
      const int person = frame < 10 ? place : 1 - place;  // as if they had changed places at once
      truth += fmt::format("{},{},{},200,50,150,1,1,1\n", frame, person + 1, 100 + 400 * place);
    }
  }
  const std::string input =
      sequence(detections, "[Sequence]\nframeRate=25\nseqLength=30\nimWidth=1280\nimHeight=720\n");
  const std::string told = tell({input, "--truth", write("gt.txt", truth)});
  EXPECT_NE(
      told.find("frame 10 (0.360 s): person 1 goes from id 0 to id 1: id 0 has gone to detection 0, and id 1 is on "
                "detection 1; id 0 follows person 2 from frame 10 on; id 1 followed person 2 until frame 9\n"),
      std::string::npos)
      << told;
}

TEST_F(Explain, CountsOnWhereACameraBeginsAnew) {
  std::string session;
  for (int frame = 0; frame < 9; ++frame) {
    session += fmt::format(
        R"({{"camera":"gate","picture":[640,480],"timestamp":1{}00000000,"detections":[{{"box":[{},9,99,99],"label":"car"}}]}})"
        "\n",
        frame, 10 + frame);
  }
  const std::string input = write("twice.jsonl", session + "{\"camera\":\"gate\",\"end\":true}\n" + session);
  EXPECT_EQ(
      tell({input, "--id", "0"}),
      "2 identities\nframe 1 (0.000 s): id 0 began here; no track was near\nframe 5 (0.400 s): id 0 was confirmed: "
      "smoothed log-likelihood 4.63, confirmed above 4 (vanilla.confidentLikelihoodThreshold)\n"
      "frame 9 (0.800 s): id 0 was there when its camera ended\n");
  for (int id = 0; id < 2; ++id) {
    const int before = 9 * id;
    EXPECT_EQ(
        tell({input, "--id", std::to_string(id)}),
        fmt::format("2 identities\nframe {0} (0.000 s): id {1} began here; no track was near\nframe {2} (0.400 s): id "
                    "{1} was confirmed: smoothed log-likelihood 4.63, confirmed above 4 "
                    "(vanilla.confidentLikelihoodThreshold)\nframe {3} (0.800 s): id {1} {4}\n",
                    before + 1, id, before + 5, before + 9,
                    id == 0 ? "was there when its camera ended" : "is there to the end"));
  }
}

TEST_F(Explain, TellsTheNarrowestDecisionsFirst) {
  double last = 0.0;
  std::size_t count = 0;
  forEachTold(tell({kPlaza, "--worst", "9", "--tracker", "hybrid", "--json"}), [&](const simdjson::dom::element& told) {
    EXPECT_GE(double(told["margin"]), last);
    last = told["margin"];
    ++count;
  });
  EXPECT_EQ(count, 9U);
}

TEST_F(Explain, KeepsOfACrowdTheNearestMisses) {
  constexpr int kPeople = 60;
  constexpr int kFrames = 6;
  std::string rows;
  for (int frame = 1; frame <= kFrames; ++frame) {
    for (int i = 0; i < kPeople; ++i) rows += fmt::format("{},-1,{},{},50,100,0.9\n", frame, 100 + i % 8, 100 + i / 8);
  }
  const std::string input = sequence(rows, "[Sequence]\nframeRate=25\nseqLength=6\nimWidth=1280\nimHeight=720\n");
  std::size_t decisions = 0;
  forEachTold(tell({input, "--worst", "99999", "--json"}),
              [&](const simdjson::dom::element& told) { decisions += textOf(told, "kind") == "decision" ? 1U : 0U; });
  EXPECT_GT(decisions, static_cast<std::size_t>(kPeople));
  EXPECT_LE(decisions, static_cast<std::size_t>(kPeople * kFrames * 6)) << "all are near to all";
}

TEST_F(Explain, RefusesWhatIsNotThere) {
  const struct {
    Arguments arguments;
    const char* message;
    int code = 2;
  } cases[] = {
      {{"-"}, "error: -: expected a file or a folder, as it is read several times\n"},
      {{"nowhere.txt"}, "error: cannot read nowhere.txt: No such file or directory\n", 1},
      {{kPlaza, "--id", "100000"}, "error: --id 100000: there is no such identity\n"},
      {{kPlaza, "--frame", "100000"}, "error: --frame 100000: there is no such frame\n"},
      {{kPlaza, "--camera", "yard"}, "error: --camera yard: there is no such camera\n"},
      {{NIVRA_SAMPLES "/stream.jsonl"}, "error: several cameras: --camera takes one of \"gate\", \"yard\"\n"},
  };
  for (const auto& [arguments, message, code] : cases) {
    const Outcome outcome = nivra(Arguments{"explain"} + arguments);
    EXPECT_EQ(outcome.code, code) << message;
    EXPECT_EQ(outcome.err, message);
  }
}

}  // namespace nivra::tool::test
