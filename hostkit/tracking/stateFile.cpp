#include "hostkit/tracking/stateFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

#include "hostkit/errors.h"
#include "hostkit/files/textFile.h"

namespace nivra::hostkit {

namespace {

constexpr StateKind kStreamState = {0x5453564EU, 1, "stream"};  // "NVST"

constexpr std::chrono::seconds kLeastPause{1};  // before a place that can't be written is tried again

}  // namespace

StateFile::StateFile(Place chosenPlace, bool inputIsFile, Answers& trackAnswers, Output& trackOutput,
                     std::function<void(const std::string&)> warnUser)
    : place(std::move(chosenPlace)),
      isFile(inputIsFile),
      answers(trackAnswers),
      output(trackOutput),
      warn(std::move(warnUser)),
      resumption({}, isFile) {
  if (place.every && !output.keep()) {
    throw UsageError("--state-every is for tracks that are shown at once, and a file of -o appears at the end");
  }
  restore();
  save();
}

void StateFile::restore() {
  std::error_code ignored;
  const auto status = std::filesystem::status(place.path, ignored);
  if (!std::filesystem::exists(status)) return;
  if (!std::filesystem::is_regular_file(status)) throw FileError(fmt::format("not a file ({})", place.path));
  const std::string content = readFile(place.path);
  try {
    StateReader archive(content, kStreamState);
    InputPosition position;
    archive(position, bytes);
    archive.finish();
    answers.restoreState(bytes);
    resumption = Resumption(position, isFile);
  } catch (const StateError& fault) {
    fail(fault);
  }
}

bool StateFile::wasAnswered(const Record& record) try {
  owesAnswer = !resumption.wasAnswered(record);
  return !owesAnswer;
} catch (const StateError& fault) {
  fail(fault);
}

void StateFile::noteAnswer() {
  owesAnswer = false;
  hasChanged = true;
  saveInTime();
}

bool StateFile::wait(int descriptor) {
  for (;;) {
    switch (interruption.waitFor(descriptor, timeLeft())) {
      case InterruptionNoted::Waking::input:
        return true;
      case InterruptionNoted::Waking::time:
        saveInTime();
        break;
      case InterruptionNoted::Waking::interruption:
        hasCutInput = true;
        return false;
    }
  }
}

/// Until what has changed is to be saved; nothing if nothing is.
std::optional<StateFile::Clock::duration> StateFile::timeLeft() const {
  if (!place.every || !hasChanged) return std::nullopt;
  return due - Clock::now();
}

/// What is there stays where it can't be replaced, and the tracks go on.
void StateFile::saveInTime() {
  const auto left = timeLeft();
  if (!left || *left > Clock::duration::zero()) return;
  try {
    output.keep();
    save();
  } catch (const FileError& fault) {
    if (fault.what() != complaint) warn(fmt::format("{}; what it kept stays, and it is tried again", fault.what()));
    complaint = fault.what();
    due = Clock::now() + std::max<Clock::duration>(*place.every, kLeastPause);
  }
}

void StateFile::save() {
  std::string answersState;
  answers.saveState(answersState);
  StateWriter archive(bytes, kStreamState);
  archive(resumption.position(), answersState);
  archive.seal();
  print(bytes, {std::cout, place.path, true});
  complaint.clear();
  hasChanged = false;
  if (place.every) due = Clock::now() + *place.every;
}

void StateFile::saveInSpiteOfFault() {
  if (hasChanged && !owesAnswer && output.keep()) save();
}

void StateFile::fail(const StateError& fault) const {
  throw FileError(fmt::format("{} ({})", fault.what(), place.path));
}

}  // namespace nivra::hostkit
