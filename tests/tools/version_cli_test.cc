// Tests of `deflash version`: the bare version line hosts compare, and the
// verbose line with the build and the vector path, as DEFLASH_SIMD leaves it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "rectify/simd_path.h"
#include "support/tool_run.h"

namespace {

using deflash::simd_path;
using deflash_test::run_tool;
using deflash_test::tool_run;

void set_simd(const char* value) {
#if defined(_WIN32)
  _putenv_s(deflash::kSimdEnvironmentVariable, value == nullptr ? "" : value);
#else
  if (value == nullptr) {
    unsetenv(deflash::kSimdEnvironmentVariable);
  } else {
    setenv(deflash::kSimdEnvironmentVariable, value, 1);
  }
#endif
}

// The build the tool reports: the same compiler and target built this test.
std::string expected_build() {
  std::string compiler;
#if defined(__clang__)
  compiler = "Clang " + std::to_string(__clang_major__) + "." + std::to_string(__clang_minor__) +
             "." + std::to_string(__clang_patchlevel__);
#elif defined(__GNUC__)
  compiler = "GCC " __VERSION__;
#endif
#if defined(_WIN32)
  const std::string target = "Windows x86-64";
#else
  const std::string target = "Linux x86-64";
#endif
  return "deflash " DEFLASH_VERSION_TEXT "; built with " + compiler + " for " + target + "; ";
}

std::string path_line(simd_path path, const std::string& why) {
  return expected_build() + "vector path " + deflash::simd_path_name(path) +
         " for the start-row table and the debug check (" + why + ")\n";
}

// Runs the tool with DEFLASH_SIMD set to `value` (unset for null) and puts
// back what the test process had.
class VersionCommand : public testing::Test {
 protected:
  void SetUp() override {
    const char* saved = std::getenv(deflash::kSimdEnvironmentVariable);
    had_value_ = saved != nullptr;
    if (had_value_) saved_ = saved;
  }
  void TearDown() override { set_simd(had_value_ ? saved_.c_str() : nullptr); }
  static tool_run run_with(const char* value, bool verbose) {
    set_simd(value);
    return verbose ? run_tool({"version", "--verbose"}) : run_tool({"version"});
  }

 private:
  bool had_value_ = false;
  std::string saved_;
};

const char* const kWidest = "the widest this processor runs";

}  // namespace

TEST_F(VersionCommand, PrintsTheBareVersionWhateverDeflashSimdSays) {
  for (const char* value : {static_cast<const char*>(nullptr), "sse2", "avx1024"}) {
    const tool_run run = run_with(value, false);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.out, DEFLASH_VERSION_TEXT "\n");
    EXPECT_EQ(run.err, "");
  }
}

TEST_F(VersionCommand, VerboseNamesTheWidestPathWhenNothingIsForced) {
  const tool_run run = run_with(nullptr, true);
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.out, path_line(deflash::widest_simd_path(), kWidest));
  EXPECT_EQ(run.err, "");
}

TEST_F(VersionCommand, VerboseSaysWhichPathDeflashSimdForced) {
  const simd_path widest = deflash::widest_simd_path();
  for (const simd_path path : deflash::kSimdPaths) {
    if (!deflash::simd_path_supported(path)) continue;
    const std::string name = deflash::simd_path_name(path);
    const tool_run run = run_with(name.c_str(), true);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.out, path_line(path, "forced by DEFLASH_SIMD=" + name +
                                           "; the widest this processor runs is " +
                                           deflash::simd_path_name(widest)));
  }
}

TEST_F(VersionCommand, VerboseSaysDeflashSimdWasIgnoredWhenItNamesNoPath) {
  const tool_run run = run_with("AVX2", true);
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.out,
            path_line(deflash::widest_simd_path(),
                      std::string(kWidest) + "; DEFLASH_SIMD=AVX2 names no path and is ignored"));
}

TEST_F(VersionCommand, VerboseSaysDeflashSimdWasIgnoredWhenThePathCannotRunHere) {
  bool any = false;
  for (const simd_path path : deflash::kSimdPaths) {
    if (deflash::simd_path_supported(path)) continue;
    any = true;
    const std::string name = deflash::simd_path_name(path);
    const tool_run run = run_with(name.c_str(), true);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.out, path_line(deflash::widest_simd_path(),
                                 std::string(kWidest) + "; DEFLASH_SIMD=" + name +
                                     " is not supported here and is ignored"));
  }
  if (!any) GTEST_SKIP() << "this build and processor run every path";
}
