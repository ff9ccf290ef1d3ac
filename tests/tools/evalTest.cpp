#include <fmt/format.h>
#include <fmt/ranges.h>

#include <simdjson.h>

#include <cmath>

#include "toolRun.h"

namespace nivra::tool::test {

class Eval : public ToolTest {
 protected:
  /// A folder of a sequence with this truth.
  std::string truth(const std::string& name, const std::string& rows, int length = 3) const {
    write(name + "/gt/gt.txt", rows);
    write(name + "/seqinfo.ini", fmt::format("[Sequence]\nseqLength={}\n", length));
    return path(name);
  }

  /// A figure of a row in a report.
  static double figure(const std::string& json, std::size_t row, const std::string& pointer) {
    simdjson::dom::parser parser;
    const auto at = fmt::format("/results/{}/{}", row, pointer);
    double value = -1.0;
    EXPECT_EQ(parser.parse(json).at_pointer(at).get(value), simdjson::SUCCESS) << at << " in " << json;
    return value;
  }
};

const std::string kTwoPeople = "1,1,0,0,10,20,1,1,1\n1,2,50,0,10,20,1,1,1\n2,1,0,0,10,20,1,1,1\n2,2,50,0,10,20,1,1,1\n";
const std::string kOneOfThem = "1,4,0,0,10,20,0.9,-1,-1,-1\n2,4,0,0,10,20,0.9,-1,-1,-1\n";

TEST_F(Eval, TakesTruthAndTracksOfEachFormat) {
  const std::string kitti = "-1 -1 -10 ";
  const std::string rest = " -1 -1 -1 -1000 -1000 -1000 -10\n";
  const std::string mot = truth("s", kTwoPeople);
  const std::string tracks[] = {
      write("t.txt", kOneOfThem),
      write("crlf.txt", "1,4,0,0,10,20\r\n\r\n2.000e+00,4.0,0,0,10,20\r\n"),
      write("t.jsonl", R"({"camera":"s","picture":[100,50],"tracks":[{"id":4,"box":[0,0,10,20],"label":"a"},
        {"id":5,"box":[0,9,0,20],"label":"gone"}]})"
                       "\n{\"motion\":true}\n"
                       R"({"camera":"s","picture":[100,50],"tracks":[{"id":4,"box":[0,0,10,20],"label":"a"}]})"),
      write("t.kitti", "0 4 a " + kitti + "0 0 10 20" + rest + "0 -1 DontCare " + kitti + "0 0 10 20" + rest +
                           "0 -1 DontCare " + kitti + "0 0 10 20" + rest + "1 4 a " + kitti + "0 0 10 20" + rest),
      write("t.csv", "frame,track_id,x,y,w,h,class\n1,4,0,0,10,20,a\n2,4,0,0,10,20,a\n"),
  };
  const std::string lines = contentOf(path("t.jsonl"));
  std::string oneLine = lines;
  oneLine.erase(oneLine.find("\n        "), 9);
  write("t.jsonl", oneLine);
  for (const std::string& each : tracks) {
    const Outcome outcome = nivra({"eval", mot, each, "--json"});
    ASSERT_EQ(outcome.code, 0) << each << ": " << outcome.err;
    EXPECT_EQ(figure(outcome.out, 0, "CLEAR/CLR_TP"), 2.0) << each;
    EXPECT_EQ(figure(outcome.out, 0, "CLEAR/CLR_FP"), 0.0) << each;
    EXPECT_EQ(figure(outcome.out, 0, "CLEAR/CLR_FN"), 2.0) << each;
    EXPECT_NEAR(figure(outcome.out, 0, "HOTA/HOTA"), std::sqrt(0.5), 1e-12) << each;
    const Outcome asTruth = nivra({"eval", each, tracks[0], "--json"});
    EXPECT_EQ(figure(asTruth.out, 0, "Identity/IDF1"), 1.0) << each << ": " << asTruth.err;
  }
  for (std::size_t i = 2; i < std::size(tracks); ++i) {
    const Outcome outcome = nivra({"eval", tracks[i], tracks[2], "--json", "--class", "a"});
    EXPECT_EQ(figure(outcome.out, 0, "CLEAR/MOTA"), 1.0) << outcome.err;
  }
}

