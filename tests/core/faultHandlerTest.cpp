#include <gtest/gtest.h>
#include <syslog.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <future>

#include "core/faultReport.h"
#include "support/detections.h"

/// Where the tests' own system log goes, if anybody reads it.
static std::string* systemLog = nullptr;

extern "C" void syslog(int priority, const char* format, ...) {
  if (systemLog == nullptr) return;
  char text[100];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  *systemLog += std::to_string(priority) + text;
}

namespace nivra::test {

class FaultHandling : public testing::Test {
 protected:
  ~FaultHandling() override { setFaultHandler({}); }

  /// What comes to standard error of one fault.
  static std::string printedOf(const std::string& message) {
    testing::internal::CaptureStderr();
    reportFault(message);
    return testing::internal::GetCapturedStderr();
  }
};

// The thread sanitizer runs the tests of this name.
class ThreadsReporting : public FaultHandling {};

TEST_F(FaultHandling, TakesTheTextsUntilItIsTakenBack) {
  std::vector<std::string> taken;
  setFaultHandler([&](const std::string& message) { taken.push_back(message); });
  EXPECT_EQ(printedOf("a%s"), "");
  EXPECT_EQ(taken, std::vector<std::string>{"a%s"});
  setFaultHandler(nullptr);
  std::string logged;
  systemLog = &logged;
  EXPECT_EQ(printedOf("b%s"), "b%s\n");
  systemLog = nullptr;
  EXPECT_EQ(logged, std::to_string(LOG_ERR) + "b%s\n");
  EXPECT_EQ(taken.size(), 1U);
}

TEST_F(FaultHandling, MayReplaceItself) {
  const auto held = std::make_shared<int>(0);
  setFaultHandler([held](const std::string&) {
    setFaultHandler({});
    ++*held;  // the closure lives until it returns
  });
  EXPECT_EQ(printedOf("a"), "");
  EXPECT_EQ(*held, 1);
  EXPECT_EQ(held.use_count(), 1) << "what the host captured is let go";
  EXPECT_EQ(printedOf("b"), "b\n");
}

TEST_F(FaultHandling, LeavesAFrameWholeWhenItThrows) {
  const auto tracker = makeTracker(0, {}, kHumansAndCars, 1.0F);
  feed(*tracker, kFrame, {detectionOf(boxAt(0, 0), "human", 1)});
  setFaultHandler([](const std::string&) { throw 1; });
  testing::internal::CaptureStderr();
  feed(*tracker, kFrame, {detectionOf(boxAt(0, 0), "human", 2)});
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "The prediction timestamp should be newer than the last prediction\n");
  EXPECT_EQ(briefOf(*tracker), "0human2 ");
}

TEST_F(ThreadsReporting, EveryFaultReachesAHandlerWhileHandlersChange) {
  constexpr int kFaults = 5000;
  std::atomic<int> taken{0};
  const auto count = [&](const std::string&) { ++taken; };
  setFaultHandler(count);
  std::atomic<bool> isOver{false};
  const auto report = [] {
    for (int i = 0; i < kFaults; ++i) reportFault("x");
  };
  auto replacing = std::async(std::launch::async, [&] {
    while (!isOver) setFaultHandler([&, held = std::make_shared<int>(1)](const std::string&) { taken += *held; });
  });
  auto other = std::async(std::launch::async, report);
  report();
  other.get();
  isOver = true;
  replacing.get();
  EXPECT_EQ(taken, 2 * kFaults);
}

}  // namespace nivra::test
