#include <fmt/format.h>
#include <fmt/ranges.h>
#include <simdjson.h>

#include <algorithm>
#include <future>
#include <map>

#include "hostkit/formats/jsonLines.h"
#include "hostkit/text/jsonText.h"
#include "hostkit/tracking/cameras.h"
#include "hostkit/worlds/simulation.h"
#include "toolRun.h"

namespace nivra::tool::test {

using namespace hostkit;

namespace dom = simdjson::dom;

class Stream : public ToolTest {};

std::vector<std::string> linesOf(const std::string& text) { return splitAt('\n', text); }

std::string frameLine(const std::string& camera, std::uint64_t timestamp, const std::string& detections) {
  return fmt::format(R"({{"camera":"{}","timestamp":{},"detections":[{}]}})", camera, timestamp, detections) + "\n";
}

constexpr char kBox[] = R"({"box":[-0.1,0.2,0.1,-0.2]})";

TEST_F(Stream, AnswersEveryLineInItsPlaceAndForgivesBadOnes) {
  struct Case {
    std::string line;
    const char* field;
    const char* message;
  };
  const Case cases[] = {
      {"nonsense", "", "no valid JSON"},
      {R"({"camera":"a"} {})", "", "no valid JSON"},
      {R"({"camera":"nan \" inf","timestamp":1e5,"end":true,"box":[-1.5e3,-Infinity]})", "",
       "no valid JSON: \"Infinity\" is neither a number nor"},
      {R"({"camera":"a","detections":[{"box":[0,NaN,1,0]}]})", "", "no valid JSON: \"NaN\" is neither"},
      {R"({"camera":None})", "", "no valid JSON: \"None\" is neither"},
      {R"([1])", "", "expected an object, found an array"},
      {"{\"camera\":\"\xff\"}", "", "UTF-8"},
      {R"({"x":)" + std::string(2000, '[') + std::string(2000, ']') + "}", "", "too deep"},
      {R"({"camera":"a","camera":"b"})", "camera", "given twice"},
      {R"({"camera":1})", "camera", "expected a string, found 1"},
      {R"({"camera":"a","timestamp":"1"})", "timestamp", "found a string"},
      {R"({"camera":"a","timestamp":-1})", "timestamp", "expected a whole number from 0"},
      {R"({"camera":"a","timestamp":5.5})", "timestamp", "found 5.5"},
      {R"({"camera":"a","timestamp":5})", "timestamp", "not newer than this camera's last one, 5"},
      {R"({"camera":"a","timestamp":4})", "timestamp", "not newer"},
      {R"({"camera":"a","picture":[10]})", "picture", "expected 2 numbers, found 1"},
      {R"({"camera":"a","picture":[0,5]})", "picture[0]", "from 1 to"},
      {R"({"camera":"a","detections":{}})", "detections", "expected an array"},
      {R"({"camera":"a","detections":[{"label":"x"}]})", "detections[0].box", "missing"},
      {R"({"camera":"a","detections":[{"box":[0,1,2]}]})", "detections[0].box", "expected 4 numbers, found 3"},
      {R"({"camera":"a","detections":[{"box":[0,1,1e39,0]}]})", "detections[0].box[2]", "1e+39"},
      {R"({"camera":"a","detections":[{"box":[0,1,1e999,0]}]})", "", "number"},
      {R"({"camera":"a","detections":[{"box":[1,1,0,0]}]})", "detections[0].box", "left"},
      {R"({"camera":"a","detections":[{"box":[0,0,1,1]}]})", "detections[0].box", "y grows upward"},
      {R"({"camera":"a","picture":[9,9],"detections":[{"box":[0,1,1,0]}]})", "detections[0].box", "y grows downward"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"id":1.5}]})", "detections[0].id", "whole number or a string"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":[1,1e39]}]})", "detections[0].feature[1]", "1e+39"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":[1,2]},{"box":[0,1,1,0],"feature":[1]}]})",
       "detections[1].feature", "1 numbers, but the features of this camera have 2"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":true}]})", "detections[0].feature",
       "expected an array or a string"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":"AAAAPw="}]})", "detections[0].feature",
       "7 characters are no base64 of whole numbers of 4 bytes"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":"AAAAP"}]})", "detections[0].feature",
       "5 characters are no base64"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":"AAAA"}]})", "detections[0].feature",
       "4 characters are no base64 of whole numbers"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":"AAA-Pw=="}]})", "detections[0].feature",
       "no base64: \"-\" at character 4"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":"AAA=PwAAAAAAAAAA"}]})", "detections[0].feature",
       "no base64: \"=\" at character 4"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":"AAAAP\u00e4"}]})", "detections[0].feature",
       "7 characters"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":"AAAAPx"}]})", "detections[0].feature",
       "no base64: \"x\" at character 6"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":"mpmZPjMzM78AAIB/"}]})", "detections[0].feature[2]",
       "found inf"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"feature":"AADAfw=="}]})", "detections[0].feature[0]",
       "found nan"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"attributes":[{"type":0.5}]}]})",
       "detections[0].attributes[0].type", "whole number"},
      {R"({"camera":"a","detections":[{"box":[0,1,1,0],"classifications":[{},{"score":"x"}]}]})",
       "detections[0].classifications[1].score", "found a string"},
      {R"({"camera":"a","motion":{}})", "motion.matrix", "missing"},
      {R"({"camera":"a","motion":{"matrix":[1,2,0,2,4,0]}})", "motion.matrix", "line or a point"},
      {R"({"camera":"a","motion":{"matrix":[1,0,0,0,1,0]},"detections":[]})", "", "one of detections, motion and end"},
      {R"({"camera":"a","end":"yes"})", "end", "true or false"},
      {"{\"x\":\"" + std::string(std::size_t{65} << 20, 'x') + "\"}", "", "longer than 64 MiB"},
  };
  const std::string first = frameLine("a", 5, kBox);
  const std::string last = frameLine("a", 40'000'000, kBox);
  std::string stream = first;
  for (const Case& each : cases) stream += each.line + "\n";
  const Outcome outcome = nivraReading(stream + last, {"track"});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.err, "");
  const auto answers = linesOf(outcome.out);
  ASSERT_EQ(answers.size(), std::size(cases) + 2);

  dom::parser parser;
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const dom::element error = parser.parse(answers[i + 1]).at_key("error");
    EXPECT_EQ(std::uint64_t(error["line"]), i + 2);
    EXPECT_EQ(std::string_view(error["field"]), cases[i].field) << answers[i + 1];
    EXPECT_NE(std::string_view(error["message"]).find(cases[i].message), std::string::npos) << answers[i + 1];
  }
  const auto undisturbed = linesOf(nivraReading(first + last, {"track"}).out);
  EXPECT_EQ(answers.front(), undisturbed.front());
  EXPECT_EQ(answers.back(), undisturbed.back());

  const Outcome strict = nivraReading(first + "{]\n" + last, {"track", "--strict"});
  EXPECT_EQ(strict.code, 1);
  EXPECT_EQ(linesOf(strict.out).size(), 2U);
  EXPECT_NE(strict.err.find("(the standard input:2)"), std::string::npos) << strict.err;
}

