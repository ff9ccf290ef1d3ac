#include <fmt/format.h>
#include <simdjson.h>

#include <map>
#include <set>

#include "hostkit/counting/cameraEvents.h"
#include "toolRun.h"

namespace nivra::tool::test {

using namespace hostkit;

namespace {

constexpr std::uint64_t kFrame = 100'000'000;  // ns
constexpr char kMiddle[] = R"({"picture":[1280,720],
  "zones":[{"name":"left half","polygon":[[-99,-99],[640,-99],[640,999],[-99,999]]}],
  "lines":[{"name":"middle","from":[640,720],"to":[640,0]},{"name":"elsewhere","camera":"x","from":[0,9],"to":[9,9]}]})";

/// A track at some place, such as {3, 0.5}; without a detection if it is told so.
struct Seen {
  int identity;
  float x;
  bool isConfirmed = true;
  bool hasDetection = true;
};

struct Step {
  std::vector<Seen> seen;
  TrackUpdateResult changes = {};
};

/// What happens around a zone at the left and a line upwards in the middle, both a half high.
std::vector<std::string> eventsOf(const std::vector<Step>& steps, Counts& counts) {
  const Zones watched = {{{"west", "", {{-1.0, -0.5}, {-0.5, -0.5}, {-0.5, 0.5}, {-1.0, 0.5}}}, {"else", "other", {}}},
                         {{"up", "gate", {0.0, -0.5}, {0.0, 0.5}}}};
  CameraEvents camera(watched, "gate", 1.0);
  std::vector<Event> events;
  Frame frame;
  frame.timestamp = 0;
  for (const Step& step : steps) {
    FrameTracks tracks;
    tracks.changes = step.changes;
    for (const Seen& each : step.seen) {
      TrackReport& report = tracks.tracks.emplace_back();
      report.track.id = each.identity;
      report.track.label = "human";
      report.track.confident = each.isConfirmed;
      report.track.box = {each.x - 0.1F, 0.5F, each.x + 0.1F, 0.0F};  // which takes a margin of 0.025
      report.detectionId = each.hasDetection ? 0 : -1;
    }
    camera.take(frame, tracks, events);
    *frame.timestamp += kFrame;
  }
  counts = camera.counts();
  constexpr const char* kNames[] = {"confirmed", "lost", "revived", "merged",   "ended",
                                    "entered",   "left", "crossed", "corrected"};
  std::vector<std::string> told;
  for (const Event& each : events) {
    told.push_back(fmt::format("{} {} {}{}{}{}{}", each.timestamp / kFrame, each.identity,
                               kNames[static_cast<int>(each.kind)], each.place.name.empty() ? "" : " ", each.place.name,
                               each.place.side == Side::none   ? ""
                               : each.place.side == Side::left ? " <"
                                                               : " >",
                               each.into ? fmt::format(" into {}", *each.into) : ""));
    if (each.dwell) told.back() += fmt::format(" after {}", *each.dwell / kFrame);
  }
  return told;
}

/// Counts at the end, such as "middle right human: 3 2" for three crossings by two identities.
std::map<std::string, std::pair<std::int64_t, std::int64_t>> finalCounts(const std::string& lines) {
  std::map<std::string, std::pair<std::int64_t, std::int64_t>> counts;
  simdjson::dom::parser parser;
  for (const std::string& line : splitAt('\n', lines)) {
    if (line.rfind(R"({"event":"counts")", 0) != 0) continue;
    counts.clear();
    const simdjson::dom::element element = parser.parse(line);
    for (const simdjson::dom::element each : simdjson::dom::array(element["identities"])) {
      counts[std::string(each["label"])] = {0, std::int64_t(each["identities"])};
    }
    for (const simdjson::dom::element each : simdjson::dom::array(element["zones"])) {
      counts[std::string(each["zone"])] = {std::int64_t(each["entries"]), std::int64_t(each["identities"])};
    }
    for (const simdjson::dom::element each : simdjson::dom::array(element["lines"])) {
      counts[std::string(each["line"]) + " " + std::string(each["to"])] = {std::int64_t(each["crossings"]),
                                                                           std::int64_t(each["identities"])};
    }
  }
  return counts;
}

std::size_t countOf(const std::string& event, const std::string& lines) {
  std::size_t count = 0;
  for (const std::string& line : splitAt('\n', lines)) count += line.rfind(R"({"event":")" + event, 0) == 0 ? 1 : 0;
  return count;
}

}  // namespace

