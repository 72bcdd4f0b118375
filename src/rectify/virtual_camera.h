// The common virtual (rectified) camera of the IR pair.
#ifndef DEFLASH_RECTIFY_VIRTUAL_CAMERA_H_
#define DEFLASH_RECTIFY_VIRTUAL_CAMERA_H_

#include <Eigen/Core>
#include <array>
#include <cstdint>

#include "deflash/calib_records.h"
#include "rectify/rectify_rotations.h"

namespace deflash {

/// Intrinsics shared by both rectified IR images, and their size.
struct virtual_camera {
  double fx;
  double fy;
  double cx;
  double cy;
  int32_t width;   ///< the left camera's width
  int32_t height;  ///< the left camera's height
};

/// fx, fy, cx, cy of a calibration camera entry, in that order.
std::array<float, 4> intrinsics_of(const CalibrateCamera_S& camera);

/// True when the lens model at the image's top-left corner departs from the
/// ideal by more than 10 %: the image corners then lie where the model is no
/// longer trustworthy.
bool has_strong_corner_distortion(const CalibrateCamera_S& camera);

/// The virtual camera: the largest source focal length, and the principal
/// point that centres the undistorted, rectified image of both cameras.
virtual_camera solve_virtual_camera(const CalibrateCamera_S& left, const CalibrateCamera_S& right,
                                    const rectifying_rotations& rotations);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_VIRTUAL_CAMERA_H_
