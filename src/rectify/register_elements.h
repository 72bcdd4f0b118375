// Per-camera converters from rectification values to register codes.
#ifndef DEFLASH_RECTIFY_REGISTER_ELEMENTS_H_
#define DEFLASH_RECTIFY_REGISTER_ELEMENTS_H_

#include <cstdint>

#include "deflash/rectify.h"
#include "frame/log.h"
#include "rectify/rectify_registers_state.h"

namespace deflash {

/// Fraction bits of the matrix registers r0..r8: the scale terms R/f are
/// about 1e-3 and get 39 to 43 bits, the offset terms are of order 1.
constexpr int32_t kMatrixFractionBits[kRectifyTerms] = {39, 40, 30, 40, 39, 30, 41, 43, 31};
/// Fraction bits of the distortion registers k0..k8.
constexpr int32_t kDistortionFractionBits = 24;
/// Fraction bits of the intrinsics registers fx, fy, cx, cy.
constexpr int32_t kIntrinsicFractionBits = 20;
/// Width of every rectification register.
constexpr int32_t kRegisterWordBits = 32;

/// A start row is sign and magnitude in 12 bits: magnitude in bits 0-10.
constexpr int32_t kStartRowMagnitudeBits = 11;
constexpr uint32_t kStartRowSignBit = 0x800u;

/// Result for missing preparation, bad focal lengths, null buffers.
constexpr uint32_t kRectifyInvalidParam = 0xFFFFFFFEu;

/// Matrix r0..r8, intrinsics fx..cy and the size word of `cam_id` into
/// `table`. Stops at the first value that does not fit (4096), leaving the
/// later elements as they were.
uint32_t soc_convert_rectify_commom_float_to_register(int32_t cam_id, register_element* table,
                                                      void* ctx, log_pair_fn log);

/// Distortion terms k0..k8 of `cam_id` into `table`. Converts every term;
/// returns 4096 if any did not fit (its register then holds 0xFFFFFFFF).
uint32_t soc_convert_rectify_kk_float_to_register(int32_t cam_id, register_element* table,
                                                  void* ctx, log_pair_fn log);

/// The first `count` start rows of `cam_id` into `section` as sign-and-magnitude
/// codes. Returns 0, 0xFFFFFFFE for missing buffers, 4096 when a non-negative
/// row does not fit.
uint32_t convert_rectify_start_rows_float_to_register(int32_t cam_id,
                                                      DeRectifyStartRowsSection_S* section,
                                                      int32_t count);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_REGISTER_ELEMENTS_H_
