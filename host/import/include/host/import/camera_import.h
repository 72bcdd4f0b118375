// Conversions every importer shares: intrinsic matrices, distortion vectors in
// the common 4/5/8/12/14-term order, and rigid transforms into the record's
// camera and extrinsics fields.
#ifndef DEFLASH_HOST_IMPORT_CAMERA_IMPORT_H_
#define DEFLASH_HOST_IMPORT_CAMERA_IMPORT_H_

#include <Eigen/Core>
#include <string>
#include <vector>

#include "deflash/calib_records.h"
#include "host/import/import_request.h"

namespace deflash_host {

/// A rigid transform X_to = rotation · X_from + translation.
struct rigid_transform {
  Eigen::Matrix3d rotation = Eigen::Matrix3d::Identity();
  Eigen::Vector3d translation = Eigen::Vector3d::Zero();
};

/// Maps a distortion vector in the order k1 k2 p1 p2 [k3 [k4 k5 k6 [s1 s2 s3
/// s4 [tauX tauY]]]] (4, 5, 8, 12 or 14 terms) onto the record's k1..k6 p1 p2.
/// Thin-prism and tilt terms must be zero: the camera model has no place for
/// them. On failure returns false and sets `what`, e.g. "has 6 terms; ..." or
/// "terms the camera model cannot carry are not zero: s1 = 0.001".
bool map_distortion(const std::vector<double>& terms, float (&out)[8], std::string& what);

/// Fills fx, fy, cx, cy from a 3x3 row-major camera matrix. Refuses skew and
/// a matrix not of the form [fx 0 cx; 0 fy cy; 0 0 1] (sets `what`).
bool set_intrinsics(const std::vector<double>& matrix, SocCalibCamera_S& camera, std::string& what);

/// Stores width and height; refuses sides outside 1..65535 (sets `what`).
bool set_image_size(const image_size& size, SocCalibCamera_S& camera, std::string& what);

/// The three angles (radians) with rotation = Rz(a2)·Rx(a0)·Ry(a1). Refuses
/// (sets `what`) a matrix that the angles do not recompose to within 1e-6 in
/// every element, such as a non-rotation.
bool rotation_to_angles(const Eigen::Matrix3d& rotation, double (&angles)[3], std::string& what);

/// Rz(a2)·Rx(a0)·Ry(a1).
Eigen::Matrix3d rotation_from_angles(const double (&angles)[3]);

/// Writes a0 a1 a2 tx ty tz into `out`, the translation scaled to
/// millimetres by `millimetres_per_unit`.
bool set_extrinsics(const rigid_transform& transform, double millimetres_per_unit, float* out,
                    std::string& what);

/// Millimetres per unit of `unit`, taking `fallback` when unspecified.
double millimetres_per(length_unit unit, length_unit fallback);

/// A number as text, short but exact enough to read back the same double.
std::string number_text(double value);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMPORT_CAMERA_IMPORT_H_
