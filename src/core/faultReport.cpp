#include "core/faultReport.h"

#include <syslog.h>

#include <cstdio>

namespace nivra {

void reportFault(const std::string& message) {
  syslog(LOG_ERR, "%s\n", message.c_str());
  std::fprintf(stderr, "%s\n", message.c_str());
}

}  // namespace nivra
