#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include <map>
#include <memory>
#include <regex>
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

/// Complaints of the kit name options as the tool's callers write them: "--param a=b" is an argument here. Paths in
/// them may hold dashes too.
std::string inPython(const std::string& text) {
  static const std::map<std::string, std::string> kNames = {
      {"from", "format"}, {"to", "format"}, {"param", "params"}, {"force", "replace"}, {"category", "categories"}};
  static const std::regex kOption(R"((^|[\s(\['"])--([a-z]+(?:-[a-z]+)*)(?: (?:WxH|F))?(?=$|[\s)\]'",;:]))");
  std::string told;
  auto rest = text.begin();
  for (std::sregex_iterator option(text.begin(), text.end(), kOption), end; option != end; ++option) {
    const auto name = kNames.find((*option)[2]);
    told.append(rest, (*option)[1].second).append(name == kNames.end() ? std::string((*option)[2]) : name->second);
    rest = (*option)[0].second;
  }
  return told.append(rest, text.end());
}

/// Older pybind11 reads arrays of numpy 2 as if they were numpy 1's, and nobody notices.
void refuseUnknownNumpy() {
#if PYBIND11_VERSION_HEX < 0x020C0000
  const auto numpy = py::cast<std::string>(py::module_::import("numpy").attr("__version__"));
  if (std::stoi(numpy) < 2) return;
  throw py::import_error("numpy " + numpy +
                         " needs a nivra that is built with pybind11 2.12 or newer, and this is by " +
                         PYBIND11_TOSTRING(PYBIND11_VERSION_MAJOR) "." PYBIND11_TOSTRING(PYBIND11_VERSION_MINOR) +
                         ": build it again, or take numpy 1");
#endif
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
  refuseUnknownNumpy();
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