TEST_F(Stream, TakesFeaturesAsBase64) {
  const auto line = [](const std::string& feature) {
    return fmt::format(R"({{"camera":"a","detections":[{{"box":[0,1,1,0],"label":"x","score":1{}}}]}})"
                       "\n",
                       feature.empty() ? "" : R"(,"feature":)" + feature);
  };
  const std::pair<const char*, const char*> cases[] = {
      {R"("AAAAPw==")", "[0.5]"},
      {R"("AAAAPw")", "[0.5]"},
      {R"("AAAAgAEAAAA=")", "[-0.0,1e-45]"},
      {R"("AAAAgAEAAAA")", "[-0.0,1e-45]"},
      {R"("AACAPgAAYMD\/\/39\/")", "[0.25,-3.5,3.4028235e+38]"},
      {R"("AACAPwAAAEAAAEBAAACAQA==")", "[1,2,3,4]"},
      {R"("")", ""},
  };
  for (const auto& [packed, digits] : cases) {
    EXPECT_EQ(nivraReading(line(packed), {"convert", "-"}).out, line(digits));
  }
}

TEST(JsonText, HasPixelsInThousandths) {
  const auto written = [](double pixels) {
    TextBuffer text;
    appendPixels(text, pixels);
    return std::string(text.view());
  };
  const std::pair<double, const char*> cases[] = {
      {0.0, "0"},           {-0.0, "0"},           {0.0005, "0.001"},
      {-0.0004, "0"},       {-0.0005, "-0.001"},   {0.1, "0.1"},
      {7.05, "7.05"},       {-60.25, "-60.25"},    {99.9995, "100"},
      {100.001, "100.001"}, {999.9994, "999.999"}, {1000, "1000"},
      {1005.5, "1005.5"},   {1000000, "1000000"},  {98076005.004, "98076005.004"},
      {1e12, "1000000000000"},      {-1e30, "-1e+30"},     {0.49999999999999994e-3, "0"}};
  for (const auto& [pixels, expected] : cases) EXPECT_EQ(written(pixels), expected) << pixels;
}

