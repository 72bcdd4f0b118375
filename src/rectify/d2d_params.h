// The host's optimized disparity-to-depth table, held and released.
#ifndef DEFLASH_RECTIFY_D2D_PARAMS_H_
#define DEFLASH_RECTIFY_D2D_PARAMS_H_

#include <cstdint>

#include "deflash/rectify.h"

namespace deflash {

/// What the library holds of the host's table.
struct optimized_d2d_state {
  soc_convert::DeDepthConfig_S* optimized_d2d_params;
  int32_t optimized_d2d_params_num;
};

/// The table's part of the rectification's module record (rectify_state.cc);
/// nothing else in the library reads it.
optimized_d2d_state& module_optimized_d2d();

/// Keeps a copy of `num` entries of `params` in place of the held table.
/// Returns 0; a negative `num` or a failing allocation throws
/// std::bad_alloc (the export turns it into a failure result).
int hold_optimized_d2d(const soc_convert::DeDepthConfig_S* params, int num);

/// Frees the held table, if any. Returns 0.
int release_optimized_d2d();

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_D2D_PARAMS_H_
