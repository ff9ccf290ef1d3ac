#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "worker/log.h"
#include "worker/redis/connection.h"
#include "worker/redis/streams.h"

namespace nivra::worker {

struct RedisLogOptions {
  std::chrono::milliseconds lease{5000};           // how long a silent worker is taken to live
  std::uint64_t mostUnread = 100'000;              // answers of a shard that nobody has taken, beyond which it rests
  std::size_t batchBytes = std::size_t{4} << 20U;  // about as many come at once: more don't stay near the processor
};

/// Shards as streams of Redis.
class RedisLog final : public Log {
 public:
  /// @param workerName No other's.
  RedisLog(const RedisOptions& redis, const RedisLogOptions& logOptions, std::string workerName);

  Standing claim(const std::vector<Lease>& held) override;
  std::vector<Batch> read(const std::vector<Cursor>& cursors, std::size_t most,
                          std::chrono::milliseconds patience) override;
  void commit(const Commit& commit) override;
  std::vector<Verdict> outcomes() override;
  void release(const std::vector<Lease>& leases, bool leaves) override;

 private:
  void takeFree(const std::set<int>& held, const std::set<std::string>& living, Standing& standing);
  void lookAtFull();
  void leave();
  std::size_t affordable(std::size_t most) const;
  void ask(const std::map<int, Position>& cursors, std::size_t most, std::chrono::milliseconds patience);
  std::vector<Batch> receive();

  RedisOptions options;
  RedisLogOptions limits;
  std::string self;
  RedisStreams keys;
  RedisScript joinScript;
  RedisScript renewScript;
  RedisScript takeScript;
  RedisScript commitScript;
  RedisScript releaseScript;
  RedisScript exonerateScript;
  RedisConnection connection;
  RedisConnection reading;        // of its own, as it waits for entries to come
  int shards = 0;                 // 0 until it is known
  std::set<int> full;             // shards whose answers nobody takes
  std::map<int, Position> ahead;  // behind which entries have been asked for; empty if none have
  std::vector<int> asked;         // the shards of commits under way
  double entryBytes;              // of late; the first ones may be long
};

}  // namespace nivra::worker
