// Roundings of the real-valued scheme keys into the u32 fields the DPU reads.
#include "de_config/unit_rounding.h"

#include <cmath>

#include "frame/round_half_away.h"

namespace deflash {

uint32_t truncate_to_u32(float value) {
  // Bounds of the int64 range that a float represents exactly.
  constexpr float kInt64Limit = 9223372036854775808.0f;  // 2^63
  if (std::isnan(value)) return 0;
  if (value >= kInt64Limit) return static_cast<uint32_t>(INT64_MAX);
  if (value < -kInt64Limit) return static_cast<uint32_t>(INT64_MIN);
  return static_cast<uint32_t>(static_cast<int64_t>(value));
}

uint32_t round_to_multiple(float value, float step) {
  const float steps = round_half_away(value / step);
  return truncate_to_u32(steps * step);
}

uint32_t unit_in_hundredths(float unit, uint8_t unit_in_r_en) {
  // A unit this small is "not set": the depth engine would divide by it.
  // Compared in double, as every unit threshold of the library is.
  constexpr double kMinUnit = 1e-5;
  constexpr float kHundredths = 100.0f;
  if (unit_in_r_en == 0 || std::fabs(static_cast<double>(unit)) < kMinUnit) return 0;
  return truncate_to_u32(round_half_away(unit * kHundredths));
}

}  // namespace deflash
