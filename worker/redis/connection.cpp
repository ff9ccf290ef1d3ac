#include "worker/redis/connection.h"

#include <fmt/format.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <limits>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/text/numbers.h"
#include "worker/log.h"

namespace nivra::worker {

using namespace hostkit;

namespace {

constexpr Range<int> kPorts = {1, 65535};
constexpr Range<int> kDatabases = {0, std::numeric_limits<int>::max()};
constexpr std::chrono::milliseconds kConnectTime{2000};

timeval timevalOf(std::chrono::milliseconds time) {
  return {static_cast<time_t>(time.count() / 1000), static_cast<suseconds_t>(time.count() % 1000 * 1000)};
}

bool startsWith(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }

/// Takes off what stands before a mark.
std::optional<std::string> takeUpTo(char mark, std::string_view& text) {
  const auto end = text.find(mark);
  if (end == std::string_view::npos) return std::nullopt;
  std::string taken(text.substr(0, end));
  text.remove_prefix(end + 1);
  return taken;
}

}  // namespace

RedisAddress parseRedisAddress(const std::string& text) {
  const auto fail = [&](const std::string& what) { throw UsageError(fmt::format("--redis {}: {}", text, what)); };
  if (startsWith(text, "rediss://")) {
    fail("the client library speaks without encryption; a tunnel or a local socket brings it to Redis safely");
  }
  RedisAddress address;
  std::string_view rest = text;
  const bool isLocal = startsWith(rest, "unix://");
  if (!isLocal && !startsWith(rest, "redis://")) fail("expected redis://host:port or unix://path");
  rest.remove_prefix(isLocal ? 7 : 8);
  if (const auto user = takeUpTo('@', rest)) address.user = *user;
  if (address.user.find(':') != std::string::npos) {
    fail("passwords don't belong here, where others can read them: --password-file or NIVRA_REDIS_PASSWORD takes it");
  }
  if (isLocal) {
    address.socket = rest;
    if (rest.empty()) fail("expected the path of a socket");
    return address;
  }
  if (const auto slash = rest.find('/'); slash != std::string_view::npos) {
    const auto database = parseNumber(rest.substr(slash + 1), kDatabases);
    if (!database) fail(fmt::format("{} is no number of a database", quoted(rest.substr(slash + 1))));
    address.database = *database;
    rest = rest.substr(0, slash);
  }
  const auto bracket = rest.find(']');  // around an address of IPv6, which has colons
  const auto colon = rest.find(':', bracket == std::string_view::npos ? 0 : bracket);
  if (colon != std::string_view::npos) {
    const auto port = parseNumber(rest.substr(colon + 1), kPorts);
    if (!port) fail(fmt::format("{} is no port", quoted(rest.substr(colon + 1))));
    address.port = *port;
    rest = rest.substr(0, colon);
  }
  if (startsWith(rest, "[")) rest = rest.substr(1, rest.find(']') - 1);
  if (rest.empty()) fail("expected the name of a host");
  address.host = rest;
  return address;
}

RedisConnection::RedisConnection(RedisAddress redisAddress, std::chrono::milliseconds patience,
                                 std::vector<RedisScript*> scripts)
    : address(std::move(redisAddress)), longest(patience), known(std::move(scripts)) {}

void RedisConnection::connect() {
  const timeval time = timevalOf(kConnectTime);
  context.reset(address.socket.empty() ? redisConnectWithTimeout(address.host.c_str(), address.port, time)
                                       : redisConnectUnixWithTimeout(address.socket.c_str(), time));
  if (context == nullptr) throw LogUnavailable(kNoMemory);
  if (context->err != 0) giveUp(context->errstr);
  redisSetTimeout(context.get(), timevalOf(longest));
  enter();
}

/// Says who we are, and what there is to be known.
void RedisConnection::enter() {
  if (!address.password.empty() || !address.user.empty()) {
    Words words = {"AUTH", address.user, address.password};
    if (address.user.empty()) words.erase(words.begin() + 1);
    ask(words);
  }
  if (address.database != 0) ask({"SELECT", std::to_string(address.database)});
  for (RedisScript* const each : known) each->digest = ask({"SCRIPT", "LOAD", each->text}).text();
}

void RedisConnection::send(const Words& command) {
  if (context == nullptr) connect();
  std::vector<const char*> starts;
  std::vector<std::size_t> sizes;
  for (const std::string_view word : command) {
    starts.push_back(word.empty() ? "" : word.data());
    sizes.push_back(word.size());
  }
  if (redisAppendCommandArgv(context.get(), static_cast<int>(command.size()), starts.data(), sizes.data()) !=
      REDIS_OK) {
    giveUp(context->errstr);
  }
  // At once: Redis begins, and the client library doesn't move what is left each time that a part has gone.
  for (int isDone = 0; isDone == 0;) {
    if (redisBufferWrite(context.get(), &isDone) != REDIS_OK) giveUp(context->errstr);
  }
}

void RedisConnection::sendScript(const RedisScript& script, const Words& keys, const Words& arguments) {
  if (context == nullptr) connect();  // which tells the digest
  const std::string keyCount = std::to_string(keys.size());
  Words command = {"EVALSHA", script.digest, keyCount};
  command.insert(command.end(), keys.begin(), keys.end());
  command.insert(command.end(), arguments.begin(), arguments.end());
  send(command);
}

OwnedReply RedisConnection::receive() {
  void* taken = nullptr;
  if (redisGetReply(context.get(), &taken) != REDIS_OK) {
    const bool wasSlow = context->err == REDIS_ERR_IO && (errno == EAGAIN || errno == EWOULDBLOCK);
    giveUp(wasSlow ? "no reply in time" : context->errstr);
  }
  auto* const reply = static_cast<redisReply*>(taken);
  OwnedReply owned(reply);
  if (reply->type == REDIS_REPLY_ERROR) fail(owned.text());
  return owned;
}

void RedisConnection::giveUp(const std::string& reason) {
  context.reset();
  throw LogUnavailable(reason);
}

void RedisConnection::fail(std::string_view fault) {
  constexpr std::array<std::string_view, 7> kForGood = {"NOAUTH",
                                                        "WRONGPASS",
                                                        "NOPERM",
                                                        "WRONGTYPE",
                                                        "ERR AUTH",
                                                        "ERR invalid password",
                                                        "ERR The user executing the script"};
  for (const std::string_view each : kForGood) {
    if (!startsWith(fault, each)) continue;
    context.reset();
    throw FileError(fmt::format("Redis refuses: {}", fault));
  }
  giveUp(std::string(fault));
}

}  // namespace nivra::worker
