// std::round for floats, written so that a compiler can run it on vectors:
// the depth reprojection rounds two positions a pixel for a whole row at once.
#ifndef DEFLASH_CALIB_IMAGE_ROUND_HALF_AWAY_H_
#define DEFLASH_CALIB_IMAGE_ROUND_HALF_AWAY_H_

#include <cmath>
#include <cstdint>

namespace deflash {

/// std::round(value), the same float, signed zero included: truncated, then
/// one step away from zero where what was cut off is half or more. Floats of
/// 2^23 and above (and infinities, NaN) are whole already and come back as
/// they are. No branch: which way a position rounds is a coin toss to a
/// branch predictor, and a loop with a branch is not vectorised.
inline float round_half_away(float value) {
  constexpr float kWhole = 8388608.0f;  // 2^23
  const bool whole = !(std::fabs(value) < kWhole);
  // Only values that fit an int32 are converted (the others are whole).
  const float fraction_bearing = whole ? 0.0f : value;
  const float truncated = static_cast<float>(static_cast<int32_t>(fraction_bearing));
  const float cut = fraction_bearing - truncated;  // exact: the fraction bits
  const float up = static_cast<float>(cut >= 0.5f);
  const float down = static_cast<float>(cut <= -0.5f);
  const float rounded = std::copysign(truncated + up - down, value);
  return whole ? value : rounded;
}

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_ROUND_HALF_AWAY_H_
