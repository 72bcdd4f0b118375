// What the stereo rectification solver leaves in module state for the host.
#ifndef DEFLASH_RECTIFY_SOLVER_STATE_H_
#define DEFLASH_RECTIFY_SOLVER_STATE_H_

#include "deflash/calib_records.h"

namespace deflash {

struct stereo_solver_state {
  /// The left virtual camera of the last rectification (offsets applied,
  /// unscaled size), kept for the host's debugging.
  DeCameraIntrinsic_S virtual_intrinsic_debug;
};

/// The solver's part of the rectification's module record (rectify_state.cc).
stereo_solver_state& module_stereo_solver();

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_SOLVER_STATE_H_
