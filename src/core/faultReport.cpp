#include "core/faultReport.h"

#include <syslog.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

#include "nivra/faultHandler.h"

namespace nivra {

namespace {

using SharedHandler = std::shared_ptr<const FaultHandler>;

/// The handler of the moment. Its lock is held for no longer than a pointer takes to be copied.
class HandlerSetting {
 public:
  SharedHandler get() {
    const std::lock_guard<std::mutex> lock(mutex);
    return handler;
  }

  /// Leaves the former handler to the caller: what it holds may call the library when it is destroyed.
  void swap(SharedHandler& other) {
    const std::lock_guard<std::mutex> lock(mutex);
    handler.swap(other);
  }

 private:
  std::mutex mutex;
  SharedHandler handler;  // null for the usual way
};

/// Never destroyed: threads may still report faults while the process ends.
HandlerSetting& handlerSetting() {
  static HandlerSetting& setting = *new HandlerSetting;
  return setting;
}

/// @return Whether the host took the fault.
bool handToHost(const std::string& message) {
  const SharedHandler handler = handlerSetting().get();
  if (!handler) return false;
  try {
    (*handler)(message);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace

void setFaultHandler(FaultHandler handler) {
  SharedHandler replaced;
  if (handler) replaced = std::make_shared<const FaultHandler>(std::move(handler));
  handlerSetting().swap(replaced);
}

void reportFault(const std::string& message) {
  if (handToHost(message)) return;
  syslog(LOG_ERR, "%s\n", message.c_str());
  std::fprintf(stderr, "%s\n", message.c_str());
}

}  // namespace nivra
