#include "hostkit/formats/motChallengeFolder.h"

#include <iostream>

#include "hostkit/files/newFile.h"
#include "toolRun.h"

namespace nivra::tool::test {

using namespace hostkit;

class MotChallengeFolderTest : public ToolTest {
 protected:
  MotChallengeFolder writerAt(double frameRate) const {
    return MotChallengeFolder({std::cout, path("sequence"), true}, {frameRate, std::nullopt});
  }
};

constexpr PictureSize kPicture = {1280, 720};

Frame frameAt(std::optional<std::uint64_t> timestamp, const std::vector<ObjectDetection>& detections = {}) {
  Frame frame;
  frame.timestamp = timestamp;
  frame.picture = kPicture;
  frame.detections = detections;
  return frame;
}

ObjectDetection detectionOf(const char* label, std::optional<std::vector<float>> feature = std::nullopt) {
  ObjectDetection detection;
  detection.box = toNormalised({100.0, 50.0, 20.0, 40.0}, kPicture);
  detection.score = 50.0F;
  detection.label = label;
  detection.feature = std::move(feature);
  return detection;
}

TEST_F(MotChallengeFolderTest, NumbersFramesByTheirTime) {
  MotChallengeFolder writer = writerAt(30.0);
  writer.write(frameAt(1'700'000'000'000'000'000, {detectionOf("cat")}));
  writer.write(frameAt(1'700'000'000'033'333'333));
  writer.write(frameAt(1'700'000'000'133'333'333, {detectionOf("cat")}));
  writer.write(CameraEnd{});
  writer.finish();
  EXPECT_EQ(contentOf(path("sequence/det/det.txt")),
            "1,-1,100.00,50.00,20.00,40.00,0.50,-1,-1,-1\n5,-1,100.00,50.00,20.00,40.00,0.50,-1,-1,-1\n");
  EXPECT_EQ(contentOf(path("sequence/seqinfo.ini")),
            "[Sequence]\nname=sequence\nframeRate=30\nseqLength=5\nimWidth=1280\nimHeight=720\n");
}

TEST_F(MotChallengeFolderTest, WritesFeaturesOnlyIfTheyAreWhole) {
  struct Case {
    std::vector<std::optional<std::vector<float>>> features;
    bool written;
  };
  const std::vector<float> two = {1.0F, 2.0F};
  const Case cases[] = {
      {{two, two}, true}, {{two, std::nullopt, two}, false}, {{two, {{1.0F}}, {{1.0F}}}, false}, {{}, false}};
  // All into one folder, so that a file left over would show.
  for (const Case& each : cases) {
    MotChallengeFolder writer = writerAt(25.0);
    std::vector<ObjectDetection> detections;
    for (const auto& feature : each.features) detections.push_back(detectionOf("cat", feature));
    writer.write(frameAt(0, detections));
    writer.finish();
    const std::string file = path("sequence/det/feat.bin");
    EXPECT_EQ(std::filesystem::exists(file), each.written);
    if (!each.written) continue;
    EXPECT_EQ(contentOf(file).size(), 8U + 4U * 2U * each.features.size());
  }
}

TEST_F(MotChallengeFolderTest, RefusesWhatItCannotHold) {
  struct Case {
    std::vector<Record> records;
    const char* message;
  };
  Frame other = frameAt(40'000'000);
  other.camera = "other";
  const Case cases[] = {
      {{CameraMotion{}}, "write JSON Lines"},
      {{BadLine{7, "box", "no number"}}, "line 7, box: no number"},
      {{frameAt(0, {detectionOf("cat"), detectionOf("dog")})}, "\"cat\" and \"dog\": write JSON Lines"},
      {{frameAt(0), other}, "one camera"},
      {{frameAt(std::nullopt)}, "timestamp"},
      {{frameAt(0), frameAt(15'000'000)}, "another frame 1"},
      {{frameAt(0), frameAt(1'700'000'000'000'000'000)}, "beyond frame"},
      {{}, "at least one frame"},
  };
  for (const Case& each : cases) {
    MotChallengeFolder writer = writerAt(25.0);
    try {
      for (const Record& record : each.records) writer.write(record);
      writer.finish();
      ADD_FAILURE() << each.message;
    } catch (const FileError& fault) {
      EXPECT_NE(std::string(fault.what()).find(each.message), std::string::npos) << fault.what();
    }
    EXPECT_EQ(filesHere(), std::vector<std::string>());
  }
}

TEST_F(MotChallengeFolderTest, LeavesTheFilesOfAnotherRunAlone) {
  MotChallengeFolder first({std::cout, path("sequence")}, {25.0, std::nullopt});
  MotChallengeFolder second({std::cout, path("sequence")}, {25.0, std::nullopt});
  first.write(frameAt(0, {detectionOf("cat", {{1.0F}})}));
  second.write(frameAt(0, {detectionOf("cat")}));
  first.finish();
  const std::string usual = contentOf(path("sequence/det/det.txt"));
  EXPECT_THROW(second.finish(), PlaceTaken);
  EXPECT_EQ(contentOf(path("sequence/det/feat.bin")).size(), 12U);
  EXPECT_EQ(contentOf(path("sequence/det/det.txt")), usual);
  for (const char* const file : {"sequence/det/det-2.txt", "sequence/seqinfo-2.ini"}) {
    EXPECT_TRUE(std::filesystem::exists(path(file))) << file;
  }
}

}  // namespace nivra::tool::test
