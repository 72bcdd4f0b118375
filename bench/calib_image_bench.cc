// The example module's calibration image (both configurations) and its
// start-row image, in process, as a host builds them.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "bench_support.h"
#include "deflash/calib_image.h"

namespace {

void BM_CalibImageExampleModule(benchmark::State& state) {
  const deflash_bench::example_module module(2);
  if (!module.ok()) {
    state.SkipWithError(module.error().c_str());
    return;
  }
  std::vector<uint8_t> image(deflash_bench::kCalibImageBytes);
  std::vector<uint8_t> raw(deflash_bench::kSecondImageBytes);
  int failures = 0;
  {
    const deflash_bench::quiet_console quiet;
    for (auto _ : state) {
      failures += gen_soc_calib_flash_param_de(&module.input(), image.data(), nullptr,
                                               deflash_bench::kCalibImageBytes, 1700000000,
                                               raw.data(), deflash_bench::kSecondImageBytes) != 0;
      benchmark::ClobberMemory();
    }
  }
  if (failures != 0) state.SkipWithError("the calibration image failed");
}
BENCHMARK(BM_CalibImageExampleModule)->Unit(benchmark::kMillisecond);

void BM_StartRowImageExampleModule(benchmark::State& state) {
  const deflash_bench::example_module module(2);
  if (!module.ok()) {
    state.SkipWithError(module.error().c_str());
    return;
  }
  std::vector<uint8_t> image(deflash_bench::kSecondImageBytes);
  int failures = 0;
  {
    const deflash_bench::quiet_console quiet;
    for (auto _ : state) {
      failures += gen_soc_start_row_param_de(&module.input(), image.data(), nullptr,
                                             deflash_bench::kSecondImageBytes) != 0;
      benchmark::ClobberMemory();
    }
  }
  if (failures != 0) state.SkipWithError("the start-row image failed");
}
BENCHMARK(BM_StartRowImageExampleModule)->Unit(benchmark::kMillisecond);

}  // namespace
