#pragma once

#include "commandLine.h"

namespace nivra::worker {

/// All of nivra-worker.
extern const tool::Program kNivraWorker;

}  // namespace nivra::worker
