#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "worker/log.h"

namespace nivra::worker::test {

/// What happens to a worker or its way to the log while a verb is under way.
enum class Fate {
  well,
  lostOnTheWay,  // the log never hears it
  lostOnTheWayBack,
  late,  // the log hears commits long after the worker has given up on them
  diesBefore,
  diesAfter,
};

struct WorkerDied {};

/// What a log may do wrong, for the stories that are to notice it.
enum class Defect { none, takesCommitsOfOldEpochs, blamesEntriesForTakeovers, blamesEntriesForLivingWorkers };

/// A log in memory, with a clock that stands unless somebody moves it.
struct SimulatedLog {
  static constexpr std::uint64_t kLease = 100;  // ms

  struct Shard {
    std::vector<Entry> entries;
    std::vector<Answer> answers;
    std::uint64_t epoch = 0;
    std::string owner;
    std::uint64_t expires = 0;
    Position answered;
    StoredState state;
    unsigned takeovers = 0;
    std::optional<Position> tried;
    std::set<std::string> triers;
  };

  explicit SimulatedLog(std::size_t shardCount) : shards(shardCount) {}

  void feed(std::size_t shard, const std::string& line) {
    Shard& target = shards[shard];
    const Position position{now + 1, target.entries.size()};
    target.entries.push_back({position, line, target.entries.size() + 1, "", ""});
  }

  Verdict commit(const Commit& commit) {
    Shard& shard = at(commit.lease);
    if (shard.epoch != commit.lease.epoch && defect != Defect::takesCommitsOfOldEpochs) return {false, now};
    shard.answers.insert(shard.answers.end(), commit.answers.begin(), commit.answers.end());
    shard.answered = commit.answered;
    shard.expires = now + kLease;
    if (commit.endsCare) shard.takeovers = 0;
    if (!(commit.tried == shard.tried)) shard.triers.clear();
    shard.tried = commit.tried;
    if (commit.tried) shard.triers.insert(shard.owner);
    if (commit.state) shard.state = *commit.state;
    return {true, now};
  }

  Shard& at(const Lease& lease) { return shards[static_cast<std::size_t>(lease.shard)]; }

  std::vector<Shard> shards;
  std::map<std::string, std::uint64_t> workers;  // until when they are taken to live
  std::vector<Commit> late;
  std::uint64_t now = 0;  // ms
  Defect defect = Defect::none;
};

/// A worker's way to it.
class SimulatedClient final : public Log {
 public:
  SimulatedClient(SimulatedLog& simulated, std::string workersName, std::function<Fate()> choose)
      : log(simulated), name(std::move(workersName)), fate(std::move(choose)) {}

  Standing claim(const std::vector<Lease>& held) override {
    return meeting([&] { return claimNow(held); });
  }

  std::vector<Batch> read(const std::vector<Cursor>& cursors, std::size_t most, std::chrono::milliseconds) override {
    return meeting([&] {
      std::vector<Batch> batches;
      for (const Cursor& each : cursors) {
        Batch batch{each.shard, {}};
        for (const Entry& entry : log.shards[static_cast<std::size_t>(each.shard)].entries) {
          if (each.after < entry.position && batch.entries.size() < most) batch.entries.push_back(entry);
        }
        if (!batch.entries.empty()) batches.push_back(std::move(batch));
      }
      return batches;
    });
  }

  void commit(const Commit& commit) override {
    meeting(
        [&] {
          verdicts.push_back(log.commit(commit));
          return 0;
        },
        [&] { log.late.push_back(commit); });
  }

  std::vector<Verdict> outcomes() override {
    return meeting([&] { return std::exchange(verdicts, {}); });
  }

  void release(const std::vector<Lease>& leases, bool leaves) override {
    meeting([&] {
      for (const Lease& each : leases) {
        SimulatedLog::Shard& shard = log.at(each);
        if (shard.epoch != each.epoch) continue;
        shard.owner.clear();
      }
      if (!leaves) return 0;
      for (SimulatedLog::Shard& each : log.shards) each.triers.erase(name);
      log.workers.erase(name);
      return 0;
    });
  }

 private:
  /// Does it as fate has it.
  template <class Verb>
  auto meeting(Verb verb, const std::function<void()>& delay = nullptr) -> decltype(verb()) {
    switch (fate()) {
      case Fate::well:
        return verb();
      case Fate::diesBefore:
        throw WorkerDied();
      case Fate::diesAfter:
        verb();
        throw WorkerDied();
      case Fate::lostOnTheWayBack:
        verb();
        break;
      case Fate::late:
        if (delay) delay();
        break;
      case Fate::lostOnTheWay:
        break;
    }
    throw LogUnavailable("as simulated");
  }

  Standing claimNow(const std::vector<Lease>& held) {
    log.workers[name] = log.now + SimulatedLog::kLease;
    for (auto each = log.workers.begin(); each != log.workers.end();) {
      each = each->second <= log.now ? log.workers.erase(each) : std::next(each);
    }
    const auto rank = static_cast<std::size_t>(std::distance(log.workers.begin(), log.workers.find(name)));
    Standing standing;
    standing.due = fairShare(log.shards.size(), rank, log.workers.size());
    std::set<int> kept;
    for (const Lease& each : held) {
      SimulatedLog::Shard& shard = log.at(each);
      const bool holds = shard.epoch == each.epoch && shard.owner == name;
      if (holds) {
        shard.expires = log.now + SimulatedLog::kLease;
        kept.insert(each.shard);
      } else {
        standing.lost.push_back(each);
      }
    }
    for (int i = 0; i < static_cast<int>(log.shards.size()); ++i) {
      if (kept.size() + standing.taken.size() >= standing.due) break;
      if (kept.count(i) == 0) take(i, standing);
    }
    return standing;
  }

  void take(int number, Standing& standing) {
    SimulatedLog::Shard& shard = log.shards[static_cast<std::size_t>(number)];
    const bool isOthers = !shard.owner.empty() && shard.owner != name;
    if (isOthers && shard.expires > log.now) return;
    if (isOthers) ++shard.takeovers;
    shard.owner = name;
    shard.expires = log.now + SimulatedLog::kLease;
    standing.taken.push_back({{number, ++shard.epoch}, shard.answered, shard.state, shard.takeovers, suspectOf(shard)});
  }

  Suspect suspectOf(const SimulatedLog::Shard& shard) const {
    if (log.defect == Defect::blamesEntriesForTakeovers) return {firstUnanswered(shard), shard.takeovers};
    Suspect suspect{shard.tried.value_or(Position{}), 0};
    for (const std::string& each : shard.triers) {
      const bool isGone = log.workers.count(each) == 0;
      if (isGone || log.defect == Defect::blamesEntriesForLivingWorkers) ++suspect.deaths;
    }
    return suspect;
  }

  static Position firstUnanswered(const SimulatedLog::Shard& shard) {
    for (const Entry& each : shard.entries) {
      if (shard.answered < each.position) return each.position;
    }
    return {};
  }

  SimulatedLog& log;
  std::string name;
  std::function<Fate()> fate;
  std::vector<Verdict> verdicts;
};

}  // namespace nivra::worker::test
