// The example module's depth-engine configuration image (two DPU files, D2C
// and IR pre-ISP groups): loads, digests, CRCs and encoding, in memory.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "bench_support.h"
#include "de_config/de_image_build.h"
#include "deflash/de_config.h"

namespace {

void copy_path(const std::string& path, char (&out)[256]) {
  std::strncpy(out, path.c_str(), sizeof out - 1);
  out[sizeof out - 1] = '\0';
}

void BM_DepthEngineImageExampleModule(benchmark::State& state) {
  const std::string dpu_close = deflash_bench::module_file("dpu_close.ini");
  const std::string dpu_long = deflash_bench::module_file("dpu_long.ini");
  const char* dpu_paths[2] = {dpu_close.c_str(), dpu_long.c_str()};
  de_config_files files{};
  files.dpu_config_paths = dpu_paths;
  files.dpu_config_num = 2;
  copy_path(deflash_bench::module_file("d2c.ini"), files.d2c_config_path);
  copy_path(deflash_bench::module_file("ir_pre.ini"), files.ir_pre_config_path);
  int failures = 0;
  {
    const deflash_bench::quiet_console quiet;
    for (auto _ : state) {
      const deflash::de_image_outcome outcome = deflash::build_de_config_image(files, 1700000000);
      failures += outcome.converted ? 0 : 1;
      benchmark::DoNotOptimize(outcome.image.data());
    }
  }
  if (failures != 0) state.SkipWithError("the depth-engine image failed");
}
BENCHMARK(BM_DepthEngineImageExampleModule)->Unit(benchmark::kMillisecond);

}  // namespace
