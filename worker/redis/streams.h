#pragma once

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "hostkit/text/numbers.h"
#include "worker/log.h"
#include "worker/redis/connection.h"

/// How lines and answers lie in Redis. What belongs to a shard has its number in braces, so that a cluster keeps it
/// together:
///
///     NAME:shards          how many there are
///     NAME:workers         sorted set: each worker, and until when it is taken to live
///     NAME:{n}:in          stream of lines: line (or damage, why there is none), number, and camera for those that
///                          name none
///     NAME:{n}:out         stream of answers: answer, and entry, the identity of what it answers
///     NAME:{n}:shard       hash: epoch, owner, expires, answered, state; takeovers since there was no reason for care;
///                          tried, the entry that is in hand alone then, and triers, the workers that had it so
///     NAME:{n}:state       what the trackers have become by the entry that `state` names
///     NAME:{n}:fed         hash: of each source the number of the last line that came from it
///     NAME:{n}:poison      stream of what was set aside: entry, and the fields of it
namespace nivra::worker {

class RedisStreams {
 public:
  explicit RedisStreams(std::string name) : base(std::move(name)) {}

  std::string shards() const { return base + ":shards"; }
  std::string workers() const { return base + ":workers"; }
  std::string of(int shard, std::string_view kind) const {
    return base + ":{" + std::to_string(shard) + "}:" + std::string(kind);
  }

  /// The shard that a key belongs to.
  int shardOf(std::string_view key) const { return std::atoi(key.data() + base.size() + 2); }

 private:
  std::string base;
};

inline constexpr hostkit::Range<int> kShardCounts = {1, 4096};

/// What `feed`, workers and `drain` have to agree on.
struct RedisOptions {
  RedisAddress address;
  std::string name = "nivra";
  std::optional<int> shards;                 // those that there are, or the usual number, if not given
  std::chrono::milliseconds patience{5000};  // for a reply
};

/// How many shards there are; from now on as many as wanted, if nobody has said it before.
/// @throws FileError when there are others than wanted.
int agreeOnShards(RedisConnection& connection, const RedisOptions& options);

/// The shard of a camera, always the same.
int shardOf(std::string_view camera, int shards);

std::string textOf(const Position& position);
/// @param text As Redis writes the identity of an entry; anything else is the beginning.
Position parsePosition(std::string_view text);

}  // namespace nivra::worker
