#include <gtest/gtest.h>

#include "support/detections.h"

namespace nivra {
namespace {

TEST(TrackerLogger, StampsLinesWithTheFrameOfTheTrackerUpdatedLast) {
  TrackerLogger* logger = TrackerLogger::getDefaultLogger();
  testing::internal::CaptureStdout();
  logger->setTimestamp(0);
  logger->log("x");
  logger->setTimestamp(1500000000);
  logger->logTrack(7, "n=%d", 3);
  std::vector<ObjectDetection> none;
  makeTracker(0, {}, {}, 1.0F)->update(none, 18446744073709551615ULL);
  logger->log("%s", "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "ts:0: x\n"
            "ts:1500000000, track 7: n=3\n"
            "ts:18446744073709551615: \n");
}

}  // namespace
}  // namespace nivra
