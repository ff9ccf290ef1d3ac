#pragma once

#include <functional>
#include <ostream>

#include "hostkit/files/output.h"
#include "worker/redis/streams.h"

namespace nivra::worker {

struct DrainOptions {
  bool follows = false;  // goes on when all is answered
};

/// Takes answers out of Redis as they come, those of a camera in their order, and removes what has been written.
/// @param isStopped Asked again and again whether to end.
/// @param err Told when Redis is unavailable, and when it is there again.
void drain(const RedisOptions& redis, const DrainOptions& options, hostkit::Output& output,
           const std::function<bool()>& isStopped, std::ostream& err);

}  // namespace nivra::worker
