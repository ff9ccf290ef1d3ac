#pragma once

#include "frames.h"
#include "hostkit/formats/format.h"

namespace nivra::python {

/// A track's report as arrays hold it, in the library's terms; its texts and lists are elsewhere.
struct Row {
  std::int64_t id;
  std::int64_t detection;  // row among the boxes, or -1
  float box[4];            // left, top, right, bottom
  float velocity[2];
  float score;
  std::int32_t classPlace;  // in `Terms`
  std::int32_t place;       // among the frame's reports, whatever has been left out since
  bool confident;
};

/// What Python keeps of a frame: (rows, removed, merged, hypotheses, attributes). The last two are None if they say
/// nothing beyond the rows, else flat lists of all reports and how many of them are those of each.
py::tuple reportsOf(const hostkit::FrameTracks& result, const Terms& terms);

/// The same back again.
hostkit::FrameTracks tracksOf(const py::tuple& reports, const Terms& terms);

void declareReports(py::module_& module);

}  // namespace nivra::python
