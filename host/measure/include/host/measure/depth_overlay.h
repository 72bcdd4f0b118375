// Depth over colour: the depth picture reprojected into the RGB camera, laid
// over that camera's colour picture, so the alignment of depth edges with
// colour edges can be judged by eye.
#ifndef DEFLASH_HOST_MEASURE_DEPTH_OVERLAY_H_
#define DEFLASH_HOST_MEASURE_DEPTH_OVERLAY_H_

#include "host/measure/gray_view.h"
#include "host/measure/rgb_picture.h"

namespace deflash_host {

/// `colour` with every pixel where `depth` (same size, 0 where there is no
/// depth) is not 0 blended half and half with a colour of its depth: red
/// near, through yellow and green, to blue far, over the 1st to 99th
/// percentile of the depths present. An empty picture when the sizes differ.
rgb_picture overlay_depth(const rgb_picture& colour, const gray_view& depth);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_DEPTH_OVERLAY_H_
