// Arbitrary streams: an answer for each line that is not blank, valid JSON whatever comes; refused lines leave no
// trace; and detections that were accepted are still the same when they have been written and read again.
//
// The first byte chooses the options; the rest is the stream.

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "hostkit/errors.h"
#include "hostkit/files/output.h"
#include "hostkit/formats/jsonLines.h"
#include "hostkit/text/base64.h"
#include "hostkit/tracking/tracking.h"
#include "support.h"
#include "temporaryFolder.h"

namespace nivra::fuzz {
namespace {

namespace fs = std::filesystem;

const fs::path& streamFile() {
  static const TemporaryFolder folder;
  static const fs::path file = folder / "stream.jsonl";
  return file;
}

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    lines.push_back(text.substr(0, text.find('\n')));
    text.remove_prefix(std::min(lines.back().size() + 1, text.size()));
  }
  return lines;
}

std::vector<std::string_view> withoutBlank(std::vector<std::string_view> lines) {
  const auto isBlank = [](std::string_view line) { return line.find_first_not_of(" \t\r") == line.npos; };
  lines.erase(std::remove_if(lines.begin(), lines.end(), isBlank), lines.end());
  return lines;
}

class Choices {
 public:
  explicit Choices(unsigned char bits) : selector(bits & 3U) {
    const auto isChosen = [bits](unsigned bit) { return (bits >> bit & 1U) != 0; };
    if (isChosen(2)) options.read.picture = hostkit::PictureSize{640, 480};
    if (isChosen(3)) options.read.frameRate = 1e6;
    if (isChosen(4)) options.labels = {"human", "car"};
    if (isChosen(5)) options.report.tracks = hostkit::ReportedTracks::all;
    options.debug = isChosen(6);
    packs = isChosen(7);
    options.inputs = {{streamFile().string(), &hostkit::kJsonLines}};
  }

  std::string track() const {
    static const std::array<hostkit::TrackerRecipe, 4> recipes = {{{hostkit::kTrackers[0], {}},
                                                                   {hostkit::kTrackers[1], {}},
                                                                   {hostkit::kTrackers[2], {}},
                                                                   {hostkit::kTrackers[3], {}}}};
    std::ostringstream answers;
    std::ostringstream messages;
    try {
      hostkit::track(options, recipes[selector], {answers}, messages);
    } catch (const hostkit::FileError& fault) {
      const std::string_view what = fault.what();
      const bool isAtEnd = what.find(" lines refused, read as jsonl; the first: ") != what.npos;
      require(isAtEnd || what.rfind("cannot read ", 0) == 0, "only unreadable files end early", std::string(what));
    }
    const std::string said = messages.str();
    for (const std::string_view line : linesOf(said)) {
      require(line.rfind("warning: ", 0) == 0, "silent unless asked or warned", std::string(line));
    }
    return answers.str();
  }

  hostkit::TrackOptions options;
  bool packs = false;

 private:
  std::size_t selector;
};

std::string joined(const std::vector<std::string_view>& lines) {
  std::string text;
  for (const std::string_view line : lines) text.append(line).append("\n");
  return text;
}

/// Whether an answer is one to a refused line.
bool isRefusal(std::string_view answer) {
  static simdjson::dom::parser parser;
  simdjson::dom::object object;
  require(parser.parse(answer.data(), answer.size()).get(object) == simdjson::SUCCESS, "an answer is a JSON object",
          std::string(answer));
  const bool isRefused = object.at_key("error").error() == simdjson::SUCCESS;
  const bool namesCamera = object.at_key("camera").error() == simdjson::SUCCESS;
  require(isRefused != namesCamera, "an answer names a fault or a camera", std::string(answer));
  return isRefused;
}

/// @param lines Of the stream; those that were refused are taken out.
/// @param answers Likewise.
void keepAccepted(std::vector<std::string_view>& lines, std::vector<std::string_view>& answers) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    if (isRefusal(answers[i])) continue;
    lines[kept] = lines[i];
    answers[kept] = answers[i];
    ++kept;
  }
  lines.resize(kept);
  answers.resize(kept);
}

void checkAnswers(const Choices& choices, std::string_view stream) {
  write(streamFile(), stream);
  const std::string all = choices.track();
  std::vector<std::string_view> lines = withoutBlank(linesOf(stream));
  std::vector<std::string_view> answers = linesOf(all);
  require(answers.size() == lines.size() && (all.empty() || all.back() == '\n'), "every line has an answer", all);
  if (choices.packs) {
    const std::string packed = streamFile().string() + ".gz";
    hostkit::print(stream, {std::cout, packed, true});
    fs::rename(packed, streamFile());
    require(choices.track() == all, "packed streams are tracked alike");
  }
  const std::size_t count = lines.size();
  keepAccepted(lines, answers);
  if (lines.size() == count) return;
  write(streamFile(), joined(lines));
  const std::string rest = choices.track();
  require(rest == joined(answers), "refused lines leave no trace", joined(answers) + "without them:\n" + rest);
}

std::vector<hostkit::Record> acceptedRecords(const hostkit::ReadSettings& settings) {
  std::vector<hostkit::Record> records;
  const auto reader = hostkit::kJsonLines.read(streamFile().string(), settings);
  for (hostkit::Record record; reader->read(record);) {
    if (!std::holds_alternative<hostkit::BadLine>(record)) records.push_back(record);
  }
  return records;
}

