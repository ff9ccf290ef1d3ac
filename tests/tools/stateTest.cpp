#include <fcntl.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <csignal>
#include <iostream>
#include <regex>
#include <thread>
#include <utility>

#include "toolRun.h"

namespace nivra::tool::test {

namespace {

using Lines = std::vector<std::string>;

std::string textOf(Lines::const_iterator first, Lines::const_iterator last) {
  std::string text;
  for (; first != last; ++first) text += *first + '\n';
  return text;
}

std::string textOf(const Lines& lines) { return textOf(lines.begin(), lines.end()); }

Lines::const_iterator at(const Lines& lines, std::size_t number) {
  return lines.begin() + static_cast<std::ptrdiff_t>(number);
}

/// What comes true within a while.
template <class Condition>
bool waitFor(Condition condition) {
  for (int tries = 0; tries < 10'000; ++tries) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

/// Lines are numbered anew in each run.
std::string withoutNumbers(const std::string& answers) {
  return std::regex_replace(answers, std::regex(R"("error":\{"line":[0-9]+)"), "");
}

std::string contentIfThere(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The tool in a process of its own, which appends to a file.
class Process {
 public:
  Process(const Arguments& arguments, int input, const std::string& output) : child(fork()) {
    if (child != 0) return;
    dup2(input, STDIN_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, 0);  // the other ends of pipes among them
    dup2(open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666), STDOUT_FILENO);
    std::ofstream err(output + ".err", std::ios::binary);
    std::vector<const char*> argv = {"nivra"};
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    const int code = run(kNivra, static_cast<int>(argv.size()), argv.data(), {std::cout, err});
    err.flush();
    _exit(code);
  }

  bool hasEnded() {
    if (!ended) ended = waitpid(child, &status, WNOHANG) == child;
    return ended;
  }

  /// @return Its exit code, or minus the signal that ended it.
  int end(int signal = 0) {
    if (!ended && signal != 0) kill(child, signal);
    if (!ended) waitpid(child, &status, 0);
    ended = true;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  }

 private:
  pid_t child;
  int status = 0;
  bool ended = false;
};

struct Pipe {
  Pipe() { EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0); }
  ~Pipe() {
    close(ends[0]);
    finish();
  }
  void write(const std::string& text) const {
    EXPECT_EQ(::write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void finish() { close(std::exchange(ends[1], -1)); }

  std::array<int, 2> ends{};
};

const Arguments kTracking = {"track",  "--tracker", "reid",     "--report", "confident",
                             "--hold", "0.2",       "--labels", "human,car"};

}  // namespace

class TrackState : public ToolTest {
 protected:
  /// A camera's lines: it pans and says so, if it is asked to.
  Lines linesOf(const std::string& camera, int seed, bool pans) {
    const std::string world = path("world" + std::to_string(seed));
    const Outcome made = nivra({"simulate", "-o", world, "--to", "jsonl", "--frames", "100", "--feature-length", "4",
                                "--seed", std::to_string(seed), "--reentries", "0.5", "--pan", pans ? "0.1" : "0"});
    EXPECT_EQ(made.code, 0) << made.err;
    Lines lines = splitAt('\n', contentOf(world + "/detections.jsonl"));
    for (std::string& line : lines) line.replace(line.find("plaza"), 5, camera);
    return lines;
  }

  /// Two cameras by turns, one of which ends and begins anew; a bad line, and frames of a camera without times.
  void SetUp() override {
    ToolTest::SetUp();
    const Lines standing = linesOf("gate", 1, false);
    const Lines moving = linesOf("yard", 2, true);
    for (std::size_t i = 0; i < moving.size(); ++i) {
      if (i < standing.size()) input.push_back(standing[i]);
      input.push_back(moving[i]);
      if (i == 70) input.push_back(R"({"camera":"yard","end":true})");
      if (i == 70) input.push_back("nonsense");
      if (i % 10 == 0) input.push_back(R"({"camera":"door","detections":[{"box":[0.1,0.9,0.3,0.1],"score":90}]})");
    }
    answers = splitAt('\n', nivraReading(textOf(input), kTracking).out);
    ASSERT_EQ(answers.size(), input.size());
  }

  std::string inputBefore(std::size_t cut) const { return textOf(input.begin(), at(input, cut)); }
  std::string inputFrom(std::size_t cut) const { return textOf(at(input, cut), input.end()); }
  std::string answersFrom(std::size_t cut) const { return withoutNumbers(textOf(at(answers, cut), answers.end())); }

  Arguments withState(const Arguments& more = {}) const {
    return kTracking + Arguments{"--state", path("state")} + more;
  }

  Lines input;
  Lines answers;
};

TEST_F(TrackState, AnswersTheRestOfAnInputWhetherItIsRepeatedOrNot) {
  for (const std::size_t cut : {1UL, 77UL, 160UL, input.size()}) {
    SCOPED_TRACE(cut);
    const std::string beginning = inputBefore(cut);
    nivraReading(beginning, withState());
    const Outcome gone = nivraReading(inputFrom(cut), withState());
    EXPECT_EQ(withoutNumbers(gone.out), answersFrom(cut));
    EXPECT_EQ(gone.err, "");

    std::filesystem::remove(path("state"));
    nivraReading(beginning, withState());
    const Outcome repeated = nivraReading(inputBefore(input.size()), withState());
    EXPECT_EQ(withoutNumbers(repeated.out), answersFrom(cut));
    EXPECT_EQ(repeated.err, std::to_string(cut) + " records passed over, which were answered before " + path("state") +
                                " was written\n");

    std::filesystem::remove(path("state"));
    nivra(withState({write("grows.jsonl", beginning)}));
    const Outcome grown = nivra(withState({write("grows.jsonl", inputBefore(input.size()))}));
    EXPECT_EQ(withoutNumbers(grown.out), answersFrom(cut));
    std::filesystem::remove(path("state"));
  }
}

TEST_F(TrackState, TakesAnotherFileForWhatComesNext) {
  nivra(withState({write("monday.jsonl", inputBefore(100))}));
  const std::string tuesday = write("tuesday.jsonl", inputFrom(100));
  EXPECT_EQ(withoutNumbers(nivra(withState({tuesday})).out), answersFrom(100));
  EXPECT_EQ(nivra(withState({tuesday})).out, "") << "is known by now";
  std::swap(input[101], input[102]);
  const Outcome other = nivra(withState({write("tuesday.jsonl", inputFrom(100))}));
  EXPECT_EQ(other.code, 1);
  EXPECT_NE(other.err.find("of an input that began as this one, but was another one within"), std::string::npos);
}

TEST_F(TrackState, LosesNothingOfAnInputThatIsRepeatedWheneverItIsKilled) {
  const std::string whole = write("input.jsonl", textOf(input));
  const std::string output = path("output");
  std::size_t answered = 0;
  int kills = 0;
  for (int run = 0; answered < answers.size(); ++run) {
    ASSERT_LT(run, 200);
    std::filesystem::remove(output);
    Process process(withState({whole, "--state-every", "0.002"}), STDIN_FILENO, output);
    const auto enough = static_cast<std::size_t>(30'000 * (run % 3));
    ASSERT_TRUE(waitFor([&] { return process.hasEnded() || contentIfThere(output).size() > enough; }));
    if (process.end(SIGKILL) == -SIGKILL) ++kills;
    const std::string text = contentIfThere(output);
    const Lines piece = splitAt('\n', text.substr(0, text.rfind('\n') + 1));
    bool fits = piece.empty();
    for (std::size_t from = answered + 1; !fits && from-- > 0;) {
      fits = from + piece.size() <= answers.size() && std::equal(piece.begin(), piece.end(), at(answers, from));
      if (fits) answered = std::max(answered, from + piece.size());
    }
    ASSERT_TRUE(fits) << "answers are missing, or others";
  }
  EXPECT_GT(kills, 0);
}

TEST_F(TrackState, EndsALineThatWasTorn) {
  nivraReading(inputBefore(100), withState());
  for (const std::string told : {"", "line\n", "torn"}) {
    write("output", told);
    const Arguments arguments = withState({write("input.jsonl", inputBefore(101))});
    const std::string state = contentOf(path("state"));
    Process(arguments, STDIN_FILENO, path("output")).end();
    EXPECT_EQ(contentOf(path("output")), told + (told == "torn" ? "\n" : "") + answers[100] + '\n');
    write("state", state);
  }
}

TEST_F(TrackState, IsKeptWhenASignalOrTheTimeAsksForIt) {
  const std::string begun = inputBefore(100);
  const std::string told = nivraReading(begun, withState()).out;
  const std::string expected = contentOf(path("state"));
  struct Case {
    int signal;
    Arguments options;
  };
  for (const Case& ended : {Case{SIGTERM, {}}, {SIGINT, {}}, {SIGKILL, {"--state-every", "0.01"}}}) {
    SCOPED_TRACE(ended.signal);
    std::filesystem::remove(path("state"));
    std::filesystem::remove(path("output"));
    const Pipe pipe;
    Process process(withState(ended.options), pipe.ends[0], path("output"));
    pipe.write(begun + input[100].substr(0, 20));  // nothing more comes, and still the time passes
    const auto hasKept = [&] { return ended.signal != SIGKILL || contentIfThere(path("state")) == expected; };
    EXPECT_TRUE(waitFor([&] { return contentIfThere(path("output")) == told && hasKept(); }));
    EXPECT_EQ(process.end(ended.signal), ended.signal == SIGKILL ? -SIGKILL : 0);
    EXPECT_EQ(contentOf(path("output")), told);
    EXPECT_EQ(contentOf(path("state")), expected);
  }
}

TEST_F(TrackState, StaysAsItIsWhereItCannotBeReplaced) {
  std::filesystem::create_directory(path("folder"));
  Pipe pipe;
  const Arguments arguments = kTracking + Arguments{"--state", path("folder/state"), "--state-every", "0"};
  Process process(arguments, pipe.ends[0], path("output"));
  ASSERT_TRUE(waitFor([&] { return std::filesystem::exists(path("folder/state")); }));
  std::filesystem::rename(path("folder"), path("elsewhere"));
  pipe.write(textOf(input));
  pipe.finish();
  EXPECT_EQ(process.end(), 1);
  EXPECT_EQ(contentOf(path("output")), textOf(answers));
  const Lines told = splitAt('\n', contentOf(path("output.err")));
  ASSERT_EQ(told.size(), 2U);
  EXPECT_EQ(told[0].find("warning: cannot write " + path("folder/state")), 0U) << told[0];
  EXPECT_EQ(told[1].find("error: cannot write " + path("folder/state")), 0U) << told[1];
}

TEST_F(TrackState, KeepsWhatAFaultEnds) {
  EXPECT_EQ(nivraReading(inputBefore(100) + "nonsense\n", withState({"--strict"})).code, 1);
  EXPECT_EQ(withoutNumbers(nivraReading(inputFrom(100), withState()).out), answersFrom(100));
}

TEST_F(TrackState, IsRefusedWhereItCannotBeTakenUpOrKept) {
  const std::string file = write("input.jsonl", textOf(input));
  ASSERT_EQ(nivraReading(textOf(input), withState()).code, 0);
  const std::string state = contentOf(path("state"));
  std::string later = state;
  later[4] = 9;
  struct Case {
    std::string content;
    Arguments arguments;
    int code;
    std::string err;
  };
  const std::string place = " (" + path("state") + ")\n";
  const std::string stream = "error: stored state of a stream: ";
  const std::string cameras = "error: stored state of a stream's cameras: ";
  const Case cases[] = {
      {"nonsense", {}, 1, stream + "these bytes are none" + place},
      {state.substr(0, 500), {}, 1, stream + "cut: "},
      {state.substr(0, 500) + '!' + state.substr(501), {}, 1, stream + "damaged" + place},
      {later, {}, 1, stream + "of a later version, 9, than 1, the newest known here" + place},
      {state, {"--max-detections", "9"}, 1, cameras + "of other options" + place},
      {state,
       {"--param", "reid.lambda=0.3"},
       1,
       "error: stored state of a tracker: of another tracker, other parameters or other label associations" + place},
      {state, {file, file}, 2, "error: --state is for one input"},
      {state, {"--fill", "1"}, 2, "error: --state is for tracks that are told at once"},
      {state, {"--events"}, 2, "error: --state is for tracks in jsonl"},
      {state, {"--to", "csv"}, 2, "error: --state is for tracks in jsonl"},
      {state, {"--from", "csv", "--picture", "9x9"}, 2, "error: --state needs files of csv"},
      {state,
       {"--state-every", "1", "-o", path("out")},
       2,
       "error: --state-every is for tracks that are shown at once"},
  };
  for (const Case& each : cases) {
    write("state", each.content);
    const Outcome outcome = nivraReading(textOf(input), withState(each.arguments));
    EXPECT_EQ(outcome.code, each.code) << each.err;
    EXPECT_EQ(outcome.err.substr(0, each.err.size()), each.err);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(contentOf(path("state")), each.content) << "stays as it is";
  }
  EXPECT_EQ(nivra({"track", file, "--state-every", "1"}).code, 2);
  EXPECT_EQ(nivra(kTracking + Arguments{file, "--state", path("no/such/state")}).code, 1);
  EXPECT_EQ(nivra(kTracking + Arguments{file, "--state", path("")}).err, "error: not a file (" + path("") + ")\n");
}

}  // namespace nivra::tool::test
