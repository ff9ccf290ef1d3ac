#include <fmt/format.h>
#include <fmt/ranges.h>
#include <simdjson.h>

#include <set>

#include "nivra/parameterTables.h"
#include "nivra/presets.h"
#include "toolRun.h"

namespace nivra::tool::test {

namespace {

constexpr const char* kTrackerNames[] = {"vanilla", "reid", "hybrid", "lowfps"};

/// The values of a member of all objects that `nivra params --json` lists.
std::vector<std::string> listed(const char* member, const std::vector<std::string>& options = {}) {
  simdjson::dom::parser parser;
  std::vector<std::string> values;
  for (const auto object : parser.parse(nivra(Arguments{"params", "--json"} + options).out).get_array()) {
    values.emplace_back(object[member].get_string().value());
  }
  return values;
}

}  // namespace

class Parameters : public ToolTest {};

TEST_F(Parameters, OfEveryTrackerAreTakenByItAndAllOthersRefused) {
  const std::vector<std::string> keys = listed("key");
  const std::vector<std::string> defaults = listed("default");
  const std::string input = sequence("1,-1,9,9,9,9,0.5\n");
  for (const char* const tracker : kTrackerNames) {
    const std::vector<std::string> ownKeys = listed("key", {"--tracker", tracker});
    const std::set<std::string> own(ownKeys.begin(), ownKeys.end());
    EXPECT_GT(own.size(), 0U);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const Outcome outcome = nivra({"track", input, "--tracker", tracker, "--param", keys[i] + "=" + defaults[i]});
      EXPECT_EQ(outcome.code, own.count(keys[i]) == 1 ? 0 : 2) << keys[i] << " " << outcome.err;
    }
  }
}

TEST_F(Parameters, ThatCannotBeMeantAreRefused) {
  for (const char* const tracker : {"hybrid", "lowfps"}) {
    for (const std::string& key : listed("key", {"--tracker", tracker})) {
      if (key.find("objectnessClasses") != std::string::npos) continue;
      const bool isPair = key.find("Range") != std::string::npos;
      for (const std::string value : {"nan", "inf", "-inf", "1e20", "-1e20"}) {
        const std::string setting = key + "=" + (isPair ? "0.5," + value : value);
        const Outcome outcome = nivra({"track", kPlaza, "--tracker", tracker, "--param", setting});
        EXPECT_EQ(outcome.code, 2) << setting;
        EXPECT_EQ(outcome.out, "") << setting;
      }
    }
  }
  const std::string key = "vanilla.kalman.observationNoiseVarianceX";
  EXPECT_EQ(nivra({"track", kPlaza, "--param", key + "=-1"}).err,
            "error: --param " + key + "=-1: expected a number from 1e-12 to 1e+06\n");
}

TEST_F(Parameters, ThatKeepEveryTrackAreWarnedOf) {
  const std::string key = "vanilla.expirationLikelihoodThreshold";
  for (const char* const value : {"-0.36", "-4", "-0.35"}) {
    const Outcome outcome = nivra({"track", kPlaza, "--param", key + "=" + value});
    EXPECT_EQ(outcome.code, 0);
    const std::string warning = "warning: " + key + "=" + value + " keeps every track for ever: ";
    EXPECT_EQ(outcome.err.rfind(warning, 0), value == std::string("-0.35") ? std::string::npos : 0U) << outcome.err;
  }
}

TEST_F(Parameters, FormAFileThatChangesNothing) {
  for (const char* const tracker : kTrackerNames) {
    const std::string file = write("defaults.params", nivra({"params", "--tracker", tracker}).out);
    const Outcome outcome = nivra({"track", kPlaza, "--tracker", tracker, "--params", file});
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out == nivra({"track", kPlaza, "--tracker", tracker}).out) << tracker;
  }
}

TEST_F(Parameters, ComeFromFilesAndThenFromArguments) {
  const std::string key = "vanilla.expirationLikelihoodThreshold";
  const auto outputFor = [&](const std::string& value) { return nivra({"track", kPlaza, "--param", key + value}).out; };
  const std::string patient = outputFor("=-4");
  const std::string hasty = outputFor("=5");
  ASSERT_GT(rowsOf(patient).size(), rowsOf(hasty).size());

  const std::string patientFile = write("patient", "# days\r\n; and\n\n \t" + key + "\t=  -4\t # 5 for nights\r\n");
  const std::string hastyFile = write("hasty", key + "=5");
  const std::pair<std::vector<std::string>, const std::string*> cases[] = {
      {{"--params", patientFile}, &patient},
      {{"--params", patientFile, "--params", hastyFile}, &hasty},
      {{"--params", hastyFile, "--params", patientFile}, &patient},
      {{"--param", key + "=5", "--params", patientFile}, &hasty},
      {{"--params", patientFile, "--param", key + "=-4", "--param", key + " = 5"}, &hasty},
  };
  for (const auto& [options, expected] : cases) {
    EXPECT_TRUE(nivra(Arguments{"track", kPlaza} + options).out == *expected)
        << fmt::format("{}", fmt::join(options, " "));
  }
}

