#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace nivra::worker {

/// Where an entry stands in its shard; those that come later have larger ones. The first one of all is beyond {}.
struct Position {
  std::uint64_t time = 0;   // when the log took it, ms of the log's clock
  std::uint64_t count = 0;  // among those of the same time

  friend bool operator==(const Position& a, const Position& b) { return a.time == b.time && a.count == b.count; }
  friend bool operator<(const Position& a, const Position& b) {
    return std::tie(a.time, a.count) < std::tie(b.time, b.count);
  }
  friend bool operator<=(const Position& a, const Position& b) { return !(b < a); }
};

/// A line that waits for its answer.
struct Entry {
  Position position;
  std::string line;
  std::uint64_t number = 1;  // of the line in what it was fed from
  std::string usualCamera;   // of lines that name none
  std::string damage;        // why this is no line; empty if it is one
};

struct Answer {
  Position position;        // of the entry that is answered
  std::string text;         // a line with its break; empty for an entry that gets no answer
  bool isRefused = false;   // the line has a fault
  bool isSetAside = false;  // and is poison: to be kept where people look at it
};

/// A shard belongs to the worker whose epoch is its last one.
struct Lease {
  int shard = 0;
  std::uint64_t epoch = 0;
};

/// What a shard's trackers have become by all entries up to a position.
struct StoredState {
  Position position;
  std::string bytes;  // empty before the first entry
};

/// An entry that workers had alone in hand, and how many of them did not live to answer it.
struct Suspect {
  Position position;
  unsigned deaths = 0;
};

/// A shard that has come to a worker.
struct Claim {
  Lease lease;
  Position answered;       // up to which the entries are
  StoredState state;       // not beyond it
  unsigned takeovers = 0;  // from workers that said nothing in time, since there was no more reason for care
  Suspect suspect;
};

struct Standing {
  std::size_t due = 0;  // how many shards this worker should hold
  std::vector<Lease> lost;
  std::vector<Claim> taken;
};

struct Cursor {
  int shard = 0;
  Position after;
};

struct Batch {
  int shard = 0;
  std::vector<Entry> entries;  // in their order
};

/// What becomes true in one step, or not at all.
struct Commit {
  Lease lease;
  Position answered;  // from now on; not before it was
  std::vector<Answer> answers;
  std::optional<StoredState> state;
  std::optional<Position> tried;  // the entry that this worker will answer next, alone
  bool endsCare = false;          // whether takeovers are forgotten
};

struct Verdict {
  bool holds = false;      // whether the epoch did, and so all of the commit
  std::uint64_t time = 0;  // ms of the log's clock
};

/// The log cannot be reached, or takes nothing at present. Whether it did what it was asked for is unknown.
struct LogUnavailable : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Where lines wait in shards for their answers: all that a worker asks of it. Claim, read, commit and release
/// are one step each; between two of them, anything may happen. All may stop with LogUnavailable.
class Log {
 public:
  virtual ~Log() = default;

  /// Stays one of the workers, renews the leases, and takes free shards up to what is due: those that nobody has, or
  /// whose worker has not renewed its lease in time.
  virtual Standing claim(const std::vector<Lease>& held) = 0;

  /// @param most Entries in all, or one of each shard.
  /// @param patience How long to wait if there are none at all.
  virtual std::vector<Batch> read(const std::vector<Cursor>& cursors, std::size_t most,
                                  std::chrono::milliseconds patience) = 0;

  /// Asks for a commit, and doesn't wait for it.
  virtual void commit(const Commit& commit) = 0;

  /// @return What became of each commit since the last call, in their order.
  virtual std::vector<Verdict> outcomes() = 0;

  /// Gives shards back, for others to take at once.
  /// @param leaves Whether this worker is no longer one.
  virtual void release(const std::vector<Lease>& leases, bool leaves) = 0;
};

/// Of so many shards, how many are due to a worker of a rank among so many.
inline std::size_t fairShare(std::size_t shards, std::size_t rank, std::size_t workers) {
  return shards / workers + (rank < shards % workers ? 1 : 0);
}

}  // namespace nivra::worker
