#pragma once

#include <hiredis/hiredis.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nivra::worker {

/// Where a Redis is, and as whom to speak to it.
struct RedisAddress {
  std::string host;  // empty for a local socket
  int port = 6379;
  std::string socket;  // its path
  int database = 0;
  std::string user;  // empty for the default one
  std::string password;
};

/// Reads redis://[user@]host[:port][/database] or unix://[user@]path.
/// @throws UsageError for anything else, also for passwords, which everybody on the machine could read, and for
/// addresses that ask for encryption, which the client library has not.
RedisAddress parseRedisAddress(const std::string& text);

/// What Redis said.
class RedisReply {
 public:
  explicit RedisReply(const redisReply* held) : reply(held) {}

  bool isNothing() const { return reply->type == REDIS_REPLY_NIL; }
  std::string_view text() const { return {reply->str, reply->len}; }
  std::int64_t number() const { return reply->integer; }
  std::size_t size() const { return reply->elements; }
  RedisReply operator[](std::size_t index) const { return RedisReply(reply->element[index]); }
  bool isArray() const { return reply->type == REDIS_REPLY_ARRAY; }

 private:
  const redisReply* reply;
};

/// A reply with the memory it stands in.
class OwnedReply : public RedisReply {
 public:
  explicit OwnedReply(redisReply* taken) : RedisReply(taken), owned(taken) {}

 private:
  struct Free {
    void operator()(redisReply* held) const { freeReplyObject(held); }
  };
  std::unique_ptr<redisReply, Free> owned;
};

/// A script that Redis runs as one step, known by its digest once it is loaded.
struct RedisScript {
  const char* text;
  std::string digest = {};
};

/// A way to a Redis, made when it is needed and given up at the first fault, after which nobody knows what became of
/// what was under way.
class RedisConnection {
 public:
  /// @param patience How long a reply may take.
  RedisConnection(RedisAddress address, std::chrono::milliseconds patience, std::vector<RedisScript*> scripts);

  using Words = std::vector<std::string_view>;

  /// Sends a command behind those that are under way.
  void send(const Words& command);
  /// Likewise a script with its keys and arguments.
  void sendScript(const RedisScript& script, const Words& keys, const Words& arguments);

  /// What Redis says to the first command under way.
  /// @throws LogUnavailable when it says nothing in time, or nothing but that it can't at present; FileError when it
  /// will not talk to us.
  OwnedReply receive();

  /// Gives up what is under way.
  void close() { context.reset(); }

  OwnedReply ask(const Words& command) {
    send(command);
    return receive();
  }

 private:
  void connect();
  void enter();
  [[noreturn]] void giveUp(const std::string& reason);
  [[noreturn]] void fail(std::string_view fault);

  struct Free {
    void operator()(redisContext* held) const { redisFree(held); }
  };
  RedisAddress address;
  std::chrono::milliseconds longest;
  std::vector<RedisScript*> known;
  std::unique_ptr<redisContext, Free> context;
};

}  // namespace nivra::worker
