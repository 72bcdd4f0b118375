// Fixed-point register codes: every rectification value that reaches a
// depth-engine register goes through here.
#ifndef DEFLASH_RECTIFY_FIXED_POINT_H_
#define DEFLASH_RECTIFY_FIXED_POINT_H_

#include <cstdint>

namespace deflash {

/// Code returned when a value does not fit its field.
constexpr uint32_t kFixedPointOverflow = 0xFFFFFFFFu;

/// Converts `value` to an unsigned code of `total_bits` with `fraction_bits`
/// (two's complement pattern for negatives, halves away from zero). Returns
/// kFixedPointOverflow, after two log lines naming `name`, when it does not fit.
uint32_t convert_float_to_fixed(double value, int32_t total_bits, int32_t fraction_bits,
                                const char* name);

/// Places `code` into `old_word` under `mask`, shifted to the mask's lowest bit.
uint32_t set_register_field(uint32_t code, uint32_t old_word, uint32_t mask);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_FIXED_POINT_H_
