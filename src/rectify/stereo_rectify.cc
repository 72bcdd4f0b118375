// Stereo rectification of the IR pair: rectifying rotations, the common
// virtual camera, the measured baseline and the depth-to-colour geometry.
#include "rectify/stereo_rectify.h"

#include <Eigen/Core>
#include <Eigen/LU>
#include <cmath>

#include "config/calib_input_config.h"
#include "config/camera_rules.h"
#include "deflash/result_codes.h"
#include "frame/log.h"
#include "rectify/d2c_geometry.h"
#include "rectify/distortion_model.h"
#include "rectify/rectify_rotations.h"
#include "rectify/solver_state.h"
#include "rectify/truncate.h"
#include "rectify/virtual_camera.h"

namespace deflash {
namespace {

// Principal-point offsets up to this size (pixels) are treated as unset:
// configuration files carry small leftovers that must not move the images.
constexpr double kMinVirtualOffset = 0.1;

void store_camera(const CalibrateCamera_S& camera, DeCameraIntrinsic_S* intrinsic,
                  float* distortion) {
  intrinsic->fx = camera.fx;
  intrinsic->fy = camera.fy;
  intrinsic->cx = camera.cx;
  intrinsic->cy = camera.cy;
  intrinsic->width = static_cast<uint16_t>(camera.width);
  intrinsic->height = static_cast<uint16_t>(camera.height);
  for (int term = 0; term < kDistortionTerms; ++term) distortion[term] = camera.distortion[term];
}

void store_rotation(const Eigen::Matrix3d& rotation, float* out) {
  for (int row = 0; row < 3; ++row) {
    for (int col = 0; col < 3; ++col) out[row * 3 + col] = static_cast<float>(rotation(row, col));
  }
}

// The translation component that dominates the baseline direction; on equal
// magnitudes the earlier one wins.
double dominant_component(const float* translation) {
  double dominant = translation[0];
  if (std::fabs(static_cast<double>(translation[1])) > std::fabs(dominant)) {
    dominant = translation[1];
  }
  if (std::fabs(static_cast<double>(translation[2])) > std::fabs(dominant)) {
    dominant = translation[2];
  }
  return dominant;
}

// The configured baseline's sign says on which side the right camera sits;
// a calibration that puts it on the other side was taken with the cameras
// swapped. On success the configuration gets the measured, signed length.
bool measure_baseline(const float* translation, float configured, float* measured) {
  const double dominant = dominant_component(translation);
  if (static_cast<double>(configured) * dominant < 0.0) {
    console_log("Baseline sign check error.\n");
    return false;
  }
  const double tx = translation[0];
  const double ty = translation[1];
  const double tz = translation[2];
  const float length = static_cast<float>(std::sqrt(tx * tx + ty * ty + tz * tz));
  *measured = length * (dominant > 0.0 ? 1.0f : -1.0f);
  return true;
}

DeCameraIntrinsic_S to_intrinsic(const virtual_camera& camera) {
  return {static_cast<float>(camera.fx),       static_cast<float>(camera.fy),
          static_cast<float>(camera.cx),       static_cast<float>(camera.cy),
          static_cast<uint16_t>(camera.width), static_cast<uint16_t>(camera.height)};
}

bool offset_is_set(float offset) {
  return std::fabs(static_cast<double>(offset)) > kMinVirtualOffset;
}

}  // namespace

int32_t rectify_stereo(const CalibrateParamsMulti& calib, const calib_input_config& config,
                       soc_convert::DeStereoRectifyParams_S* out, DeCameraD2CParams_S* d2c,
                       float* measured_baseline) {
  const CalibrateCamera_S& left = calib.camera[kCameraLeftIr];
  const CalibrateCamera_S& right = calib.camera[kCameraRightIr];

  const Eigen::Matrix4d left_from_reference = camera_from_reference(left.extrinsics);
  const Eigen::Matrix4d right_from_reference = camera_from_reference(right.extrinsics);
  const Eigen::Matrix4d right_from_left = right_from_reference * left_from_reference.inverse();

  store_camera(left, &out->intrinsic_L, out->distortion_L);
  store_camera(right, &out->intrinsic_R, out->distortion_R);

  if (!measure_baseline(&right.extrinsics[3], config.baseline, measured_baseline)) {
    return DRIVER_HELPER_INVALID_PARAM;
  }

  const rectifying_rotations rotations = split_stereo_rotation(
      right_from_left.topLeftCorner<3, 3>(), right_from_left.topRightCorner<3, 1>());
  store_rotation(rotations.rect_from_left, out->rotation_L);
  store_rotation(rotations.rect_from_right, out->rotation_R);

  const virtual_camera unscaled = solve_virtual_camera(left, right, rotations);

  // Lens look-up tables are not produced here; such a configuration still
  // gets the model-based rectification.
  if (distortion_uses_table(config.distort_type)) {
    // The misspelling is the message hosts match on; kept on purpose.
    console_log("rectify_config error: not surport lut\n");
  }

  const float focal_scale = config.dst_focal_scale;
  virtual_camera scaled = unscaled;
  scaled.fx = unscaled.fx * static_cast<double>(focal_scale);
  scaled.fy = unscaled.fy * static_cast<double>(focal_scale);
  if (config.dst_res_fixed == 0) {
    out->width = truncate_to_uint16(static_cast<float>(unscaled.width) * focal_scale);
    out->height = truncate_to_uint16(static_cast<float>(unscaled.height) * focal_scale);
  } else {
    out->width = static_cast<uint16_t>(unscaled.width);
    out->height = static_cast<uint16_t>(unscaled.height);
  }

  // Both virtual cameras carry the unscaled size; the scaled output size
  // lives only in the separate width and height.
  out->virtual_L = to_intrinsic(scaled);
  out->virtual_R = to_intrinsic(scaled);
  if (offset_is_set(config.ir_l_virtual_cx_offset)) {
    out->virtual_L.cx =
        static_cast<float>(scaled.cx + static_cast<double>(config.ir_l_virtual_cx_offset));
  }
  if (offset_is_set(config.ir_r_virtual_cx_offset)) {
    out->virtual_R.cx =
        static_cast<float>(scaled.cx + static_cast<double>(config.ir_r_virtual_cx_offset));
  }
  // One cy offset for both: rows must stay aligned between the two images.
  if (offset_is_set(config.ir_virtual_cy_offset)) {
    out->virtual_L.cy =
        static_cast<float>(scaled.cy + static_cast<double>(config.ir_virtual_cy_offset));
    out->virtual_R.cy = out->virtual_L.cy;
  }
  module_stereo_solver().virtual_intrinsic_debug = out->virtual_L;

  fill_d2c_geometry(scaled, calib.camera[kCameraRgb],
                    rgb_from_rectified_left(calib, rotations.rect_from_left), config, d2c);
  return DRIVER_HELPER_OK;
}

}  // namespace deflash
