// The example module's test scene: two textured planes with bright round
// marks at known places, seen through the module's IR cameras (lens model and
// extrinsics of the calibration, all in double). The scene renderer and the
// test that checks rectified rows share it.
#ifndef DEFLASH_EXAMPLES_MODULE_EXAMPLE_SCENE_H_
#define DEFLASH_EXAMPLES_MODULE_EXAMPLE_SCENE_H_

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <Eigen/LU>
#include <cmath>
#include <vector>

#include "deflash/calib_records.h"

namespace example_scene {

constexpr double kPi = 3.14159265358979323846;

/// A rectangle of a plane in the left IR camera's frame (mm): origin plus
/// s along `s_axis` and t along `t_axis`, s and t within their ranges.
struct textured_plane {
  Eigen::Vector3d origin;
  Eigen::Vector3d s_axis;
  Eigen::Vector3d t_axis;
  double s_min, s_max, t_min, t_max;
};

/// A wall about 1 m away, tilted back at the top, and a box front 0.65 m
/// away in front of its left half: two depths, so the pair's disparities differ.
inline std::vector<textured_plane> planes() {
  const Eigen::Vector3d tilt_down = Eigen::Vector3d(0.0, 1.0, -0.15).normalized();
  return {
      {{0.0, 0.0, 1000.0}, {1.0, 0.0, 0.0}, tilt_down, -2000.0, 2000.0, -2000.0, 2000.0},
      {{-60.0, 10.0, 650.0}, {1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, -160.0, 160.0, -140.0, 140.0},
  };
}

/// Marks: a staggered grid of bright round spots on each plane.
constexpr double kMarkSpacing = 100.0;  ///< mm between marks of one row
constexpr double kMarkSigma = 5.0;      ///< mm, the spot's Gaussian width
constexpr double kMarkPeak = 110.0;     ///< grey levels above the texture

struct mark {
  int plane;
  double s;
  double t;
};

struct scene {
  std::vector<textured_plane> planes;
  std::vector<mark> marks;
};

/// Mark centres in plane coordinates; rows alternate by half a spacing, so
/// marks of one image row stay two spacings apart.
inline std::vector<mark> marks(const std::vector<textured_plane>& all) {
  std::vector<mark> out;
  for (int p = 0; p < static_cast<int>(all.size()); ++p) {
    const double reach = p == 0 ? 700.0 : 1e9;  // the wall: the part the cameras see
    const textured_plane& plane = all[p];
    int row = 0;
    for (double t = -std::fmin(reach, -plane.t_min) + 30.0;
         t < std::fmin(reach, plane.t_max) - 30.0; t += kMarkSpacing / 2.0, ++row) {
      const double shift = (row % 2) * kMarkSpacing / 2.0;
      for (double s = -std::fmin(reach, -plane.s_min) + 30.0 + shift;
           s < std::fmin(reach, plane.s_max) - 30.0; s += kMarkSpacing) {
        out.push_back({p, s, t});
      }
    }
  }
  return out;
}

inline scene make_scene() {
  scene out;
  out.planes = planes();
  out.marks = marks(out.planes);
  return out;
}

inline Eigen::Vector3d point_on(const textured_plane& plane, double s, double t) {
  return plane.origin + s * plane.s_axis + t * plane.t_axis;
}

/// Grey level of a plane at (s, t): a smooth texture of a few periods plus
/// the marks of that plane.
inline double grey(const scene& world, int plane_index, double s, double t) {
  double value = 100.0 + 25.0 * std::sin(2.0 * kPi * s / 71.0) * std::cos(2.0 * kPi * t / 53.0) +
                 15.0 * std::sin(2.0 * kPi * (s + 2.0 * t) / 97.0);
  for (const mark& m : world.marks) {
    if (m.plane != plane_index) continue;
    const double d2 = (s - m.s) * (s - m.s) + (t - m.t) * (t - m.t);
    if (d2 < 25.0 * kMarkSigma * kMarkSigma) {
      value += kMarkPeak * std::exp(-d2 / (2.0 * kMarkSigma * kMarkSigma));
    }
  }
  return value;
}

/// Colour of a plane at (s, t) for the RGB camera: the grey level tinted
/// blue-grey on the wall and warm on the box, so that the box's outline in
/// colour can be compared with its outline in depth.
inline void colour(const scene& world, int plane_index, double s, double t, double rgb[3]) {
  static constexpr double kTint[2][3] = {{0.85, 0.95, 1.1}, {1.15, 0.85, 0.6}};
  const double level = grey(world, plane_index, s, t);
  for (int c = 0; c < 3; ++c) rgb[c] = level * kTint[plane_index == 0 ? 0 : 1][c];
}

struct hit {
  bool found = false;
  int plane = -1;
  double distance = 0.0;  ///< along the ray, in units of its direction
  double s = 0.0;
  double t = 0.0;
};

/// First plane the ray from `from` along `direction` meets.
inline hit cast(const scene& world, const Eigen::Vector3d& from, const Eigen::Vector3d& direction) {
  hit best;
  const std::vector<textured_plane>& all = world.planes;
  for (int p = 0; p < static_cast<int>(all.size()); ++p) {
    const textured_plane& plane = all[p];
    const Eigen::Vector3d normal = plane.s_axis.cross(plane.t_axis);
    const double facing = normal.dot(direction);
    if (std::fabs(facing) < 1e-12) continue;
    const double distance = normal.dot(plane.origin - from) / facing;
    if (distance <= 0.0 || (best.found && distance >= best.distance)) continue;
    const Eigen::Vector3d offset = from + distance * direction - plane.origin;
    const double s = offset.dot(plane.s_axis);
    const double t = offset.dot(plane.t_axis);
    if (s < plane.s_min || s > plane.s_max || t < plane.t_min || t > plane.t_max) continue;
    best = {true, p, distance, s, t};
  }
  return best;
}

/// One IR camera of the calibration: intrinsics, lens and its pose.
struct camera {
  double fx, fy, cx, cy;
  double k[8];  ///< k1..k6, p1, p2
  int width, height;
  Eigen::Matrix3d camera_from_left;  ///< X_camera = R X_left + t
  Eigen::Vector3d translation;
};

/// Rotation of a calibration block from its angles: Rz(a2) Rx(a0) Ry(a1).
inline Eigen::Matrix3d rotation_from_angles(const float* angles) {
  const Eigen::AngleAxisd rx(angles[0], Eigen::Vector3d::UnitX());
  const Eigen::AngleAxisd ry(angles[1], Eigen::Vector3d::UnitY());
  const Eigen::AngleAxisd rz(angles[2], Eigen::Vector3d::UnitZ());
  return (rz * rx * ry).toRotationMatrix();
}

inline camera camera_of(const SocCalibParams_S& calib, int index) {
  const SocCalibCamera_S& c = calib.camera[index];
  camera cam{};
  cam.fx = c.fx;
  cam.fy = c.fy;
  cam.cx = c.cx;
  cam.cy = c.cy;
  for (int i = 0; i < 8; ++i) cam.k[i] = c.distortion[i];
  cam.width = static_cast<int>(c.width);
  cam.height = static_cast<int>(c.height);
  cam.camera_from_left.setIdentity();
  cam.translation.setZero();
  // Both extrinsics blocks carry the left IR camera's pose in that camera.
  const float* extrinsics = index == kCameraRightIr ? calib.right_extrinsics
                            : index == kCameraRgb   ? calib.rgb_extrinsics
                                                    : nullptr;
  if (extrinsics != nullptr) {
    cam.camera_from_left = rotation_from_angles(extrinsics);
    cam.translation = Eigen::Vector3d(extrinsics[3], extrinsics[4], extrinsics[5]);
  }
  return cam;
}

/// The lens model: normalized undistorted point to distorted pixel.
inline Eigen::Vector2d distort(const camera& cam, const Eigen::Vector2d& p) {
  const double x = p.x();
  const double y = p.y();
  const double r2 = x * x + y * y;
  const double radial = (1.0 + cam.k[0] * r2 + cam.k[1] * r2 * r2 + cam.k[2] * r2 * r2 * r2) /
                        (1.0 + cam.k[3] * r2 + cam.k[4] * r2 * r2 + cam.k[5] * r2 * r2 * r2);
  const double xd = x * radial + 2.0 * cam.k[6] * x * y + cam.k[7] * (r2 + 2.0 * x * x);
  const double yd = y * radial + cam.k[6] * (r2 + 2.0 * y * y) + 2.0 * cam.k[7] * x * y;
  return {cam.fx * xd + cam.cx, cam.fy * yd + cam.cy};
}

/// Inverse of `distort` by Newton's method with a numeric Jacobian.
inline Eigen::Vector2d undistort(const camera& cam, const Eigen::Vector2d& pixel) {
  constexpr int kIterations = 20;
  constexpr double kStep = 1e-7;              // numeric derivative step, normalized units
  constexpr double kConvergedPixels = 1e-10;  // far below any grey-level effect
  Eigen::Vector2d p((pixel.x() - cam.cx) / cam.fx, (pixel.y() - cam.cy) / cam.fy);
  for (int i = 0; i < kIterations; ++i) {
    const Eigen::Vector2d error = distort(cam, p) - pixel;
    if (error.norm() < kConvergedPixels) break;
    Eigen::Matrix2d jacobian;
    jacobian.col(0) = (distort(cam, p + Eigen::Vector2d(kStep, 0.0)) - distort(cam, p)) / kStep;
    jacobian.col(1) = (distort(cam, p + Eigen::Vector2d(0.0, kStep)) - distort(cam, p)) / kStep;
    p -= jacobian.inverse() * error;
  }
  return p;
}

/// Camera centre and ray direction, in the left IR frame, of a pixel.
inline void pixel_ray(const camera& cam, double u, double v, Eigen::Vector3d& from,
                      Eigen::Vector3d& direction) {
  const Eigen::Vector2d p = undistort(cam, {u, v});
  const Eigen::Matrix3d left_from_camera = cam.camera_from_left.transpose();
  from = -(left_from_camera * cam.translation);
  direction = left_from_camera * Eigen::Vector3d(p.x(), p.y(), 1.0);
}

/// Whether `point` (left IR frame) is what the camera sees in its direction.
inline bool visible(const scene& world, const camera& cam, const Eigen::Vector3d& point) {
  const Eigen::Vector3d from = -(cam.camera_from_left.transpose() * cam.translation);
  const hit h = cast(world, from, point - from);
  return h.found && std::fabs(h.distance - 1.0) < 1e-6;
}

}  // namespace example_scene

#endif  // DEFLASH_EXAMPLES_MODULE_EXAMPLE_SCENE_H_
