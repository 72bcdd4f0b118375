// Intrinsics, distortion and extrinsics shared by the calibration importers.
#include "host/import/camera_import.h"

#include <Eigen/Geometry>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace deflash_host {
namespace {

/// Names of the terms of a 14-term distortion vector, in its order.
constexpr const char* kTermNames[] = {"k1", "k2", "p1", "p2", "k3", "k4",   "k5",
                                      "k6", "s1", "s2", "s3", "s4", "tauX", "tauY"};
/// The terms the record carries: k1 k2 p1 p2 k3 k4 k5 k6.
constexpr std::size_t kCarriedTerms = 8;

/// Largest element-wise difference allowed between a rotation and the one its
/// angles recompose: far above double rounding (1e-15), far below what moves a
/// rectified pixel (1e-6 rad at 1000 px focal length is 0.001 px).
constexpr double kRecomposeTolerance = 1e-6;

/// Image sizes are carried as 16-bit values in the flash keys.
constexpr int kMaxImageSide = 65535;

}  // namespace

std::string number_text(double value) {
  char text[32];
  for (int digits = 6; digits <= 17; ++digits) {
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    if (std::strtod(text, nullptr) == value) break;
  }
  return text;
}

bool map_distortion(const std::vector<double>& terms, float (&out)[8], std::string& what) {
  const std::size_t n = terms.size();
  if (n != 4 && n != 5 && n != 8 && n != 12 && n != 14) {
    what = "has " + std::to_string(n) +
           " terms; a distortion vector has 4, 5, 8, 12 or 14 (k1 k2 p1 p2 [k3 [k4 k5 k6 [s1 s2 "
           "s3 s4 [tauX tauY]]]])";
    return false;
  }
  std::string dropped;
  for (std::size_t i = kCarriedTerms; i < n; ++i) {
    if (terms[i] != 0.0) {
      dropped += (dropped.empty() ? "" : ", ") + std::string(kTermNames[i]) + " = " +
                 number_text(terms[i]);
    }
  }
  if (!dropped.empty()) {
    what = "terms the camera model cannot carry are not zero: " + dropped;
    return false;
  }
  double full[kCarriedTerms] = {};
  for (std::size_t i = 0; i < n && i < kCarriedTerms; ++i) full[i] = terms[i];
  // Record order: k1 k2 k3 k4 k5 k6 p1 p2.
  const int order[kCarriedTerms] = {0, 1, 4, 5, 6, 7, 2, 3};
  for (std::size_t i = 0; i < kCarriedTerms; ++i) out[i] = static_cast<float>(full[order[i]]);
  return true;
}

bool set_intrinsics(const std::vector<double>& m, SocCalibCamera_S& camera, std::string& what) {
  if (m.size() != 9) {
    what = "has " + std::to_string(m.size()) + " elements; a camera matrix has 9 (3x3)";
    return false;
  }
  if (m[1] != 0.0) {
    what = "has skew " + number_text(m[1]) + "; the camera model has none";
    return false;
  }
  if (m[3] != 0.0 || m[6] != 0.0 || m[7] != 0.0 || m[8] != 1.0) {
    what = "is not of the form [fx 0 cx; 0 fy cy; 0 0 1]";
    return false;
  }
  camera.fx = static_cast<float>(m[0]);
  camera.fy = static_cast<float>(m[4]);
  camera.cx = static_cast<float>(m[2]);
  camera.cy = static_cast<float>(m[5]);
  return true;
}

bool set_image_size(const image_size& size, SocCalibCamera_S& camera, std::string& what) {
  if (size.width < 1 || size.width > kMaxImageSide || size.height < 1 ||
      size.height > kMaxImageSide) {
    what = "image size " + std::to_string(size.width) + "x" + std::to_string(size.height) +
           " is outside 1x1 to 65535x65535";
    return false;
  }
  camera.width = static_cast<float>(size.width);
  camera.height = static_cast<float>(size.height);
  return true;
}

Eigen::Matrix3d rotation_from_angles(const double (&angles)[3]) {
  const Eigen::Matrix3d rx = Eigen::AngleAxisd(angles[0], Eigen::Vector3d::UnitX()).matrix();
  const Eigen::Matrix3d ry = Eigen::AngleAxisd(angles[1], Eigen::Vector3d::UnitY()).matrix();
  const Eigen::Matrix3d rz = Eigen::AngleAxisd(angles[2], Eigen::Vector3d::UnitZ()).matrix();
  return rz * rx * ry;
}

bool rotation_to_angles(const Eigen::Matrix3d& r, double (&angles)[3], std::string& what) {
  // Rz(c)·Rx(a)·Ry(b) has third row (-cos a·sin b, sin a, cos a·cos b) and
  // second column (-sin c·cos a, cos c·cos a, sin a).
  angles[0] = std::atan2(r(2, 1), std::hypot(r(2, 0), r(2, 2)));
  angles[1] = std::atan2(-r(2, 0), r(2, 2));
  angles[2] = std::atan2(-r(0, 1), r(1, 1));
  const double difference = (rotation_from_angles(angles) - r).cwiseAbs().maxCoeff();
  if (!(difference <= kRecomposeTolerance)) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", difference);
    what = std::string("is not a rotation: the angles recompose it only to within ") + text +
           " (at most 1e-06 allowed)";
    return false;
  }
  return true;
}

bool set_extrinsics(const rigid_transform& transform, double millimetres_per_unit, float* out,
                    std::string& what) {
  double angles[3] = {};
  if (!rotation_to_angles(transform.rotation, angles, what)) return false;
  for (int i = 0; i < 3; ++i) {
    out[i] = static_cast<float>(angles[i]);
    out[3 + i] = static_cast<float>(transform.translation[i] * millimetres_per_unit);
  }
  return true;
}

double millimetres_per(length_unit unit, length_unit fallback) {
  if (unit == length_unit::unspecified) unit = fallback;
  return unit == length_unit::metre ? 1000.0 : 1.0;
}

}  // namespace deflash_host
