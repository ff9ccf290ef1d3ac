#pragma once

#include "arrays.h"

namespace nivra::python {

void declareFiles(py::module_& module);

}  // namespace nivra::python
