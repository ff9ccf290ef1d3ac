#include <fcntl.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <map>
#include <set>
#include <streambuf>

#include "hostkit/formats/motChallenge.h"
#include "toolRun.h"

namespace nivra::tool::test {

using namespace hostkit;

namespace {

namespace fs = std::filesystem;

constexpr char kWalk[] =
    "1,-1,100,200,50,120,0.9\n"
    "2,-1,104,200,50,120,0.9\n"
    "3,-1,108,200,50,120,0.9\n";

}  // namespace

class Track : public ToolTest {};

TEST_F(Track, NamesTheFieldOfAMalformedLineAndLeavesTheOutputAlone) {
  struct Case {
    const char* line;
    const char* field;
  };
  const Case cases[] = {
      {"2,-1,1,2,3,4", "conf"},
      {"2 -1 1 2 3 4 0.5", "frame"},
      {"two,-1,1,2,3,4,0.5", "frame"},
      {"0,-1,1,2,3,4,0.5", "frame"},
      {"11,-1,1,2,3,4,0.5", "frame"},
      {"99999999999999999999,-1,1,2,3,4,0.5", "frame"},
      {"2,,1,2,3,4,0.5", "id"},
      {"2,-1,0x12,2,3,4,0.5", "left"},
      {"2,-1,inf,2,3,4,0.5", "left"},
      {"2,-1,1,nan,3,4,0.5", "top"},
      {"2,-1,1,1e400,3,4,0.5", "top"},
      {"2,-1,1,2,-3,4,0.5", "width"},
      {"2,-1,1,2,3,-0.01,0.5", "height"},
      {"2,-1,1,2,3,4,0.5.5", "conf"},
      {"2,-1,1,2,3,4,0.5,-1,x,-1", "column 9"},
      {"2,-1,1,2,3,4,0.5,-1,-1,-1,-1", "column 11"},
  };
  const std::string output = write("tracks.txt", "good");
  for (const Case& each : cases) {
    const std::string input = sequence(std::string("1,-1,1,2,3,4,0.5\n\n") + each.line + "\n2,-1,1,2,3,4,0.5\n");
    const Outcome outcome = nivra({"track", input, "--force", "-o", output});
    EXPECT_EQ(outcome.code, 1) << each.line;
    const std::string place = "(" + input + "/det/det.txt:3, " + each.field + ")\n";
    EXPECT_EQ(outcome.err.substr(0, 7), "error: ");
    EXPECT_NE(outcome.err.find(place), std::string::npos) << each.line << ": " << outcome.err;
    EXPECT_EQ(contentOf(output), "good");
    EXPECT_EQ(filesHere(), (std::vector<std::string>{"sequence", "tracks.txt"}));
  }
}

TEST_F(Track, TakesEveryHarmlessWayToWriteALine) {
  const std::string plain =
      nivra(Arguments{"track", sequence("1,-1,10,20,0,0,0.5\n2,-1,10,20,30,40,1\n")} + kAsStreams).out;
  EXPECT_EQ(rowsOf(plain).size(), 1U) << "nothing is there to tell of a box without area";
  const char* const spellings[] = {
      "1,-1,10,20,0,0,0.5\r\n2,-1,10,20,30,40,1\r\n",
      "\n  \n1 , -1,\t10.0,2e1,0,0,.5\n\r\n2,-1,10,20,30,40,1",
      "1,7,10,20,0,0,0.5,1,2,3\n2,-1,10,20,30,40,1,-1\n",
  };
  for (const char* const spelling : spellings) {
    EXPECT_EQ(nivra(Arguments{"track", sequence(spelling)} + kAsStreams).out, plain) << spelling;
  }
}

TEST_F(Track, NamesTheKeyOfABrokenSequenceFile) {
  struct Case {
    const char* info;
    const char* place;
  };
  const Case cases[] = {
      {"", "seqinfo.ini, frameRate)"},
      {"[Sequence]\nframeRate=25\nseqLength=9\nimWidth=64\n", "seqinfo.ini, imHeight)"},
      {"[Sequence]\nframeRate=fast\nseqLength=9\nimWidth=64\nimHeight=48\n", "seqinfo.ini:2, frameRate)"},
      {"[Sequence]\nframeRate=0\nseqLength=9\nimWidth=64\nimHeight=48\n", "seqinfo.ini:2, frameRate)"},
      {"[Sequence]\nframeRate=25\nseqLength=2000000000\nimWidth=64\nimHeight=48\n", "seqinfo.ini:3, seqLength)"},
      {"[Sequence]\n; size\nframeRate=25\nseqLength=9\nimWidth=-64\nimHeight=48\n", "seqinfo.ini:5, imWidth)"},
      {"[Sequence]\nframeRate=25\nseqLength=9\nimWidth=64\nimHeight=48px\n", "seqinfo.ini:5, imHeight)"},
      {"[Sequence]\nframeRate=25\nframeRate=30\n", "seqinfo.ini:3, frameRate)"},
      {"[Sequence]\nframeRate 25\n", "seqinfo.ini:2, \"frameRate 25\")"},
  };
  for (const Case& each : cases) {
    const Outcome outcome = nivra({"track", sequence(kWalk, each.info)});
    EXPECT_EQ(outcome.code, 1) << each.info;
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find(each.place), std::string::npos) << each.info << outcome.err;
  }
}

