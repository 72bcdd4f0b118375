// Fixed-point register codes for the depth engine's rectification registers.
#include "rectify/fixed_point.h"

#include <cmath>
#include <cstdint>

#include "frame/log.h"
#include "frame/round_half_away.h"

namespace deflash {
namespace {

// Shift counts wrap the way the 64-bit shift instruction wraps them.
constexpr uint32_t kShiftCountMask = 63;
// Below this width the mask is kept to the 32 bits a register holds.
constexpr int32_t kRegisterBits = 32;
// 2^64 and -2^63 as doubles: the first values outside uint64 and int64.
constexpr double kUint64Limit = 18446744073709551616.0;
constexpr double kInt64Min = -9223372036854775808.0;

// Rounded non-negative value to its unsigned code. Values of 2^64 and above
// (and +infinity) have no code; they become the largest one, which is above
// every field mask and so always reported as an overflow.
uint64_t non_negative_code(double rounded) {
  if (rounded >= kUint64Limit) return UINT64_MAX;
  return static_cast<uint64_t>(rounded);
}

// Rounded negative value (or NaN) to a signed integer. Values below -2^63,
// -infinity and NaN give INT64_MIN, the integer-indefinite result of the x86
// conversion the hosts run on, instead of undefined behaviour. For NaN this
// yields a code whose field bits are all zero, so a NaN writes 0 silently.
int64_t negative_integer(double rounded) {
  if (!(rounded >= kInt64Min)) return INT64_MIN;
  return static_cast<int64_t>(rounded);
}

}  // namespace

fixed_point_code encode_fixed_point(double value, int32_t total_bits, int32_t fraction_bits) {
  const uint32_t width_shift = static_cast<uint32_t>(total_bits) & kShiftCountMask;
  uint64_t field_mask = (uint64_t{1} << width_shift) - 1u;
  if (total_bits < kRegisterBits) field_mask &= 0xFFFFFFFFu;

  const uint32_t fraction_shift = static_cast<uint32_t>(fraction_bits) & kShiftCountMask;
  const double scale = static_cast<double>(uint64_t{1} << fraction_shift);
  const double scaled = scale * value;

  // Halves round away from zero: the register tables were tuned with it.
  const double rounded = round_half_away(scaled);
  uint64_t code;
  if (scaled >= 0.0) {
    code = non_negative_code(rounded);
  } else {
    // Two's complement pattern of the value within the field; wraps by design.
    code = (field_mask + 1u) + static_cast<uint64_t>(negative_integer(rounded));
  }

  fixed_point_code result;
  result.value = value;
  result.scaled = scaled;
  result.wide_code = code;
  result.field_mask = field_mask;
  // A magnitude below one never overflows: a tiny negative value rounds to a
  // code whose field bits are zero.
  result.overflowed = std::fabs(scaled) >= 1.0 && code > field_mask;
  // A legitimate 32-bit code 0xFFFFFFFF (a value rounding to -1) collides
  // with kFixedPointOverflow; callers report it as out of range. Kept so the
  // register checks agree with the factory tools.
  result.code = result.overflowed ? kFixedPointOverflow : static_cast<uint32_t>(code & field_mask);
  return result;
}

void print_fixed_point_overflow(const fixed_point_code& overflow, const char* name) {
  const auto masked = static_cast<uint32_t>(overflow.wide_code & overflow.field_mask);
  // "dingdianhua" (fixed-pointing) is what the factory tools grep for.
  console_log(
      "current lut value: %.20lf; dingdianhua value: %.20lf; m_fp: %llu; return value: %llu; "
      "max value: %llu \n",
      overflow.value, overflow.scaled, static_cast<unsigned long long>(overflow.wide_code),
      static_cast<unsigned long long>(masked),
      static_cast<unsigned long long>(overflow.field_mask));
  console_log("error code 01: value overflow in %s \n", name != nullptr ? name : "(null)");
}

uint32_t convert_float_to_fixed(double value, int32_t total_bits, int32_t fraction_bits,
                                const char* name) {
  const fixed_point_code result = encode_fixed_point(value, total_bits, fraction_bits);
  if (result.overflowed) print_fixed_point_overflow(result, name);
  return result.code;
}

uint32_t set_register_field(uint32_t code, uint32_t old_word, uint32_t mask) {
  constexpr uint32_t kWordBits = 32;
  uint32_t shift = kWordBits;
  for (uint32_t bit = 0; bit < kWordBits; ++bit) {
    if ((mask >> bit) & 1u) {
      shift = bit;
      break;
    }
  }
  return ((code << (shift % kWordBits)) & mask) | (old_word & ~mask);
}

}  // namespace deflash
