// Camera poses from the calibration's angles and the split of the stereo
// rotation into one rectifying rotation per IR camera.
#include "rectify/rectify_rotations.h"

#include <cmath>

namespace deflash {
namespace {

Eigen::Quaterniond axis_quaternion(double angle, const Eigen::Vector3d& axis) {
  const double half = angle / 2.0;
  const double s = std::sin(half);
  return Eigen::Quaterniond(std::cos(half), s * axis.x(), s * axis.y(), s * axis.z());
}

}  // namespace

Eigen::Matrix3d rotation_from_angles(double a0, double a1, double a2) {
  const Eigen::Quaterniond qz = axis_quaternion(a2, Eigen::Vector3d::UnitZ());
  const Eigen::Quaterniond qx = axis_quaternion(a0, Eigen::Vector3d::UnitX());
  const Eigen::Quaterniond qy = axis_quaternion(a1, Eigen::Vector3d::UnitY());
  return ((qz * qx) * qy).toRotationMatrix();
}

Eigen::Matrix4d camera_from_reference(const float* extrinsics) {
  Eigen::Matrix4d transform = Eigen::Matrix4d::Identity();
  transform.topLeftCorner<3, 3>() =
      rotation_from_angles(extrinsics[0], extrinsics[1], extrinsics[2]);
  transform.topRightCorner<3, 1>() = Eigen::Vector3d(extrinsics[3], extrinsics[4], extrinsics[5]);
  return transform;
}

angle_axis angle_axis_from_rotation(const Eigen::Matrix3d& rotation) {
  // Below this squared sine of the half angle the axis is pure rounding
  // noise; the rotation is taken as none at all.
  constexpr double kMinSquaredHalfSine = 1e-24;
  const Eigen::Quaterniond q(rotation);
  const double squared_norm = q.vec().squaredNorm();
  if (squared_norm < kMinSquaredHalfSine) return {0.0, Eigen::Vector3d::UnitX()};
  double norm = std::sqrt(squared_norm);
  const double angle = 2.0 * std::atan2(norm, std::fabs(q.w()));
  // q and -q are the same rotation; keep the angle within [0, pi].
  if (q.w() < 0.0) norm = -norm;
  return {angle, q.vec() / norm};
}

rectifying_rotations split_stereo_rotation(const Eigen::Matrix3d& right_from_left_rotation,
                                           const Eigen::Vector3d& right_from_left_translation) {
  // Half of the stereo rotation goes to each camera, so both rectified
  // images are resampled by the same, smallest amount.
  const angle_axis relative = angle_axis_from_rotation(right_from_left_rotation);
  const Eigen::Matrix3d half_back =
      Eigen::AngleAxisd(-relative.angle / 2.0, relative.axis).toRotationMatrix();
  const Eigen::Matrix3d half_forward =
      Eigen::AngleAxisd(relative.angle / 2.0, relative.axis).toRotationMatrix();

  // Then turn both so the baseline lies along x: rows of the two rectified
  // images see the same epipolar lines.
  const Eigen::Vector3d t = half_back * right_from_left_translation;
  const Eigen::Vector3d e(t.x() < 0.0 ? -1.0 : 1.0, 0.0, 0.0);
  const Eigen::Vector3d axis = t.cross(e).normalized();
  // The ratio cannot exceed 1 in exact arithmetic; the clamp keeps rounding
  // from turning it into a NaN. A zero baseline still gives NaN (0/0), which
  // the register range checks reject later.
  const double ratio = std::fabs(t.dot(e)) / (e.norm() * t.norm());
  const double cosine = ratio > 1.0 ? 1.0 : ratio;
  const Eigen::Matrix3d align = Eigen::AngleAxisd(std::acos(cosine), axis).toRotationMatrix();

  return {align * half_forward, align * half_back};
}

}  // namespace deflash
