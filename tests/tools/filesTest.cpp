#include <fmt/format.h>

#include "hostkit/formats/jsonLines.h"
#include "toolRun.h"

namespace nivra::tool::test {

using namespace hostkit;

class Files : public ToolTest {
 protected:
  /// A sequence with features and boxes of many digits, and its detections as JSON Lines.
  void SetUp() override {
    ToolTest::SetUp();
    ASSERT_EQ(nivra({"simulate", "-o", path("crowd"), "--seed", "5", "--frames", "80", "--people", "20"}).code, 0);
    ASSERT_EQ(nivra({"convert", path("crowd"), "-o", path("crowd.jsonl")}).code, 0);
  }
};

TEST_F(Files, ConvertWithoutLosingABit) {
  for (const char* const tracker : {"vanilla", "reid"}) {
    const std::string expected = nivra({"track", path("crowd"), "--tracker", tracker}).out;
    EXPECT_GT(rowsOf(expected).size(), 100U);
    EXPECT_EQ(nivra({"track", path("crowd.jsonl"), "--tracker", tracker, "--to", "motchallenge"}).out, expected);
    const std::string told = nivra({"track", path("crowd.jsonl"), "--tracker", tracker}).out;
    EXPECT_EQ(splitAt('\n', told).size(), 80U);
    EXPECT_EQ(nivra({"track", path("crowd"), "--tracker", tracker, "--to", "jsonl"}).out, told);
  }
  EXPECT_EQ(nivra({"convert", path("crowd.jsonl")}).out, contentOf(path("crowd.jsonl")));
  ASSERT_EQ(
      nivra({"convert", path("crowd.jsonl"), "--to", "motchallenge", "--fps", "25", "-o", path("back/crowd")}).code, 0);
  for (const char* const file : {"/seqinfo.ini", "/det/det.txt", "/det/feat.bin"}) {
    EXPECT_TRUE(contentOf(path("back/crowd") + file) == contentOf(path("crowd") + file)) << file;
  }
}

TEST_F(Files, ConvertWhatIsFarthestOut) {
  for (
      const char* const line : {
          R"({"camera":"a","picture":[1,1],"detections":[{"box":[-999999999.5,-999999999.5,1000000000,1000000000],"label":"x","score":1}]})",
          R"({"camera":"a","detections":[{"box":[-0.0,1,-0.0,-0.0],"label":"x","score":-5,"objectness":-1,"feature":[-0.0,1e-45,3.4028235e+38]}]})",
          R"({"camera":"a","motion":{"matrix":[1000000000,-0.0,1e-300,0,1,-0.1]}})",
      }) {
    EXPECT_EQ(nivraReading(line, {"convert", "-"}).out, line + std::string("\n"));
  }
}

TEST_F(Files, ArePackedAndUnpackedByTheirNames) {
  const std::string expected = nivra({"track", path("crowd.jsonl")}).out;
  ASSERT_EQ(nivra({"track", path("crowd.jsonl"), "-o", path("tracks.jsonl.gz")}).code, 0);
  EXPECT_LT(contentOf(path("tracks.jsonl.gz")).size(), expected.size() / 2);
  ASSERT_EQ(nivra({"convert", path("crowd.jsonl"), "-o", path("crowd.jsonl.gz")}).code, 0);
  const std::string packed = contentOf(path("crowd.jsonl.gz"));
  EXPECT_EQ(packed.substr(0, 2), "\x1f\x8b");

  EXPECT_EQ(nivra({"track", path("crowd.jsonl.gz")}).out, expected);
  EXPECT_EQ(nivraReading(packed, {"convert", "-"}).out, contentOf(path("crowd.jsonl")));
  EXPECT_EQ(nivraReading(packed + packed, {"convert", "-"}).out,
            contentOf(path("crowd.jsonl")) + contentOf(path("crowd.jsonl")));
  EXPECT_EQ(nivraReading(packed + std::string(100'000, '\0') + packed, {"convert", "-"}).out,
            contentOf(path("crowd.jsonl")) + contentOf(path("crowd.jsonl")))
      << "padded with zeros";
  const std::pair<std::string, const char*> broken[] = {
      {packed + "\n{}\n", "something else follows the gzip data"},
      {packed.substr(0, packed.size() / 2), "the gzip data ends too early"},
      {packed.substr(0, 40) + std::string(packed.size() - 40, '\x55'), "damaged gzip data"}};
  for (const auto& [bytes, message] : broken) {
    const Outcome outcome = nivraReading(bytes, {"track"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.err, fmt::format("error: cannot read the standard input: {}\n", message));
  }
}

TEST_F(Files, SeveralGoToAFolderOrOneStream) {
  const std::string text = "1,-1,10,20,30,40,1\n2,-1,10,20,30,40,1\n";
  const std::vector<std::string> inputs = {path("crowd"), path("crowd.jsonl"), write("b.txt", text)};
  const Arguments track = {"track", "--picture", "1280x720", "--fps", "25", inputs[0], inputs[2], "-o", path("out/")};
  const std::string single = nivra({"track", inputs[2], "--picture", "1280x720", "--fps", "25"}).out;

  ASSERT_EQ(nivra(track).code, 0);
  EXPECT_EQ(contentOf(path("out/b.txt")), single);
  EXPECT_EQ(contentOf(path("out/crowd.txt")), nivra({"track", inputs[0]}).out);
  EXPECT_EQ(nivra(track).code, 1) << "without --force";
  EXPECT_EQ(nivra({"track", inputs[0], "-o", "-"}).out, contentOf(path("out/crowd.txt")));

  // Formats that differ meet in JSON Lines; cameras of different inputs have nothing to do with each other.
  const std::string once = nivra({"track", inputs[1]}).out;
  EXPECT_EQ(nivra({"track", inputs[1], inputs[0], inputs[1]}).out, once + once + once);
}

TEST_F(Files, OfOneNameAreToldApartByTheirFolders) {
  const std::string text = "1,-1,10,20,30,40,1\n";
  const Arguments inputs = {write("east/gate/det.txt", text), write("west/gate/det.txt", text),
                            write("west/yard/det.txt", text), write("other.txt", text)};
  const Arguments options = {"--picture", "64x48", "--fps", "5", "-o", path("out/")};
  ASSERT_EQ(nivra(Arguments{"track"} + inputs + options).code, 0);
  for (const char* const name : {"east-gate-det", "west-gate-det", "yard-det", "other"}) {
    EXPECT_TRUE(std::filesystem::exists(path("out/" + std::string(name) + ".txt"))) << name;
  }
}

TEST_F(Files, OfCocoResultsAreRead) {
  const std::string results = write("results.json", R"([
      {"image_id": 41, "category_id": 3, "bbox": [10, 20, 30, 40], "score": 0.5},
      {"image_id": 40, "category_id": 1, "bbox": [100, 20, 30, 40], "score": 0.25, "other": null},
      {"image_id": 43, "category_id": 1, "bbox": [100, 20, 30, 40]}])");
  const Arguments convert = {"convert", results, "--picture", "640x480", "--fps", "10"};
  EXPECT_EQ(
      nivra(convert + Arguments{"--category", "1=human"}).out,
      R"({"camera":"results","timestamp":0,"picture":[640,480],"detections":[{"box":[100,20,130,60],"label":"human","score":25}]})"
      "\n"
      R"({"camera":"results","timestamp":100000000,"picture":[640,480],"detections":[{"box":[10,20,40,60],"label":"3","score":50}]})"
      "\n"
      R"({"camera":"results","timestamp":200000000,"picture":[640,480],"detections":[]})"
      "\n"
      R"({"camera":"results","timestamp":300000000,"picture":[640,480],"detections":[{"box":[100,20,130,60],"label":"human","score":100}]})"
      "\n");
  const std::pair<const char*, const char*> faults[] = {
      {R"([{"category_id":1,"bbox":[1,2,3,4]}])", "error: missing (FILE, [0].image_id)"},
      {R"([{"image_id":1,"category_id":1,"bbox":[1,2,3]}])", "error: expected 4 numbers, found 3 (FILE, [0].bbox)"},
      {R"([{"image_id":1,"category_id":1,"bbox":[1,2,-3,4]}])", "error: width or height is negative (FILE, [0].bbox)"},
      {R"([{"image_id":1,"category_id":"x","bbox":[1,2,3,4]}])", ", found a string (FILE, [0].category_id)"},
      {R"([{"image_id":0,"category_id":1,"bbox":[1,2,3,4]},{"image_id":99999999,"category_id":1,"bbox":[1,2,3,4]}])",
       "error: more than 10000000 after the first (FILE, [1].image_id)"},
      {R"([1)", "error: FILE, read as coco: no valid JSON: "},
  };
  for (const auto& [text, message] : faults) {
    write("results.json", text);
    const Outcome outcome = nivra(convert);
    EXPECT_EQ(outcome.code, 1);
    std::string expected = message;
    expected.replace(expected.find("FILE"), 4, results);
    EXPECT_NE(outcome.err.find(expected), std::string::npos) << outcome.err;
  }
}

TEST_F(Files, AreRecognisedByWhatTheyHold) {
  struct Case {
    const char* name;
    const char* text;
    const char* message;  // of the reader that takes it; empty if all is well
  };
  const Case cases[] = {
      {"a.dat", "\n  {\"camera\":\"x\"}\n", ""},
      {"b.dat", "1,-1,10,20,30,40,1\r\n", ""},
      {"c.dat", " [ ]", ""},
      {
          "d.txt",
          "frame,id,left\n",
          "no column for width (",
      },
      {"e.dat", "a,b,c\n", "e.dat is of no known format"},
      {"f.txt", "", ""},
  };
  for (const Case& each : cases) {
    const Outcome outcome = nivra({"track", write(each.name, each.text), "--picture", "64x48", "--fps", "5"});
    EXPECT_EQ(outcome.code, *each.message == '\0' ? 0 : 1) << each.name << outcome.err;
    EXPECT_NE(outcome.err.find(each.message), std::string::npos) << outcome.err;
  }
  const std::string twoCameras = "{\"camera\":\"x\",\"picture\":[9,9]}\n{\"camera\":\"y\",\"picture\":[9,9]}\n";
  EXPECT_NE(
      nivraReading(twoCameras, {"track", "--to", "motchallenge"}).err.find("one camera, not both \"x\" and \"y\""),
      std::string::npos);
  EXPECT_EQ(nivraReading("{\"end\":false}\n", {"track", "--to", "motchallenge"}).code, 2) << "no picture";
  const std::string columns = "\n1,-1,10,20,30,40,1\n2,-1,10,20,30,40,1\n";
  const std::string told = nivraReading(columns, {"track"}).out;
  EXPECT_EQ(splitAt('\n', told).size(), 2U);
  const std::string hint = R"(; --from motchallenge reads what looks like this"}})";
  EXPECT_EQ(told.find(hint), told.find('\n') - hint.size()) << told;
  EXPECT_EQ(told.rfind(hint), told.find(hint)) << "once";
  EXPECT_NE(
      nivraReading(columns, {"track", "--from", "motchallenge", "--to", "jsonl", "--picture", "64x48", "--fps", "5"})
          .out.find(R"({"camera":"stdin",)"),
      std::string::npos)
      << "the camera of the standard input has one name in all formats";
  EXPECT_NE(nivraReading("{\"end\":false}\n{\n", {"track", "--to", "motchallenge", "--picture", "9x9"})
                .err.find("(the standard input:2)"),
            std::string::npos);
}

TEST_F(Files, NameWhatIsNotTracked) {
  const std::string dogs = write("dogs.jsonl", R"({"picture":[9,9],"detections":[{"box":[1,1,2,2],"label":"dog"}]})");
  const Outcome outcome = nivra({"track", dogs, "--labels", "cat", "--to", "motchallenge"});
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "not tracked, as no association covers them: dog\n");
  EXPECT_EQ(nivra({"track", dogs, "--labels", "cat"}).err, "");
}

TEST_F(Files, ShowProgressOnATerminalAlone) {
  const char* const argv[] = {"nivra", "track", kPlaza.c_str()};
  std::ostringstream out;
  std::ostringstream err;
  std::ostringstream terminal;
  EXPECT_EQ(run(kNivra, 3, argv, {out, err, &terminal}), 0);
  EXPECT_EQ(err.str(), "");
  EXPECT_NE(terminal.str().find("1 frames, 0 %"), std::string::npos) << terminal.str();
  EXPECT_EQ(terminal.str().rfind("\x1b[K"), terminal.str().size() - 3) << "the line is cleared in the end";
  EXPECT_EQ(nivra({"track", kPlaza}).err, "");
}

}  // namespace nivra::tool::test
