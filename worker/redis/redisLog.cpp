#include "worker/redis/redisLog.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>
#include <thread>
#include <utility>

#include "hostkit/text/numbers.h"

namespace nivra::worker {

using namespace hostkit;

namespace {

// Redis's own clock counts, which is the same for all. Scripts are steps: nothing comes between their commands, and
// where Redis takes nothing at present, it says so at the first one that writes.

/// KEYS: workers. ARGV: worker, lease. Gives the workers that live.
constexpr char kJoin[] = R"(
local t = redis.call('TIME')
local now = t[1] * 1000 + math.floor(t[2] / 1000)
redis.call('ZADD', KEYS[1], now + ARGV[2], ARGV[1])
redis.call('ZREMRANGEBYSCORE', KEYS[1], '-inf', now)
return redis.call('ZRANGE', KEYS[1], 0, -1)
)";

/// KEYS: shard. ARGV: epoch, lease. Gives whether it still holds.
constexpr char kRenew[] = R"(
if redis.call('HGET', KEYS[1], 'epoch') ~= ARGV[1] then return 0 end
local t = redis.call('TIME')
redis.call('HSET', KEYS[1], 'expires', t[1] * 1000 + math.floor(t[2] / 1000) + ARGV[2])
return 1
)";

/// KEYS: shard, state. ARGV: worker, lease. Gives epoch, answered, position of the state, state, takeovers, the entry
/// tried alone and the workers that tried it; nothing if somebody has the shard.
constexpr char kTake[] = R"(
local t = redis.call('TIME')
local now = t[1] * 1000 + math.floor(t[2] / 1000)
local h = redis.call('HMGET', KEYS[1], 'owner', 'expires', 'answered', 'state', 'tried', 'triers')
local others = h[1] and h[1] ~= '' and h[1] ~= ARGV[1]
if others and tonumber(h[2]) > now then return false end
local epoch = redis.call('HINCRBY', KEYS[1], 'epoch', 1)
redis.call('HSET', KEYS[1], 'owner', ARGV[1], 'expires', now + ARGV[2])
local takeovers = redis.call('HINCRBY', KEYS[1], 'takeovers', others and 1 or 0)
return {epoch, h[3] or '', h[4] or '', redis.call('GET', KEYS[2]) or '', takeovers, h[5] or '', h[6] or ''}
)";

/// KEYS: shard, in, out, state, poison. ARGV: epoch, lease, answered, position of the state or nothing, state, worker,
/// entry that it tries next alone or nothing, whether care ends; then of each answer entry, text and whether its entry
/// is set aside. Gives the time, and how many answers there are; nothing if the epoch doesn't hold.
constexpr char kCommit[] = R"(
if redis.call('HGET', KEYS[1], 'epoch') ~= ARGV[1] then return false end
for i = 9, #ARGV, 3 do
  if ARGV[i + 1] ~= '' then redis.call('XADD', KEYS[3], '*', 'answer', ARGV[i + 1], 'entry', ARGV[i]) end
  if ARGV[i + 2] == '1' then
    local entry = redis.call('XRANGE', KEYS[2], ARGV[i], ARGV[i])[1]
    local fields = entry and entry[2] or {}
    redis.call('XADD', KEYS[5], '*', 'entry', ARGV[i], unpack(fields, 1, math.min(#fields, 4000)))
  end
end
local t = redis.call('TIME')
local now = t[1] * 1000 + math.floor(t[2] / 1000)
redis.call('HSET', KEYS[1], 'answered', ARGV[3], 'expires', now + ARGV[2])
if ARGV[7] == '' then
  redis.call('HDEL', KEYS[1], 'tried', 'triers')
else
  local h = redis.call('HMGET', KEYS[1], 'tried', 'triers')
  local triers = h[1] == ARGV[7] and h[2] or ''
  if not string.find(triers, ARGV[6], 1, true) then triers = triers .. ARGV[6] .. ' ' end
  redis.call('HSET', KEYS[1], 'tried', ARGV[7], 'triers', triers)
end
if ARGV[8] == '1' then redis.call('HDEL', KEYS[1], 'takeovers') end
if ARGV[4] ~= '' then
  redis.call('SET', KEYS[4], ARGV[5])
  redis.call('HSET', KEYS[1], 'state', ARGV[4])
  redis.call('XTRIM', KEYS[2], 'MINID', '=', ARGV[4])
end
return {now, redis.call('XLEN', KEYS[3])}
)";

/// KEYS: shard. ARGV: worker. It lives, so it has died of no entry.
constexpr char kExonerate[] = R"(
local triers = redis.call('HGET', KEYS[1], 'triers') or ''
local first, last = string.find(triers, ARGV[1] .. ' ', 1, true)
if first then redis.call('HSET', KEYS[1], 'triers', string.sub(triers, 1, first - 1) .. string.sub(triers, last + 1)) end
return 1
)";

/// KEYS: shard. ARGV: epoch.
constexpr char kRelease[] = R"(
if redis.call('HGET', KEYS[1], 'epoch') ~= ARGV[1] then return 0 end
redis.call('HSET', KEYS[1], 'owner', '')
return 1
)";

