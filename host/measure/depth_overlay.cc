// Lays the depth reprojected into the RGB camera over its colour picture.
#include "host/measure/depth_overlay.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace deflash_host {
namespace {

/// The colour ramp from near to far: red, yellow, green, cyan, blue.
constexpr uint8_t kRamp[][3] = {
    {230, 30, 30}, {240, 220, 30}, {40, 200, 60}, {40, 200, 220}, {40, 60, 230}};
constexpr int kRampSteps = 4;

/// Depths below the 1st and above the 99th percentile take the ends of the
/// ramp: a few stray far or near pixels must not flatten it.
constexpr std::size_t kLowPercentile = 1;
constexpr std::size_t kHighPercentile = 99;

}  // namespace

rgb_picture overlay_depth(const rgb_picture& colour, const gray_view& depth) {
  if (colour.width != depth.width || colour.height != depth.height ||
      colour.rgb.size() != depth.pixel_count() * 3) {
    return {};
  }
  rgb_picture out = colour;
  std::vector<uint16_t> present;
  for (std::size_t i = 0; i < depth.pixel_count(); ++i) {
    if (depth.pixels[i] != 0) present.push_back(depth.pixels[i]);
  }
  if (present.empty()) return out;
  std::sort(present.begin(), present.end());
  const auto percentile = [&present](std::size_t p) {
    return static_cast<double>(present[((present.size() - 1) * p + 50) / 100]);
  };
  const double near = percentile(kLowPercentile);
  const double far = percentile(kHighPercentile);
  const double span = far > near ? far - near : 1.0;
  for (std::size_t i = 0; i < depth.pixel_count(); ++i) {
    if (depth.pixels[i] == 0) continue;
    const double t = std::min(1.0, std::max(0.0, (depth.pixels[i] - near) / span)) * kRampSteps;
    const int step = std::min(kRampSteps - 1, static_cast<int>(t));
    const double f = t - step;
    for (int c = 0; c < 3; ++c) {
      const double ramp = kRamp[step][c] + f * (kRamp[step + 1][c] - kRamp[step][c]);
      out.rgb[3 * i + c] = static_cast<uint8_t>(std::lround((out.rgb[3 * i + c] + ramp) / 2.0));
    }
  }
  return out;
}

}  // namespace deflash_host