TEST(CameraEventsTest, TellsWhatHappens) {
  using Told = std::vector<std::string>;
  const struct {
    const char* name;
    std::vector<Step> steps;
    Told told;
    std::map<std::string, std::vector<std::uint64_t>> counts;  // times, identities, inside
  } cases[] = {
      {"a life",
       {{{{1, 0.3F, false}}}, {{{1, 0.3F}}}, {{{1, 0.9F, true, false}}}, {}, {}, {{{1, 0.3F}}}, {{}, {{1}, {}}}},
       {"1 1 confirmed", "3 1 lost", "5 1 revived", "6 1 ended"},
       {{"", {1, 1, 0}}}},
      {"nobody", {{{{1, -0.7F, false}}}, {{{1, 0.3F, false}}}, {{}, {{1}, {}}}}, {}, {}},
      {"across, told when confirmed",
       {{{{1, -0.7F, false}}}, {{{1, 0.3F, false}}}, {{{1, 0.4F}}}, {{{1, -0.2F}}}, {{{1, 0.2F}}}},
       {"2 1 confirmed", "0 1 entered west", "1 1 left west after 1", "1 1 crossed up >", "3 1 crossed up <",
        "4 1 crossed up >"},
       {{"", {1, 1, 0}}, {"west", {1, 1, 0}}, {"up >", {2, 1, 0}}, {"up <", {1, 1, 0}}}},
      {"trembling",
       {{{{1, -0.2F}}},
        {{{1, 0.02F}}},
        {{{1, -0.02F}}},
        {{{1, 0.02F}}},
        {{{1, 0.03F}}},
        {{{1, -0.02F}}},
        {{{1, 0.2F}}}},
       {"0 1 confirmed", "4 1 crossed up >"},
       {{"", {1, 1, 0}}, {"up >", {1, 1, 0}}}},
      {"without a detection",
       {{{{1, -0.2F}}}, {{{1, 0.2F, true, false}}}, {{{1, -0.3F}}}},
       {"0 1 confirmed"},
       {{"", {1, 1, 0}}}},
      {"there and back as another",
       {{{{1, -0.2F}}}, {{{1, 0.2F}}}, {}, {{{2, -0.7F}}}, {{{2, 0.2F}}}, {{{1, 0.3F}}, {{2}, {{2, 1}}}}},
       {"0 1 confirmed", "1 1 crossed up >", "2 1 lost", "3 2 confirmed", "3 2 entered west", "4 2 left west after 1",
        "4 2 crossed up >", "5 2 merged into 1", "5 2 corrected into 1", "5 2 corrected up > into 1",
        "3 1 crossed up <", "5 1 revived"},
       {{"", {2, 1, 0}}, {"west", {1, 1, 0}}, {"up >", {2, 1, 0}}, {"up <", {1, 1, 0}}}},
      {"in a zone all the time",
       {{{{1, -0.7F}}}, {}, {{{2, -0.8F}}}, {{{1, -0.7F}}, {{2}, {{2, 1}}}}, {{{1, 0.0F}}}},
       {"0 1 confirmed", "0 1 entered west", "1 1 lost", "2 2 confirmed", "2 2 entered west", "3 2 merged into 1",
        "3 2 corrected into 1", "3 2 corrected west into 1", "3 1 revived", "4 1 left west after 4"},
       {{"", {2, 1, 0}}, {"west", {2, 1, 0}}}},
      {"lost in a zone and seen again outside",
       {{{{1, -0.7F}}}, {{{1, -0.6F}}}, {}, {}, {{{1, 0.3F}}}},
       {"0 1 confirmed", "0 1 entered west", "2 1 lost", "1 1 left west after 1", "4 1 crossed up >", "4 1 revived"},
       {{"", {1, 1, 0}}, {"west", {1, 1, 0}}, {"up >", {1, 1, 0}}}},
      {"lost in a zone",
       {{{{1, -0.7F}, {2, -0.6F}}}, {{{2, -0.6F}}}},
       {"0 1 confirmed", "0 1 entered west", "0 2 confirmed", "0 2 entered west", "1 1 lost"},
       {{"", {2, 2, 0}}, {"west", {2, 2, 1}}}},
      {"still there",
       {{{{1, -0.7F}, {2, -0.6F}}}},
       {"0 1 confirmed", "0 1 entered west", "0 2 confirmed", "0 2 entered west"},
       {{"", {2, 2, 0}}, {"west", {2, 2, 2}}}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    Counts counts;
    Told told = eventsOf(each.steps, counts);
    EXPECT_EQ(told, each.told);
    std::map<std::string, std::vector<std::uint64_t>> found;
    for (const auto& [key, count] : counts) {
      const auto& [place, label] = key;
      EXPECT_EQ(label, "human");
      const char* const side = place.side == Side::none ? "" : place.side == Side::left ? " <" : " >";
      found[place.name + side] = {count.times, count.identities, count.inside};
    }
    EXPECT_EQ(found, each.counts);
  }
}

class Events : public ToolTest {};

/// People of the truth who enter the left half and cross the middle to each side, as far as they are to be seen before
/// and after.
std::map<std::string, std::pair<std::int64_t, std::int64_t>> trueCounts(const std::string& truth) {
  std::map<double, std::vector<double>> ways;
  for (const auto& row : rowsOf(truth)) {
    if (row[8] >= 0.5) ways[row[1]].push_back(row[2] + row[4] / 2);
  }
  std::map<std::string, std::pair<std::int64_t, std::int64_t>> counts;
  counts["human"].second = static_cast<std::int64_t>(ways.size());
  for (const auto& [person, way] : ways) {
    std::map<std::string, std::int64_t> times;
    if (way[0] < 640.0) ++times["left half"];
    for (std::size_t i = 1; i < way.size(); ++i) {
      if (way[i - 1] < 640.0 && way[i] >= 640.0) ++times["middle right"];
      if (way[i - 1] >= 640.0 && way[i] < 640.0) ++times["middle left"], ++times["left half"];
    }
    for (const auto& [place, number] : times) {
      counts[place].first += number;
      ++counts[place].second;
    }
  }
  return counts;
}

/// Whether every identity is one person from beginning to end.
bool keepsIdentities(const std::string& world, const std::string& tracks) {
  const auto lines = splitAt('\n', nivra({"eval", world, tracks, "--csv"}).out);
  const auto names = splitAt(',', lines.at(0));
  const auto switches = std::find(names.begin(), names.end(), "IDSW") - names.begin();
  std::set<double> people;
  std::set<double> identities;
  for (const auto& row : rowsOf(contentOf(world + "/gt/gt.txt"))) people.insert(row[1]);
  for (const auto& row : rowsOf(contentOf(tracks))) identities.insert(row[1]);
  return splitAt(',', lines.at(1)).at(static_cast<std::size_t>(switches)) == "0" && people.size() == identities.size();
}

TEST_F(Events, CountWhatIsTrueWhereIdentitiesAreKept) {
  const std::string zones = write("zones.json", kMiddle);
  int kept = 0;
  std::int64_t crossings = 0;
  for (int seed = 1; seed <= 14; ++seed) {
    SCOPED_TRACE(seed);
    const std::string world = path(fmt::format("world{}", seed));
    ASSERT_EQ(nivra({"simulate", "-o", world, "--seed", std::to_string(seed), "--people", "3"}).code, 0);
    const Arguments arguments = {"track", world, "--tracker", "reid"};
    ASSERT_EQ(nivra(arguments + Arguments{"-o", world + ".txt"}).code, 0);
    if (!keepsIdentities(world, world + ".txt")) continue;
    ++kept;
    const auto counts = finalCounts(nivra(arguments + Arguments{"--events", "--zones", zones}).out);
    EXPECT_EQ(counts, trueCounts(contentOf(world + "/gt/gt.txt")));
    for (const auto& [place, count] : counts) crossings += place.rfind("middle", 0) == 0 ? count.first : 0;
  }
  EXPECT_GE(kept, 5);
  EXPECT_GE(crossings, 10);
}

TEST_F(Events, CountPeopleWhoComeBackOnce) {
  const std::string zones = write("zones.json", kMiddle);
  std::size_t merges = 0;
  for (const char* const seed : {"1", "4", "5"}) {
    SCOPED_TRACE(seed);
    const std::string world = path(std::string("world") + seed);
    ASSERT_EQ(
        nivra({"simulate", "-o", world, "--seed", seed, "--people", "4", "--reentries", "1", "--frames", "600"}).code,
        0);
    const Arguments arguments = {"track", "--tracker", "reid", "--events", "--zones", zones};
    const std::string ahead = nivra(arguments + Arguments{world}).out;
    const std::string atOnce = nivraReading(nivra({"convert", world}).out, arguments).out;
    const auto counts = finalCounts(atOnce);
    EXPECT_EQ(countOf("merged", ahead), 0U) << "a file's identities are one from the beginning";
    merges += countOf("merged", atOnce);
    EXPECT_EQ(static_cast<std::size_t>(counts.at("human").second),
              countOf("confirmed", atOnce) - countOf("merged", atOnce));
    for (const auto& [place, count] : finalCounts(ahead)) {
      ASSERT_EQ(counts.count(place), 1U) << place;
      EXPECT_EQ(counts.at(place).second, count.second) << place;
    }
  }
  EXPECT_GE(merges, 3U);
}

TEST_F(Events, AreToldOfEveryCameraToItsEnd) {
  const std::string zones = write("zones.json", kMiddle);
  const std::string plaza = nivra({"convert", kPlaza}).out;
  const std::string other = R"({"camera":"other","picture":[9,9],"detections":[]})"
                            "\n";
  const Arguments arguments = {"track", "--labels", "human", "--events", "--zones", zones, "--every", "3s"};
  const std::string told = nivraReading(other + plaza + "{\n" +
                                            R"({"camera":"plaza","end":true})"
                                            "\n" +
                                            plaza,
                                        arguments)
                               .out;
  EXPECT_EQ(countOf("confirmed", told), countOf("ended", told));
  EXPECT_EQ(countOf("entered", told), countOf("left", told));
  EXPECT_EQ(countOf("counts", told), 2U * (1 + 11 / 3) + 1);
  EXPECT_NE(told.find(R"({"error":{"line":302,)"), std::string::npos);
  const std::string end = told.substr(told.find(R"("timestamp":11960000000,"identities":)"));
  EXPECT_EQ(end.substr(0, end.find('\n')),
            told.substr(told.rfind(R"("timestamp":11960000000,"identities":)"), end.find('\n')))
      << "begins anew and counts the same";
  EXPECT_EQ(nivraReading(plaza, arguments).out, nivraReading(plaza, arguments + Arguments{"--to", "jsonl"}).out);
}

TEST_F(Events, RefuseWhatMakesNoSense) {
  const std::pair<const char*, const char*> files[] = {
      {"[]", "expected an object, found an array"},
      {R"({"zone":[]})", "unknown ("},
      {R"({"zones":[{"polygon":[[0,0],[1,0],[1,1]]}]})", "missing ("},
      {R"({"zones":[{"name":"a","polygon":[[0,0],[1,0]]}]})", "expected three points or more"},
      {R"({"zones":[{"name":"a","polygon":[[0,0],[1,0],[1]]}]})", "zones[0].polygon[2])"},
      {R"({"lines":[{"name":"a","from":[0,0],"to":[0,1]},{"name":"a","from":[0,0],"to":[0,1]}]})", "lines[1].name)"},
      {R"({"lines":[{"name":"a","from":[0,0],"to":[0,0]}]})", "the same as from"},
      {R"({"lines":[{"name":"","from":[0,0],"to":[0,1]}]})", "must not be empty"},
      {R"({"lines":[{"name":"a","from":[0,0]}]})", "lines[0].to)"},
      {R"({"lines":[{"name":"a","from":[0,0],"to":[0,1],"side":1}]})", "lines[0].side)"},
  };
  for (const auto& [text, message] : files) {
    const Outcome outcome = nivra({"track", kPlaza, "--events", "--zones", write("zones.json", text)});
    EXPECT_EQ(outcome.code, 1) << text;
    EXPECT_NE(outcome.err.find(message), std::string::npos) << text << outcome.err;
  }
  const std::pair<Arguments, const char*> calls[] = {{{"--zones", "z.json"}, "--zones is for --events"},
                                                     {{"--every", "1"}, "--every is for --events"},
                                                     {{"--events", "--every", "0"}, "--every 0: "},
                                                     {{"--events", "--to", "csv"}, "--events are told in jsonl"}};
  for (const auto& [arguments, message] : calls) {
    const Outcome outcome = nivra(Arguments{"track", kPlaza} + arguments);
    EXPECT_EQ(outcome.code, 2);
    EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
  }
}

}  // namespace nivra::tool::test