constexpr Range<std::uint64_t> kLineNumbers = {1, std::numeric_limits<std::uint64_t>::max()};

Entry entryOf(const RedisReply& reply) {
  Entry entry;
  entry.position = parsePosition(reply[0].text());
  bool isLine = false;
  const RedisReply fields = reply[1];
  for (std::size_t i = 0; fields.isArray() && i + 1 < fields.size(); i += 2) {
    const std::string_view name = fields[i].text();
    const std::string_view value = fields[i + 1].text();
    if (name == "line") {
      entry.line = value;
      isLine = true;
    } else if (name == "number") {
      entry.number = parseNumber(value, kLineNumbers).value_or(1);
    } else if (name == "camera") {
      entry.usualCamera = value;
    } else if (name == "damage") {
      entry.damage = value;
    }
  }
  if (!isLine && entry.damage.empty()) entry.damage = "an entry without a field line";
  return entry;
}

std::set<std::string> workersOf(const RedisReply& reply) {
  std::set<std::string> workers;
  for (std::size_t i = 0; i < reply.size(); ++i) workers.emplace(reply[i].text());
  return workers;
}

/// How many of some workers, each with a space behind it, don't live.
unsigned countGone(std::string_view workers, const std::set<std::string>& living) {
  unsigned count = 0;
  for (std::size_t end = 0; (end = workers.find(' ')) != std::string_view::npos; workers.remove_prefix(end + 1)) {
    count += living.count(std::string(workers.substr(0, end))) == 0 ? 1 : 0;
  }
  return count;
}

}  // namespace

RedisLog::RedisLog(const RedisOptions& redis, const RedisLogOptions& logOptions, std::string workerName)
    : options(redis),
      limits(logOptions),
      self(std::move(workerName)),
      keys(redis.name),
      joinScript{kJoin},
      renewScript{kRenew},
      takeScript{kTake},
      commitScript{kCommit},
      releaseScript{kRelease},
      exonerateScript{kExonerate},
      connection(redis.address, redis.patience,
                 {&joinScript, &renewScript, &takeScript, &commitScript, &releaseScript, &exonerateScript}),
      reading(redis.address, redis.patience, {}),
      entryBytes(static_cast<double>(limits.batchBytes)) {}

