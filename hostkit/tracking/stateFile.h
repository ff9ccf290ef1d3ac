#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "hostkit/files/interruption.h"
#include "hostkit/files/output.h"
#include "hostkit/tracking/answers.h"
#include "hostkit/tracking/resumption.h"

namespace nivra::hostkit {

/// The file that keeps what trackers have learned beyond the end of a run, however it ends: it is replaced as a whole
/// at the end, which an interruption brings about, and now and then before.
class StateFile {
 public:
  using Clock = std::chrono::steady_clock;

  struct Place {
    std::string path;
    std::optional<Clock::duration> every;  // how old what it keeps may be; nothing for the whole run
  };

  /// Goes on from the file, if it is there, and makes sure that it can be written.
  /// @param isFile Whether the input is there from its beginning.
  /// @param trackAnswers, trackOutput Outlive this object.
  /// @param warnUser Takes sentences about writing it now and then, which is tried again where it fails.
  /// @throws FileError naming the file; UsageError when it could not keep such answers.
  StateFile(Place chosenPlace, bool isFile, Answers& trackAnswers, Output& trackOutput,
            std::function<void(const std::string&)> warnUser);

  /// What to do with the next record, as it was read: whether the run is to end before it, and else whether it was
  /// answered in an earlier run and is passed over.
  bool isToEnd() const { return isFile ? interruption.hasCome() : hasCutInput; }
  bool wasAnswered(const Record& record);
  /// Told when it has been answered, and the answer is in the output.
  void noteAnswer();

  /// Waits until there is something to be read from an input, and saves meanwhile if the time comes.
  /// @return False when nothing more is to be read. What a stream has handed over is still answered, since nobody says
  ///   it again, but for what came behind the last whole line.
  bool wait(int descriptor);

  /// To be called when the run is over, and its output finished.
  /// @throws FileError when it can't be written.
  void save();
  /// Saves also when the run ends by a fault, if all answers are where they last.
  void saveInSpiteOfFault();

  /// How many records were passed over.
  std::uint64_t passedOver() const { return resumption.passedOver(); }

 private:
  void restore();
  std::optional<Clock::duration> timeLeft() const;
  void saveInTime();
  [[noreturn]] void fail(const StateError& fault) const;

  Place place;
  bool isFile;
  Answers& answers;
  Output& output;
  std::function<void(const std::string&)> warn;
  InterruptionNoted interruption;
  Resumption resumption;
  Clock::time_point due;
  bool hasChanged = false;
  bool hasCutInput = false;
  bool owesAnswer = false;
  std::string complaint;  // of the last time that it was to be written
  std::string bytes;
};

}  // namespace nivra::hostkit
