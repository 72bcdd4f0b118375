// The lens model of the IR and RGB cameras: rational radial terms k1..k6 and
// tangential terms p1, p2, and its inversion for one pixel.
#ifndef DEFLASH_RECTIFY_DISTORTION_MODEL_H_
#define DEFLASH_RECTIFY_DISTORTION_MODEL_H_

namespace deflash {

/// Number of distortion terms: k1, k2, k3, k4, k5, k6, p1, p2.
constexpr int kDistortionTerms = 8;

/// fx, fy, cx, cy of one camera, in this order.
constexpr int kIntrinsicTerms = 4;

/// A point on the normalized image plane (z = 1).
struct normalized_point {
  double x;
  double y;
};

/// A point in pixels.
struct pixel_point {
  double u;
  double v;
};

/// (1 + k1 r² + k2 r⁴ + k3 r⁶) / (1 + k4 r² + k5 r⁴ + k6 r⁶) at (x, y).
double radial_factor(double x, double y, const float* distortion);

/// Applies the lens distortion to an ideal normalized point.
normalized_point distort_normalized(normalized_point ideal, const float* distortion);

/// Distorts an ideal normalized point and maps it to pixels.
pixel_point project_distorted(normalized_point ideal, const float* intrinsics,
                              const float* distortion);

/// Normalized undistorted coordinates of the pixel (u, v) of a camera with
/// `intrinsics` (fx, fy, cx, cy) and `distortion` (eight terms), by
/// fixed-point iteration on the lens model.
normalized_point undistort_pixel(const float* intrinsics, const float* distortion, double u,
                                 double v);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_DISTORTION_MODEL_H_