Standing RedisLog::claim(const std::vector<Lease>& held) {
  if (!std::exchange(asked, {}).empty()) connection.close();  // nobody asks any more what became of these commits
  if (shards == 0) shards = agreeOnShards(connection, options);
  const std::string lease = std::to_string(limits.lease.count());
  connection.sendScript(joinScript, {keys.workers()}, {self, lease});
  for (const Lease& each : held) {
    connection.sendScript(renewScript, {keys.of(each.shard, "shard")}, {std::to_string(each.epoch), lease});
  }
  Standing standing;
  const std::set<std::string> living = workersOf(connection.receive());
  const auto rank = static_cast<std::size_t>(std::distance(living.begin(), living.find(self)));
  standing.due = fairShare(static_cast<std::size_t>(shards), rank, living.size());
  std::set<int> kept;
  for (const Lease& each : held) {
    if (connection.receive().number() == 1) {
      kept.insert(each.shard);
    } else {
      standing.lost.push_back(each);
    }
  }
  takeFree(kept, living, standing);
  return standing;
}

/// Asks for as many at once as are missing, from a place of its own on, where others don't ask at the same time.
void RedisLog::takeFree(const std::set<int>& held, const std::set<std::string>& living, Standing& standing) {
  const std::string lease = std::to_string(limits.lease.count());
  const auto start = static_cast<int>(std::hash<std::string>()(self) % static_cast<std::size_t>(shards));
  std::vector<int> candidates;
  for (int i = 0; i < shards; ++i) {
    const int shard = (start + i) % shards;
    if (held.count(shard) == 0) candidates.push_back(shard);
  }
  for (std::size_t next = 0; next < candidates.size();) {
    const std::size_t there = held.size() + standing.taken.size();
    if (there >= standing.due) break;
    const std::size_t end = std::min(next + standing.due - there, candidates.size());
    for (std::size_t i = next; i < end; ++i) {
      connection.sendScript(takeScript, {keys.of(candidates[i], "shard"), keys.of(candidates[i], "state")},
                            {self, lease});
    }
    for (; next < end; ++next) {
      const OwnedReply reply = connection.receive();
      if (reply.isNothing()) continue;
      full.insert(candidates[next]);  // until it is looked at
      standing.taken.push_back({{candidates[next], static_cast<std::uint64_t>(reply[0].number())},
                                parsePosition(reply[1].text()),
                                {parsePosition(reply[2].text()), std::string(reply[3].text())},
                                static_cast<unsigned>(reply[4].number()),
                                {parsePosition(reply[5].text()), countGone(reply[6].text(), living)}});
    }
  }
}

/// Each time asks for the next entries already, so that they come while these are being answered.
std::vector<Batch> RedisLog::read(const std::vector<Cursor>& cursors, std::size_t most,
                                  std::chrono::milliseconds patience) {
  lookAtFull();
  std::map<int, Position> wanted;
  for (const Cursor& each : cursors) {
    if (full.count(each.shard) == 0) wanted[each.shard] = each.after;
  }
  if (ahead.empty() && wanted.empty()) {
    std::this_thread::sleep_for(patience);
    return {};
  }
  if (ahead.empty()) ask(wanted, most, patience);
  const std::map<int, Position> behind = std::exchange(ahead, {});
  std::vector<Batch> batches = receive();
  const auto isStale = [&](const Batch& each) {
    const auto cursor = wanted.find(each.shard);
    return cursor == wanted.end() || !(cursor->second == behind.at(each.shard));
  };
  batches.erase(std::remove_if(batches.begin(), batches.end(), isStale), batches.end());
  for (const Batch& each : batches) wanted[each.shard] = each.entries.back().position;
  if (!wanted.empty()) ask(wanted, most, patience);
  return batches;
}

void RedisLog::ask(const std::map<int, Position>& cursors, std::size_t most, std::chrono::milliseconds patience) {
  const std::string count = std::to_string(std::max(affordable(most) / cursors.size(), std::size_t{1}));
  const std::string block = std::to_string(patience.count());
  std::vector<std::string> words = {"XREAD", "COUNT", count, "BLOCK", block, "STREAMS"};
  for (const auto& [shard, position] : cursors) words.push_back(keys.of(shard, "in"));
  for (const auto& [shard, position] : cursors) words.push_back(textOf(position));
  reading.send({words.begin(), words.end()});
  ahead = cursors;
}

