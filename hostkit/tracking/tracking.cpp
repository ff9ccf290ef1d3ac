#include "hostkit/tracking/tracking.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/byteSource.h"
#include "hostkit/files/textFile.h"
#include "hostkit/formats/formats.h"
#include "hostkit/formats/jsonLines.h"
#include "hostkit/text/numbers.h"
#include "hostkit/tracking/answers.h"
#include "hostkit/tracking/progressLine.h"
#include "hostkit/tracking/stateFile.h"

namespace nivra::hostkit {

namespace {

namespace fs = std::filesystem;
using Clock = ProgressLine::Clock;

struct Summary {
  std::uint64_t frames = 0;
  std::uint64_t detections = 0;
  std::uint64_t tracks = 0;
  std::uint64_t leftOut = 0;
  std::uint64_t faults = 0;
  std::set<std::string> untracked;  // labels that no association covers
  Clock::duration updateTime{0};
};

std::string describe(const Summary& summary) {
  const double microseconds = std::chrono::duration<double, std::micro>(summary.updateTime).count();
  const std::string leftOut =
      summary.leftOut == 0 ? "" : fmt::format(", {} left out as they are outside the picture", summary.leftOut);
  return fmt::format("{} frames, {} detections, {} tracks{}, {} bad lines, {:.1f} µs per frame\n", summary.frames,
                     summary.detections, summary.tracks - summary.leftOut, leftOut, summary.faults,
                     microseconds / static_cast<double>(std::max<std::uint64_t>(summary.frames, 1)));
}

/// Labels that occur in an input.
std::set<std::string> labelsOf(Reader& reader) {
  std::set<std::string> labels;
  for (Record record; reader.read(record);) {
    const Frame* const frame = std::get_if<Frame>(&record);
    if (frame == nullptr) continue;
    for (const ObjectDetection& each : frame->detections) labels.insert(each.label);
  }
  return labels;
}

/// Hands out what is in memory.
class RecordReader final : public Reader {
 public:
  explicit RecordReader(std::shared_ptr<const std::vector<Record>> knownRecords) : records(std::move(knownRecords)) {}

  bool read(Record& record) override {
    if (next == records->size()) return false;
    record = (*records)[next++];
    return true;
  }

 private:
  std::shared_ptr<const std::vector<Record>> records;
  std::size_t next = 0;
};

/// One input from beginning to end: every record goes to its camera, and what came of it to the output.
class Run {
 public:
  Run(const TrackOptions& trackOptions, const TrackerRecipe& recipe, const TrackInput& trackInput,
      std::unique_ptr<TrackWriter> writer, Output& trackOutput, Summary& totals, std::ostream& messages)
      : options(trackOptions),
        input(trackInput),
        settings(trackOptions.read),
        answers(options, recipe, associationsOf(options, knownLabels(options, input)), std::move(writer),
                canBeReadTwice(input) && options.state.empty()),
        output(trackOutput),
        summary(totals),
        err(messages),
        progress(input.path == kStandardInput ? nullptr : options.progress, Clock::now()) {
    settings.warn = [this](const std::string& what) { warning += fmt::format("warning: {}\n", what); };
    if (!options.state.empty()) keepState();
  }

  /// @return What is wrong with a file that has bad lines; empty if all is well.
  std::string follow() {
    if (answers.looksAhead()) lookAhead();
    try {
      answerAll();
    } catch (const FileError&) {
      if (state) state->saveInSpiteOfFault();
      throw;
    }
    answers.finish();
    output.write(answers.text());
    if (state) output.keep();
    if (state) tellPassedOver();
    warn();
    summary.tracks += answers.tracksTold();
    summary.leftOut += answers.leftOut();
    if (badLines == 0 || !canBeReadTwice(input)) return "";
    return fmt::format("{} of {} lines refused, read as {}; the first: {}", badLines, recordsTaken, input.format->name,
                       firstFault);
  }

  /// To be called once the output has been finished.
  void finish() {
    if (state) state->save();
  }

 private:
  void answerAll() {
    const auto reader = input.read(settings);
    for (Record record; reader->read(record);) {
      if (state && state->isToEnd()) break;
      ++recordsTaken;
      line = reader->line();
      if (state && state->wasAnswered(record)) continue;
      const Answers::Notice& notice = answers.take(record, line);
      output.write(answers.text());
      output.flush();
      if (state) state->noteAnswer();
      if (notice.tracked != nullptr) count(*notice.tracked, notice);
      if (notice.fault) count(*notice.fault, notice);
      warn();
      showProgress(*reader, answers.looksAhead() ? 1 : 0);
    }
  }

  /// Goes on from what was kept.
  void keepState() {
    const auto showWarning = [this](const std::string& what) {
      settings.warn(what);
      warn();
    };
    state.emplace(StateFile::Place{options.state, options.stateEvery}, canBeReadTwice(input), answers, output,
                  showWarning);
    settings.wait = [this](int descriptor) { return state->wait(descriptor); };
  }

