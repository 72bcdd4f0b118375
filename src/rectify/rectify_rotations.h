// Camera poses from the calibration's angles and the split of the stereo
// rotation into one rectifying rotation per IR camera.
#ifndef DEFLASH_RECTIFY_RECTIFY_ROTATIONS_H_
#define DEFLASH_RECTIFY_RECTIFY_ROTATIONS_H_

#include <Eigen/Core>
#include <Eigen/Geometry>

namespace deflash {

/// Rotation of a calibration block from its angles (radians):
/// Rz(a2) · Rx(a0) · Ry(a1), composed as unit quaternions.
Eigen::Matrix3d rotation_from_angles(double a0, double a1, double a2);

/// Rigid transform of a calibration block's six extrinsics (a0, a1, a2, tx,
/// ty, tz): it maps left-IR (reference) coordinates into that camera's.
Eigen::Matrix4d camera_from_reference(const float* extrinsics);

/// Angle and unit axis of a rotation; angle 0 about X for (near) identity.
struct angle_axis {
  double angle;
  Eigen::Vector3d axis;
};

/// Angle-axis of `rotation` through its unit quaternion. A quaternion whose
/// vector part has a squared norm below 1e-24 counts as no rotation.
angle_axis angle_axis_from_rotation(const Eigen::Matrix3d& rotation);

/// Rectifying rotations: each maps its camera's coordinates into the common
/// rectified frame, in which the two cameras differ by a shift along x.
struct rectifying_rotations {
  Eigen::Matrix3d rect_from_left;
  Eigen::Matrix3d rect_from_right;
};

/// Splits the stereo pose (right_from_left rotation and translation) half
/// on each camera, then turns both so the baseline lies along x.
rectifying_rotations split_stereo_rotation(const Eigen::Matrix3d& right_from_left_rotation,
                                           const Eigen::Vector3d& right_from_left_translation);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_RECTIFY_ROTATIONS_H_
