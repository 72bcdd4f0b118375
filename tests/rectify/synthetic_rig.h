// A synthetic IR/IR/RGB camera rig for the rectification tests: calibration
// records, the module configuration and an independent pinhole-plus-lens
// projection of known 3D points.
#ifndef DEFLASH_TESTS_RECTIFY_SYNTHETIC_RIG_H_
#define DEFLASH_TESTS_RECTIFY_SYNTHETIC_RIG_H_

#include <Eigen/Core>
#include <cmath>
#include <cstring>

#include "config/calib_input_config.h"
#include "deflash/calib_records.h"

namespace deflash_test {

/// Rotation of the calibration angles written out as plain matrices:
/// Rz(a2) · Rx(a0) · Ry(a1).
inline Eigen::Matrix3d rotation_of_angles(double a0, double a1, double a2) {
  Eigen::Matrix3d rx;
  rx << 1, 0, 0, 0, std::cos(a0), -std::sin(a0), 0, std::sin(a0), std::cos(a0);
  Eigen::Matrix3d ry;
  ry << std::cos(a1), 0, std::sin(a1), 0, 1, 0, -std::sin(a1), 0, std::cos(a1);
  Eigen::Matrix3d rz;
  rz << std::cos(a2), -std::sin(a2), 0, std::sin(a2), std::cos(a2), 0, 0, 0, 1;
  return rz * rx * ry;
}

/// Where the calibration's convention puts a left-IR point in camera `c`:
/// X_c = R(angles) · X_left + t.
inline Eigen::Vector3d camera_point(const CalibrateCamera_S& camera,
                                    const Eigen::Vector3d& x_left) {
  const float* e = camera.extrinsics;
  return rotation_of_angles(e[0], e[1], e[2]) * x_left + Eigen::Vector3d(e[3], e[4], e[5]);
}

/// The rational lens model, written out independently of the library.
inline Eigen::Vector2d lens(const float* d, double x, double y) {
  const double r2 = x * x + y * y;
  const double radial = (1 + d[0] * r2 + d[1] * r2 * r2 + d[2] * r2 * r2 * r2) /
                        (1 + d[3] * r2 + d[4] * r2 * r2 + d[5] * r2 * r2 * r2);
  return {radial * x + 2 * d[6] * x * y + d[7] * (r2 + 2 * x * x),
          radial * y + d[6] * (r2 + 2 * y * y) + 2 * d[7] * x * y};
}

/// Pixel of a point given in the camera's own frame.
inline Eigen::Vector2d project(float fx, float fy, float cx, float cy, const float* distortion,
                               const Eigen::Vector3d& x_camera) {
  const Eigen::Vector2d distorted =
      lens(distortion, x_camera.x() / x_camera.z(), x_camera.y() / x_camera.z());
  return {fx * distorted.x() + cx, fy * distorted.y() + cy};
}

inline Eigen::Vector2d project(const CalibrateCamera_S& camera, const Eigen::Vector3d& x_camera) {
  return project(camera.fx, camera.fy, camera.cx, camera.cy, camera.distortion, x_camera);
}

inline void set_camera(CalibrateCamera_S* camera, int width, int height, float fx, float fy,
                       float cx, float cy, const float (&distortion)[8]) {
  camera->width = width;
  camera->height = height;
  camera->fx = fx;
  camera->fy = fy;
  camera->cx = cx;
  camera->cy = cy;
  std::memcpy(camera->distortion, distortion, sizeof distortion);
}

inline void set_extrinsics(CalibrateCamera_S* camera, const float (&extrinsics)[6]) {
  std::memcpy(camera->extrinsics, extrinsics, sizeof extrinsics);
}

/// A realistic module: 1280 × 800 IR pair, 50 mm baseline with the right
/// camera on the +x side (so tx < 0), a few mrad of relative rotation,
/// moderate rational distortion; a 1920 × 1080 RGB camera 25 mm away.
inline CalibrateParamsMulti realistic_rig() {
  CalibrateParamsMulti calib;
  std::memset(&calib, 0, sizeof calib);
  set_camera(&calib.camera[kCameraLeftIr], 1280, 800, 650.3f, 649.1f, 641.7f, 398.2f,
             {-0.052f, 0.031f, -0.004f, 0.012f, -0.006f, 0.001f, 0.0004f, -0.0003f});
  set_camera(&calib.camera[kCameraRightIr], 1280, 800, 651.8f, 650.6f, 637.4f, 402.9f,
             {-0.047f, 0.027f, -0.003f, 0.009f, -0.004f, 0.0008f, -0.0002f, 0.0005f});
  set_camera(&calib.camera[kCameraRgb], 1920, 1080, 1010.5f, 1009.2f, 955.3f, 544.8f,
             {0.081f, -0.12f, 0.03f, 0.002f, -0.001f, 0.0004f, 0.0006f, -0.0004f});
  set_extrinsics(&calib.camera[kCameraRightIr],
                 {0.0031f, -0.0042f, 0.0027f, -50.12f, 0.31f, -0.42f});
  set_extrinsics(&calib.camera[kCameraRgb], {0.012f, -0.021f, 0.006f, -25.3f, 0.6f, 1.1f});
  return calib;
}

/// Zero angles, a pure x baseline, no distortion, two equal IR cameras.
inline CalibrateParamsMulti ideal_rig(float fx, float fy) {
  CalibrateParamsMulti calib;
  std::memset(&calib, 0, sizeof calib);
  const float none[8] = {};
  set_camera(&calib.camera[kCameraLeftIr], 1280, 800, fx, fy, 631.5f, 405.25f, none);
  set_camera(&calib.camera[kCameraRightIr], 1280, 800, fx, fy, 631.5f, 405.25f, none);
  set_camera(&calib.camera[kCameraRgb], 1920, 1080, 1000.0f, 1000.0f, 960.0f, 540.0f, none);
  set_extrinsics(&calib.camera[kCameraRightIr], {0, 0, 0, -50.0f, 0, 0});
  set_extrinsics(&calib.camera[kCameraRgb], {0, 0, 0, -20.0f, 0, 0});
  return calib;
}

/// A module configuration that leaves the rectification untouched: no LUT,
/// unit focal scale, no offsets, no clipping, unit d2c scales.
inline void reset_config(float baseline) {
  deflash::calib_input_config& config = deflash::module_calib_config();
  config = deflash::calib_input_config{};
  config.baseline = baseline;
  config.distort_type = 0;
  config.dst_focal_scale = 1.0f;
  config.dst_res_fixed = 0;
  config.depth_scale = 1.0f;
  config.valid_scale = 1.0f;
}

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_RECTIFY_SYNTHETIC_RIG_H_
