// Truncation of computed sizes to the integer fields of the calibration records.
#ifndef DEFLASH_RECTIFY_TRUNCATE_H_
#define DEFLASH_RECTIFY_TRUNCATE_H_

#include <cstdint>

namespace deflash {

/// Truncates toward zero. A value outside the 32-bit range (or NaN) gives
/// INT32_MIN, the integer-indefinite result of the x86 conversion the hosts
/// run on, instead of undefined behaviour.
inline int32_t truncate_to_int32(double value) {
  // Exclusive bounds: every double strictly between them truncates into range.
  constexpr double kBelowMin = -2147483649.0;
  constexpr double kAboveMax = 2147483648.0;
  if (!(value > kBelowMin && value < kAboveMax)) return INT32_MIN;
  return static_cast<int32_t>(value);
}

/// Truncates toward zero and keeps the low 16 bits, as a size field does.
inline int16_t truncate_to_int16(double value) {
  return static_cast<int16_t>(
      static_cast<uint16_t>(static_cast<uint32_t>(truncate_to_int32(value))));
}

/// Truncates toward zero and keeps the low 16 bits as an unsigned size.
inline uint16_t truncate_to_uint16(double value) {
  return static_cast<uint16_t>(static_cast<uint32_t>(truncate_to_int32(value)));
}

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_TRUNCATE_H_
