// Run-time choice of the start-row column walk from the processor's features.
#include "rectify/simd_path.h"

#include <cstdlib>
#include <cstring>

namespace deflash {
namespace {

#if defined(DEFLASH_SIMD_SSE2)
constexpr bool kSse2WalkBuilt = true;
#else
constexpr bool kSse2WalkBuilt = false;
#endif

// Both false when the operating system does not save the wide registers, and
// in builds without the wide walks.
bool processor_has_avx2() {
#if defined(DEFLASH_SIMD_AVX)
  return __builtin_cpu_supports("avx2") != 0;
#else
  return false;
#endif
}

bool processor_has_avx512() {
#if defined(DEFLASH_SIMD_AVX)
  return __builtin_cpu_supports("avx512f") != 0;
#else
  return false;
#endif
}

}  // namespace

const char* simd_path_name(simd_path path) {
  switch (path) {
    case simd_path::kScalar:
      return "scalar";
    case simd_path::kSse2:
      return "sse2";
    case simd_path::kAvx2:
      return "avx2";
    case simd_path::kAvx512:
      return "avx512";
  }
  return "scalar";
}

bool simd_path_from_name(const char* name, simd_path* path) {
  if (name == nullptr) return false;
  for (const simd_path candidate : kSimdPaths) {
    if (std::strcmp(name, simd_path_name(candidate)) == 0) {
      *path = candidate;
      return true;
    }
  }
  return false;
}

bool simd_path_supported(simd_path path) {
  switch (path) {
    case simd_path::kScalar:
      return true;
    case simd_path::kSse2:
      return kSse2WalkBuilt;
    case simd_path::kAvx2:
      return processor_has_avx2();
    case simd_path::kAvx512:
      return processor_has_avx512();
  }
  return false;
}

simd_path widest_simd_path() {
  simd_path widest = simd_path::kScalar;
  for (const simd_path path : kSimdPaths) {
    if (simd_path_supported(path)) widest = path;
  }
  return widest;
}

simd_path chosen_simd_path() {
  simd_path forced = simd_path::kScalar;
  if (simd_path_from_name(std::getenv(kSimdEnvironmentVariable), &forced) &&
      simd_path_supported(forced)) {
    return forced;
  }
  return widest_simd_path();
}

}  // namespace deflash