  void tellPassedOver() {
    if (state->passedOver() == 0) return;
    warning += fmt::format("{} records passed over, which were answered before {} was written\n", state->passedOver(),
                           options.state);
  }

  void lookAhead() {
    const auto reader = input.read(options.read);
    for (Record record; reader->read(record);) {
      answers.foresee(record);
      if (std::holds_alternative<Frame>(record)) ++framesPassed;
      showProgress(*reader, 0);
    }
  }

  /// @param pass Through the input, from 0; a frame counts for one in all passes together.
  void showProgress(const Reader& reader, unsigned pass) {
    const unsigned passes = answers.looksAhead() ? 2 : 1;
    const auto share = reader.progress();
    if (share) progress.show((framesPassed + passes - 1) / passes, (pass + *share) / passes, Clock::now());
  }

  void warn() {
    if (warning.empty()) return;
    progress.hide();
    err << std::exchange(warning, {});
  }

  void count(const Frame& frame, const Answers::Notice& notice) {
    const FrameTracks& result = answers.tracks();
    summary.updateTime += notice.updateTime;
    ++summary.frames;
    ++framesPassed;
    summary.detections += frame.detections.size();
    for (const std::string& label : result.unassociated) {
      if (summary.untracked.size() < kMostNamedLabels) summary.untracked.insert(label);
    }
    if (result.duplicates > 0) warnOfDuplicates(frame, result.duplicates);
  }

  void warnOfDuplicates(const Frame& frame, std::size_t duplicates) {
    warning += fmt::format(
        "warning: camera {}: {} of {} boxes of a frame lie on another one of their label, as if the detector's "
        "suppression of duplicates were off ({})\n",
        hostkit::quoted(frame.camera), duplicates, frame.detections.size(), place());
  }

  void count(const BadLine& fault, const Answers::Notice& notice) {
    ++summary.faults;
    const std::string field = fault.field.empty() ? "" : ", " + fault.field;
    const std::string what = fmt::format("{} ({}{})", fault.message, place(), field);
    if (++badLines == 1) firstFault = what;
    if (!notice.hasPlace || options.strict) throw FileError(what);
  }

  /// Where the record stands that is being taken.
  std::string place() const {
    const std::string name = shownName(input.path);
    return line > 0 ? fmt::format("{}:{}", name, line) : fmt::format("{}, frame {}", name, recordsTaken);
  }

  const TrackOptions& options;
  const TrackInput& input;
  ReadSettings settings;
  Answers answers;
  Output& output;
  Summary& summary;
  std::ostream& err;
  ProgressLine progress;
  std::optional<StateFile> state;
  std::uint64_t framesPassed = 0;
  std::uint64_t recordsTaken = 0;
  std::uint64_t line = 0;  // of the record, from 1; 0 if it isn't one
  std::uint64_t badLines = 0;
  std::string firstFault;
  std::string warning;
};

bool isFolder(const std::string& path) {
  std::error_code ignored;
  return !path.empty() && (path.back() == '/' || fs::is_directory(path, ignored));
}

const Format& outputFormatOf(const TrackOptions& options, const std::string& path) {
  if (options.events) {
    if (!options.to.empty() && options.to != kJsonLines.name) throw UsageError("--events are told in jsonl alone");
    return kJsonLines;
  }
  if (!options.to.empty()) return formatNamed("--to", options.to);
  if (const Format* const named = formatOfFileName(path)) return *named;
  const Format* const first = options.inputs[0].format;
  const bool allAlike = std::all_of(options.inputs.begin(), options.inputs.end(),
                                    [&](const TrackInput& each) { return each.format == first; });
  return allAlike && first->answersInKind ? *first : kJsonLines;
}

/// The name of an input, and before it those of some folders around it.
std::string nameWithFolders(const std::string& path, int folders) {
  std::string name = nameOf(path);
  fs::path around = path == kStandardInput ? fs::path() : fs::absolute(path).lexically_normal();
  if (!around.has_filename()) around = around.parent_path();
  for (; folders > 0; --folders) {
    around = around.parent_path();
    if (around.has_filename()) name = fmt::format("{}-{}", around.filename().string(), name);
  }
  return name;
}

/// The names of the inputs' tracks in a folder: each with as few folders' names as tell it from the others.
/// @throws UsageError when nothing tells them apart.
std::vector<std::string> filesFor(const std::vector<TrackInput>& inputs, const Format& format) {
  std::vector<int> folders(inputs.size());
  std::vector<std::string> names;
  for (bool changed = true; changed;) {
    changed = false;
    names.clear();
    for (std::size_t i = 0; i < inputs.size(); ++i) names.push_back(nameWithFolders(inputs[i].path, folders[i]));
    std::map<std::string, int> counts;
    for (const std::string& name : names) ++counts[name];
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      if (counts[names[i]] == 1 || nameWithFolders(inputs[i].path, folders[i] + 1) == names[i]) continue;
      ++folders[i];
      changed = true;
    }
  }
  const std::string_view extension = format.outputExtension;
  std::set<std::string> taken;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    if (!taken.insert(names[i]).second) {
      throw UsageError(fmt::format("the tracks of two inputs would be called {}{}", nameOf(inputs[i].path), extension));
    }
    names[i] += extension;
  }
  return names;
}

