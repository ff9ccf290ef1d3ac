#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "frames.h"
#include "hostkit/evaluation/figures.h"

namespace nivra::python {

/// The figures by name: numbers, and an array for each that has a value at every threshold.
py::tuple figuresOf(const hostkit::Figures& figures);

/// Identities and boxes of a frame, as many of one as of the other.
/// @param argument Its name in complaints.
/// @param frame Likewise its position.
std::pair<py::array_t<std::int64_t, py::array::c_style>, RealArray> identifiedBoxes(const char* argument,
                                                                                    const py::handle& given,
                                                                                    std::size_t frame);

/// One of the boxes as files have it, y growing downward.
/// @param inPixels Whether y grows downward in what is given.
hostkit::PixelBox pixelBox(const RealArray& boxes, std::size_t row, BoxFormat format, bool inPixels);

void declareEvaluation(py::module_& module);

}  // namespace nivra::python
