#include <csignal>

#include "hostkit/files/interruption.h"
#include "hostkit/formats/motChallenge.h"
#include "hostkit/tuning/searchSpace.h"
#include "hostkit/tuning/tuning.h"
#include "toolRun.h"

namespace nivra::tool::test {

using namespace hostkit;

namespace {

const std::string kExpiration = "vanilla.expirationLikelihoodThreshold";

std::string row(int frame, int identity, double left, const char* rest) {
  return std::to_string(frame) + ',' + std::to_string(identity) + ',' + std::to_string(left) + rest;
}

/// The value of a parameter in a file of them; empty if it isn't there.
std::string valueIn(const std::string& params, const std::string& key) {
  for (const std::string& line : splitAt('\n', params)) {
    if (line.rfind(key + " = ", 0) == 0) return line.substr(key.size() + 3, line.find("  #") - key.size() - 3);
  }
  return "";
}

/// A number of the row that the comments of such a file have under a name.
double scoreIn(const std::string& params, const std::string& name, std::size_t column) {
  for (const std::string& line : splitAt('\n', params)) {
    if (line.rfind("#   " + name, 0) != 0) continue;
    std::istringstream numbers(line.substr(14));
    double number = 0.0;
    for (std::size_t i = 0; i <= column; ++i) numbers >> number;
    return number;
  }
  return -1.0;
}

}  // namespace

class Tune : public ToolTest {
 protected:
  /// Two people walk along; the detector misses one of them for a while, again and again, so that tracks that end soon
  /// get ever new identities.
  std::string flickering(const std::string& name, int gap, int frames = 120) const {
    std::string detections;
    std::string truth;
    for (int frame = 1; frame <= frames; ++frame) {
      for (const int identity : {1, 2}) {
        const double left = 100.0 + 500.0 * identity + 3.0 * frame;
        truth += row(frame, identity, left, ",200,60,160,1,1,1\n");
        const bool isMissed = identity == 1 && frame % 60 >= 60 - gap;
        if (!isMissed) detections += row(frame, -1, left, ",200,60,160,0.9\n");
      }
    }
    write(name + "/det/det.txt", detections);
    write(name + "/gt/gt.txt", truth);
    write(name + "/seqinfo.ini",
          "[Sequence]\nframeRate=25\nseqLength=" + std::to_string(frames) + "\nimWidth=1920\nimHeight=1080\n");
    return path(name);
  }

