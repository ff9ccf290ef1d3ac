#include "hostkit/tracking/answers.h"

#include <memory>

#include "hostkit/errors.h"
#include "hostkit/formats/jsonLines.h"
#include "toolRun.h"

namespace nivra::tool::test {
namespace {

using namespace hostkit;

/// A place of people with features, and between them twice the sample of two cameras, with a movement, ends and a
/// fault.
std::vector<std::string> linesOfCameras() {
  std::vector<std::string> lines = splitAt('\n', nivra({"convert", kPlaza}).out);
  lines.resize(120);
  const std::vector<std::string> sample = splitAt('\n', contentOf(NIVRA_SAMPLES "/stream.jsonl"));
  lines.insert(lines.begin() + 40, sample.begin(), sample.end());
  lines.insert(lines.begin() + 80, sample.begin(), sample.end());
  return lines;
}

/// Answers lines one by one.
class Conversation {
 public:
  Conversation(const AnswerOptions& answerOptions, const std::string& tracker)
      : options(answerOptions),
        recipe(parseTrackerChoice(tracker), {}),
        parser(parseJsonLines({}, "test")),
        answers(options, recipe, associationsOf(options, std::nullopt), kJsonLines) {}

  std::string answer(const std::string& line, std::uint64_t number) {
    const std::string padded = line + std::string(kJsonMargin, '\0');
    Record record;
    parser->read({std::string_view(padded).substr(0, line.size()), number, "plaza"}, record);
    answers.take(record, number);
    return std::string(answers.text());
  }

  AnswerOptions options;
  TrackerRecipe recipe;
  std::unique_ptr<JsonLineParser> parser;
  Answers answers;
};

AnswerOptions optionsLike(bool special) {
  AnswerOptions options;
  options.labels = {"human", "car"};
  options.debug = special;
  if (special) {
    options.report.tracks = ReportedTracks::confident;
    options.report.hold = 100'000'000;
  }
  return options;
}

TEST(Answers, GoOnFromTheirStateWithTheSameBytes) {
  const std::vector<std::string> lines = linesOfCameras();
  for (const char* const tracker : {"vanilla", "reid", "hybrid", "lowfps"}) {
    for (const bool special : {false, true}) {
      SCOPED_TRACE(std::string(tracker) + (special ? ", with options" : ""));
      const AnswerOptions options = optionsLike(special);
      Conversation whole(options, tracker);
      auto resumed = std::make_unique<Conversation>(options, tracker);
      std::string state;
      for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i % 7 == 0) {
          resumed->answers.saveState(state);
          resumed = std::make_unique<Conversation>(options, tracker);
          resumed->answers.restoreState(state);
        }
        ASSERT_EQ(resumed->answer(lines[i], i + 1), whole.answer(lines[i], i + 1)) << "line " << i + 1;
      }
    }
  }
}

TEST(Answers, RefuseStatesThatAreNotTheirs) {
  Conversation vanilla(optionsLike(false), "vanilla");
  vanilla.answer(R"({"detections":[{"box":[0,1,1,0]}]})", 1);
  std::string state;
  vanilla.answers.saveState(state);
  std::string damaged = state;
  damaged[damaged.size() / 2] ^= 1;
  std::string later = state;
  later[4] = 2;
  struct Case {
    std::string state;
    bool special;
    const char* tracker;
    const char* reason;
  };
  const Case cases[] = {{state, true, "vanilla", "of other options"},
                        {state, false, "reid", "of another tracker, other parameters"},
                        {damaged, false, "vanilla", "damaged"},
                        {later, false, "vanilla", "later"},
                        {"nonsense and more of it, so that a head would fit", false, "vanilla", "none"}};
  const auto complaintOf = [](const Case& each) -> std::string {
    Conversation other(optionsLike(each.special), each.tracker);
    try {
      other.answers.restoreState(each.state);
    } catch (const StateError& fault) {
      return fault.what();
    }
    return "nothing";
  };
  for (const Case& each : cases) {
    const std::string complaint = complaintOf(each);
    EXPECT_NE(complaint.find(each.reason), std::string::npos) << complaint;
  }
  for (std::size_t length = 0; length < state.size(); ++length) {
    EXPECT_NE(complaintOf({state.substr(0, length), false, "vanilla", ""}), "nothing") << length;
  }
}

TEST(Answers, AreNotStoredWhereTheyDependOnMore) {
  std::string state;
  AnswerOptions late = optionsLike(false);
  late.report.tracks = ReportedTracks::settled;
  late.report.delay = 1'000'000'000;
  EXPECT_THROW(Conversation(late, "vanilla").answers.saveState(state), UsageError);
  AnswerOptions counting = optionsLike(false);
  counting.events.emplace();
  EXPECT_THROW(Conversation(counting, "vanilla").answers.saveState(state), UsageError);
}

}  // namespace
}  // namespace nivra::tool::test
