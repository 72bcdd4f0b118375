// Geometry of the depth-to-colour mapping: the rectified depth image, the
// RGB image and the rigid transform between them.
#ifndef DEFLASH_RECTIFY_D2C_GEOMETRY_H_
#define DEFLASH_RECTIFY_D2C_GEOMETRY_H_

#include <Eigen/Core>

#include "config/calib_input_config.h"
#include "deflash/calib_records.h"
#include "rectify/virtual_camera.h"

namespace deflash {

/// X_target = rotation · X_source + translation.
struct rigid_transform {
  Eigen::Matrix3d rotation;
  Eigen::Vector3d translation;
};

/// Transform from the rectified left-IR (depth) frame into the RGB camera
/// frame: back to the left IR camera through the transpose of its rectifying
/// rotation, then through the RGB block's pose relative to the left block.
/// The translation keeps the calibration's unit.
rigid_transform rgb_from_rectified_left(const CalibrateParamsMulti& calib,
                                        const Eigen::Matrix3d& rect_from_left);

/// Fills the three camera descriptions, the two distortion blocks and the
/// transform of `d2c` from the virtual camera (focal scale applied, offsets
/// not), the RGB camera and the clip rectangles and scales of `config`.
/// The optional-section flag is left alone.
void fill_d2c_geometry(const virtual_camera& depth_camera, const CalibrateCamera_S& rgb,
                       const rigid_transform& rgb_from_depth, const calib_input_config& config,
                       DeCameraD2CParams_S* d2c);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_D2C_GEOMETRY_H_
