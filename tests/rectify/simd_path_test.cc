// Tests of the column-walk choice: path names, what this processor supports
// and the DEFLASH_SIMD override.
#include "rectify/simd_path.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

using deflash::simd_path;

void set_environment(const char* name, const char* value) {
#if defined(_WIN32)
  _putenv_s(name, value == nullptr ? "" : value);
#else
  if (value == nullptr) {
    unsetenv(name);
  } else {
    setenv(name, value, 1);
  }
#endif
}

// Sets DEFLASH_SIMD for one test and restores what was there.
class SimdEnvironment : public testing::Test {
 protected:
  void SetUp() override {
    const char* saved = std::getenv(deflash::kSimdEnvironmentVariable);
    had_value_ = saved != nullptr;
    if (had_value_) saved_ = saved;
  }
  void TearDown() override {
    set_environment(deflash::kSimdEnvironmentVariable, had_value_ ? saved_.c_str() : nullptr);
  }
  static void force(const char* value) {
    set_environment(deflash::kSimdEnvironmentVariable, value);
  }

 private:
  bool had_value_ = false;
  std::string saved_;
};

}  // namespace

TEST(SimdPath, NamesReadBackAsTheirPaths) {
  for (const simd_path path : deflash::kSimdPaths) {
    simd_path parsed = simd_path::kScalar;
    ASSERT_TRUE(deflash::simd_path_from_name(deflash::simd_path_name(path), &parsed));
    EXPECT_EQ(parsed, path);
  }
  EXPECT_STREQ(deflash::simd_path_name(simd_path::kScalar), "scalar");
  EXPECT_STREQ(deflash::simd_path_name(simd_path::kSse2), "sse2");
  EXPECT_STREQ(deflash::simd_path_name(simd_path::kAvx2), "avx2");
  EXPECT_STREQ(deflash::simd_path_name(simd_path::kAvx512), "avx512");
}

TEST(SimdPath, OtherNamesAreRefusedAndLeaveThePathAlone) {
  for (const char* name : {"", "AVX2", "avx", "avx-512", " sse2", "scalar "}) {
    simd_path parsed = simd_path::kAvx2;
    EXPECT_FALSE(deflash::simd_path_from_name(name, &parsed)) << '"' << name << '"';
    EXPECT_EQ(parsed, simd_path::kAvx2);
  }
  simd_path parsed = simd_path::kSse2;
  EXPECT_FALSE(deflash::simd_path_from_name(nullptr, &parsed));
  EXPECT_EQ(parsed, simd_path::kSse2);
}

TEST(SimdPath, ThePlainLoopIsAlwaysThere) {
  EXPECT_TRUE(deflash::simd_path_supported(simd_path::kScalar));
}

TEST(SimdPath, TheWidestPathIsSupportedAndNoWiderOneIs) {
  const simd_path widest = deflash::widest_simd_path();
  EXPECT_TRUE(deflash::simd_path_supported(widest));
  for (const simd_path path : deflash::kSimdPaths) {
    if (static_cast<int>(path) > static_cast<int>(widest)) {
      EXPECT_FALSE(deflash::simd_path_supported(path)) << deflash::simd_path_name(path);
    }
  }
}

#if defined(__GNUC__) && defined(__x86_64__)
TEST(SimdPath, EveryX86ProcessorHasSse2) {
  EXPECT_TRUE(deflash::simd_path_supported(simd_path::kSse2));
}
#endif

#if defined(DEFLASH_SIMD_AVX)
TEST(SimdPath, WiderPathsFollowTheProcessorsFeatures) {
  EXPECT_EQ(deflash::simd_path_supported(simd_path::kAvx2), __builtin_cpu_supports("avx2") != 0);
  EXPECT_EQ(deflash::simd_path_supported(simd_path::kAvx512),
            __builtin_cpu_supports("avx512f") != 0);
}
#endif

TEST_F(SimdEnvironment, UnsetChoosesTheWidestPath) {
  force(nullptr);
  EXPECT_EQ(deflash::chosen_simd_path(), deflash::widest_simd_path());
}

TEST_F(SimdEnvironment, ASupportedPathIsTaken) {
  for (const simd_path path : deflash::kSimdPaths) {
    if (!deflash::simd_path_supported(path)) continue;
    force(deflash::simd_path_name(path));
    EXPECT_EQ(deflash::chosen_simd_path(), path) << deflash::simd_path_name(path);
  }
}

TEST_F(SimdEnvironment, AnUnknownNameFallsBackToTheWidestPath) {
  force("avx1024");
  EXPECT_EQ(deflash::chosen_simd_path(), deflash::widest_simd_path());
}

TEST_F(SimdEnvironment, AnUnsupportedPathFallsBackToTheWidestPath) {
  for (const simd_path path : deflash::kSimdPaths) {
    if (deflash::simd_path_supported(path)) continue;
    force(deflash::simd_path_name(path));
    EXPECT_EQ(deflash::chosen_simd_path(), deflash::widest_simd_path())
        << deflash::simd_path_name(path);
  }
}
