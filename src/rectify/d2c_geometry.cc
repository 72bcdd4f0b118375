// Geometry of the depth-to-colour mapping: the rectified depth image, the
// RGB image and the rigid transform between them.
#include "rectify/d2c_geometry.h"

#include <Eigen/LU>
#include <algorithm>

#include "rectify/rectify_rotations.h"
#include "rectify/truncate.h"

namespace deflash {
namespace {

// A clipped and scaled size: computed in double, truncated to the record's
// 16-bit field.
int16_t clipped_size(double size, int32_t clip_low, int32_t clip_high, double scale) {
  return truncate_to_int16((size - static_cast<double>(clip_low) - static_cast<double>(clip_high)) *
                           scale);
}

float clipped_centre(double centre, int32_t clip_low, double scale) {
  return static_cast<float>((centre - static_cast<double>(clip_low)) * scale);
}

}  // namespace

rigid_transform rgb_from_rectified_left(const CalibrateParamsMulti& calib,
                                        const Eigen::Matrix3d& rect_from_left) {
  const Eigen::Matrix4d left_from_reference =
      camera_from_reference(calib.camera[kCameraLeftIr].extrinsics);
  const Eigen::Matrix4d rgb_from_reference =
      camera_from_reference(calib.camera[kCameraRgb].extrinsics);
  const Eigen::Matrix4d rgb_from_left = rgb_from_reference * left_from_reference.inverse();
  return {rgb_from_left.topLeftCorner<3, 3>() * rect_from_left.transpose(),
          rgb_from_left.topRightCorner<3, 1>()};
}

void fill_d2c_geometry(const virtual_camera& depth_camera, const CalibrateCamera_S& rgb,
                       const rigid_transform& rgb_from_depth, const calib_input_config& config,
                       DeCameraD2CParams_S* d2c) {
  const float depth_scale = config.depth_scale;
  DeD2CCamera_S& depth = d2c->depth;
  depth.fx = static_cast<float>(depth_camera.fx) * depth_scale;
  depth.fy = static_cast<float>(depth_camera.fy) * depth_scale;
  depth.cx =
      clipped_centre(depth_camera.cx, config.clip_left_w_depth, static_cast<double>(depth_scale));
  depth.cy =
      clipped_centre(depth_camera.cy, config.clip_top_h_depth, static_cast<double>(depth_scale));
  depth.width = clipped_size(static_cast<double>(depth_camera.width), config.clip_left_w_depth,
                             config.clip_right_w_depth, static_cast<double>(depth_scale));
  depth.height = clipped_size(static_cast<double>(depth_camera.height), config.clip_top_h_depth,
                              config.clip_bottom_h_depth, static_cast<double>(depth_scale));
  // The depth image is already rectified: no lens distortion left.
  std::fill(std::begin(d2c->depth_distortion), std::end(d2c->depth_distortion), 0.0f);

  const float valid_scale = config.valid_scale;
  DeD2CCamera_S& valid = d2c->valid;
  valid.fx = rgb.fx * valid_scale;
  valid.fy = rgb.fy * valid_scale;
  valid.cx = clipped_centre(static_cast<double>(rgb.cx), config.clip_left_w_valid,
                            static_cast<double>(valid_scale));
  valid.cy = clipped_centre(static_cast<double>(rgb.cy), config.clip_top_h_valid,
                            static_cast<double>(valid_scale));
  valid.width = clipped_size(static_cast<double>(rgb.width), config.clip_left_w_valid,
                             config.clip_right_w_valid, static_cast<double>(valid_scale));
  valid.height = clipped_size(static_cast<double>(rgb.height), config.clip_top_h_valid,
                              config.clip_bottom_h_valid, static_cast<double>(valid_scale));

  DeD2CCamera_S& colour = d2c->rgb;
  colour.fx = valid.fx;
  colour.fy = valid.fy;
  colour.cx = clipped_centre(static_cast<double>(valid.cx), config.clip_left_w_rgb, 1.0);
  colour.cy = clipped_centre(static_cast<double>(valid.cy), config.clip_top_h_rgb, 1.0);
  colour.width = clipped_size(static_cast<double>(valid.width), config.clip_left_w_rgb,
                              config.clip_right_w_rgb, 1.0);
  colour.height = clipped_size(static_cast<double>(valid.height), config.clip_top_h_rgb,
                               config.clip_bottom_h_rgb, 1.0);
  std::copy(std::begin(rgb.distortion), std::end(rgb.distortion), std::begin(d2c->rgb_distortion));

  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) {
      d2c->rotation[row * 3 + col] = static_cast<float>(rgb_from_depth.rotation(row, col));
    }
    d2c->translation[row] = static_cast<float>(rgb_from_depth.translation(row));
  }
}

}  // namespace deflash
