// What the tool does with frames that are too large. A program of its own, since it replaces the global operator new.

#include <fmt/format.h>

#include <cstdlib>
#include <limits>

#include "support/replacedNew.h"
#include "toolRun.h"

namespace {

std::size_t refusedSize = std::numeric_limits<std::size_t>::max();  // such pieces of memory and larger ones

void* allocate(std::size_t size) noexcept { return size >= refusedSize ? nullptr : std::malloc(size == 0 ? 1 : size); }

// Inlined, it lets GCC take free for a mismatch with a new that it sees only from outside.
[[gnu::noinline]] void release(void* memory) noexcept { std::free(memory); }

}  // namespace

namespace nivra::tool::test {

class Limits : public ToolTest {};

/// A frame of boxes 8 pixels wide, in rows, with this step from one to the next.
std::string frameOf(const std::string& camera, int boxes, double step = 10.0) {
  std::string line = fmt::format(R"({{"camera":"{}","picture":[100000,100000],"detections":[)", camera);
  for (int i = 0; i < boxes; ++i) {
    const double left = 100 + (i % 1000) * step;
    const double top = 100 + (i / 1000) * step;
    line += fmt::format(R"({}{{"box":[{},{},{},{}]}})", i == 0 ? "" : ",", left, top, left + 8, top + 8);
  }
  return line + "]}\n";
}

TEST_F(Limits, OfMemoryCostOneCameraOneFrame) {
  const std::string stream = frameOf("a", 3) + frameOf("b", 2) + frameOf("a", 20'000) + frameOf("b", 2) +
                             frameOf("new", 20'000) + frameOf("a", 3);
  const Arguments arguments = {"track", "--max-detections", "20000"};
  const auto undisturbed = splitAt('\n', nivraReading(stream, arguments).out);
  ASSERT_EQ(undisturbed.size(), 6U);
  int refused = 0;
  for (std::size_t size = std::size_t{1} << 19; size < std::size_t{1} << 25; size *= 2) {
    SCOPED_TRACE(size);
    refusedSize = size;
    const Outcome outcome = nivraReading(stream, arguments);
    refusedSize = std::numeric_limits<std::size_t>::max();
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    const auto answers = splitAt('\n', outcome.out);
    ASSERT_EQ(answers.size(), 6U);
    for (const std::size_t other : {0U, 1U, 3U}) EXPECT_EQ(answers[other], undisturbed[other]);
    for (const std::size_t large : {2U, 4U}) {
      if (answers[large] == undisturbed[large]) continue;
      ++refused;
      EXPECT_EQ(answers[large],
                fmt::format(R"({{"error":{{"line":{},"field":"","message":"not enough memory"}}}})", large + 1));
    }
    for (const int identity : {0, 1, 2}) {
      EXPECT_NE(answers[5].find(fmt::format(R"({{"id":{},"detection":{},)", identity, identity)), std::string::npos)
          << "the first tracks go on";
    }
  }
  EXPECT_GE(refused, 6);
}

TEST_F(Limits, OfDetectionsAreThoseGiven) {
  const std::string stream = frameOf("a", 3) + frameOf("a", 4) + frameOf("a", 3);
  const auto answers = splitAt('\n', nivraReading(stream, {"track", "--max-detections", "3"}).out);
  ASSERT_EQ(answers.size(), 3U);
  EXPECT_EQ(answers[1],
            R"({"error":{"line":2,"field":"detections","message":"4 detections, but --max-detections allows 3"}})");
  EXPECT_NE(answers[2].find(R"("id":0,"detection":0,)"), std::string::npos);
  EXPECT_NE(nivraReading(frameOf("a", 10'001), {"track"}).out.find("--max-detections allows 10000"), std::string::npos);

  const std::string input = sequence("1,-1,9,9,9,9,1\n2,-1,9,9,9,9,1\n2,-1,99,9,9,9,1\n");
  const Outcome outcome = nivra({"track", input, "--max-detections", "1"});
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.err, "error: 2 detections, but --max-detections allows 1 (" + input + ", frame 2, detections)\n");
}

TEST_F(Limits, OfGoodSenseAreMentionedOnce) {
  const std::string heap = frameOf("heap", 40, 0.01);
  const Outcome outcome = nivraReading(frameOf("row", 40) + heap + heap + frameOf("few", 7, 0.01), {"track"});
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.err,
            "warning: camera \"heap\": 40 of 40 boxes of a frame lie on another one of their label, as if the "
            "detector's suppression of duplicates were off (the standard input:2)\n");
}

}  // namespace nivra::tool::test