TEST_F(Eval, ComparesTrackersOverSequences) {
  truth("all/a", kTwoPeople);
  truth("all/b", kTwoPeople);
  truth("all/c", kTwoPeople);
  write("one/a.txt", kOneOfThem);
  write("one/b.txt", kOneOfThem);
  write("two/a.txt", kTwoPeople);
  write("two/b.txt", "");
  write("three/a.txt", kTwoPeople);
  const Arguments call = {
      "eval", path("all"), path("one"), "--tracker", "second=" + path("two"), "--tracker", "third=" + path("three")};
  const Outcome outcome = nivra(call + Arguments{"--json", "--jobs", "1"});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.err,
            "warning: no tracks of c, which are left out\n"
            "warning: third has no tracks of b: its figures of all sequences are of fewer\n");
  simdjson::dom::parser parser;
  const simdjson::dom::array rows = parser.parse(outcome.out).at_key("results");
  const std::string expected[] = {"second a 4 2",     "third a 4 2",         "one b 2 -",         "second b 0 -2",
                                  "one combined 4 -", "second combined 4 0", "third combined 4 -"};
  std::string all;
  for (const simdjson::dom::element row : rows) {
    std::string_view sequence;
    double difference = 0.0;
    if (row["sequence"].get(sequence) != simdjson::SUCCESS) sequence = "combined";
    const bool hasDifference = row.at_pointer("/difference/CLEAR/CLR_TP").get(difference) == simdjson::SUCCESS;
    all += fmt::format("{} {} {} {}\n", std::string_view(row["tracker"]), sequence,
                       double(row.at_pointer("/CLEAR/CLR_TP")), hasDifference ? fmt::format("{}", difference) : "-");
  }
  EXPECT_EQ(all, fmt::format("one a 2 -\n{}\n", fmt::join(expected, "\n")));
  EXPECT_EQ(nivra(call + Arguments{"--json", "--jobs", "8"}).out, outcome.out);
  const Outcome fewer = nivra(call + Arguments{"--sequences", "a", "--csv"});
  EXPECT_EQ(splitAt('\n', fewer.out).at(2).rfind("second,,a,1,1,1,1,", 0), 0U) << fewer.out << fewer.err;
  const std::string table = nivra(call).out;
  EXPECT_NE(table.find("\n            difference  +33.33        =  +50.00    +2     =    -2\n"), std::string::npos)
      << table;
}

TEST_F(Eval, PreprocessesWhatTheTruthIsMadeFor) {
  const std::string person = "1,1,0,0,10,20,1,1,1\n";
  const std::string found = "1,4,0,0,10,20\n1,5,50,0,10,20\n";
  struct Case {
    const char* name;
    std::string truth;
    Arguments options;
    double falsePositives;
  };
  const Case cases[] = {
      {"s", person + "1,2,50,0,10,20,0,8,1\n", {}, 0.0},
      {"s", person + "1,2,50,0,10,20,0,8,1\n", {"--preprocess", "none"}, 1.0},
      {"s", person + "1,2,50,0,10,20,0,3,1\n", {}, 1.0},
      {"s", person + "1,2,50,0,10,20,0,6,1\n", {}, 1.0},
      {"s", person + "1,2,50,0,10,20,0,6,1\n", {"--preprocess", "mot20"}, 0.0},
      {"MOT20-01", person + "1,2,50,0,10,20,0,6,1\n", {}, 0.0},
      {"s", person + "1,2,50,0,10,20,0,8.5,1\n", {}, 1.0},
      {"s", person + "1,2,50,0,10,20,0,14,1\n", {}, 1.0},
  };
  const std::string tracks = write("t.txt", found);
  for (const Case& each : cases) {
    const Outcome outcome = nivra(Arguments{"eval", truth(each.name, each.truth), tracks, "--json"} + each.options);
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(figure(outcome.out, 0, "CLEAR/CLR_FP"), each.falsePositives) << each.truth;
    EXPECT_EQ(figure(outcome.out, 0, "CLEAR/CLR_TP"), 1.0) << each.truth;
  }
}

