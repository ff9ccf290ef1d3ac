#include "arrays.h"

#include <fmt/format.h>

namespace nivra::python {

namespace {

bool isReal(const py::dtype& type) { return type.kind() == 'f' || type.kind() == 'i' || type.kind() == 'u'; }

/// Whether numbers of a type can be read where they are: of this machine's byte order, aligned, without gaps.
bool isReadable(const py::array& array) {
  const int needed = py::detail::npy_api::NPY_ARRAY_ALIGNED_ | py::array::c_style;
  const char order = array.dtype().byteorder();
  return (array.flags() & needed) == needed && (order == '=' || order == '|');
}

}  // namespace

RealArray::RealArray(const char* argument, const py::object& given) : name(argument), array(py::array::ensure(given)) {
  if (!array) {
    failType(name, fmt::format("expected an array of real numbers, not {}", Py_TYPE(given.ptr())->tp_name));
  }
  const py::dtype type = array.dtype();
  // An empty list is an array of no numbers, whatever numpy takes them for.
  if (!isReal(type))
    failType(name, fmt::format("dtype {}, expected real numbers", std::string(py::str(py::handle(type)))));
  const bool isKept = type.kind() == 'f' && (type.itemsize() == 4 || type.itemsize() == 8) && isReadable(array);
  if (!isKept) array = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(array);
  if (!array) throw py::error_already_set();
  if (array.itemsize() == 4) {
    singles = static_cast<const float*>(array.data());
  } else {
    doubles = static_cast<const double*>(array.data());
  }
}

void RealArray::refuseShape(const std::string& expected) const {
  failValue(name, fmt::format("shape {}, expected {}", shapeText(array), expected));
}

std::string shapeText(const py::array& array) { return py::str(array.attr("shape")); }

void failValue(const std::string& argument, const std::string& what) {
  throw py::value_error(fmt::format("{}: {}", argument, what));
}

void failType(const std::string& argument, const std::string& what) {
  throw py::type_error(fmt::format("{}: {}", argument, what));
}

}  // namespace nivra::python