TEST_F(Stream, TellsTheSameWithInnerState) {
  for (const TrackerChoice& tracker : kTrackers) {
    const Arguments arguments = {"track", kPlaza, "--to", "jsonl", "--tracker", std::string(tracker.name)};
    auto lines = linesOf(nivra(arguments + Arguments{"--debug"}).out);
    for (std::string& line : lines) {
      const auto begin = line.find(R"(,"debug":)");
      ASSERT_NE(begin, std::string::npos);
      line.erase(begin, line.find(R"(,"removed":)") - begin);
    }
    EXPECT_EQ(lines, linesOf(nivra(arguments).out)) << tracker.name;
  }
}

TEST_F(Stream, PassesOverBlankLines) {
  const auto answers = linesOf(nivraReading("\n{\"end\":false}\r\n\r\n \t\n{\"timestamp\":0}\n\n", {"track"}).out);
  ASSERT_EQ(answers.size(), 2U);
  EXPECT_NE(answers[1].find(R"("line":5,"field":"timestamp")"), std::string::npos) << answers[1];
}

TEST_F(Stream, OfAFileEndsWithCodeOneAfterBadLines) {
  const std::string good = frameLine("a", 5, kBox);
  const std::string file = write("day.jsonl", good + "{]\n" + frameLine("a", 6, kBox) + frameLine("a", 6, kBox));
  const std::string bad = write("bad.jsonl", "{]\n");
  const Outcome outcome = nivra({"track", file, bad, write("good.jsonl", good), "-o", path("all.jsonl")});
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.err.rfind("error: 2 of 4 lines refused, read as jsonl; the first: no valid JSON: ", 0), 0U)
      << outcome.err;
  EXPECT_NE(outcome.err.find("(" + file + ":2); 1 of 1 lines refused, read as jsonl; the first: "), std::string::npos)
      << outcome.err;
  EXPECT_EQ(linesOf(contentOf(path("all.jsonl"))).size(), 6U) << "what is good stays, and every line has its answer";
}

TEST_F(Stream, BeginsNoCameraWithARefusedLine) {
  const std::string refused =
      R"({"picture":[10,1000],"detections":[{"box":[0,0,1,1],"feature":[1]},{"box":[0,0,1,1],"feature":[1,2]}]})";
  std::string stream;
  for (const int y : {9, 39, 69, 99}) {
    stream += fmt::format(R"({{"picture":[640,480],"detections":[{{"box":[9,{},69,{}]}}]}})", y, y + 90) + "\n";
  }
  const std::vector<std::string> arguments = {"track", "--tracker", "reid", "--debug"};
  const std::string answers = nivraReading(refused + "\n" + stream, arguments).out;
  EXPECT_EQ(answers.substr(answers.find('\n') + 1), nivraReading(stream, arguments).out);
}

