#pragma once

#include "hostkit/formats/sequence.h"

namespace nivra::hostkit {

/// Detections as evaluated on COCO: one JSON array of {"image_id", "category_id", "bbox", "score"}, boxes as left, top,
/// width and height in pixels. Image ids are frame numbers, the least one being the first frame's. Or an object that
/// has such an array as "annotations" or "instances", with "images" and "categories"; the names of the images' files
/// number the frames then.
extern const Format kCocoResults;

}  // namespace nivra::hostkit
