#pragma once

#include <string>
#include <vector>

#include "hostkit/evaluation/figures.h"

namespace nivra::hostkit {

/// What a search makes as large as it can: a weighted mean of figures that are fractions, in percent.
class Objective {
 public:
  /// @param option Its name in complaints.
  /// @param text Names of figures, with weights above 0 or without, which stands for 1: "HOTA", "HOTA=2,IDF1".
  /// @throws UsageError for anything else.
  Objective(const std::string& option, const std::string& text);

  double of(const Figures& figures) const;

  /// As it was given.
  const std::string& text() const { return given; }

 private:
  struct Term {
    const FigureName* figure;
    double weight;
  };

  std::string given;
  std::vector<Term> terms;
};

}  // namespace nivra::hostkit