  /// What evaluation says of tracks that come about with some options.
  double scoreOf(const std::string& sequence, const Arguments& options, const std::string& figure) const {
    const std::string tracks = path("tracks.txt");
    EXPECT_EQ(nivra(Arguments{"track", sequence, "-o", tracks, "--force"} + options).code, 0);
    const auto lines = splitAt('\n', nivra({"eval", sequence, tracks, "--csv"}).out);
    const auto names = splitAt(',', lines.front());
    const auto column = std::find(names.begin(), names.end(), figure) - names.begin();
    return 100.0 * std::stod(splitAt(',', lines.back())[static_cast<std::size_t>(column)]);
  }
};

TEST_F(Tune, FindsTheBestOfAGridAndSaysWhatEvaluationSays) {
  const std::string sequence = flickering("street", 36);
  double best = 0.0;
  for (double threshold = -0.35; threshold <= 2.0; threshold += 0.05) {
    const std::string setting = kExpiration + "=" + std::to_string(threshold);
    best = std::max(best, scoreOf(sequence, {"--param", setting}, "IDF1"));
  }
  const double byDefault = scoreOf(sequence, {}, "IDF1");
  ASSERT_GT(best, byDefault + 5.0);

  const Outcome outcome =
      nivra({"tune", sequence, "--vary", kExpiration, "--objective", "IDF1", "--evaluations", "60"});
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  const std::string params = write("site.params", outcome.out);
  const double tuned = scoreOf(sequence, {"--params", params}, "IDF1");
  EXPECT_NEAR(tuned, best, 0.01) << outcome.out;
  EXPECT_NEAR(scoreIn(outcome.out, "tuned", 0), tuned, 0.006) << outcome.out;
  EXPECT_NEAR(scoreIn(outcome.out, "tuned", 1), scoreOf(sequence, {"--params", params}, "HOTA"), 0.006) << outcome.out;
  EXPECT_NEAR(scoreIn(outcome.out, "defaults", 0), byDefault, 0.006) << outcome.out;
  EXPECT_NEAR(scoreIn(outcome.out, "steady", 0), scoreOf(sequence, {"--preset", "steady"}, "IDF1"), 0.006);
  EXPECT_NE(outcome.out.find(", gives "), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("Nothing was held out"), std::string::npos) << outcome.out;
}

TEST_F(Tune, LeavesOutWhatGivesNothingAndKeepsWhatIsNotSearched) {
  const std::string sequence = flickering("street", 36);
  const Outcome outcome =
      nivra({"tune", sequence, "--vary", kExpiration, "--vary", "vanilla.scoreAbsorption", "--param",
             "vanilla.scoreAbsorption=0.3", "--param", "vanilla.widthFactorGating=0.9", "--evaluations", "40"});
  ASSERT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_NE(valueIn(outcome.out, kExpiration), "") << outcome.out;
  EXPECT_EQ(valueIn(outcome.out, "vanilla.scoreAbsorption"), "") << "it has nothing to do with identities";
  EXPECT_EQ(valueIn(outcome.out, "vanilla.widthFactorGating"), "0.9");
}

TEST_F(Tune, DependsOnTheSeedAloneAndHoldsSequencesOut) {
  for (const int gap : {20, 30, 36}) flickering("streets/gap" + std::to_string(gap), gap, 60);
  const auto tune = [&](const Arguments& options) {
    return nivra(Arguments{"tune", path("streets"), "--evaluations", "24", "--tracker", "hybrid", "--vary", "vanilla",
                           "--vary", "reid.kalman4d"} +
                 options);
  };
  const Outcome alone = tune({"--jobs", "1"});
  ASSERT_EQ(alone.code, 0) << alone.err;
  EXPECT_EQ(alone.out, tune({"--jobs", "4"}).out);
  EXPECT_NE(alone.out.find("Sequences: gap20, gap30, gap36."), std::string::npos) << alone.out;
  EXPECT_GT(scoreIn(alone.out, "held out", 0), 0.0) << alone.out;
  EXPECT_EQ(scoreIn(tune({"--folds", "1"}).out, "held out", 0), -1.0);

  // Where the truth stands doesn't matter.
  std::filesystem::create_directories(path("truth"));
  for (const char* const name : {"gap20", "gap30", "gap36"}) {
    std::filesystem::rename(path("streets") + "/" + name + "/gt/gt.txt", path("truth") + "/" + name + ".txt");
  }
  EXPECT_EQ(tune({"--truth", path("truth")}).code, 1) << "streets is no folder of sequences any more";
  const Outcome elsewhere =
      nivra({"tune", path("streets/gap20"), path("streets/gap30"), path("streets/gap36"), "--truth", path("truth"),
             "--evaluations", "24", "--tracker", "hybrid", "--vary", "vanilla", "--vary", "reid.kalman4d"});
  EXPECT_EQ(elsewhere.out, alone.out) << elsewhere.err;
}

TEST_F(Tune, LeavesTheBestSoFarWhenInterrupted) {
  const std::string sequence = flickering("street", 36);
  TuningOptions options;
  options.inputs = {{{sequence, &kMotChallenge}, {sequence}}};
  options.evaluations = 60;
  const Tuning whole = tune(options);
  EXPECT_FALSE(whole.isInterrupted);
  for (const int callsLeft : {3, 20, 40}) {
    int calls = callsLeft;
    options.isInterrupted = [&calls] { return calls == 0 || --calls == 0; };
    const Tuning early = tune(options);
    EXPECT_TRUE(early.isInterrupted);
    EXPECT_FALSE(early.heldOut);
    const double best = options.objective.of(early.scores.back().figures);
    for (const TunedParameter& each : early.changes) EXPECT_FALSE(each.gain) << each.key;
    if (callsLeft == 3) continue;  // not even the presets were tried
    for (const TunedScore& each : early.scores) {
      EXPECT_GE(best, options.objective.of(each.figures) - 1e-9) << each.name << " " << callsLeft;
    }
  }
  options.isInterrupted = [] { return true; };
  EXPECT_THROW(tune(options), FileError);
}

TEST(Interruption, IsNotedOnceInsteadOfEndingTheProcess) {
  {
    const InterruptionNoted interruption;
    EXPECT_FALSE(interruption.hasCome());
    std::raise(SIGINT);
    EXPECT_TRUE(interruption.hasCome());
    EXPECT_EXIT(std::raise(SIGINT), testing::KilledBySignal(SIGINT), "");
  }
  EXPECT_EXIT(std::raise(SIGTERM), testing::KilledBySignal(SIGTERM), "");
  EXPECT_FALSE(InterruptionNoted().hasCome());
}

TEST_F(Tune, BlamesWhatIsAtFaultByItsPlace) {
  const std::string sequence = flickering("street", 3, 20);
  const std::string detections = sequence + "/det/det.txt";
  const std::string bare = write("bare/det/det.txt", "1,-1,9,9,9,9,0.5\n");
  write("bare/seqinfo.ini", kInfo);
  const std::string twice = write("twice.txt", "1,1,9,9,9,9,1\n1,1,9,9,9,9,1\n");
  const std::string bad = write("bad.txt", "1,1,9,9,9,9,1\n\n2,one,9,9,9,9,1\n");
  const std::string existing = write("existing.params", "");
  struct Case {
    Arguments arguments;
    int code;
    std::string message;
  };
  const Case cases[] = {
      {{path("bare")}, 1, "no gt/gt.txt in " + path("bare") + "; --truth tells"},
      {{path("bare"), "--truth", twice}, 1, "identity 1 is twice in frame 1 (" + twice + ":2, id)"},
      {{path("bare"), "--truth", bad}, 1, "(" + bad + ":3, id)"},
      {{path("absent")}, 1, path("absent")},
      {{detections, "--truth", sequence}, 2, "give --picture WxH and --fps F"},
      {{sequence, path("bare"), "--truth", bad}, 2, "--truth " + bad + ": of several inputs, a folder"},
      {{path("bare"), "--truth", path("street/gt/..")}, 1, ""},
      {{sequence, "-o", existing}, 1, existing},
      {{sequence, "--vary", "vanilla.kalmann"},
       2,
       "--vary vanilla.kalmann: no parameter or section of this tracker; did"},
      {{sequence, "--vary", "reid"}, 2, "--vary reid: no parameter or section of this tracker"},
      {{sequence, "--vary", "vanilla.kalman.objectnessClasses"}, 2, "has no range to search"},
      {{sequence, "--objective", "HOTA,IDF2"}, 2, "--objective HOTA,IDF2: expected figures such as"},
      {{sequence, "--objective", "HOTA=-1"}, 2, "weight of HOTA: expected a number"},
      {{sequence, "--objective", "FP"}, 2, "--objective FP: "},
      {{sequence, "--param", "vanilla.scoreAbsorption=2"}, 2, "--param vanilla.scoreAbsorption=2: expected a number"},
      {{sequence, "--preset", "flikering"}, 2, "did you mean flickering?"},
      {{sequence, "--evaluations", "9"}, 2, "--evaluations 9: "},
  };
  for (const auto& [arguments, code, message] : cases) {
    if (message.empty()) continue;
    const Outcome outcome = nivra(Arguments{"tune"} + arguments);
    EXPECT_EQ(outcome.code, code) << message;
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find(message), std::string::npos) << message << " in " << outcome.err;
  }
}

