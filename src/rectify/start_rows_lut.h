// Start-row table of one camera: which rectified row the line buffer can
// produce once each source row has streamed in.
#ifndef DEFLASH_RECTIFY_START_ROWS_LUT_H_
#define DEFLASH_RECTIFY_START_ROWS_LUT_H_

#include <cstdint>
#include <vector>

#include "deflash/calib_records.h"
#include "rectify/line_buffer.h"
#include "rectify/simd_path.h"
#include "rectify/start_rows_table.h"

namespace deflash {

/// Initial value of the table and of every working array ("not reached").
constexpr int32_t kStartRowsFill = -24;
/// Result for a null table.
constexpr uint32_t kStartRowsNullTable = 0xFFFFFFFFu;
/// Result for sizes the table cannot be computed for.
constexpr uint32_t kStartRowsBadSize = 0xFFFFFFFEu;

/// Per destination row working values, kept for inspection.
struct start_rows_working {
  std::vector<int32_t> last_needed;  ///< last source row needed plus the lower reserve
  std::vector<int32_t>
      last_allowed;                ///< first source row needed minus the upper reserve plus depth
  std::vector<int32_t> start_row;  ///< interpolated start row
};

/// The computation behind `calc_start_rows_lut` on the column walk `path`
/// (one the processor lacks runs the plain loop; every walk gives the same
/// table) and, when `working` is not null, the working arrays handed back as
/// they stand after the start rows are computed (envelope applied).
uint32_t compute_start_rows_lut(const DeCameraIntrinsic_S* src, const DeCameraIntrinsic_S* dst,
                                const float* distortion, const double* matrix, int32_t* lut,
                                int32_t rows, const uint8_t* reserved, simd_path path,
                                start_rows_working* working);

/// `calc_start_rows_lut` on the plain one-column loop; same results bit for
/// bit. For tests and the benchmark.
uint32_t calc_start_rows_lut_reference(const DeCameraIntrinsic_S* src,
                                       const DeCameraIntrinsic_S* dst, const float* distortion,
                                       const double* matrix, int32_t* lut, int32_t rows,
                                       const uint8_t* reserved);

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_START_ROWS_LUT_H_
