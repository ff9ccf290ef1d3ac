#include <fmt/format.h>

#include "hostkit/formats/csv.h"
#include "hostkit/formats/trackRows.h"
#include "hostkit/text/jsonText.h"

namespace nivra::hostkit {

namespace {

/// Appends a text as it is, or between quotes where it would be taken for something else.
void appendField(TextBuffer& line, std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const bool isPlain = text.find_first_of(",;\"\r\n") == std::string_view::npos &&
                       (text.empty() || (kBlanks.find(text.front()) == kBlanks.npos &&  //
                                         kBlanks.find(text.back()) == kBlanks.npos));
  if (isPlain) {
    line += text;
    return;
  }
  line += '"';
  for (const char each : text) {
    if (each == '"') line += each;
    line += each;
  }
  line += '"';
}

class CsvTrackWriter final : public TrackRowWriter {
 public:
  using TrackRowWriter::TrackRowWriter;

 private:
  void append(const Row& row, TextBuffer& line) const override {
    appendField(line, row.frame.camera);
    line += fmt::format(",{},{},{},", row.number, *row.frame.timestamp, row.id);
    appendField(line, row.track.label);
    line += ',';
    appendNumber(line, row.confidence);
    line += row.track.confident ? ",1" : ",0";
    for (const double each : {row.box.left, row.box.top, row.box.width, row.box.height}) {
      line += ',';
      appendPixels(line, each);
    }
    line += '\n';
  }
};

}  // namespace

std::unique_ptr<TrackWriter> writeCsvTracks(const WriteSettings& settings) {
  return std::make_unique<CsvTrackWriter>(kCsv, settings);
}

}  // namespace nivra::hostkit