TEST_F(Stream, AnswersBeforeTheNextLineComes) {
  int in[2];
  int out[2];
  ASSERT_EQ(pipe(in), 0);
  ASSERT_EQ(pipe(out), 0);
  const std::string output = "/dev/fd/" + std::to_string(out[1]);
  {
    const StandardInput input(in[0]);
    close(in[0]);
    auto run = std::async(std::launch::async, [&] { return nivra({"track", "-o", output}).code; });
    const auto send = [&](const std::string& text) {
      EXPECT_EQ(::write(in[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    };
    std::string answers;
    for (int i = 0; i < 20; ++i) {
      const std::string line = frameLine("a", static_cast<std::uint64_t>(i), kBox);
      send(line.substr(0, 10));
      send(line.substr(10));
      char piece[4096];
      do {
        const ssize_t count = ::read(out[0], piece, sizeof piece);
        ASSERT_GT(count, 0);
        answers.append(piece, static_cast<std::size_t>(count));
      } while (answers.back() != '\n');
      EXPECT_EQ(linesOf(answers).size(), static_cast<std::size_t>(i + 1));
    }
    send(frameLine("a", 100, "").substr(0, 40) + "}");  // a last line without line break, and not a good one
    close(in[1]);
    EXPECT_EQ(run.get(), 0);
  }
  close(out[0]);
  close(out[1]);
}

/// The records of a made-up camera: people, vehicles, movements and gaps.
std::vector<Record> recordsOf(std::uint64_t seed, const std::string& camera) {
  SimulationOptions options;
  options.seed = seed;
  options.camera = camera;
  options.frames = 150;
  options.people = 25;
  options.vehicles = 6;
  options.pan = 0.2;
  options.drop = 0.1;
  Simulation simulation(options);
  std::vector<Record> records;
  for (Record record; simulation.read(record);) records.push_back(record);
  return records;
}

/// The same in the library's coordinates, with names, attributes and more.
std::vector<Record> withoutPixels(std::vector<Record> records) {
  int serial = 0;
  for (Record& record : records) {
    if (auto* const motion = std::get_if<CameraMotion>(&record)) {
      motion->matrix[2] *= 2.0 / motion->picture->width;
      motion->picture.reset();
    } else {
      Frame& frame = std::get<Frame>(record);
      frame.picture.reset();
      for (ObjectDetection& each : frame.detections) {
        frame.names.push_back(++serial % 2 == 0 ? std::to_string(serial) : fmt::format("\"\u00e9{}\"", serial));
        each.attributes = {{1, serial % 3, 40.0F + static_cast<float>(serial % 7)}, {-5, 2, 1.5F}};
        each.classifications.push_back({"other \"class\"", static_cast<float>(serial % 50)});
        each.objectness = static_cast<float>(serial % 100);
      }
    }
  }
  return records;
}

std::string textOf(const std::vector<Record>& records) {
  std::ostringstream text;
  const auto writer = kJsonLines.writeDetections({text}, {});
  for (const Record& each : records) writer->write(each);
  writer->finish();
  return text.str();
}

const LabelAssociations kAllLabels = {{"human", {"human"}}, {"car", {"car", "truck"}}, {"truck", {"truck"}}};
const Arguments kWithAllLabels = {"track", "--labels", "human,car,truck", "--associate", "car=truck", "--tracker"};

std::vector<float> floatsOf(dom::element list) {
  std::vector<float> floats;
  for (const dom::element each : list.get_array()) floats.push_back(static_cast<float>(double(each)));
  return floats;
}

/// A line has to say what the library says.
void expectTold(dom::element told, const TrackedObjectDetection& track) {
  EXPECT_EQ(std::int64_t(told["id"]), track.id);
  EXPECT_EQ(std::string_view(told["label"]), track.label);
  EXPECT_EQ(floatsOf(told["box"]),
            (std::vector<float>{track.box.left, track.box.top, track.box.right, track.box.bottom}));
  EXPECT_EQ(floatsOf(told["velocity"]), (std::vector<float>{track.velocityX, track.velocityY}));
  EXPECT_EQ(static_cast<float>(double(told["score"])), track.score);
  EXPECT_EQ(bool(told["confident"]), track.confident);

  ASSERT_EQ(dom::array(told["classifications"]).size(), track.classifications.size());
  auto classification = track.classifications.begin();
  for (const dom::element each : dom::array(told["classifications"])) {
    EXPECT_EQ(std::string_view(each["label"]), classification->label);
    EXPECT_EQ(static_cast<float>(double(each["score"])), classification->score);
    ++classification;
  }
  ASSERT_EQ(dom::array(told["attributes"]).size(), track.attributes.size());
  auto attribute = track.attributes.begin();
  for (const dom::element each : dom::array(told["attributes"])) {
    EXPECT_EQ(std::int64_t(each["type"]), attribute->attributeType);
    EXPECT_EQ(std::int64_t(each["value"]), attribute->attributeValue);
    EXPECT_EQ(static_cast<float>(double(each["score"])), attribute->score);
    ++attribute;
  }
}

TEST_F(Stream, StabilisesACameraThatDoesNotTellHowItMoves) {
  SimulationOptions options;
  options.frames = 400;
  options.people = 40;
  options.pan = 0.3;
  options.featureLength = 0;
  Simulation simulation(options);
  std::vector<Record> told;
  std::vector<Record> silent;
  for (Record record; simulation.read(record);) {
    told.push_back(record);
    if (std::holds_alternative<Frame>(record)) silent.push_back(record);
  }
  const auto follow = [](const std::vector<Record>& records, const Arguments& more) {
    return nivraReading(textOf(records), Arguments{"track", "--labels", "human", "--report", "confident"} + more).out;
  };
  const auto confirmed = [&](const std::vector<Record>& records, const Arguments& more) {
    return splitAt('{', follow(records, more)).size();
  };
  const std::size_t withMotion = confirmed(told, {});
  const std::size_t off = confirmed(silent, {"--stabilise", "off"});
  EXPECT_GT(withMotion, off);
  EXPECT_GT(2 * confirmed(silent, {}), withMotion + off);
  EXPECT_EQ(follow(told, {"--stabilise", "auto"}), follow(told, {"--stabilise", "off"}));
}

TEST_F(Stream, TellsAllThatTheLibraryReports) {
  const std::vector<Record> records = withoutPixels(recordsOf(3, "gate"));
  const std::vector<std::string> trackers = {"vanilla", "reid", "hybrid", "lowfps"};
  for (std::size_t selector = 0; selector < trackers.size(); ++selector) {
    SCOPED_TRACE(trackers[selector]);
    const auto answers =
        linesOf(nivraReading(textOf(records), kWithAllLabels + Arguments{trackers[selector], "--debug"}).out);
    ASSERT_EQ(answers.size(), records.size());

    MotionTrackerServer server;
    const auto shift = [](void* distance, int, Point& point) {
      point.x = static_cast<float>(static_cast<double>(point.x) + *static_cast<double*>(distance));
      return true;
    };
    const auto tracker = makeTracker(static_cast<int>(selector), {}, kAllLabels, 16.0F / 9.0F);
    dom::parser parser;
    std::size_t removed = 0;
    std::size_t hidden = 0;
    for (std::size_t i = 0; i < records.size(); ++i) {
      const dom::element answer = parser.parse(answers[i]);
      EXPECT_EQ(std::string_view(answer["camera"]), "gate");
      if (const auto* const motion = std::get_if<CameraMotion>(&records[i])) {
        double distance = motion->matrix[2];
        server.setCameraMotionTracker(&distance, 0, shift);
        server.updateClients();
        EXPECT_TRUE(bool(answer["motion"]));
        continue;
      }
      const Frame& frame = std::get<Frame>(records[i]);
      auto detections = frame.detections;
      const TrackUpdateResult changes = tracker->update(detections, *frame.timestamp);
      EXPECT_EQ(std::uint64_t(answer["timestamp"]), *frame.timestamp);
      const auto debugTracks = tracker->getDebugTracks();
      ASSERT_EQ(dom::array(answer["debug"]).size(), debugTracks.size());
      auto debugTrack = debugTracks.begin();
      std::map<std::int64_t, std::string> detectionOf;
      for (const dom::element told : dom::array(answer["debug"])) {
        const auto& [track, maxX, maxY, state, detection] = *debugTrack++;
        expectTold(told, track);
        const std::string name = detection < 0 ? "null" : frame.names[static_cast<std::size_t>(detection)];
        EXPECT_EQ(simdjson::minify(told["detection"].value()), name);
        EXPECT_EQ(std::int64_t(told["state"]), state);
        EXPECT_EQ(floatsOf(told["maxPositionDifference"]), (std::vector<float>{maxX, maxY}));
        detectionOf[track.id] = name;
      }
      const auto tracks = tracker->getTracks();
      ASSERT_EQ(dom::array(answer["tracks"]).size(), tracks.size());
      auto track = tracks.begin();
      for (const dom::element told : dom::array(answer["tracks"])) {
        EXPECT_EQ(simdjson::minify(told["detection"].value()), detectionOf.at(track->id));
        expectTold(told, *track++);
      }
      hidden += debugTracks.size() - tracks.size();

      EXPECT_EQ(simdjson::minify(answer["removed"].value()), fmt::format("[{}]", fmt::join(changes.removedIds, ",")));
      std::vector<std::string> merged;
      for (const auto& [absorbed, older] : changes.mergedIds) merged.push_back(fmt::format("[{},{}]", absorbed, older));
      EXPECT_EQ(simdjson::minify(answer["merged"].value()), fmt::format("[{}]", fmt::join(merged, ",")));
      removed += changes.removedIds.size();
    }
    EXPECT_GT(removed, 10U);
    EXPECT_EQ(hidden > 0, selector == 1 || selector == 2) << "lost people are not reported, but wait to come back";
  }
}

TEST_F(Stream, TracksAlikeInPixels) {
  const std::vector<Record> inPixels = recordsOf(4, "gate");
  std::vector<Record> normalised = withoutPixels(inPixels);
  for (Record& record : normalised) {
    if (auto* const frame = std::get_if<Frame>(&record)) frame->names.clear();
  }
  std::string bare;  // pixels whose picture the command line tells
  for (const std::string& line : linesOf(textOf(inPixels))) {
    const std::string picture = R"("picture":[1280,720],)";
    bare += std::string(line).erase(line.find(picture), picture.size()) + "\n";
  }
  const auto expected = linesOf(nivraReading(textOf(normalised), kWithAllLabels + Arguments{"vanilla"}).out);
  const auto answers = linesOf(nivraReading(textOf(inPixels), kWithAllLabels + Arguments{"vanilla"}).out);
  EXPECT_EQ(answers, linesOf(nivraReading(bare, kWithAllLabels + Arguments{"vanilla", "--picture", "1280x720"}).out));
  ASSERT_EQ(answers.size(), expected.size());
  dom::parser parser;
  dom::parser otherParser;
  std::size_t compared = 0;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    const dom::object answer = parser.parse(answers[i]);
    const dom::element other = otherParser.parse(expected[i]);
    if (answer["tracks"].error() != simdjson::SUCCESS) continue;
    ASSERT_EQ(dom::array(answer["tracks"]).size(), dom::array(other["tracks"]).size());
    auto otherTrack = dom::array(other["tracks"]).begin();
    for (const dom::element track : dom::array(answer["tracks"])) {
      EXPECT_EQ(std::int64_t(track["id"]), std::int64_t((*otherTrack)["id"]));
      EXPECT_EQ(simdjson::minify(track["detection"].value()), simdjson::minify((*otherTrack)["detection"].value()));
      const auto box = floatsOf(track["box"]);
      const auto otherBox = floatsOf((*otherTrack)["box"]);
      const auto velocity = floatsOf(track["velocity"]);
      const auto otherVelocity = floatsOf((*otherTrack)["velocity"]);
      for (const std::size_t edge : {0U, 2U}) EXPECT_NEAR(box[edge], (otherBox[edge] + 1.0F) * 640.0F, 0.01F);
      for (const std::size_t edge : {1U, 3U}) EXPECT_NEAR(box[edge], (1.0F - otherBox[edge]) * 360.0F, 0.01F);
      EXPECT_NEAR(velocity[0], otherVelocity[0] * 640.0F, 0.05F);
      EXPECT_NEAR(velocity[1], otherVelocity[1] * -360.0F, 0.05F);
      ++otherTrack;
      ++compared;
    }
  }
  EXPECT_GT(compared, 500U);
}

TEST_F(Stream, DoesNotMixCameras) {
  std::vector<std::vector<std::string>> cameras;
  for (const char* const name : {"a", "b", "c"}) {
    cameras.push_back(linesOf(textOf(recordsOf(cameras.size(), name))));
    cameras.back().push_back(fmt::format(R"({{"camera":"{}","end":true}})", name));
    cameras.back().push_back(frameLine(name, 0, kBox));  // anew, from the first identity on
    cameras.back().back().pop_back();
  }
  std::string interleaved;
  for (std::size_t i = 0; i < cameras[0].size() + cameras[1].size() + cameras[2].size(); ++i) {
    for (const auto& lines : cameras) interleaved += i < lines.size() ? lines[i] + "\n" : "";
  }
  for (const char* const tracker : {"vanilla", "reid", "hybrid", "lowfps"}) {
    std::map<char, std::vector<std::string>> answers;
    const std::string start = R"({"camera":")";
    for (const std::string& line : linesOf(nivraReading(interleaved, kWithAllLabels + Arguments{tracker}).out)) {
      answers[line.at(start.size())].push_back(line);
    }
    for (const auto& lines : cameras) {
      const std::string alone = fmt::format("{}\n", fmt::join(lines, "\n"));
      EXPECT_EQ(linesOf(nivraReading(alone, kWithAllLabels + Arguments{tracker}).out),
                answers[lines[0].at(start.size())]);
    }
    const char* const firstIdentity = tracker == std::string("hybrid") ? R"("id":1,)" : R"("id":0,)";
    EXPECT_NE(answers['a'].back().find(firstIdentity), std::string::npos);
  }
}

TEST_F(Stream, SuppliesWhatALineLeavesOut) {
  struct Case {
    std::vector<std::string> arguments;
    std::string line;
    const char* answer;
  };
  const Case cases[] = {
      {{}, R"({"end":false})", R"({"camera":"stdin","timestamp":0,"tracks":[])"},
      {{},
       R"({"camera":null,"timestamp":null,"detections":null,"other":{"x":[1]}})",
       R"({"camera":"stdin","timestamp":0)"},
      {{}, R"({"detections":[{"box":[0,1,1,0]}]})", R"("label":"human","score":100)"},
      {{"--label", "car"}, R"({"detections":[{"box":[0,1,1,0]}]})", R"("label":"car","score":100)"},
      {{"--labels", "a,b"},
       R"({"detections":[{"box":[0,1,1,0],"classifications":[{"label":"a","score":3},{"label":"b","score":7}]}]})",
       R"("label":"b","score":7)"},
      {{}, R"({"detections":[{"box":[0,1,1,0]},{"box":[-1,0,0,-1],"id":"x"}]})", R"("detection":0)"},
      {{}, R"({"detections":[{"box":[0,1,1,0]},{"box":[-1,0,0,-1],"id":"x"}]})", R"("detection":"x")"},
      {{}, "{\"end\":null}\n{\"end\":null}", R"("timestamp":40000000)"},
      {{"--fps", "10"}, "{\"end\":null}\n{\"end\":null}", R"("timestamp":100000000)"},
      {{}, "\xef\xbb\xbf{\"camera\":\"marked\"}\r", R"({"camera":"marked")"},
      {{}, R"({"camera":"never seen","end":true})", R"({"camera":"never seen","end":true,"removed":[]})"},
  };
  for (const Case& each : cases) {
    const Outcome outcome = nivraReading(each.line + "\n", Arguments{"track"} + each.arguments);
    EXPECT_NE(outcome.out.find(each.answer), std::string::npos) << each.line << '\n' << outcome.out;
    EXPECT_EQ(outcome.code, 0) << outcome.err;
  }
}

TEST_F(Stream, RefusesOtherShapesAndNamesUnknownFields) {
  struct Case {
    std::string lines;
    const char* answer;
    const char* warning;  // all that is said, without "warning: "
  };
  const Case cases[] = {
      {"{}", R"(none of the fields camera, timestamp, picture, detections, motion, end")", ""},
      {R"({"images":[],"annotations":[]})",
       R"(end, but \u0022images\u0022, \u0022annotations\u0022; --from coco reads)", ""},
      {R"({"frame":1,"objects":[]})", R"(\u0022objects\u0022; detections are a list called detections")", ""},
      {R"({"detection":[]})", R"(\u0022detection\u0022; did you mean detections?")", ""},
      {"{\"camera\":\"a\",\"objects\":[{}]}\n{\"camera\":\"a\",\"objects\":[]}", R"("tracks":[])",
       R"(field "objects" is unknown and passed over; detections are a list called detections)"},
      {R"({"detections":[{"box":[0,1,1,0],"confidence":5}]})", R"("score":100)",
       R"(field detections[]."confidence" is unknown and passed over; a detection's score is called score)"},
  };
  for (const Case& each : cases) {
    const Outcome outcome = nivraReading(each.lines, {"track"});
    EXPECT_NE(outcome.out.find(each.answer), std::string::npos) << outcome.out;
    const bool warns = *each.warning != '\0';
    EXPECT_EQ(outcome.err, warns ? fmt::format("warning: {} (the standard input:1)\n", each.warning) : "");
    const Outcome ofFile = nivra({"track", write("lines.jsonl", each.lines), "--from", "jsonl"});
    EXPECT_EQ(ofFile.code, warns ? 0 : 1);
    EXPECT_EQ(splitAt('\n', ofFile.err).size(), 1U) << "once, although files are read twice: " << ofFile.err;
  }
  std::string many;
  for (int i = 0; i < 1000; ++i) many += fmt::format("{{\"camera\":\"a\",\"field{}\":1}}\n", i);
  EXPECT_EQ(splitAt('\n', nivraReading(many, {"track"}).err).size(), 20U) << "within bounds";
}

TEST_F(Stream, TakesScoresAsTheCallerSays) {
  const std::string fractions = R"({"detections":[{"box":[0,1,1,0],"label":"a","score":0.5,)"
                                R"("classifications":[{"label":"b","score":0.25},{"label":"c"}]},{"box":[0,1,1,0]}]})";
  const std::string scaled = R"("score":50,"classifications":[{"label":"b","score":25},{"label":"c","score":100}])";
  const Outcome told = nivraReading(fractions, {"convert", "-", "--scores", "fraction"});
  EXPECT_NE(told.out.find(scaled), std::string::npos) << told.out;
  EXPECT_NE(told.out.find(R"("label":"human","score":100}])"), std::string::npos) << told.out;
  EXPECT_EQ(told.err, "");
  const std::string half = "{\"detections\":[{\"box\":[0,1,1,0],\"score\":0.5}]}\n";
  const Outcome guessed = nivraReading(half + half, {"track"});
  EXPECT_NE(guessed.out.find(R"("score":0.5)"), std::string::npos);
  EXPECT_EQ(guessed.err,
            "warning: no score is above 1, but jsonl has percent; --scores fraction takes them as fractions "
            "(the standard input)\n");
  EXPECT_EQ(nivraReading(half, {"track", "--scores", "percent"}).err, "");

  const std::string rows = write("det.txt", "1,-1,1,1,9,9,-0.5\n1,-1,30,1,9,9,0.5\n");
  const Arguments convert = {"convert", rows, "--picture", "64x48", "--fps", "5"};
  const Outcome percent = nivra(convert);
  EXPECT_NE(percent.out.find(R"("score":0.5})"), std::string::npos);
  EXPECT_EQ(
      percent.err,
      "warning: scores are taken as percent, for there is one of -0.5; --scores tells what they are (" + rows + ")\n");
  EXPECT_EQ(nivra(convert + Arguments{"--scores", "auto"}).out, percent.out);
  EXPECT_NE(nivra(convert + Arguments{"--scores", "fraction"}).out.find(R"("score":50})"), std::string::npos);
}

TEST_F(Stream, NamesUnassociatedLabelsOnce) {
  const auto boxOf = [](const std::string& label) {
    return fmt::format(R"({{"box":[-0.1,0.2,0.1,-0.2],"label":"{}"}})", label);
  };
  std::string stream;
  for (int i = 0; i < 3; ++i) {
    stream += frameLine("a", static_cast<std::uint64_t>(i), boxOf("human") + "," + boxOf("dog") + "," + boxOf("car"));
  }
  stream += frameLine("a", 3, boxOf("bus"));
  struct Case {
    std::vector<std::string> options;
    std::vector<const char*> named;  // by line
  };
  const Case cases[] = {
      {{}, {R"(["dog","car"])", "", "", R"(["bus"])"}},
      {{"--labels", "dog, car,human"}, {"", "", "", R"(["bus"])"}},
      {{"--associate", "car=car,bus", "--associate", "dog=dog"}, {R"(["human"])", "", "", ""}},
  };
  const std::string file = write("stream.jsonl", stream);
  for (const Case& each : cases) {
    const Arguments arguments = Arguments{"track"} + each.options;
    const auto answers = linesOf(nivraReading(stream, arguments).out);
    ASSERT_EQ(answers.size(), each.named.size());
    for (std::size_t i = 0; i < answers.size(); ++i) {
      const auto place = answers[i].find(R"("unassociated":)");
      EXPECT_EQ(place == std::string::npos ? "" : answers[i].substr(place + 15, answers[i].size() - place - 16),
                each.named[i]);
      for (const char* const label : {"human", "dog", "car", "bus"}) {
        if (answers[0].find(fmt::format(R"("{}")", label), answers[0].find("unassociated")) != std::string::npos) {
          EXPECT_EQ(answers[i].find(fmt::format(R"("label":"{}")", label)), std::string::npos) << answers[i];
        }
      }
    }
    const bool saysLabels = !each.options.empty() && each.options[0] == "--labels";
    EXPECT_EQ(nivra(arguments + Arguments{file}).out.find("unassociated") != std::string::npos, saysLabels)
        << "files associate each label with itself, unless all are given";
  }
}

TEST_F(Stream, NamesAThousandLabelsWithoutAssociationsAndNoMore) {
  std::string stream;
  for (std::uint64_t i = 0; i < 1100; ++i) {
    stream += frameLine("a", i, fmt::format(R"({{"box":[0,0.1,0.1,0],"label":"x{}","score":50}})", i));
  }
  const auto answers = linesOf(nivraReading(stream, {"track", "--labels", "human"}).out);
  ASSERT_EQ(answers.size(), 1100U);
  const auto isNamed = [](const std::string& line) { return line.find("unassociated") != std::string::npos; };
  EXPECT_EQ(std::count_if(answers.begin(), answers.end(), isNamed), 1000);
}

TEST(CamerasTest, LetsGoOfIdleOnes) {
  using namespace std::chrono_literals;
  const TrackerRecipe recipe(parseTrackerChoice("vanilla"), {});
  CameraSettings settings;
  settings.mostIdle = 10s;
  Cameras cameras(recipe, settings);
  const Cameras::Clock::time_point start;
  const auto see = [&](const char* name, std::uint64_t timestamp, std::chrono::seconds now) {
    Frame frame;
    frame.camera = name;
    frame.timestamp = timestamp;
    FrameTracks result;
    return !cameras.take(frame, start + now, result).has_value();
  };
  EXPECT_TRUE(see("a", 5, 0s));
  EXPECT_TRUE(see("b", 5, 1s));
  EXPECT_TRUE(see("c", 5, 2s));
  EXPECT_TRUE(see("a", 6, 3s));
  EXPECT_TRUE(cameras.dropIdle(start + 11s).empty());
  EXPECT_EQ(cameras.dropIdle(start + 13s), (std::vector<std::string>{"b", "c"}));
  EXPECT_TRUE(see("b", 5, 13s)) << "begins anew";
  EXPECT_FALSE(see("a", 6, 13s)) << "goes on";
  EXPECT_EQ(cameras.dropIdle(start + 24s), (std::vector<std::string>{"b", "a"}));
}

}  // namespace nivra::tool::test