TEST_F(Eval, NamesWhatIsWrong) {
  struct Case {
    std::string tracks;
    const char* message;
    Arguments options = {};
    int code = 1;
  };
  const Case cases[] = {
      {"1,1,0,0,1,1\n2,1,0,0,1,1\n1,1,5,5,1,1\n", "identity 1 is twice in frame 1 (IN:3, id)"},
      {"1,1,0,0,1,1\n4,1,0,0,1,1\n", "frame 4 of a sequence that has 3 (IN:2, frame)"},
      {"0,1,0,0,1,1\n", "found \"0\" (IN:1, frame)"},
      {"1.5,1,0,0,1,1\n", "found \"1.5\" (IN:1, frame)"},
      {"1,99999999999999999999,0,0,1,1\n", "(IN:1, id)"},
      {"1,1,nan,0,1,1\n", "found \"nan\" (IN:1, left)"},
      {"1,1,0,0,-1,1\n", "found \"-1\" (IN:1, width)"},
      {"1,1,0,0,1\n", "missing column (IN:1, height)"},
      {"{\"tracks\":[{\"box\":[0,0,1,1]}]}\n", "missing (IN:1, tracks[0].id)"},
      {"\n{\"tracks\":[{\"id\":1,\"box\":[0,0,1,1]}\n", "(IN:2)"},
      {"{\"tracks\":[{\"id\":1,\"box\":[0,1,1,0]}]}\n", "of the truth and the tracks of s, only that is in pixels"},
      {"frame,x,y,w,h\n1,0,0,1,1\n", "no column for id (IN:1)"},
      {"0 0.5 0.5 0.1 0.1\n", "IN is read as yolo, which has no identities"},
      {"1,1,0,0,1,1\n", "no box of the truth is of class car, but of 1", {"--class", "car"}},
      {"1,1,0,0,1,1\n", "no truth of a sequence other in ", {"--sequences", "other"}},
      {"1,1,0,0,1,1\n", "expected auto, none, mot17 or mot20", {"--preprocess", "mot16"}, 2},
      {"1,1,0,0,1,1\n", "give either classes or preprocessing", {"--preprocess", "mot17", "--class", "1"}, 2},
  };
  const std::string sequence = truth("s", kTwoPeople);
  for (const Case& each : cases) {
    const std::string tracks = write("t.txt", each.tracks);
    const Outcome outcome = nivra(Arguments{"eval", sequence, tracks} + each.options);
    std::string expected = each.message;
    if (const auto place = expected.find("IN"); place != std::string::npos) expected.replace(place, 2, tracks);
    EXPECT_NE(outcome.err.find(expected), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.code, each.code) << outcome.err;
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_EQ(nivra({"eval", sequence}).code, 2);
  EXPECT_EQ(nivra({"eval", path("nowhere"), path("t.txt")}).code, 1);
}

TEST_F(Eval, HasFiguresOfNothing) {
  const std::string empty = truth("empty", "");
  const std::string nobody = write("t.txt", "");
  for (const std::string& tracks : {nobody, write("u.txt", kOneOfThem)}) {
    const Outcome outcome = nivra({"eval", empty, tracks, "--json"});
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_EQ(figure(outcome.out, 0, "HOTA/HOTA"), 0.0);
    EXPECT_EQ(figure(outcome.out, 0, "HOTA/LocA"), 1.0);
    EXPECT_EQ(figure(outcome.out, 0, "CLEAR/CLR_Frames"), 0.0);
  }
  const std::string apart = write("apart.txt", "1,4,0,0,10,20\n3,4,0,0,10,20\n");
  const std::string found = nivra({"eval", truth("s", kTwoPeople, 400), apart, "--json"}).out;
  EXPECT_EQ(figure(found, 0, "CLEAR/CLR_Frames"), 400.0);
  EXPECT_EQ(figure(found, 0, "CLEAR/CLR_FP"), 1.0);
  EXPECT_EQ(figure(nivra({"eval", truth("s", kTwoPeople), nobody, "--json"}).out, 0, "CLEAR/MLR"), 1.0);
}

}  // namespace nivra::tool::test
