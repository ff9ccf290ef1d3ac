#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hostkit/evaluation/figures.h"
#include "hostkit/evaluation/preprocessing.h"
#include "hostkit/formats/format.h"

namespace nivra::hostkit {

/// Tracks to be evaluated.
struct TrackerInput {
  std::string name;  // that of the path if empty
  std::string path;  // a file, or a folder with a file for each sequence, named after it
};

struct EvaluationOptions {
  std::string truth;  // a file, a sequence folder, or a folder of either
  std::vector<TrackerInput> trackers;
  const Format* truthFormat = nullptr;         // told from what the inputs hold if null
  const Format* trackFormat = nullptr;         // likewise
  std::optional<Preprocessing> preprocessing;  // what the truth of each sequence is made for, if not given
  std::vector<std::string> sequences;          // only these; all that a tracker has tracks of if empty
  std::vector<std::string> classes;            // each by itself; boxes of all classes together if empty
  ReadSettings read;
  int jobs = 1;  // threads
};

/// The figures of a sequence, or of all that a tracker has.
struct EvaluationRow {
  std::string tracker;
  std::string category;                               // the class; empty for all
  std::string sequence;                               // empty for all of them together
  Preprocessing preprocessing = Preprocessing::none;  // of a sequence
  Figures figures;
  /// The row of the first tracker to compare with, in `Evaluation::rows`; nothing for that one itself, and where it
  /// has none or its sequences are others.
  std::optional<std::size_t> reference = std::nullopt;
};

struct Evaluation {
  /// A figure of a row that has a reference, less that of the reference.
  double difference(const EvaluationRow& row, const FigureName& figure) const {
    return figure.of(row.figures) - figure.of(rows[row.reference.value()].figures);
  }

  std::vector<EvaluationRow> rows;  // class by class; in each, sequence by sequence, and all together at the end
  std::size_t trackerCount = 0;
  std::size_t sequenceCount = 0;
};

/// Compares tracks with the truth. Results don't depend on the number of threads. Warnings go to
/// `EvaluationOptions::read`, such as of sequences without tracks.
/// @throws FileError, naming file and line, for inputs that cannot be read, identities twice in a frame and frames
///   beyond the sequence; UsageError for tracks that belong to no sequence.
Evaluation evaluate(const EvaluationOptions& options);

}  // namespace nivra::hostkit
