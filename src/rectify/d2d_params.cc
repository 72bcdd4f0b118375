// Optimized disparity-to-depth table: the host's entries kept byte for byte.
#include "rectify/d2d_params.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace deflash {

int hold_optimized_d2d(const soc_convert::DeDepthConfig_S* params, int num) {
  optimized_d2d_state& state = module_optimized_d2d();
  // The count is stored before the old table is released, and the release
  // clears it: hosts rely on a replacement call reporting a count of 0.
  state.optimized_d2d_params_num = num;
  if (state.optimized_d2d_params != nullptr) {
    delete[] state.optimized_d2d_params;
    state.optimized_d2d_params = nullptr;
    state.optimized_d2d_params_num = 0;
  }
  // A negative count is a table no allocation can hold: it fails as an
  // allocation does, with the same exception whatever compiler or sanitizer
  // built the library, and without asking the allocator for 2^64 bytes.
  if (num < 0) throw std::bad_array_new_length();
  const auto count = static_cast<std::size_t>(num);
  auto* table = new soc_convert::DeDepthConfig_S[count];
  if (count != 0) std::memcpy(table, params, count * sizeof(soc_convert::DeDepthConfig_S));
  state.optimized_d2d_params = table;
  return 0;
}

int release_optimized_d2d() {
  optimized_d2d_state& state = module_optimized_d2d();
  if (state.optimized_d2d_params != nullptr) {
    delete[] state.optimized_d2d_params;
    state.optimized_d2d_params = nullptr;
    state.optimized_d2d_params_num = 0;
  }
  return 0;
}

}  // namespace deflash
