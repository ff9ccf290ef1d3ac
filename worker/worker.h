#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "worker/figures.h"
#include "worker/log.h"

namespace nivra::worker {

/// What turns the lines of a shard into answers. The same lines make the same answers.
class Answering {
 public:
  virtual ~Answering() = default;

  /// @return The answer, valid until the next call; empty if the entry gets none.
  virtual std::string_view answer(const Entry& entry) = 0;
  /// The answer to an entry that is not looked at.
  virtual std::string_view refuse(const Entry& entry, const std::string& reason) = 0;
  /// Whether the last answer tells a fault of its line.
  virtual bool hasRefused() const = 0;
  virtual std::string save() const = 0;
};

/// @param state As `save` gave it; empty for the beginning.
/// @throws StateError when it is not to be used.
using MakeAnswering = std::function<std::unique_ptr<Answering>(const std::string& state)>;

struct WorkerOptions {
  std::size_t batch = 512;                      // entries of all shards at once
  std::size_t stateEvery = 1000;                // entries of a shard
  std::chrono::milliseconds stateWithin{5000};  // of the last one, if entries were answered since
  std::chrono::milliseconds claimEvery{250};
  std::chrono::milliseconds longestPause{5000};  // while the log is unavailable
  unsigned takeoversToCare = 2;                  // from which on a shard's entries are tried one by one
  unsigned deathsToSetAside = 3;                 // of workers that tried an entry alone; 0 for no care at all
};

/// Holds shards of a log and answers their entries, each exactly once whatever happens to this worker or others: an
/// answer, and that it is given, become true in one commit, which holds only for the last one who claimed the shard. A
/// shard is taken over at its last stored state; what was answered since then runs through its trackers again,
/// silently.
class Worker {
 public:
  using Clock = std::chrono::steady_clock;

  /// @param now Tells the time.
  Worker(Log& workersLog, MakeAnswering makeAnswering, const WorkerOptions& workerOptions,
         std::function<Clock::time_point()> now);

  /// Does what comes next, by at most one verb. A log that is unavailable is told to `figures`, and tried again later.
  void step();

  /// Before which there is nothing to do.
  Clock::time_point wakesAt() const { return wake; }

  /// From now on, steps lead to the end: states are stored, and shards given back.
  void stop() { stopping = true; }
  bool hasStopped() const { return stopped; }

  const Figures& figures() const { return counts; }

 private:
  /// A shard in this worker's hands.
  struct Shard {
    Shard(const Claim& claim, const MakeAnswering& make, Clock::time_point now);

    Lease lease;
    std::unique_ptr<Answering> answering;
    Position answered;  // in the log
    Position seen;      // by the trackers; behind `answered` while they catch up
    Position stateAt;
    std::size_t sinceState = 0;  // entries
    Clock::time_point stateTime;
    Suspect suspect;
    std::size_t careful = 0;    // entries to be tried one by one
    std::deque<Entry> waiting;  // of these, read already
    Position tried;             // the one that the log knows to be in hand, or is told of
    bool leaves = false;        // is to be given back
  };
  enum class Step { claim, read, answer, confirm, release };

  void claim();
  void read();
  void answer();
  void confirm();
  void release();

  void take(const std::vector<Claim>& claims);
  Shard shardOf(const Claim& claim, Clock::time_point now) const;
  void leaveAllBut(std::size_t kept);
  void tryNext(Shard& shard, Commit& commit);
  void answerNext(Shard& shard, const Entry& entry, Commit& commit);
  bool hasKilled(const Shard& shard, const Entry& entry) const;
  bool isStateDue(const Shard& shard) const;
  void store(Shard& shard, Commit& commit);
  void count(const Commit& commit, std::uint64_t time);
  void loseAll(const std::string& reason);
  Step afterAnswers() const;

  Log& log;
  MakeAnswering make;
  WorkerOptions options;
  std::function<Clock::time_point()> clock;
  std::map<int, Shard> shards;
  std::deque<Batch> batches;    // to be answered
  std::vector<Commit> commits;  // that were asked for
  Clock::duration commitTime{0};
  Step next = Step::claim;
  Clock::time_point nextClaim;
  Clock::time_point wake;
  std::chrono::milliseconds pause{0};
  bool stopping = false;
  bool stopped = false;
  Figures counts;
};

}  // namespace nivra::worker
