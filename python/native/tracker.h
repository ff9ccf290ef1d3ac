#pragma once

#include "frames.h"

namespace nivra::python {

void declareTracker(py::module_& module);

}  // namespace nivra::python
