#include "worker/redis/redisFeed.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "hostkit/files/lineReader.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/jsonLines.h"
#include "hostkit/text/numbers.h"
#include "worker/patience.h"
#include "worker/uniqueName.h"

namespace nivra::worker {

using namespace hostkit;

namespace {

/// KEYS: in, fed. ARGV: source, most entries; then of each line its number, whether it is one, line or what is wrong
/// with it, and the camera of lines that name none. Gives how many need not be sent again.
constexpr char kFeed[] = R"(
local last = tonumber(redis.call('HGET', KEYS[2], ARGV[1]) or 0)
local room = tonumber(ARGV[2]) - redis.call('XLEN', KEYS[1])
local taken = 0
for i = 3, #ARGV, 4 do
  local number = tonumber(ARGV[i])
  if number > last then
    if room <= 0 then break end
    room = room - 1
    last = number
    if ARGV[i + 3] == '' then
      redis.call('XADD', KEYS[1], '*', 'number', ARGV[i], ARGV[i + 1], ARGV[i + 2])
    else
      redis.call('XADD', KEYS[1], '*', 'number', ARGV[i], ARGV[i + 1], ARGV[i + 2], 'camera', ARGV[i + 3])
    end
  end
  taken = taken + 1
end
if taken > 0 then redis.call('HSET', KEYS[2], ARGV[1], last) end
return taken
)";

constexpr std::size_t kMostBytes = std::size_t{8} << 20U;  // about as many are sent at once

struct Line {
  std::string number;
  const char* kind;  // line or damage
  std::string text;
  std::string usualCamera;
};

class Feeder {
 public:
  Feeder(const RedisOptions& redis, const FeedOptions& feedOptions, std::ostream& messages)
      : redisOptions(redis),
        options(feedOptions),
        source(options.source.empty() ? uniqueName() : options.source),
        keys(redis.name),
        script{kFeed},
        connection(redis.address, redis.patience, {&script}),
        patience(messages),
        lines(options.input, kJsonMargin),
        parser(parseJsonLines({}, shownName(options.input))),
        usualCamera(nameOf(options.input)) {}

  void follow() {
    patience.until([&] { shards = agreeOnShards(connection, redisOptions); });
    while (collect()) patience.until([&] { put(); });
    if (options.source.empty()) patience.until([&] { forget(); });
  }

 private:
  /// @return False at the end of the input.
  bool collect() {
    std::size_t count = 0;
    std::size_t bytes = 0;
    while (count < options.batch && bytes < kMostBytes && (count == 0 || lines.hasCome())) {
      if (!lines.next()) break;
      if (lines.line() && trimmed(*lines.line()).empty()) continue;
      take();
      ++count;
      bytes += lines.line().value_or("").size();
    }
    return count > 0;
  }

  void take() {
    Line line{std::to_string(lines.number()), "line", "", ""};
    std::string_view camera = usualCamera;
    if (lines.line()) {
      line.text = *lines.line();
      const auto named = parser->cameraOf({*lines.line(), lines.number(), "", false});
      camera = named.value_or(usualCamera);
      if (!named) line.usualCamera = usualCamera;
    } else {
      line.kind = "damage";
      line.text = lines.fault();
    }
    const int shard = shardOf(camera, shards);
    batch[shard].push_back(std::move(line));
    used.insert(shard);
  }

  /// Offers the lines until all shards have room for theirs.
  void put() {
    constexpr std::chrono::milliseconds kPause{20};
    while (true) {
      for (const auto& [shard, waiting] : batch) offer(shard, waiting);
      for (auto each = batch.begin(); each != batch.end();) {
        std::vector<Line>& waiting = each->second;
        waiting.erase(waiting.begin(), waiting.begin() + connection.receive().number());
        each = waiting.empty() ? batch.erase(each) : std::next(each);
      }
      if (batch.empty()) return;
      std::this_thread::sleep_for(kPause);
    }
  }

  void offer(int shard, const std::vector<Line>& waiting) {
    const std::string most = std::to_string(options.mostWaiting);
    RedisConnection::Words words = {source, most};
    for (const Line& each : waiting) words.insert(words.end(), {each.number, each.kind, each.text, each.usualCamera});
    connection.sendScript(script, {keys.of(shard, "in"), keys.of(shard, "fed")}, words);
  }

  /// A source that nobody can name again need not be remembered.
  void forget() {
    for (const int shard : used) connection.ask({"HDEL", keys.of(shard, "fed"), source});
  }

  RedisOptions redisOptions;
  FeedOptions options;
  std::string source;
  RedisStreams keys;
  RedisScript script;
  RedisConnection connection;
  Patience patience;
  LineReader lines;
  std::unique_ptr<JsonLineParser> parser;
  std::string usualCamera;
  int shards = 0;
  std::map<int, std::vector<Line>> batch;
  std::set<int> used;
};

}  // namespace

void feed(const RedisOptions& redis, const FeedOptions& options, std::ostream& err) {
  Feeder(redis, options, err).follow();
}

}  // namespace nivra::worker
