#pragma once

#include "arrays.h"

namespace nivra::python {

/// What is made of recordings as a whole: explanations, searches for parameters, pages and drawings.
void declareRecordings(py::module_& module);

}  // namespace nivra::python
