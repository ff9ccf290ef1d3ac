// Arbitrary parameters: a tracker that works, null for an unknown selector, or a documented exception.

#include <array>
#include <cmath>
#include <stdexcept>

#include "support.h"

namespace nivra::fuzz {
namespace {

std::string anyKey(FuzzedDataProvider& data) {
  if (data.ConsumeIntegralInRange(0, 15) == 0) return data.ConsumeRandomLengthString(40);
  static const std::vector<ParameterSection> sections = parameterSections();
  const ParameterSection& section = sections[data.ConsumeIntegralInRange<std::size_t>(0, sections.size() - 1)];
  const auto index = data.ConsumeIntegralInRange<std::size_t>(0, section.table->count - 1);
  return std::string(section.name) + "." + section.table->first[index].name;
}

std::string anyValue(FuzzedDataProvider& data) {
  constexpr std::array<const char*, 20> kValues = {"0",
                                                   "1",
                                                   "-1",
                                                   "0.5",
                                                   "1e-9",
                                                   "1e9",
                                                   "3e38",
                                                   "nan",
                                                   "inf",
                                                   "-inf",
                                                   "1e99",
                                                   "1e-46",
                                                   "4294967296",
                                                   " 7 rest",
                                                   "0x1p4",
                                                   "human, 0.5",
                                                   "human, 0, car, 1",
                                                   "-1, 1e-3",
                                                   "human,",
                                                   ""};
  if (data.ConsumeIntegralInRange(0, 7) == 0) return data.ConsumeRandomLengthString(40);
  return data.PickValueInArray(kValues);
}

bool isDocumented(const std::string& message) {
  for (const char* beginning : {"Unused tracker parameters: ", "Bad parameter: ", "Bad value of ", "stof", "stoi",
                                "stoull", "basic_string::substr"}) {
    if (message.rfind(beginning, 0) == 0) return true;
  }
  return false;
}

void run(FuzzedDataProvider& data) {
  const int selector = data.ConsumeIntegralInRange(-1, 4);
  const float aspectRatio = anyNumber(data, data.ConsumeBool());
  ParameterMap params;
  for (int left = data.ConsumeIntegralInRange(0, 12); left > 0; --left) {
    const std::string key = anyKey(data);
    params[key] = anyValue(data);
  }
  const bool isFaultless = checkParameters(selector, params).empty();
  std::unique_ptr<ObjectTracker> tracker;
  try {
    tracker = makeTracker(selector, params, {{"human", {"human"}}, {"car", {"car", "truck"}}}, aspectRatio);
  } catch (const std::invalid_argument& error) {
    require(isDocumented(error.what()), "an invalid argument has a documented text", error.what());
    require(!isFaultless, "what the check lets pass makes a tracker", error.what());
    return;
  } catch (const std::out_of_range& error) {
    require(isDocumented(error.what()), "a value out of range has a documented text", error.what());
    require(!isFaultless, "what the check lets pass makes a tracker", error.what());
    return;
  }
  require((tracker == nullptr) == (selector < 0 || selector > 3), "selectors 0 to 3 make a tracker");

  std::uint64_t now = 0;
  for (int frame = 0; frame < 12 && tracker && data.remaining_bytes() > 0; ++frame) {
    std::vector<ObjectDetection> detections;
    for (int left = data.ConsumeIntegralInRange(0, 4); left > 0; --left) {
      detections.push_back(anyDetection(data, data.ConsumeIntegralInRange(0, 7) == 0));
    }
    now += data.ConsumeIntegralInRange<std::uint64_t>(0, 2'000'000'000);
    tracker->update(detections, now);
    const auto tracks = tracker->getTracks();
    require(tracks.size() <= tracker->getDebugTracks().size(), "every report has its inner state");
    for (const TrackedObjectDetection& track : tracks) {
      require(!(std::abs(track.box.left) > 1 || std::abs(track.box.top) > 1), "reports stay within the picture");
    }
  }
}

}  // namespace
}  // namespace nivra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  nivra::fuzz::run(data);
  return 0;
}
