#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <string>

namespace nivra::python {

namespace py = pybind11;

/// Any length of a dimension, in expectations.
constexpr py::ssize_t kAny = -1;

/// Real numbers that somebody handed over as an array or as what numpy makes one of. Rows in single or double precision
/// that lie one after the other are read where they are; of anything else there is a copy in double precision.
class RealArray {
 public:
  /// @param argument Its name in complaints.
  /// @throws TypeError for what is no array of real numbers.
  RealArray(const char* argument, const py::object& given);

  py::ssize_t dimensions() const { return array.ndim(); }
  py::ssize_t length(py::ssize_t dimension) const { return array.shape(dimension); }
  bool isEmpty() const { return array.size() == 0; }

  /// @param expected The shape as people write it, such as "(N, 4)".
  [[noreturn]] void refuseShape(const std::string& expected) const;

  /// By position among all numbers, row after row.
  double operator[](std::size_t position) const {
    return singles != nullptr ? static_cast<double>(singles[position]) : doubles[position];
  }

 private:
  const char* name;
  py::array array;  // holds what the pointers point at
  const float* singles = nullptr;
  const double* doubles = nullptr;
};

/// As Python writes shapes: (3, 4), (3,).
std::string shapeText(const py::array& array);

/// @throws ValueError "<argument>: <what>", TypeError likewise.
[[noreturn]] void failValue(const std::string& argument, const std::string& what);
[[noreturn]] void failType(const std::string& argument, const std::string& what);

}  // namespace nivra::python
