// Roundings of the real-valued scheme keys into the u32 fields the DPU reads.
#ifndef DEFLASH_DE_CONFIG_UNIT_ROUNDING_H_
#define DEFLASH_DE_CONFIG_UNIT_ROUNDING_H_

#include <cstdint>

namespace deflash {

/// Truncates toward zero and keeps the low 32 bits of the two's-complement
/// value (-10.0 gives 0xFFFFFFF6). NaN gives 0; magnitudes beyond 2^63
/// saturate first, so no input is undefined.
uint32_t truncate_to_u32(float value);

/// roundf(value / step) * step in float, truncated: the DPU takes disparity
/// offsets in steps of 10 and reference distances in steps of 100.
uint32_t round_to_multiple(float value, float step);

/// The disparity-to-depth unit in hundredths, roundf(unit * 100), when the
/// unit is given in R (`unit_in_r_en` non-zero) and its magnitude is at least
/// 1e-5; otherwise 0.
uint32_t unit_in_hundredths(float unit, uint8_t unit_in_r_en);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_UNIT_ROUNDING_H_