TEST_F(Track, RefusesInputsThatItCannotUse) {
  fs::create_directories(path("empty"));
  write("late.txt", "10000001,-1,1,2,3,4,1\n");
  sequence(kWalk);
  const std::string header(8, '\0');
  const std::string three("\3\0\0\0\1\0\0\0", 8);
  const struct {
    const char* input;
    const char* message;
    std::string features = {};
  } cases[] = {
      {"absent", "absent: No such file or directory"},
      {"empty", "neither det/det.txt nor det.txt in "},
      {"late.txt", "late.txt:1, frame)"},
      {"sequence", "feat.bin, header)", "short"},
      {"sequence", "feat.bin, rows)", header},
      {"sequence", "feat.bin, columns)", three + "12345678"},
      {"sequence", "feat.bin, columns)", three + "1234567890123"},
  };
  for (const auto& each : cases) {
    if (!each.features.empty()) write("sequence/det/feat.bin", each.features);
    const Outcome outcome = nivra({"track", path(each.input), "--picture", "64x48", "--fps", "5"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(outcome.err.find(each.message), std::string::npos) << outcome.err;
  }
}

TEST_F(Track, ReadsDetectionsIntoTheLibrarysTerms) {
  const std::string file = write("det.txt",
                                 "3,-1,0,0,640,360,0.25\n"
                                 "1,-1,320,180,640,360,0.5\n"
                                 "3,-1,-64,0,1280,900,1\n");
  ReadSettings settings;
  settings.picture = PictureSize{1280, 720};
  settings.frameRate = 5.0;
  settings.label = "car";
  const Sequence sequence = readMotChallenge(file, settings);

  std::string read;
  for (const auto& [frame, detection, hasScore] : sequence.detections) {
    const Box& box = detection.box;
    read += fmt::format("{}: {} {} {} {} {} {}, ", frame, box.left, box.top, box.right, box.bottom, detection.score,
                        detection.classifications.at(0).label);
  }
  EXPECT_EQ(sequence.frameCount, 3);
  EXPECT_EQ(read, "1: -0.5 0.5 0.5 -0.5 50 car, 3: -1 1 0 0 25 car, 3: -1.1 1 0.9 -1.5 100 car, ");
}

TEST_F(Track, TakesConfidencesForFractionsOnlyWhenAllOfThemCanBe) {
  struct Case {
    const char* otherConfidence;
    float score;
  };
  for (const Case& each : {Case{"1", 50.0F}, Case{"0", 50.0F}, Case{"1.01", 0.5F}, Case{"-0.01", 0.5F}}) {
    const std::string input = sequence(std::string("1,-1,9,9,9,9,0.5\n2,-1,500,500,9,9,") + each.otherConfidence);
    EXPECT_EQ(readMotChallenge(input, {}).detections[0].detection.score, each.score) << each.otherConfidence;
    EXPECT_EQ(rowsOf(nivra(Arguments{"track", input} + kAsStreams).out)[0][6], 0.5) << each.otherConfidence;
  }
}

TEST_F(Track, FeedsEveryFrameAtItsTime) {
  // Frames 1, 3, 5 and 6 hold nothing, the last of them known from seqLength alone.
  const std::string input = sequence("4,-1,110,200,50,120,0.9\n2,-1,100,200,50,120,0.9\n",
                                     "[Sequence]\nframeRate=30\nseqLength=6\nimWidth=1000\nimHeight=500\n");
  const unsigned long long times[] = {0, 33333333, 66666667, 100000000, 133333333, 166666667};
  const std::map<int, Box> boxes = {{2, {-0.8F, 0.2F, -0.7F, -0.28F}}, {4, {-0.78F, 0.2F, -0.68F, -0.28F}}};
  const ParameterMap patient = {{"vanilla.expirationLikelihoodThreshold", "-50"}};
  const auto tracker = makeTracker(0, patient, {{"human", {"human"}}}, 2.0F);
  std::vector<std::vector<double>> expected;
  for (int frame = 1; frame <= 6; ++frame) {
    std::vector<ObjectDetection> detections(boxes.count(frame));
    for (ObjectDetection& detection : detections) {
      detection.box = boxes.at(frame);
      detection.label = "human";
    }
    tracker->update(detections, times[frame - 1]);
    for (const TrackedObjectDetection& track : tracker->getTracks()) {
      const double left = (static_cast<double>(track.box.left) + 1) * 500;
      const double top = (1 - static_cast<double>(track.box.top)) * 250;
      expected.push_back({1.0 * frame, track.id + 1.0, left, top});
    }
  }
  const auto rows =
      rowsOf(nivra(Arguments{"track", input, "--param", "vanilla.expirationLikelihoodThreshold=-50"} + kAsStreams).out);
  ASSERT_EQ(rows.size(), 5U);
  ASSERT_EQ(rows.size(), expected.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    ASSERT_EQ(rows[i].size(), 10U);
    for (std::size_t column = 0; column < 4; ++column) EXPECT_NEAR(rows[i][column], expected[i][column], 0.002);
  }
}

TEST_F(Track, TakesOptionsOverTheSequenceFile) {
  const std::string input = sequence(kWalk);
  const std::string bareFile = input + "/det/det.txt";
  const Arguments told = Arguments{"track"} + kAsStreams;
  const std::string likeFolder = nivra(told + Arguments{bareFile, "--picture", "1280x720", "--fps", "25"}).out;
  const std::string whole = nivra(told + Arguments{input}).out;
  EXPECT_EQ(rowsOf(likeFolder).size(), 3U);
  EXPECT_EQ(whole.substr(0, likeFolder.size()), likeFolder);

  EXPECT_NE(nivra(told + Arguments{input, "--fps", "5"}).out, whole);
  EXPECT_EQ(nivra(told + Arguments{input, "--to", "jsonl", "--fps", "30000/1001"}).out,
            nivra(told + Arguments{input, "--to", "jsonl", "--fps", "29.97002997002997"}).out);

  fs::remove(input + "/seqinfo.ini");
  EXPECT_EQ(nivra({"track", input, "--picture", "1280x720"}).code, 2);
  EXPECT_EQ(nivra(told + Arguments{input, "--picture", "1280x720", "--fps", "25"}).out, likeFolder);
}

TEST_F(Track, ClipsAtTheBorderOfThePicture) {
  const std::string input = sequence("1,-1,-30,-40,1400,100,0.5\n");
  for (const char* const boxes : {"smoothed", "detected"}) {
    EXPECT_EQ(nivra({"track", input, "--report", "all", "--boxes", boxes}).out,
              "1,1,0.000,0.000,1280.000,60.000,0.500,-1,-1,-1\n");
  }
}

TEST_F(Track, ReplacesOutputFilesAsAWhole) {
  const std::string expected = nivra({"track", kPlaza}).out;
  const std::string target = write("target.txt", "older");
  fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  fs::create_symlink("target.txt", path("link.txt"));
  EXPECT_EQ(nivra({"track", kPlaza, "--force", "--output", path("link.txt")}).code, 0);
  EXPECT_TRUE(fs::is_symlink(path("link.txt")));
  EXPECT_TRUE(contentOf(target) == expected);
  EXPECT_EQ(fs::status(target).permissions(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);

  EXPECT_EQ(nivra({"track", kPlaza, "-o", path("new.txt")}).code, 0);
  EXPECT_TRUE(contentOf(path("new.txt")) == expected);
  EXPECT_EQ(filesHere(), (std::vector<std::string>{"link.txt", "new.txt", "target.txt"}));
}

TEST_F(Track, ReportsAnOutputThatCannotBeWritten) {
  const std::string input = sequence(kWalk);
  const std::string replaced = write("replaced.txt", "good");
  const std::string appended = write("appended.txt", "");
  fs::create_symlink("no/where", path("dangling"));
  fs::create_symlink("loop", path("loop"));
  const int descriptor = open(appended.c_str(), O_WRONLY | O_APPEND);
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  const auto usualHandler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit tight = {64, usual.rlim_max};
  const std::pair<std::string, const char*> cases[] = {{path("absent/tracks.txt"), "No such file or directory"},
                                                       {path(".") + "/sequence.txt", "File too large"},
                                                       {replaced, "File too large"},
                                                       {path("dangling"), "No such file or directory"},
                                                       {path("loop"), "Too many levels of symbolic links"},
                                                       {"/dev/fd/" + std::to_string(descriptor), "File too large"}};
  for (const auto& [output, reason] : cases) {
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
    const Outcome outcome = nivra({"track", input, "--report", "all", "--force", "-o", output});
    setrlimit(RLIMIT_FSIZE, &usual);
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.err, "error: cannot write " + output + ": " + reason + "\n");
  }
  std::signal(SIGXFSZ, usualHandler);
  close(descriptor);
  EXPECT_EQ(contentOf(replaced), "good");
  EXPECT_EQ(filesHere(), (std::vector<std::string>{"appended.txt", "dangling", "loop", "replaced.txt", "sequence"}));
}

TEST_F(Track, EndsQuietlyWhenItsReaderHasGoneAndLoudlyOtherwise) {
  struct FailingBuffer : std::streambuf {
    int reason = 0;
    int_type overflow(int_type) override {
      errno = reason;
      return traits_type::eof();
    }
  };
  struct Case {
    int reason;
    int code;
    const char* err;
  };
  const std::string input = sequence(kWalk);
  for (const Case& each :
       {Case{EPIPE, 0, ""}, Case{ENOSPC, 1, "error: cannot write the standard output: No space left on device\n"}}) {
    FailingBuffer buffer;
    buffer.reason = each.reason;
    std::ostream out(&buffer);
    std::ostringstream err;
    const char* const argv[] = {"nivra", "track", input.c_str(), "--report", "all"};
    EXPECT_EQ(run(kNivra, 5, argv, {out, err}), each.code);
    EXPECT_EQ(err.str(), each.err);
  }
}

TEST_F(Track, FollowsThePlaza) {
  for (const char* const tracker : {"vanilla", "reid", "hybrid", "lowfps"}) {
    SCOPED_TRACE(tracker);
    const Arguments arguments = Arguments{"track", kPlaza, "--tracker", tracker} + kAsStreams;
    const Outcome outcome = nivra(arguments + Arguments{"--verbose"});
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    std::set<double> identities;
    std::set<std::pair<double, double>> seen;
    const auto rows = rowsOf(outcome.out);
    for (const auto& row : rows) {
      EXPECT_TRUE(seen.emplace(row[0], row[1]).second) << "identity " << row[1] << " twice in frame " << row[0];
      identities.insert(row[1]);
      EXPECT_GE(std::min({row[2], row[3], row[6]}), 0.0);
      EXPECT_GT(std::min(row[4], row[5]), 0.0);
      EXPECT_LE(row[2] + row[4], 1280.0015);  // both numbers are rounded
      EXPECT_LE(row[3] + row[5], 720.0015);
    }
    EXPECT_GE(*identities.begin(), 1.0);
    const auto detections = splitAt('\n', contentOf(kPlaza + "/det/det.txt")).size();
    const auto told = splitAt('"', nivra(arguments + Arguments{"--to", "jsonl"}).out);
    const auto all = static_cast<std::size_t>(std::count(told.begin(), told.end(), "velocity"));
    const std::string outside =
        all == rows.size() ? "" : fmt::format(", {} left out as they are outside the picture", all - rows.size());
    EXPECT_EQ(
        outcome.err.rfind(
            fmt::format("300 frames, {} detections, {} tracks{}, 0 bad lines, ", detections, rows.size(), outside), 0),
        0U)
        << outcome.err;
  }
}

/// The person whose true box is nearest to a reported one.
double personAt(const std::vector<double>& row, const std::vector<std::vector<double>>& truth) {
  const auto distance = [&](const std::vector<double>& other) {
    if (other[0] != row[0]) return 1e9;
    return std::abs(other[2] - row[2]) + std::abs(other[2] + other[4] - row[2] - row[4]);
  };
  return (*std::min_element(truth.begin(), truth.end(),
                            [&](const auto& a, const auto& b) { return distance(a) < distance(b); }))[1];
}

TEST_F(Track, RecognisesPeopleWhoComeOutFromBehindTheKiosk) {
  const auto truth = rowsOf(contentOf(kPlaza + "/gt/gt.txt"));
  for (const char* const tracker : {"reid", "hybrid"}) {
    std::map<double, std::vector<double>> latest;
    int recognised = 0;
    for (const auto& row : rowsOf(nivra({"track", kPlaza, "--tracker", tracker}).out)) {
      const auto& before = latest[row[1]];
      if (!before.empty() && row[0] - before[0] > 25) {
        ++recognised;
        EXPECT_EQ(personAt(before, truth), personAt(row, truth)) << "identity " << row[1] << " in frame " << row[0];
      }
      latest[row[1]] = row;
    }
    EXPECT_GE(recognised, 2) << tracker;
  }
}

}  // namespace nivra::tool::test
