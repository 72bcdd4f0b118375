// Rectification registers: the per-camera register preparation, the register
// and start-row conversion, the start-row table and the host's d2d table.
#ifndef DEFLASH_RECTIFY_H_
#define DEFLASH_RECTIFY_H_

#include <cstdint>

#include "deflash/calib_records.h"
#include "deflash/export.h"

/// Log callback of the register functions: `log(ctx, message)`. Both may be null.
typedef void (*DeRectifyLogFn)(void* ctx, const char* msg);

/// One camera's start-row register section as handed to the host.
struct DeRectifyStartRowsSection_S {
  uint32_t address;  ///< 0x52002000 target, 0x52082000 reference
  uint32_t count;    ///< number of rows
  uint32_t* values;  ///< `count` sign-and-magnitude codes, owned by the caller
};

extern "C" {

/// Prepares one camera (1 target, anything else reference): back-projection
/// matrix, distortion terms and start-row table. Returns 0, 0xFFFFFFFE or the
/// start-row computation's result.
DEFLASH_EXPORT uint32_t soc_set_rectify_params_brown(int32_t cam_id,
                                                     const DeCameraIntrinsic_S* src_intrin,
                                                     const float* distortion, const float* rotation,
                                                     const DeCameraIntrinsic_S* dst_intrin,
                                                     const uint8_t* start_rows_buff_reserved,
                                                     void* ctx, DeRectifyLogFn log);

/// Converts both prepared cameras into register tables and start-row
/// sections. Returns 0, 0xFFFFFFFE or 4096.
DEFLASH_EXPORT uint32_t soc_convert_rectify_params_to_register_elements(void* ctx,
                                                                        DeRectifyLogFn log);

/// Copies both start-row sections (target first) into the caller's sections,
/// whose `values` hold the current row count, and frees them here.
/// Returns 0, or 0xFFFFFFFE unless `start_rows_reg_section_num` is 2.
DEFLASH_EXPORT uint32_t de_copy_rectify_start_rows_register_section(
    DeRectifyStartRowsSection_S* sections, int8_t start_rows_reg_section_num);

/// Computes the start-row table of one camera into `lut` (`rows` entries).
/// Returns 0; 0xFFFFFFFF for a null `lut`; 0xFFFFFFFE when `rows` differs
/// from the source height, the destination is taller than `rows` or the
/// source width is 0.
DEFLASH_EXPORT uint32_t calc_start_rows_lut(const DeCameraIntrinsic_S* src,
                                            const DeCameraIntrinsic_S* dst, const float* distortion,
                                            const double* matrix, int32_t* lut, int32_t rows,
                                            const uint8_t* reserved);

}  // extern "C"

namespace soc_convert {

/// One entry of the host's optimized disparity-to-depth table; opaque here.
struct DeDepthConfig_S {
  uint8_t bytes[16];
};
static_assert(sizeof(DeDepthConfig_S) == 16, "d2d entry is 16 bytes");

/// Keeps a copy of `num` entries. Returns 0, or -1 when the copy cannot be
/// allocated (a negative `num` included).
DEFLASH_EXPORT int set_optimized_d2d_params(DeDepthConfig_S* params, int num);

/// Releases the held table. Returns 0.
DEFLASH_EXPORT int release_optimized_d2d_params();

}  // namespace soc_convert

#endif  // DEFLASH_RECTIFY_H_
