// Rounding half away from zero (std::round's rule), written out instead of
// called: every register, table entry and unit code that is rounded must come
// out the same on every host, and MinGW's round and roundf give 1 for the
// largest value below one half (0.49999997f, 0.49999999999999994), where
// glibc gives 0. The float form is also the one a compiler can run on
// vectors: the depth reprojection rounds two positions a pixel for a row.
#ifndef DEFLASH_FRAME_ROUND_HALF_AWAY_H_
#define DEFLASH_FRAME_ROUND_HALF_AWAY_H_

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

/// std::round(value) for doubles, by the same steps: doubles of 2^52 and
/// above (and infinities, NaN) are whole already.
inline double round_half_away(double value) {
  constexpr double kWhole = 4503599627370496.0;  // 2^52
  if (!(std::fabs(value) < kWhole)) return value;
  const double truncated = static_cast<double>(static_cast<int64_t>(value));
  const double cut = value - truncated;  // exact: the fraction bits
  double rounded = truncated;
  if (cut >= 0.5) rounded += 1.0;
  if (cut <= -0.5) rounded -= 1.0;
  return std::copysign(rounded, value);
}

}  // namespace deflash

#endif  // DEFLASH_FRAME_ROUND_HALF_AWAY_H_
