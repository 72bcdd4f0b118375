// Which vector width the start-row column walk and the debug check's
// rectification run with: chosen from the processor's features at run time,
// or forced through DEFLASH_SIMD.
#ifndef DEFLASH_RECTIFY_SIMD_PATH_H_
#define DEFLASH_RECTIFY_SIMD_PATH_H_

// The two-lane walk needs GCC/Clang vector types; on x86-64 they are SSE2,
// which every such processor has. DEFLASH_SIMD_AVX comes from the build,
// which compiles the AVX2 and AVX-512 walks where it can (src/rectify/CMakeLists.txt,
// src/calib_image/CMakeLists.txt).
#if defined(__GNUC__) && defined(__x86_64__)
#define DEFLASH_SIMD_SSE2 1
#endif

namespace deflash {

/// A vector width, from the plain loop to the widest vectors.
enum class simd_path {
  kScalar,  ///< one value at a time, the plain loop every other walk is checked against
  kSse2,    ///< 128-bit vectors (start rows: two columns)
  kAvx2,    ///< 256-bit vectors (start rows: four columns; debug check: eight pixels)
  kAvx512,  ///< 512-bit vectors (start rows: eight columns; debug check: sixteen pixels)
};

/// Every path, narrowest first.
constexpr simd_path kSimdPaths[] = {simd_path::kScalar, simd_path::kSse2, simd_path::kAvx2,
                                    simd_path::kAvx512};

/// Environment variable that forces a path: scalar, sse2, avx2 or avx512.
constexpr const char* kSimdEnvironmentVariable = "DEFLASH_SIMD";

/// "scalar", "sse2", "avx2" or "avx512".
const char* simd_path_name(simd_path path);

/// The path called `name` (as simd_path_name spells it); false for any other text or null.
bool simd_path_from_name(const char* name, simd_path* path);

/// Whether this build has `path` and this processor (and its operating
/// system) can run it. The scalar path is always there.
bool simd_path_supported(simd_path path);

/// The widest supported path.
simd_path widest_simd_path();

/// The path named by DEFLASH_SIMD when it names a supported one; otherwise
/// (unset, unknown or unsupported) the widest supported path. Read at each
/// call, so nothing is cached between calls.
simd_path chosen_simd_path();

}  // namespace deflash

#endif  // DEFLASH_RECTIFY_SIMD_PATH_H_
