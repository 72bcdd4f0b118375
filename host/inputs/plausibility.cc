// Plausibility of a module calibration: the cameras, their distortion and
// the stereo baseline.
#include "host/inputs/plausibility.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace deflash_host {
namespace {

constexpr const char* kCameraNames[] = {"left_ir", "right_ir", "rgb"};
constexpr const char* kDistortionNames[] = {"k1", "k2", "k3", "k4", "k5", "k6", "p1", "p2"};
constexpr const char* kExtrinsicNames[] = {"a0", "a1", "a2", "tx", "ty", "tz"};
constexpr const char* kTemperatureNames[] = {"left_ir", "right_ir", "ldm"};

/// A stereo pair closer than this (mm) gives no usable disparity.
constexpr float kMinBaselineMm = 1.0f;
/// Samples of the squared radius over the image for the denominator check.
constexpr int kRadiusSamples = 1024;

std::string number(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}

class findings {
 public:
  void add(const std::string& field, const std::string& what) { list_.push_back({field, what}); }
  bool empty() const { return list_.empty(); }
  std::vector<implausible_value> take() { return std::move(list_); }

 private:
  std::vector<implausible_value> list_;
};

void check_size(findings& out, const std::string& field, float side) {
  if (!std::isfinite(side) || side != std::floor(side) || side < kMinImageSide ||
      side > kMaxImageSide) {
    out.add(field, number(side) + " is not a whole number of pixels from " + number(kMinImageSide) +
                       " to " + number(kMaxImageSide));
  }
}

void check_focal(findings& out, const std::string& field, float focal) {
  if (!std::isnormal(focal) || focal <= 0.0f) {
    out.add(field, number(focal) + " is not a positive focal length in pixels");
  }
}

void check_principal(findings& out, const std::string& field, float centre, float side) {
  if (!std::isfinite(centre) || centre < 0.0f || centre > side) {
    out.add(field, number(centre) + " lies outside the image (0 to " + number(side) + ")");
  }
}

/// The rational model divides by 1 + k4 r^2 + k5 r^4 + k6 r^6; where that
/// reaches zero inside the image the model folds the picture over itself.
void check_denominator(findings& out, const std::string& camera, const SocCalibCamera_S& c) {
  const double corner_x = std::max<double>(c.cx, c.width - c.cx) / c.fx;
  const double corner_y = std::max<double>(c.cy, c.height - c.cy) / c.fy;
  const double max_r2 = corner_x * corner_x + corner_y * corner_y;
  const double k4 = c.distortion[3];
  const double k5 = c.distortion[4];
  const double k6 = c.distortion[5];
  for (int i = 0; i <= kRadiusSamples; ++i) {
    const double r2 = max_r2 * i / kRadiusSamples;
    const double denominator = 1.0 + r2 * (k4 + r2 * (k5 + r2 * k6));
    if (!(denominator > 0.0)) {
      out.add(camera + ".k4..k6", "the rational distortion's denominator reaches " +
                                      number(denominator) + " at r^2 = " + number(r2) +
                                      " inside the image");
      return;
    }
  }
}

}  // namespace

std::vector<implausible_value> check_calibration(const module_calibration& calibration) {
  findings out;
  const SocCalibParams_S& params = calibration.params;
  for (int i = 0; i < 3; ++i) {
    const SocCalibCamera_S& c = params.camera[i];
    const std::string camera = kCameraNames[i];
    findings camera_findings;
    check_size(camera_findings, camera + ".width", c.width);
    check_size(camera_findings, camera + ".height", c.height);
    check_focal(camera_findings, camera + ".fx", c.fx);
    check_focal(camera_findings, camera + ".fy", c.fy);
    check_principal(camera_findings, camera + ".cx", c.cx, c.width);
    check_principal(camera_findings, camera + ".cy", c.cy, c.height);
    // The denominator check needs a sane camera to measure the image by.
    const bool sane = camera_findings.empty();
    for (implausible_value& f : camera_findings.take()) out.add(f.field, f.what);
    bool finite_distortion = true;
    for (int k = 0; k < 8; ++k) {
      if (!std::isfinite(c.distortion[k])) {
        out.add(camera + "." + kDistortionNames[k],
                number(c.distortion[k]) + " is not a finite coefficient");
        finite_distortion = false;
      }
    }
    if (sane && finite_distortion) check_denominator(out, camera, c);
  }
  const float* extrinsics[] = {params.right_extrinsics, params.rgb_extrinsics};
  const char* extrinsic_names[] = {"right_ir_extrinsics", "rgb_extrinsics"};
  for (int e = 0; e < 2; ++e) {
    for (int k = 0; k < 6; ++k) {
      if (!std::isfinite(extrinsics[e][k])) {
        out.add(std::string(extrinsic_names[e]) + "." + kExtrinsicNames[k],
                number(extrinsics[e][k]) + " is not finite");
      }
    }
  }
  // The depth engine searches disparities along rows: the right IR camera
  // must sit beside the left one, not above, below or in front of it.
  const float tx = params.right_extrinsics[3];
  const float ty = params.right_extrinsics[4];
  const float tz = params.right_extrinsics[5];
  if (std::isfinite(tx) && std::isfinite(ty) && std::isfinite(tz)) {
    if (std::fabs(tx) < kMinBaselineMm) {
      out.add("right_ir_extrinsics.tx",
              "baseline " + number(tx) + " mm is shorter than " + number(kMinBaselineMm) + " mm");
    } else if (std::fabs(tx) <= std::max(std::fabs(ty), std::fabs(tz))) {
      out.add("right_ir_extrinsics.tx", "the baseline (" + number(tx) + ", " + number(ty) + ", " +
                                            number(tz) + ") mm does not run mainly along x");
    }
  }
  for (int t = 0; t < kTemperatureCount; ++t) {
    if (!std::isfinite(calibration.temperatures[t])) {
      out.add(std::string("temperatures.") + kTemperatureNames[t],
              number(calibration.temperatures[t]) + " is not a finite temperature");
    }
  }
  return out.take();
}

}  // namespace deflash_host
