// The rectification's one module-state record and the accessors that reach it.
#include "rectify/d2d_params.h"
#include "rectify/rectify_registers_state.h"
#include "rectify/solver_state.h"

namespace deflash {
namespace {

/// Everything the rectification keeps between the host's calls: the register
/// functions' cameras, tables and start-row buffers, the solver's virtual
/// camera for the host's debugging, and the host's optimized d2d table.
struct rectify_module_state {
  rectify_registers_state registers;
  stereo_solver_state solver;
  optimized_d2d_state optimized_d2d;
};

// Constant-initialised: loading the library runs no code for it. The buffers
// it points to stay reachable from here until freed or the process ends.
rectify_module_state g_rectify{kInitialRectifyRegisters, {}, {}};

}  // namespace

rectify_registers_state& rectify_registers() { return g_rectify.registers; }

stereo_solver_state& module_stereo_solver() { return g_rectify.solver; }

optimized_d2d_state& module_optimized_d2d() { return g_rectify.optimized_d2d; }

}  // namespace deflash