TEST(SearchSpace, GoesThroughWhatIsUsualOnEachScale) {
  const std::string noise = "vanilla.kalman.processNoiseVariance";
  const std::string range = "vanilla.kalman.observationNoiseVarianceRangeX";
  const SearchSpace space(0, "--vary", {noise, kExpiration, range});
  ASSERT_EQ(space.dimensions(), 4U);
  EXPECT_TRUE(space.valuesAt(space.pointOf({})).empty()) << "the defaults are no change";
  const ParameterMap values = {{noise, "0.5"}, {kExpiration, "-0.2"}, {range, "1e-05, 0.0012"}};
  EXPECT_EQ(space.valuesAt(space.pointOf(values)), values);
  const ParameterMap beyond = {{noise, "1000"}, {kExpiration, "-3"}};
  const ParameterMap atTheEnds = {{noise, "10"}, {kExpiration, "-0.35"}};
  EXPECT_EQ(space.valuesAt(space.pointOf(beyond)), atTheEnds);
  // Halfway from 0.005 to 10 by factors, and a quarter of the way from -0.35 to 2 by steps.
  const ParameterMap middle = space.valuesAt({0.5, 0.25, 0.5, 0.5});
  EXPECT_EQ(middle.at(noise), "0.22");
  EXPECT_EQ(middle.at(kExpiration), "0.24");

  const SearchSpace times(1, "--vary", {"reid"});
  EXPECT_TRUE(checkParameters(1, times.valuesAt(SearchPoint(times.dimensions(), 0.37))).empty());
}

}  // namespace nivra::tool::test
