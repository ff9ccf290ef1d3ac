#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "worker/redis/streams.h"

namespace nivra::worker {

struct FeedOptions {
  std::string input = "-";
  std::string source;                  // by which lines are known again; one of its own if empty
  std::uint64_t mostWaiting = 10'000;  // entries of a shard, beyond which it waits for room
  std::size_t batch = 256;             // lines at once, if so many have come
};

/// Puts the lines of an input to their shards, each once, as long as it takes. Lines up to the last one that came from
/// the source before are passed over.
/// @param err Told when Redis is unavailable, and when it is there again.
void feed(const RedisOptions& redis, const FeedOptions& options, std::ostream& err);

}  // namespace nivra::worker
