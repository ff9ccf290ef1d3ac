#include "worker/worker.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "hostkit/errors.h"
#include "nivra/stateArchive.h"

namespace nivra::worker {

namespace {

constexpr std::chrono::milliseconds kFirstPause{50};

double secondsOf(Worker::Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

}  // namespace

Worker::Shard::Shard(const Claim& claim, const MakeAnswering& make, Clock::time_point now)
    : lease(claim.lease),
      answering(make(claim.state.bytes)),
      answered(claim.answered),
      seen(claim.state.position),
      stateAt(claim.state.position),
      stateTime(now),
      suspect(claim.suspect) {}

Worker::Worker(Log& workersLog, MakeAnswering makeAnswering, const WorkerOptions& workerOptions,
               std::function<Clock::time_point()> now)
    : log(workersLog), make(std::move(makeAnswering)), options(workerOptions), clock(std::move(now)) {}

void Worker::step() {
  if (stopping && (next == Step::claim || next == Step::read)) leaveAllBut(0);
  try {
    switch (next) {
      case Step::claim:
        claim();
        break;
      case Step::read:
        read();
        break;
      case Step::answer:
        answer();
        break;
      case Step::confirm:
        confirm();
        break;
      case Step::release:
        release();
        break;
    }
  } catch (const LogUnavailable& fault) {
    loseAll(fault.what());
  }
  counts.held = shards.size();
}

void Worker::claim() {
  std::vector<Lease> held;
  for (const auto& [number, shard] : shards) held.push_back(shard.lease);
  const Standing standing = log.claim(held);
  for (const Lease& each : standing.lost) counts.lost += shards.erase(each.shard);
  take(standing.taken);
  nextClaim = clock() + options.claimEvery;
  next = Step::read;
  if (shards.size() > standing.due) leaveAllBut(standing.due);
}

void Worker::take(const std::vector<Claim>& claims) {
  const auto now = clock();
  try {
    for (const Claim& each : claims) {
      Shard& shard = shards.emplace(each.lease.shard, shardOf(each, now)).first->second;
      if (options.deathsToSetAside > 0 && each.takeovers >= options.takeoversToCare) shard.careful = options.batch;
      ++counts.claimed;
    }
  } catch (...) {  // nobody is to think that this worker died of a line
    std::vector<Lease> leases;
    for (const auto& [number, shard] : shards) leases.push_back(shard.lease);
    for (const Claim& each : claims) leases.push_back(each.lease);
    log.release(leases, true);
    throw;
  }
}

Worker::Shard Worker::shardOf(const Claim& claim, Clock::time_point now) const {
  try {
    return Shard(claim, make, now);
  } catch (const StateError& fault) {
    throw hostkit::FileError(fmt::format("shard {}: {}", claim.lease.shard, fault.what()));
  }
}

/// Brings shards to where they can be given back, with their states.
void Worker::leaveAllBut(std::size_t kept) {
  std::size_t surplus = shards.size() - kept;
  for (auto each = shards.rbegin(); surplus > 0; ++each, --surplus) {
    Shard& shard = each->second;
    shard.leaves = true;
    const bool isInHand = !shard.waiting.empty() && shard.waiting.front().position == shard.tried;
    shard.waiting.resize(isInHand ? 1 : 0);  // that one is not to be held against this worker
    if (isInHand || isStateDue(shard)) batches.push_back({each->first, {}});
  }
  next = batches.empty() ? Step::release : Step::answer;
}

void Worker::read() {
  if (shards.empty()) {
    wake = nextClaim;
    next = Step::claim;
    return;
  }
  for (const auto& [number, shard] : shards) {
    if (!shard.waiting.empty()) batches.push_back({number, {}});
  }
  next = Step::answer;
  if (!batches.empty()) return;
  std::vector<Cursor> cursors;
  for (const auto& [number, shard] : shards) cursors.push_back({number, shard.seen});
  const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(nextClaim - clock());
  std::set<int> idle;
  for (const auto& [number, shard] : shards) idle.insert(number);
  for (Batch& each : log.read(cursors, options.batch, std::max(patience, std::chrono::milliseconds(1)))) {
    idle.erase(each.shard);
    batches.push_back(std::move(each));
  }
  for (const int number : idle) {
    if (isStateDue(shards.at(number))) batches.push_back({number, {}});
  }
  if (!batches.empty()) return;
  pause = {};
  next = afterAnswers();
}

/// Lets the entries of a shard run through its trackers, and asks for what the log has not heard yet. Meanwhile the log
/// is at the shards before it.
void Worker::answer() {
  Batch batch = std::move(batches.front());
  batches.pop_front();
  Shard& shard = shards.at(batch.shard);
  Commit commit;
  commit.lease = shard.lease;
  commit.answered = shard.answered;
  const auto start = clock();
  if (shard.careful > 0 || !shard.waiting.empty()) {
    std::move(batch.entries.begin(), batch.entries.end(), std::back_inserter(shard.waiting));
    tryNext(shard, commit);
  } else {
    for (const Entry& each : batch.entries) answerNext(shard, each, commit);
  }
  counts.busySeconds += secondsOf(clock() - start);
  if (isStateDue(shard)) store(shard, commit);
  commit.endsCare = !commit.answers.empty() && shard.careful == 0 && shard.waiting.empty();
  next = batches.empty() ? Step::confirm : Step::answer;
  if (commit.answers.empty() && !commit.state && !commit.tried) return;
  const auto sent = clock();
  log.commit(commit);
  commitTime += clock() - sent;
  commits.push_back(std::move(commit));
}

/// Answers the entry that the log knows to be in hand, and tells the log of the one that will be next. Who takes the
/// shard over then knows of which entry this worker died, if it did.
void Worker::tryNext(Shard& shard, Commit& commit) {
  std::deque<Entry>& waiting = shard.waiting;
  while (!waiting.empty() && (waiting.front().position <= shard.answered || waiting.front().position == shard.tried)) {
    answerNext(shard, waiting.front(), commit);
    waiting.pop_front();
  }
  if (!waiting.empty()) commit.tried = shard.tried = waiting.front().position;
}

void Worker::answerNext(Shard& shard, const Entry& entry, Commit& commit) {
  shard.seen = entry.position;
  ++shard.sinceState;
  if (entry.position <= shard.answered) {
    shard.answering->answer(entry);
    ++counts.caughtUp;
    return;
  }
  if (shard.careful > 0) --shard.careful;
  std::string reason = entry.damage;
  if (hasKilled(shard, entry)) reason = "set aside, as workers died of it";
  const bool isPoison = !reason.empty();
  const std::string_view text = isPoison ? shard.answering->refuse(entry, reason) : shard.answering->answer(entry);
  commit.answers.push_back({entry.position, std::string(text), shard.answering->hasRefused(), isPoison});
  if (isPoison) shard.sinceState = options.stateEvery;  // successors are not to meet it
  commit.answered = entry.position;
}

bool Worker::hasKilled(const Shard& shard, const Entry& entry) const {
  return options.deathsToSetAside > 0 && shard.suspect.deaths >= options.deathsToSetAside &&
         shard.suspect.position == entry.position;
}

bool Worker::isStateDue(const Shard& shard) const {
  if (shard.seen == shard.stateAt) return false;
  return shard.leaves || shard.sinceState >= options.stateEvery || clock() - shard.stateTime >= options.stateWithin;
}

void Worker::store(Shard& shard, Commit& commit) {
  const auto start = clock();
  commit.state = StoredState{shard.seen, shard.answering->save()};
  shard.sinceState = 0;
  shard.stateAt = shard.seen;
  shard.stateTime = clock();
  counts.stateSeconds += secondsOf(shard.stateTime - start);
}

void Worker::confirm() {
  const auto start = clock();
  const std::vector<Verdict> verdicts = log.outcomes();
  counts.commits.add(secondsOf(std::exchange(commitTime, {}) + (clock() - start)));
  for (std::size_t i = 0; i < commits.size(); ++i) {
    const Commit& each = commits[i];
    if (verdicts[i].holds) {
      shards.at(each.lease.shard).answered = each.answered;
      count(each, verdicts[i].time);
    } else {
      counts.lost += shards.erase(each.lease.shard);
    }
  }
  commits.clear();
  pause = {};
  next = afterAnswers();
}

void Worker::count(const Commit& commit, std::uint64_t time) {
  for (const Answer& each : commit.answers) {
    ++counts.answered;
    counts.refused += each.isRefused ? 1 : 0;
    counts.setAside += each.isSetAside ? 1 : 0;
    counts.lag.add(static_cast<double>(time - std::min(time, each.position.time)) / 1000.0);
  }
  if (!commit.state) return;
  ++counts.statesStored;
  counts.stateBytes += commit.state->bytes.size();
}

void Worker::release() {
  std::vector<Lease> leases;
  for (const auto& [number, shard] : shards) {
    if (shard.leaves) leases.push_back(shard.lease);
  }
  const bool isLast = stopping && leases.size() == shards.size();
  log.release(leases, isLast);
  for (const Lease& each : leases) shards.erase(each.shard);
  stopped = isLast;
  next = Step::read;
}

Worker::Step Worker::afterAnswers() const {
  const auto leaves = [](const auto& entry) { return entry.second.leaves; };
  if (std::any_of(shards.begin(), shards.end(), leaves)) return Step::release;
  return clock() >= nextClaim ? Step::claim : Step::read;
}

/// Nobody knows what became of the last step. What the log says at the next claim is where to go on.
void Worker::loseAll(const std::string& reason) {
  shards.clear();
  batches.clear();
  commits.clear();
  ++counts.failures;
  counts.lastFailure = reason;
  pause = std::clamp(pause * 2, kFirstPause, options.longestPause);
  wake = clock() + pause;
  next = Step::claim;
  stopped = stopping;
}

}  // namespace nivra::worker
