#include "worker/workerCommands.h"

#include <malloc.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "commandOptions.h"
#include "hostkit/files/interruption.h"
#include "hostkit/files/textFile.h"
#include "worker/patience.h"
#include "worker/redis/redisDrain.h"
#include "worker/redis/redisFeed.h"
#include "worker/redis/redisLog.h"
#include "worker/streamAnswers.h"
#include "worker/uniqueName.h"
#include "worker/worker.h"

namespace nivra::worker {

using namespace hostkit;
using namespace tool;
using std::chrono::milliseconds;

namespace {

constexpr char kRunHelp[] = R"(Answers the lines that nivra-worker feed puts to the shards, as nivra track would:
the options of both that have the same name mean the same. Any number of workers
share the shards evenly; each answer is given once, in the order of the camera's
lines, whichever of them die. All of them have to be given the same options.

SIGTERM stores the states and hands the shards over. Passwords come from a file or
from NIVRA_REDIS_PASSWORD. docs/scale.md tells more.)";

constexpr char kFeedHelp[] = R"(Puts lines of JSON, as docs/streams.md describes them, to the shards of their
cameras, where workers answer them. While a shard is full, or Redis unavailable, it
waits. With --source, an input that is fed again after an interruption goes on
where it was: its first lines are known by their numbers.)";

constexpr char kDrainHelp[] = R"(Writes the answers as they come, a line each, and removes them from Redis. Those of
one camera are in the order of its lines. Without --follow it ends when every line
that was fed is answered.)";

