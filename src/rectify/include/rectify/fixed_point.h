// Fixed-point register codes: every rectification value that reaches a
// depth-engine register goes through here.
#ifndef DEFLASH_RECTIFY_FIXED_POINT_H_
#define DEFLASH_RECTIFY_FIXED_POINT_H_

#include <cstdint>

namespace deflash {

/// Code returned when a value does not fit its field.
constexpr uint32_t kFixedPointOverflow = 0xFFFFFFFFu;

/// A value as a register field code, with what an overflow message shows.
struct fixed_point_code {
  uint32_t code = 0;  ///< the field code, or kFixedPointOverflow
  bool overflowed = false;
  double value = 0.0;
  double scaled = 0.0;      ///< value times 2^fraction_bits
  uint64_t wide_code = 0;   ///< the rounded code before the field mask
  uint64_t field_mask = 0;  ///< the field's bits
};

/// Encodes `value` as an unsigned code of `total_bits` with `fraction_bits`
/// (two's complement pattern for negatives, halves away from zero). Prints
/// nothing: an overflow comes back marked, for the caller to report.
fixed_point_code encode_fixed_point(double value, int32_t total_bits, int32_t fraction_bits);

/// The two console lines of an overflow, naming the register `name`.
void print_fixed_point_overflow(const fixed_point_code& overflow, const char* name);

/// The routine every register value goes through: encodes `value` and, when
/// it does not fit, prints the overflow lines naming `name` and returns
/// kFixedPointOverflow.
uint32_t convert_float_to_fixed(double value, int32_t total_bits, int32_t fraction_bits,
                                const char* name);

/// Places `code` into `old_word` under `mask`, shifted to the mask's lowest bit.
uint32_t set_register_field(uint32_t code, uint32_t old_word, uint32_t mask);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_FIXED_POINT_H_
