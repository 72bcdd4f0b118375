// Entry of deflash_bench: Google Benchmark's own, with the start-row path the
// library chooses here and the OpenCV version written into the report's context.
#include <benchmark/benchmark.h>

#include "rectify/simd_path.h"

#if defined(DEFLASH_BENCH_OPENCV)
#include <opencv2/core/version.hpp>
#endif

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::AddCustomContext("deflash_start_rows_path",
                              deflash::simd_path_name(deflash::chosen_simd_path()));
#if defined(DEFLASH_BENCH_OPENCV)
  benchmark::AddCustomContext("opencv_version", CV_VERSION);
#else
  benchmark::AddCustomContext("opencv_version", "not built");
#endif
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
