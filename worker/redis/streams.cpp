#include "worker/redis/streams.h"

#include <fmt/format.h>

#include <limits>

#include "hostkit/errors.h"
#include "hostkit/text/numbers.h"

namespace nivra::worker {

using namespace hostkit;

namespace {

constexpr int kUsualShards = 16;
constexpr Range<std::uint64_t> kParts = {0, std::numeric_limits<std::uint64_t>::max()};

}  // namespace

int agreeOnShards(RedisConnection& connection, const RedisOptions& options) {
  const std::string key = RedisStreams(options.name).shards();
  if (connection.ask({"GET", key}).isNothing()) {  // a Redis that is full tells it, but takes nothing
    connection.ask({"SET", key, std::to_string(options.shards.value_or(kUsualShards)), "NX"});
  }
  const auto there = parseNumber(connection.ask({"GET", key}).text(), kShardCounts);
  if (!there) throw FileError(fmt::format("{} in Redis is no number of shards", key));
  if (options.shards && *options.shards != *there) {
    throw FileError(
        fmt::format("there are {} shards in Redis, not {}: their number is for good", *there, *options.shards));
  }
  return *there;
}

/// FNV-1a, and a step by which all of its bits count, of short names as well.
int shardOf(std::string_view camera, int shards) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char each : camera) hash = (hash ^ static_cast<unsigned char>(each)) * 0x100000001b3U;
  hash = (hash ^ hash >> 33U) * 0xff51afd7ed558ccdU;
  return static_cast<int>((hash ^ hash >> 33U) % static_cast<std::uint64_t>(shards));
}

std::string textOf(const Position& position) { return fmt::format("{}-{}", position.time, position.count); }

Position parsePosition(std::string_view text) {
  const auto dash = text.find('-');
  if (dash == std::string_view::npos) return {};
  return {parseNumber(text.substr(0, dash), kParts).value_or(0),
          parseNumber(text.substr(dash + 1), kParts).value_or(0)};
}

}  // namespace nivra::worker
