// The common virtual (rectified) camera of the IR pair.
#include "rectify/virtual_camera.h"

#include <algorithm>
#include <cmath>

#include "rectify/distortion_model.h"

namespace deflash {
namespace {

// Departure of the corner's radial factor from 1 beyond which the corners are
// not used to place the principal point.
constexpr double kStrongCornerDistortion = 0.1;

// Number of sample points per camera: two columns by two rows.
constexpr int kSamples = 4;

struct sample_grid {
  double xs[2];
  double ys[2];
};

sample_grid choose_samples(const virtual_camera& camera, bool strong_distortion) {
  const double width = camera.width;
  const double height = camera.height;
  if (strong_distortion) {
    // The centre half of the image, where the lens model still holds.
    return {{0.25 * width, 0.75 * width - 1.0}, {0.25 * height, 0.75 * height - 1.0}};
  }
  return {{0.0, width - 1.0}, {0.0, height - 1.0}};
}

// Mean position, in virtual pixels around a zero principal point, of the
// sample points of one camera after undistortion and rectification.
Eigen::Vector2d mean_rectified_sample(const CalibrateCamera_S& camera,
                                      const Eigen::Matrix3d& rect_from_camera,
                                      const sample_grid& grid, double fx, double fy) {
  const std::array<float, 4> intrinsics = intrinsics_of(camera);
  Eigen::Vector2d sum = Eigen::Vector2d::Zero();
  for (double x : grid.xs) {
    for (double y : grid.ys) {
      const normalized_point ideal = undistort_pixel(intrinsics.data(), camera.distortion, x, y);
      const Eigen::Vector3d ray = rect_from_camera * Eigen::Vector3d(ideal.x, ideal.y, 1.0);
      sum += Eigen::Vector2d(fx * (ray.x() / ray.z()), fy * (ray.y() / ray.z()));
    }
  }
  return sum / static_cast<double>(kSamples);
}

}  // namespace

std::array<float, 4> intrinsics_of(const CalibrateCamera_S& camera) {
  return {camera.fx, camera.fy, camera.cx, camera.cy};
}

bool has_strong_corner_distortion(const CalibrateCamera_S& camera) {
  const float corner_x = -camera.cx / camera.fx;
  const float corner_y = -camera.cy / camera.fy;
  const float radial = static_cast<float>(radial_factor(corner_x, corner_y, camera.distortion));
  return std::fabs(1.0 - static_cast<double>(radial)) > kStrongCornerDistortion;
}

virtual_camera solve_virtual_camera(const CalibrateCamera_S& left, const CalibrateCamera_S& right,
                                    const rectifying_rotations& rotations) {
  // The largest focal length keeps every source pixel at least one virtual
  // pixel wide: rectification never throws resolution away.
  const double focal = std::max({left.fx, left.fy, right.fx, right.fy});
  virtual_camera camera{focal, focal, 0.0, 0.0, left.width, left.height};

  const sample_grid grid = choose_samples(camera, has_strong_corner_distortion(left));
  const Eigen::Vector2d mean_left =
      mean_rectified_sample(left, rotations.rect_from_left, grid, camera.fx, camera.fy);
  const Eigen::Vector2d mean_right =
      mean_rectified_sample(right, rotations.rect_from_right, grid, camera.fx, camera.fy);

  // In double: a size field holding INT32_MIN must not overflow. For every
  // size a camera has, this rounds to the same float as the integer sum.
  const float half_width = static_cast<float>(static_cast<double>(camera.width) - 1.0) / 2.0f;
  const float half_height = static_cast<float>(static_cast<double>(camera.height) - 1.0) / 2.0f;
  const double cx_left = static_cast<double>(half_width) - mean_left.x();
  const double cy_left = static_cast<double>(half_height) - mean_left.y();
  const double cx_right = static_cast<double>(half_width) - mean_right.x();
  const double cy_right = static_cast<double>(half_height) - mean_right.y();
  camera.cx = (cx_left + cx_right) / 2.0;
  camera.cy = (cy_left + cy_right) / 2.0;
  return camera;
}

}  // namespace deflash
