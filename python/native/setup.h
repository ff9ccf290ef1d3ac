#pragma once

#include <optional>
#include <string>
#include <vector>

#include "frames.h"
#include "hostkit/tracking/answers.h"

namespace nivra::python {

/// The parameters of a preset and then the caller's own.
std::vector<hostkit::Setting> settingsOf(const hostkit::TrackerChoice& choice, const std::optional<std::string>& preset,
                                         const ParameterMap& params);

/// What recordings are tracked with.
struct Setup {
  hostkit::TrackerChoice choice;
  std::vector<hostkit::Setting> settings;
  hostkit::AnswerOptions answers;

  hostkit::TrackerRecipe recipe() const { return {choice, settings}; }
};

void declareSetup(py::module_& module);

}  // namespace nivra::python
