#pragma once

#include "arrays.h"

namespace nivra::python {

void declareEvaluation(py::module_& module);

}  // namespace nivra::python
