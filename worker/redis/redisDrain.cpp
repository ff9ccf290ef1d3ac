#include "worker/redis/redisDrain.h"

#include <map>
#include <string>
#include <vector>

#include "worker/patience.h"

namespace nivra::worker {

using namespace hostkit;

namespace {

/// KEYS: in, out, shard. Gives whether every entry has its answer, and nobody has to take one.
constexpr char kIsDone[] = R"(
if redis.call('XLEN', KEYS[2]) > 0 then return 0 end
if redis.call('EXISTS', KEYS[1]) == 0 then return 1 end
local answered = redis.call('HGET', KEYS[3], 'answered') or '0-0'
local stream = redis.call('XINFO', 'STREAM', KEYS[1])
for i = 1, #stream, 2 do
  if stream[i] == 'last-generated-id' then return stream[i + 1] == answered and 1 or 0 end
end
return 0
)";

class Drainer {
 public:
  Drainer(const RedisOptions& redis, Output& target)
      : options(redis),
        output(target),
        keys(redis.name),
        script{kIsDone},
        connection(redis.address, redis.patience, {&script}) {}

  void begin() { shards = agreeOnShards(connection, options); }

  /// Reads what is there.
  /// @return Whether there was anything.
  bool read() {
    constexpr const char* kMost = "256";  // of each shard
    constexpr const char* kWait = "200";  // ms
    std::vector<std::string> streams;
    std::vector<std::string> positions;
    for (int shard = 0; shard < shards; ++shard) {
      streams.push_back(keys.of(shard, "out"));
      positions.push_back(textOf(written[streams.back()]));
    }
    RedisConnection::Words words = {"XREAD", "COUNT", kMost, "BLOCK", kWait, "STREAMS"};
    words.insert(words.end(), streams.begin(), streams.end());
    words.insert(words.end(), positions.begin(), positions.end());
    const OwnedReply reply = connection.ask(words);
    if (reply.isNothing()) return false;
    for (std::size_t i = 0; i < reply.size(); ++i) write(std::string(reply[i][0].text()), reply[i][1]);
    output.flush();
    return true;
  }

  /// What has been written need not be kept.
  void remove() {
    for (const auto& [stream, position] : written) {
      const std::string next = textOf({position.time, position.count + 1});
      connection.send({"XTRIM", stream, "MINID", "=", next});
    }
    for (std::size_t i = 0; i < written.size(); ++i) connection.receive();
  }

  bool isDone() {
    for (int shard = 0; shard < shards; ++shard) {
      connection.sendScript(script, {keys.of(shard, "in"), keys.of(shard, "out"), keys.of(shard, "shard")}, {});
    }
    bool all = true;
    for (int shard = 0; shard < shards; ++shard) all = connection.receive().number() == 1 && all;
    return all;
  }

 private:
  void write(const std::string& stream, const RedisReply& entries) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const RedisReply fields = entries[i][1];
      for (std::size_t j = 0; j + 1 < fields.size(); j += 2) {
        if (fields[j].text() == "answer") output.write(fields[j + 1].text());
      }
      written[stream] = parsePosition(entries[i][0].text());
    }
  }

  RedisOptions options;
  Output& output;
  RedisStreams keys;
  RedisScript script;
  RedisConnection connection;
  int shards = 0;
  std::map<std::string, Position> written;  // of each stream, up to which
};

}  // namespace

void drain(const RedisOptions& redis, const DrainOptions& options, Output& output,
           const std::function<bool()>& isStopped, std::ostream& err) {
  Drainer drainer(redis, output);
  Patience patience(err);
  patience.until([&] { drainer.begin(); });
  for (bool goesOn = true; goesOn && !isStopped();) {
    bool any = false;
    patience.until([&] { any = drainer.read(); });
    if (any) {
      patience.until([&] { drainer.remove(); });
    } else if (!options.follows) {
      patience.until([&] { goesOn = !drainer.isDone(); });
    }
  }
}

}  // namespace nivra::worker
