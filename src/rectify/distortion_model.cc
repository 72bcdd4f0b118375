// The lens model of the IR and RGB cameras and its inversion for one pixel.
#include "rectify/distortion_model.h"

#include <cmath>

namespace deflash {
namespace {

struct tangential_shift {
  double dx;
  double dy;
};

tangential_shift tangential(double x, double y, const float* distortion) {
  const double p1 = distortion[6];
  const double p2 = distortion[7];
  const double r2 = x * x + y * y;
  return {2.0 * p1 * x * y + p2 * (r2 + 2.0 * x * x), p1 * (r2 + 2.0 * y * y) + 2.0 * p2 * x * y};
}

}  // namespace

double radial_factor(double x, double y, const float* distortion) {
  const double k1 = distortion[0];
  const double k2 = distortion[1];
  const double k3 = distortion[2];
  const double k4 = distortion[3];
  const double k5 = distortion[4];
  const double k6 = distortion[5];
  const double r2 = x * x + y * y;
  const double r4 = r2 * r2;
  const double r6 = r4 * r2;
  return (1.0 + k1 * r2 + k2 * r4 + k3 * r6) / (1.0 + k4 * r2 + k5 * r4 + k6 * r6);
}

normalized_point distort_normalized(normalized_point ideal, const float* distortion) {
  const double radial = radial_factor(ideal.x, ideal.y, distortion);
  const tangential_shift shift = tangential(ideal.x, ideal.y, distortion);
  return {radial * ideal.x + shift.dx, radial * ideal.y + shift.dy};
}

pixel_point project_distorted(normalized_point ideal, const float* intrinsics,
                              const float* distortion) {
  const normalized_point distorted = distort_normalized(ideal, distortion);
  const double fx = intrinsics[0];
  const double fy = intrinsics[1];
  const double cx = intrinsics[2];
  const double cy = intrinsics[3];
  return {fx * distorted.x + cx, fy * distorted.y + cy};
}

normalized_point undistort_pixel(const float* intrinsics, const float* distortion, double u,
                                 double v) {
  // Reprojection error (pixels) below which the estimate is good enough.
  constexpr double kConvergedError = 0.01;
  // Near this error a growing step means the iteration has started to
  // oscillate around the solution; the current estimate is kept.
  constexpr double kDivergenceWatchError = 0.1;
  // Strong distortion far outside the calibrated field may never converge.
  constexpr int kMaxIterations = 20;
  // Larger than any error a converging iteration starts with.
  constexpr float kInitialError = 1000.0f;

  const double fx = intrinsics[0];
  const double fy = intrinsics[1];
  const double cx = intrinsics[2];
  const double cy = intrinsics[3];
  const double x0 = (u - cx) / fx;
  const double y0 = (v - cy) / fy;

  normalized_point estimate{x0, y0};
  float previous_error = kInitialError;
  for (int iteration = 0; iteration < kMaxIterations; ++iteration) {
    const tangential_shift shift = tangential(estimate.x, estimate.y, distortion);
    const double radial = radial_factor(estimate.x, estimate.y, distortion);
    estimate = {(x0 - shift.dx) / radial, (y0 - shift.dy) / radial};

    const pixel_point reprojected = project_distorted(estimate, intrinsics, distortion);
    const double du = reprojected.u - u;
    const double dv = reprojected.v - v;
    const double error = std::sqrt(du * du + dv * dv);
    if (error < kConvergedError) break;
    if (error < kDivergenceWatchError && error > static_cast<double>(previous_error)) break;
    // Kept in single precision, as the device tools compare it.
    previous_error = static_cast<float>(error);
  }
  return estimate;
}

}  // namespace deflash
