#pragma once

#include <string>

namespace nivra {

/// Reports a fault inside a frame, which must not be thrown: to the host's handler, or if it has set none, one line to
/// the system log (LOG_ERR) and one to standard error.
void reportFault(const std::string& message);

}  // namespace nivra
