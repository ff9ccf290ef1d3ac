#pragma once

#include <memory>

#include "hostkit/tracking/answers.h"
#include "hostkit/tracking/trackerRecipe.h"
#include "worker/worker.h"

namespace nivra::worker {

/// Answers a shard's lines as `nivra track` answers those of a stream.
/// @param options Outlive what comes of this, as does the recipe.
/// @throws UsageError when streams can't be answered so.
MakeAnswering answerAsStream(const hostkit::AnswerOptions& options, const hostkit::TrackerRecipe& recipe);

}  // namespace nivra::worker