std::vector<Batch> RedisLog::receive() {
  const OwnedReply reply = reading.receive();
  std::vector<Batch> batches;
  if (reply.isNothing()) return batches;
  std::size_t bytes = 0;
  std::size_t count = 0;
  for (std::size_t i = 0; i < reply.size(); ++i) {
    Batch& batch = batches.emplace_back();
    batch.shard = keys.shardOf(reply[i][0].text());
    const RedisReply entries = reply[i][1];
    for (std::size_t j = 0; j < entries.size(); ++j) {
      batch.entries.push_back(entryOf(entries[j]));
      bytes += batch.entries.back().line.size();
    }
    count += entries.size();
  }
  entryBytes = std::max(static_cast<double>(bytes) / static_cast<double>(count), entryBytes / 2.0);
  return batches;
}

/// As many entries as memory should hold at once.
std::size_t RedisLog::affordable(std::size_t most) const {
  const double fitting = static_cast<double>(limits.batchBytes) / std::max(entryBytes, 1.0);
  return std::min(static_cast<std::size_t>(fitting), most);
}

/// Whether somebody has taken the answers of shards that rest.
void RedisLog::lookAtFull() {
  for (const int shard : full) connection.send({"XLEN", keys.of(shard, "out")});
  for (auto each = full.begin(); each != full.end();) {
    const auto length = static_cast<std::uint64_t>(connection.receive().number());
    each = length < limits.mostUnread ? full.erase(each) : std::next(each);
  }
}

void RedisLog::commit(const Commit& commit) {
  const int shard = commit.lease.shard;
  const std::string epoch = std::to_string(commit.lease.epoch);
  const std::string lease = std::to_string(limits.lease.count());
  const std::string answered = textOf(commit.answered);
  const std::string stateAt = commit.state ? textOf(commit.state->position) : "";
  const std::string_view state = commit.state ? std::string_view(commit.state->bytes) : "";
  std::vector<std::string> entries;
  for (const Answer& each : commit.answers) entries.push_back(textOf(each.position));
  const std::string tried = commit.tried ? textOf(*commit.tried) : "";
  RedisConnection::Words words = {epoch, lease, answered, stateAt, state, self, tried, commit.endsCare ? "1" : "0"};
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const Answer& answer = commit.answers[i];
    words.insert(words.end(), {entries[i], answer.text, answer.isSetAside ? "1" : "0"});
  }
  connection.sendScript(commitScript,
                        {keys.of(shard, "shard"), keys.of(shard, "in"), keys.of(shard, "out"), keys.of(shard, "state"),
                         keys.of(shard, "poison")},
                        words);
  asked.push_back(shard);
}

std::vector<Verdict> RedisLog::outcomes() {
  std::vector<Verdict> verdicts;
  for (const int shard : std::exchange(asked, {})) {
    const OwnedReply reply = connection.receive();
    Verdict& verdict = verdicts.emplace_back();
    if (reply.isNothing()) continue;
    verdict = {true, static_cast<std::uint64_t>(reply[0].number())};
    if (static_cast<std::uint64_t>(reply[1].number()) >= limits.mostUnread) full.insert(shard);
  }
  return verdicts;
}

void RedisLog::release(const std::vector<Lease>& leases, bool leaves) {
  for (const Lease& each : leases) {
    connection.sendScript(releaseScript, {keys.of(each.shard, "shard")}, {std::to_string(each.epoch)});
  }
  for (std::size_t i = 0; i < leases.size(); ++i) connection.receive();
  if (leaves) leave();
}

void RedisLog::leave() {
  for (int shard = 0; shard < shards; ++shard)
    connection.sendScript(exonerateScript, {keys.of(shard, "shard")}, {self});
  for (int shard = 0; shard < shards; ++shard) connection.receive();
  connection.ask({"ZREM", keys.workers(), self});
}

}  // namespace nivra::worker
