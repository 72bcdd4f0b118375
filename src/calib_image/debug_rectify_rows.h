// The debug check's rectification row by row with vector walks: the rays of a
// row are accumulated first, exactly as the plain loop accumulates them, and
// a walk compiled for AVX2 or AVX-512 then maps many pixels at a time.
#ifndef DEFLASH_CALIB_IMAGE_DEBUG_RECTIFY_ROWS_H_
#define DEFLASH_CALIB_IMAGE_DEBUG_RECTIFY_ROWS_H_

#include <cstddef>

#include "calib_image/calib_debug_check.h"
#include "rectify/simd_path.h"

namespace deflash {

/// The accumulated rays of a virtual camera: the ray of pixel (0, 0) and the
/// float32 steps one column and one row add to it.
struct debug_ray_steps {
  float first[3];
  float column[3];
  float row[3];
};

/// The steps of `camera`'s virtual camera and rectifying rotation.
debug_ray_steps debug_ray_steps_of(const debug_rectify_camera& camera);

/// The rays (X, Y, Z) of one row's pixels, one array per component.
struct debug_row_rays {
  const float* x;
  const float* y;
  const float* z;
};

/// Rectifies the row of `target` that starts at pixel `row_start`, from that
/// row's rays. Both images hold pixels, and their buffers do not overlap.
using debug_row_walk = void (*)(const debug_rectify_camera& camera, const debug_image_in& source,
                                const debug_image_out& target, std::size_t row_start,
                                const debug_row_rays& rays);

/// The vector walk of `path`; null for the scalar and SSE2 paths (the plain
/// loop serves both: SSE2 has neither a float rounding instruction nor a
/// gather) and for a path simd_path_supported refuses.
debug_row_walk debug_row_walk_for(simd_path path);

/// Rectifies `source` into `target` with `walk`, writing exactly what the
/// plain loop writes. False, writing nothing, when the images do not suit the
/// vector walks: overlapping buffers (the plain loop would read pixels it has
/// already written) or a source of 2 GiB or more (the gathers take 32-bit
/// byte offsets). Both images hold pixels and have the same format.
bool rectify_debug_rows(debug_row_walk walk, const debug_rectify_camera& camera,
                        const debug_image_in& source, const debug_image_out& target);

#if defined(DEFLASH_SIMD_AVX)
/// Eight pixels per 256-bit vector; AVX2 instructions, call only when the
/// processor has them.
void debug_row_avx2(const debug_rectify_camera& camera, const debug_image_in& source,
                    const debug_image_out& target, std::size_t row_start,
                    const debug_row_rays& rays);

/// Sixteen pixels per 512-bit vector; AVX-512F instructions, call only when
/// the processor has them.
void debug_row_avx512(const debug_rectify_camera& camera, const debug_image_in& source,
                      const debug_image_out& target, std::size_t row_start,
                      const debug_row_rays& rays);
#endif

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_DEBUG_RECTIFY_ROWS_H_
