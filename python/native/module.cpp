#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include <array>
#include <memory>
#include <string>

#include "arrays.h"
#include "evaluation.h"
#include "files.h"
#include "hostkit/errors.h"
#include "hostkit/formats/frameTimes.h"
#include "hostkit/tracking/parameterNames.h"
#include "hostkit/tracking/trackerRecipe.h"
#include "recordings.h"
#include "reports.h"
#include "setup.h"
#include "tracker.h"

namespace nivra::python {

namespace {

/// Complaints of the kit name options as the tool's callers write them: "--param a=b" is an argument here.
std::string inPython(std::string text) {
  using Name = std::pair<const char*, const char*>;
  constexpr std::array<Name, 5> kNames = {
      {{"--from", "format"}, {"--to", "format"}, {"--param", "params"}, {"--picture WxH", "picture"}, {"--", ""}}};
  for (const auto& [option, argument] : kNames) {
    for (auto at = text.find(option); at != std::string::npos; at = text.find(option, at)) {
      text.replace(at, std::char_traits<char>::length(option), argument);
    }
  }
  return text;
}

void translateErrors(py::module_& module) {
  static const py::object& fileError = *new py::exception<hostkit::FileError>(module, "FileError", PyExc_OSError);
  py::register_exception_translator([](std::exception_ptr thrown) {
    try {
      if (thrown) std::rethrow_exception(thrown);
    } catch (const hostkit::UsageError& error) {
      PyErr_SetString(PyExc_ValueError, inPython(error.what()).c_str());
    } catch (const hostkit::FileError& error) {
      PyErr_SetString(fileError.ptr(), inPython(error.what()).c_str());
    }
  });
}

/// All that is known of each parameter, as the fields of the package's `Parameter`.
py::list parametersOf(const std::optional<std::string>& tracker) {
  py::list parameters;
  const auto sections = tracker ? sectionsOf(hostkit::parseTrackerChoice(*tracker).selector) : parameterSections();
  for (const ParameterSection& section : sections) {
    for (const ParameterDescription& each : *section.table) {
      parameters.append(py::make_tuple(std::string(section.name) + "." + each.name, hostkit::nameOf(each.kind),
                                       each.defaultValue, each.unit, each.meaning, each.pull,
                                       py::make_tuple(each.range.least, each.range.most),
                                       py::make_tuple(each.usual.least, each.usual.most), hostkit::nameOf(each.scale)));
    }
  }
  return parameters;
}

/// What each preset changes of a tracker's defaults, by name.
std::map<std::string, ParameterMap> presetsOf(const std::string& tracker) {
  std::map<std::string, ParameterMap> presets;
  for (const std::string& name : presetNames()) {
    presets[name] = presetParameters(name, hostkit::parseTrackerChoice(tracker).selector);
  }
  return presets;
}

using Handler = std::function<void(const std::string&)>;

void setHandler(const std::optional<Handler>& handler) {
  // Setting it waits for nobody, but what it lets go of may be Python's.
  if (!handler) return setFaultHandler({});
  setFaultHandler([handler = *handler](const std::string& message) {
    const py::gil_scoped_acquire lock;
    handler(message);
  });
}

}  // namespace

}  // namespace nivra::python

PYBIND11_MODULE(_core, module) {
  using namespace nivra::python;
  translateErrors(module);
  declareReports(module);
  declareFiles(module);
  declareTracker(module);
  declareEvaluation(module);
  declareSetup(module);
  declareRecordings(module);
  module.def("timestamp_of", nivra::hostkit::timestampOf);
  module.def("parameters", parametersOf);
  module.def("presets", presetsOf);
  module.def("set_fault_handler", setHandler);
  module.attr("version") = NIVRA_PACKAGE_VERSION;
}
