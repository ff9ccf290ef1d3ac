#pragma once

/// @file
/// Where faults inside a frame are reported.

#include <functional>
#include <string>

#include "nivra/export.h"

namespace nivra {

/// Takes the text of one fault, a line without its end.
///
/// It runs on the thread whose frame is at fault, within that frame, so it should be quick and must not call the
/// tracker. Trackers on several threads may call it at once. What it throws goes no further: such a fault is
/// reported the usual way instead, and the frame goes on.
using FaultHandler = std::function<void(const std::string& message)>;

/// Hands the faults of all trackers of the process to `handler` from now on. An empty one restores the usual way: a
/// line on the system log (LOG_ERR) and one on standard error for each.
///
/// Any thread may call this at any time, a handler too. Faults that other threads are just reporting may still reach
/// the handler that was set before; it is destroyed after the last of them.
///
/// @throws std::bad_alloc when memory runs out; nothing has changed then.
NIVRA_EXPORT void setFaultHandler(FaultHandler handler);

}  // namespace nivra
