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

/// The module's copy; nothing else in the library reads it.
const optimized_d2d_state& module_optimized_d2d();

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_D2D_PARAMS_H_