/// Everything that distinguishes a record, numbers by their bits.
class Fingerprint {
 public:
  explicit Fingerprint(const hostkit::Record& record) {
    add(record.index());
    std::visit([this](const auto& each) { addRecord(each); }, record);
  }
  const std::string& text() const { return bytes; }

 private:
  template <class Number>
  void add(Number number) {
    static_assert(std::is_arithmetic_v<Number>);
    char raw[sizeof number];
    std::memcpy(raw, &number, sizeof number);
    bytes.append(raw, sizeof number);
  }
  void add(const std::string& text) {
    add(text.size());
    bytes += text;
  }
  void add(const hostkit::PictureSize& picture) {
    add(picture.width);
    add(picture.height);
  }
  void add(const Classification& each) {
    add(each.label);
    add(each.score);
  }
  void add(const AttributeClassification& each) {
    add(each.attributeType);
    add(each.attributeValue);
    add(each.score);
  }
  void add(const ObjectDetection& each) {
    for (const float edge : {each.box.left, each.box.top, each.box.right, each.box.bottom}) add(edge);
    add(each.label);
    add(each.score);
    add(each.objectness);
    add(each.id);
    add(each.inbetween);
    add(each.classifications);
    add(each.attributes);
    add(each.feature);
  }
  template <class Value>
  void add(const std::optional<Value>& value) {
    add(value.has_value());
    if (value) add(*value);
  }
  template <class Element>
  void add(const std::vector<Element>& elements) {
    add(elements.size());
    for (const Element& each : elements) add(each);
  }

  void addRecord(const hostkit::Frame& frame) {
    add(frame.camera);
    add(frame.timestamp);
    add(frame.picture);
    add(frame.percentPerConfidence);
    add(frame.detections);
    add(frame.names);
  }
  void addRecord(const hostkit::CameraMotion& motion) {
    add(motion.camera);
    add(motion.picture);
    for (const double number : motion.matrix) add(number);
  }
  void addRecord(const hostkit::CameraEnd& end) { add(end.camera); }
  void addRecord(const hostkit::BadLine&) {}

  std::string bytes;
};

void checkRoundTrip(const hostkit::ReadSettings& settings, std::string_view stream) {
  write(streamFile(), stream);
  const std::vector<hostkit::Record> records = acceptedRecords(settings);
  std::ostringstream text;
  const auto writer = hostkit::kJsonLines.writeDetections({text}, {});
  for (const hostkit::Record& each : records) writer->write(each);
  writer->finish();
  write(streamFile(), text.str());
  const std::vector<hostkit::Record> again = acceptedRecords(settings);
  require(again.size() == records.size(), "what is written can be read", text.str());
  for (std::size_t i = 0; i < records.size(); ++i) {
    require(Fingerprint(again[i]).text() == Fingerprint(records[i]).text(), "records survive being written",
            std::string(linesOf(text.str())[i]));
  }
}

/// In base64 by bits, as its definition has it.
std::string packed(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t bit = 0; bit < 8 * bytes.size(); bit += 6) {
    unsigned digit = 0;
    for (std::size_t i = bit; i < bit + 6; ++i) {
      const unsigned byte = i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0U;
      digit = digit << 1U | (byte >> (7 - i % 8) & 1U);
    }
    text += kDigits[digit];
  }
  return text;
}

std::optional<std::string> unpacked(std::string_view text) {
  const auto size = hostkit::sizeFromBase64(text);
  if (!size) return std::nullopt;
  std::string bytes(*size, '\0');
  const auto wrong = hostkit::decodeBase64(text, bytes.data());
  require(!wrong || *wrong < text.size(), "what is wrong has a place");
  return wrong ? std::nullopt : std::optional(bytes);
}

void checkBase64(std::string_view text) {
  std::string digits = packed(text);
  require(unpacked(digits) == text, "what is packed can be unpacked");
  digits.resize((digits.size() + 3) / 4 * 4, '=');
  require(unpacked(digits) == text, "with padding, too");
  const auto bytes = unpacked(text);
  require(!bytes || packed(*bytes) == text.substr(0, text.find('=')), "no other text stands for the same");
}

void run(std::string_view text) {
  checkBase64(text);
  const Choices choices(static_cast<unsigned char>(text.empty() ? 0 : text.front()));
  std::string_view stream = text.substr(std::min<std::size_t>(1, text.size()));
  constexpr std::string_view kGzipMark = "\x1f\x8b";
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (stream.substr(0, kGzipMark.size()) == kGzipMark) {
    write(streamFile(), stream);
    try {
      choices.track();
    } catch (const hostkit::FileError& error) {
      require(*error.what() != '\0', "an error says what is wrong");
    }
    return;
  }
  while (stream.substr(0, kByteOrderMark.size()) == kByteOrderMark) stream.remove_prefix(kByteOrderMark.size());
  if (stream.substr(0, kGzipMark.size()) == kGzipMark) return;  // no stream once the mark is off
  checkAnswers(choices, stream);
  checkRoundTrip(choices.options.read, stream);
}

}  // namespace
}  // namespace nivra::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  nivra::fuzz::run({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
