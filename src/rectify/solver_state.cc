// What the stereo rectification solver leaves in module state for the host.
#include "rectify/solver_state.h"

#include "deflash/calib_config.h"

namespace deflash {
namespace {
stereo_solver_state g_stereo_solver{};
}  // namespace

stereo_solver_state& module_stereo_solver() { return g_stereo_solver; }

}  // namespace deflash

namespace soc_convert {

void get_virtual_intrinsic_of_stereo_debug(DeCameraIntrinsic_S* out) {
  if (out == nullptr) return;
  *out = deflash::g_stereo_solver.virtual_intrinsic_debug;
}

}  // namespace soc_convert