constexpr Range<double> kSeconds = {0.1, 86400.0};
constexpr Range<std::size_t> kBatches = {1, 100'000};
constexpr Range<std::size_t> kEntries = {1, 1'000'000'000};
constexpr Range<std::uint64_t> kLengths = {1, 1'000'000'000'000};

milliseconds parseSeconds(const std::string& option, const std::string& text) {
  return milliseconds(static_cast<std::int64_t>(parseOption(option, text, kSeconds) * 1000.0));
}

/// Where Redis is, and what it is told.
struct RedisArguments {
  void addTo(Command& command) {
    command.addParsed("--redis", "ADDRESS",
                      "redis://[USER@]HOST[:PORT][/DATABASE] or unix://[USER@]PATH; the usual port "
                      "of this machine if not given",
                      [this](const std::string& text) { address = text; });
    command.addText("--password-file", passwordFile, "FILE", "Its first line is the password of Redis");
    command.addText("--name", options.name, "NAME", "What keys in Redis begin with");
    command.addNumber("--shards", options.shards, kShardCounts, "N",
                      "How many shards there are, said once for good; 16 if nobody says it");
  }

  RedisOptions resolved() {
    options.address = parseRedisAddress(address);
    const char* const password = std::getenv("NIVRA_REDIS_PASSWORD");
    if (!passwordFile.empty()) {
      options.address.password = firstLineOf(readFile(passwordFile));
    } else if (password != nullptr) {
      options.address.password = password;
    }
    return options;
  }

  RedisOptions options;
  std::string address = "redis://127.0.0.1:6379";
  std::string passwordFile;
};

struct RunArguments {
  RedisArguments redis;
  TrackerOptions tracker;
  AnswerOptions answers;
  WorkerOptions worker;
  RedisLogOptions log;
  std::string metrics;
};

/// Writes the figures to a file as time passes. A file that can't be written is no reason to end, and told once.
class MetricsFile {
 public:
  MetricsFile(std::string file, const Streams& programStreams) : path(std::move(file)), streams(programStreams) {}

  void write(const Figures& figures, bool atOnce) {
    constexpr std::chrono::seconds kPeriod{1};
    const auto now = Worker::Clock::now();
    if (path.empty() || (!atOnce && now < next)) return;
    next = now + kPeriod;
    try {
      print(prometheusText(figures), {streams.out, path, true});
      isTold = false;
    } catch (const FileError& fault) {
      if (!std::exchange(isTold, true)) streams.err << "warning: " << fault.what() << std::endl;
    }
  }

 private:
  std::string path;
  const Streams& streams;
  Worker::Clock::time_point next;
  bool isTold = false;
};

/// Batches come and go: what they took is kept for the next one, which else costs a tenth of the time.
void keepFreedMemory() {
#ifdef __GLIBC__
  constexpr int kMost = 32 << 20;  // more is refused
  mallopt(M_MMAP_THRESHOLD, kMost);
  mallopt(M_TRIM_THRESHOLD, kMost);
#endif
}

void run(RunArguments& given, const Streams& streams) {
  keepFreedMemory();
  const InterruptionNoted interruption;
  RedisOptions redis = given.redis.resolved();
  redis.patience = std::max(given.log.lease, milliseconds(1000));
  given.worker.claimEvery = std::min(given.log.lease / 4, given.worker.claimEvery);
  given.answers.read.warn = [&streams](const std::string& what) { streams.err << "warning: " << what << std::endl; };
  const TrackerRecipe recipe = given.tracker.recipe(streams.err);
  RedisLog log(redis, given.log, uniqueName());
  Worker worker(log, answerAsStream(given.answers, recipe), given.worker, Worker::Clock::now);
  AvailabilityNotice notice(streams.err);
  MetricsFile metrics(given.metrics, streams);
  const Figures& figures = worker.figures();
  while (!worker.hasStopped()) {
    if (interruption.hasCome()) worker.stop();
    const std::uint64_t failures = figures.failures;
    worker.step();
    figures.failures > failures ? notice.failed(figures.lastFailure) : notice.worked();
    metrics.write(figures, false);
    while (!interruption.hasCome() && Worker::Clock::now() < worker.wakesAt()) {
      std::this_thread::sleep_for(
          std::min<Worker::Clock::duration>(worker.wakesAt() - Worker::Clock::now(), milliseconds(50)));
    }
  }
  metrics.write(figures, true);
}

void addRunCommand(CLI::App& app, const Streams& streams) {
  const auto given = std::make_shared<RunArguments>();
  Command command(app, "run", "Answer lines, side by side with other workers", kRunHelp);
  given->redis.addTo(command);
  given->tracker.addTo(command);
  addAnswerOptions(command, given->answers);
  addReadOptions(command, given->answers.read);
  command.addNumber("--batch", given->worker.batch, kBatches, "N", "Lines of all shards that are answered at once");
  command.addNumber("--state-every", given->worker.stateEvery, kEntries, "N",
                    "Lines of a shard after which what became of it is stored");
  command.addParsed("--lease", "SECONDS", "After which a silent worker is taken for dead; 5 if not given",
                    [given](const std::string& text) { given->log.lease = parseSeconds("--lease", text); });
  command.addNumber("--most-unread", given->log.mostUnread, kLengths, "N",
                    "Answers of a shard that nobody has taken, beyond which it rests");
  command.addText("--metrics", given->metrics, "FILE",
                  "Write figures to a file again and again, as Prometheus reads them");
  command.whenChosen([given, streams] { run(*given, streams); });
}

void addFeedCommand(CLI::App& app, const Streams& streams) {
  struct Arguments {
    RedisArguments redis;
    FeedOptions feed;
  };
  const auto given = std::make_shared<Arguments>();
  Command command(app, "feed", "Put lines to where workers answer them", kFeedHelp);
  command.addText("INPUT", given->feed.input, "", "A file of JSON Lines, or - for standard input");
  given->redis.addTo(command);
  command.addText("--source", given->feed.source, "NAME", "Of this input, by which its lines are known again");
  command.addNumber("--most-waiting", given->feed.mostWaiting, kLengths, "N",
                    "Lines of a shard beyond which it waits for room");
  command.whenChosen([given, streams] { feed(given->redis.resolved(), given->feed, streams.err); });
}

void addDrainCommand(CLI::App& app, const Streams& streams) {
  struct Arguments {
    RedisArguments redis;
    DrainOptions drain;
  };
  const auto given = std::make_shared<Arguments>();
  Command command(app, "drain", "Take the answers, as they come", kDrainHelp);
  given->redis.addTo(command);
  command.addFlag("--follow", given->drain.follows, "Go on when everything is answered");
  command.whenChosen([given, streams] {
    const InterruptionNoted interruption;
    const auto output = openOutput({streams.out});
    drain(
        given->redis.resolved(), given->drain, *output, [&] { return interruption.hasCome(); }, streams.err);
    output->finish();
  });
}

}  // namespace

const Program kNivraWorker = {"nivra-worker",
                              "Shares the cameras of nivra track among processes and machines, by Redis.",
                              {addRunCommand, addFeedCommand, addDrainCommand}};

}  // namespace nivra::worker