TEST_F(Parameters, OfPresetsAreTakenByTheirTrackersBelowAllOthers) {
  const auto track = [](const std::string& tracker, const Arguments& options) {
    return nivra(Arguments{"track", kPlaza, "--to", "jsonl", "--tracker", tracker} + options);
  };
  std::set<std::string> outputs;
  std::size_t kinds = 0;
  for (const char* const tracker : kTrackerNames) {
    outputs.insert(track(tracker, {}).out);
    ++kinds;
    for (const std::string& preset : presetNames()) {
      const Outcome outcome = track(tracker, {"--preset", preset});
      EXPECT_EQ(outcome.err, "");
      outputs.insert(outcome.out);
      ++kinds;

      const std::string printed = nivra({"params", "--tracker", tracker, "--preset", preset}).out;
      const std::string file = write("preset.params", printed);
      EXPECT_TRUE(track(tracker, {"--params", file}).out == outcome.out) << tracker << " " << preset;

      const std::string defaults = write("defaults.params", nivra({"params", "--tracker", tracker}).out);
      EXPECT_TRUE(track(tracker, {"--preset", preset, "--params", defaults}).out == track(tracker, {}).out);

      const std::string key = printed.substr(0, printed.find(' '));
      const std::string listed = nivra({"params", "--tracker", tracker, "--preset", preset, "--json"}).out;
      EXPECT_NE(listed.find("\"key\":\"" + key + "\""), std::string::npos) << listed;
      EXPECT_NE(listed.find("\"value\":\""), std::string::npos) << listed;
    }
  }
  EXPECT_EQ(outputs.size(), kinds) << "each differs from all others";
  for (const std::string command : {"track", "params"}) {
    const Outcome outcome = nivra({command, "--preset", "stedy"});
    EXPECT_EQ(outcome.code, 2);
    EXPECT_EQ(outcome.err, "error: --preset stedy: expected steady or flickering; did you mean steady?\n");
  }
}

TEST_F(Parameters, OfFilesAreBlamedByFileLineAndKey) {
  const std::pair<const char*, const char*> cases[] = {
      {"vanilla.scoreAbsorption=1\n[vanilla]\n", "expected key=value (FILE:2, \"[vanilla]\")"},
      {"\n =1", "expected key=value (FILE:2, \"=1\")"},
      {"vanilla.scoreAbsorption #=1", "expected key=value (FILE:1, \"vanilla.scoreAbsorption\")"},
      {"vanilla.scoreAbsorption=1\n\n vanilla.scoreAbsorption = 2",
       "key given before, in line 1 (FILE:3, vanilla.scoreAbsorption)"},
      {"vanilla.scoreAbsorption=1#", "not a number (FILE:1, vanilla.scoreAbsorption)"},
      {"vanilla.scoreAbsorption= # 1", "not a number (FILE:1, vanilla.scoreAbsorption)"},
      {"#\nvanilla.scoreAbsorption=1e99", "number out of range (FILE:2, vanilla.scoreAbsorption)"},
      {"vanilla.kalman.no=1", "vanilla.kalman has no parameter \"no\" (FILE:1, vanilla.kalman.no)"},
      {"reid.lambda=1", "not read by the tracker \"vanilla\" (FILE:1, reid.lambda)"},
      {"vanilla.kalman.objectnessClasses=a", "(FILE:1, vanilla.kalman.objectnessClasses)"},
  };
  for (const auto& [text, complaint] : cases) {
    const std::string file = write("site.params", text);
    std::string expected = complaint;
    expected.replace(expected.find("FILE"), 4, file);
    // An argument for the same parameter doesn't hide what is wrong with the file.
    const Outcome outcome = nivra({"track", kPlaza, "--params", file, "--param", "vanilla.scoreAbsorption=0.5"});
    EXPECT_EQ(outcome.code, 1) << text;
    EXPECT_EQ(outcome.out, "") << text;
    EXPECT_NE(outcome.err.find(expected), std::string::npos) << expected << " in " << outcome.err;
  }
  EXPECT_EQ(nivra({"track", kPlaza, "--params", path("absent")}).err,
            "error: cannot read " + path("absent") + ": No such file or directory\n");
}

TEST_F(Parameters, PageIsFreshAndHasAllCellsInEveryRow) {
  const std::string page = nivra({"params", "--markdown"}).out;
  EXPECT_TRUE(page == contentOf(NIVRA_DOCS "/parameters.md"))
      << "docs/parameters.md is old: nivra params --markdown > docs/parameters.md renews it";
  std::size_t rows = 0;
  std::size_t columns = 0;
  for (const std::string& line : splitAt('\n', page)) {
    if (line.rfind("|---", 0) == 0) columns = static_cast<std::size_t>(std::count(line.begin(), line.end(), '|'));
    if (line.rfind("| `", 0) != 0) continue;
    ++rows;
    std::size_t bars = 1;  // the first character
    for (std::size_t i = 1; i < line.size(); ++i) bars += line[i] == '|' && line[i - 1] != '\\' ? 1 : 0;
    EXPECT_EQ(bars, columns) << line;
  }
  std::set<std::string> ofPresets;
  for (const std::string& preset : presetNames()) {
    for (const std::string& key : listed("key", {"--preset", preset})) ofPresets.insert(key);
  }
  EXPECT_EQ(rows, parameterSections().size() + listed("key").size() + ofPresets.size());
}

}  // namespace nivra::tool::test
