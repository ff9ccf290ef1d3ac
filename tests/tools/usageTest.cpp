#include <fcntl.h>

#include <cstdlib>

#include "toolRun.h"

namespace nivra::tool::test {

TEST(Usage, WrongCallsEndWithCodeTwoAndNameTheCulprit) {
  struct Case {
    std::vector<std::string> arguments;
    const char* message;
  };
  const std::string key = "vanilla.scoreAbsorption";
  const Case cases[] = {
      {{}, "expected one of the commands track, convert, eval, explain, tune, replay, plot, simulate, params (nivra --help "},
      {{"trakc"},
       "there is no command trakc, but track, convert, eval, explain, tune, replay, plot, simulate, params; did you mean track? "
       "(nivra --help "},
      {{"x"}, "there is no command x, but track, convert, eval, explain, tune, replay, plot, simulate, params (nivra --help "},
      {{"--verison"}, "--verison: expected a command before it; did you mean --version? (nivra --help "},
      {{"track", kPlaza, "--reprot", "all"}, "; did you mean --report? (nivra track --help "},
      {{"track", kPlaza, "--lables=car"}, "; did you mean --labels? (nivra track --help "},
      {{"params", "--mraknown"}, "; did you mean --markdown? (nivra params --help "},
      {{"simulate", "-o", "-"}, "a folder of files"},
      {{"track", kPlaza, "--param", "vanilla.scoreabsorbtion=1"}, "; did you mean scoreAbsorption?"},
      {{"track", kPlaza, "--fps", "30000/0"}, "--fps 30000/0: expected a number from 0.01 to 1000000, or a quotient"},
      {{"track", ""}, "INPUT"},
      {{"track", kPlaza, "--from", "avi"},
       "--from avi: expected jsonl, motchallenge, coco, yolo, kitti, csv or results"},
      {{"track", kPlaza, "--to", "coco"}, "coco files hold no tracks"},
      {{"track", kPlaza, kPlaza}, "-o takes a folder for them, which exists or ends in a slash"},
      {{"track", kPlaza, kPlaza, "-o", "unused/"}, "the tracks of two inputs would be called plaza.txt"},
      {{"track", kPlaza, "--associate", "car"}, "--associate car: "},
      {{"track", kPlaza, "--associate", "car=car,,bus"}, "--associate car,,bus: an empty label"},
      {{"track", kPlaza, "--labels", "car,"}, "--labels car,: an empty label"},
      {{"track", kPlaza, "--category", "one=car"}, "--category one: "},
      {{"track", kPlaza, "--idle-timeout", "0"}, "--idle-timeout 0: "},
      {{"track", kPlaza, "--scores", "many"}, "--scores many: expected fraction, percent or auto"},
      {{"track", kPlaza, "--fast"}, "--fast"},
      {{"track", kPlaza, "-o", ""}, "--output"},
      {{"track", kPlaza + "/det/det.txt"}, "give --picture WxH and --fps F"},
      {{"track", kPlaza, "--picture", "1280x0"}, "--picture 1280x0: "},
      {{"track", kPlaza, "--picture", "1280x72O"}, "--picture 1280x72O: "},
      {{"track", kPlaza, "--fps", "0"}, "--fps 0: "},
      {{"track", kPlaza, "--tracker", "best"}, "--tracker best: "},
      {{"track", kPlaza, "--param", key}, "--param vanilla.scoreAbsorption: expected section.name=value"},
      {{"track", kPlaza, "--param", key + "=abc"}, "--param vanilla.scoreAbsorption=abc: not a number"},
      {{"track", kPlaza, "--param", key + "=0.5x"}, "--param vanilla.scoreAbsorption=0.5x: not a number"},
      {{"track", kPlaza, "--param", key + "=1e99"}, "--param vanilla.scoreAbsorption=1e99: number out of range"},
      {{"track", kPlaza, "--param", key + "=0.1", "--param", "vanilla.noSuchKey=1"},
       "--param vanilla.noSuchKey=1: vanilla has no parameter \"noSuchKey\""},
      {{"track", kPlaza, "--param", "vanilla.kalman.no=1"}, "vanilla.kalman has no parameter \"no\""},
      {{"track", kPlaza, "--param", "reid.lambda=1"}, "--param reid.lambda=1: not read by the tracker \"vanilla\""},
      {{"track", kPlaza, "--param", "vanilla.kalman.observationNoiseVarianceRangeX=1"}, "two numbers"},
      {{"track", kPlaza, "--param", "vanilla.kalman.observationNoiseVarianceRangeX=1,2x"}, "two numbers"},
      {{"track", kPlaza, "--tracker", "reid", "--param", "reid.inactiveAge=1e9"}, "1e9: not a whole number"},
      {{"track", kPlaza, "--param", "vanila.scoreAbsorption=1"}, "there is no section \"vanila\""},
      {{"track", kPlaza, "--param", "vanilla-scoreAbsorption=1"}, "expected section.name"},
      {{"track", kPlaza, "--params", ""}, "--params"},
      {{"params", "--json", "--markdown"}, "--json"},
      {{"params", "--tracker", "best"}, "--tracker best: "},
      {{"simulate"}, "--output"},
      {{"simulate", "-o", "unused", "--seed", "-1"}, "--seed -1: "},
      {{"simulate", "-o", "unused", "--drop", "1"}, "--drop 1: "},
      {{"simulate", "-o", "unused", "--to", "csv"}, "--to csv: "},
      {{"simulate", "-o", "unused", "--vehicles", "5"}, "--to jsonl"},
      {{"simulate", "-o", "unused", "--pan", "0.1"}, "--to jsonl"},
  };
  for (const Case& each : cases) {
    const Outcome outcome = nivra(each.arguments);
    EXPECT_EQ(outcome.code, 2) << each.message;
    EXPECT_EQ(outcome.out, "") << each.message;
    EXPECT_EQ(outcome.err.rfind("error: ", 0), 0U);
    EXPECT_NE(outcome.err.find(each.message), std::string::npos) << each.message << " in " << outcome.err;
  }
}

TEST(Usage, HelpAndVersionAreWordsToo) {
  const std::pair<Arguments, Arguments> alike[] = {
      {{"help"}, {"--help"}}, {{"help", "track"}, {"track", "--help"}}, {{"version"}, {"--version"}}};
  for (const auto& [words, options] : alike) {
    const Outcome outcome = nivra(words);
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_NE(outcome.out, "");
    EXPECT_EQ(outcome.out, nivra(options).out);
  }
}

TEST(Usage, WaitingForATerminalIsSaid) {
  const int keyboard = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(keyboard >= 0 && grantpt(keyboard) == 0 && unlockpt(keyboard) == 0);
  const int terminal = open(ptsname(keyboard), O_RDWR | O_NOCTTY);
  for (const char* const command : {"track", "convert"}) {
    const std::string line = "{\"end\":false}\n\4";
    ASSERT_EQ(write(keyboard, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    const StandardInput input(terminal);
    const Outcome outcome = nivra({command, "-"});
    EXPECT_EQ(outcome.err, "waiting for jsonl from this terminal; control-D ends it, and --help tells more\n");
    EXPECT_NE(outcome.out.find(R"("camera":"stdin")"), std::string::npos);
  }
  close(terminal);
  close(keyboard);
}

}  // namespace nivra::tool::test
