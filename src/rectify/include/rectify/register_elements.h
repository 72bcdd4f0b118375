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
/// The depth engine's PBF register, 1 / (baseline x focal length), which the
/// device derives from the depth items: 32 bits with 40 fraction bits.
constexpr int32_t kPbfTotalBits = 32;
constexpr int32_t kPbfFractionBits = 40;

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

/// Prepares one camera (1 target, anything else reference): back-projection
/// matrix, distortion terms and start-row table, in the camera's slot of the
/// rectification registers record. `log(ctx, message)` gets the failures.
/// Returns 0, 0xFFFFFFFE (virtual focal length not positive) or the
/// start-row computation's result.
uint32_t prepare_rectify_camera(int32_t cam_id, const DeCameraIntrinsic_S& src_intrinsic,
                                const float* distortion, const float* rotation,
                                const DeCameraIntrinsic_S& dst_intrinsic,
                                const uint8_t* start_rows_buff_reserved, void* ctx,
                                log_pair_fn log);

/// Converts both prepared cameras into their register tables and start-row
/// sections, then frees the start-row tables. Returns 0, 0xFFFFFFFE (no
/// camera prepared, a missing table) or 4096 (a value that does not fit).
uint32_t convert_rectify_registers(void* ctx, log_pair_fn log);

/// Copies both start-row sections (target first) into `sections` and frees
/// them here. Returns 0, or 0xFFFFFFFE for a section count other than 2, no
/// sections, or sections that cannot take the rows.
uint32_t hand_over_start_rows_sections(DeRectifyStartRowsSection_S* sections,
                                       int8_t start_rows_reg_section_num);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_REGISTER_ELEMENTS_H_