/// @throws UsageError when trackers of these inputs can't go on from a state.
void requireState(const TrackOptions& options, const Format& format) {
  if (options.state.empty()) {
    if (options.stateEvery) throw UsageError("--state-every is for --state, which names the file");
    return;
  }
  if (options.inputs.size() > 1) throw UsageError("--state is for one input: several have trackers of their own each");
  if (options.report.tracks == ReportedTracks::settled || options.report.fill.value_or(0) > 0 || options.report.delay) {
    throw UsageError("--state is for tracks that are told at once: not for --report settled, --delay and --fill");
  }
  if (writerFor(options, format)->remembers()) {
    throw UsageError("--state is for tracks in jsonl: events and other formats need what was told before");
  }
  const TrackInput& input = options.inputs[0];
  if (!input.format->readsAsItComes && !canBeReadTwice(input)) {
    throw UsageError(
        fmt::format("--state needs files of {}, since a stream of it is read to its end first", input.format->name));
  }
}

/// @throws UsageError when tracks of these inputs can't go there.
void requirePlace(const std::vector<TrackInput>& inputs, const Format& format, bool toFolder) {
  if (format.writeTracks == nullptr) {
    throw UsageError(fmt::format("{} files hold no tracks; --to takes another format", format.name));
  }
  if (!toFolder && inputs.size() > 1 && format.holdsOneCamera) {
    throw UsageError(
        fmt::format("several inputs make several {} files: -o takes a folder for them, which exists or ends in a slash",
                    format.name));
  }
}

}  // namespace

std::unique_ptr<Reader> TrackInput::read(const ReadSettings& settings) const {
  if (records) return std::make_unique<RecordReader>(records);
  return format->read(path, settings);
}

std::string trackInput(const TrackInput& input, const TrackOptions& options, const TrackerRecipe& recipe,
                       std::unique_ptr<TrackWriter> writer, std::ostream& err) {
  /// Takes nothing, and is given nothing.
  class NoOutput final : public Output {
   public:
    void write(std::string_view) override {}
    void finish() override {}
  } nowhere;
  Summary summary;
  return Run(options, recipe, input, std::move(writer), nowhere, summary, err).follow();
}

bool canBeReadTwice(const std::string& path) {
  std::error_code ignored;
  return isRegularFile(path) || (path != kStandardInput && fs::is_directory(path, ignored));
}

bool canBeReadTwice(const TrackInput& input) { return input.records || canBeReadTwice(input.path); }

std::optional<std::set<std::string>> knownLabels(const TrackOptions& options, const TrackInput& input) {
  if (!options.labels.empty() || !canBeReadTwice(input)) return std::nullopt;
  return labelsOf(*input.read(options.read));
}

void track(const TrackOptions& options, const TrackerRecipe& recipe, const Target& target, std::ostream& err) {
  const Format& format = outputFormatOf(options, target.path);
  const bool toFolder = isFolder(target.path);
  requirePlace(options.inputs, format, toFolder);
  requireState(options, format);
  Summary summary;
  const std::vector<std::string> files = toFolder ? filesFor(options.inputs, format) : std::vector<std::string>();
  std::vector<std::string> complaints;
  std::unique_ptr<Output> output;
  const auto begin = [&](std::unique_ptr<Output> opened) {
    output = std::move(opened);
    output->write(format.trackHeader);
  };
  if (!toFolder) begin(openOutput(target));
  const bool goesOnInStandardOutput = !options.state.empty() && &target.standardOutput == &std::cout;
  if (target.path.empty() && goesOnInStandardOutput && standardOutputIsTorn()) output->write("\n");
  for (std::size_t i = 0; i < options.inputs.size(); ++i) {
    if (toFolder) begin(openInside(target, files[i]));
    Run run(options, recipe, options.inputs[i], writerFor(options, format), *output, summary, err);
    const std::string complaint = run.follow();
    if (!complaint.empty()) complaints.push_back(complaint);
    if (toFolder || i + 1 == options.inputs.size()) output->finish();
    run.finish();
  }
  if (options.verbose) err << describe(summary);
  if ((!format.holdsNotices || options.events) && !summary.untracked.empty()) {
    err << fmt::format("not tracked, as no association covers them: {}\n", fmt::join(summary.untracked, ", "));
  }
  if (!complaints.empty()) throw FileError(fmt::format("{}", fmt::join(complaints, "; ")));
}

}  // namespace nivra::hostkit
