// The row-error measurement of rectify-check on the example scene: the pair
// rectified once by the debug check, then measured per iteration.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench_support.h"
#include "calib_image/calib_state.h"
#include "deflash/calib_image.h"
#include "host/files/file_io.h"
#include "host/files/gray_image.h"
#include "host/measure/row_error.h"

namespace {

constexpr uint32_t kFormat8Bit = 0;

bool load(const std::string& name, deflash_host::gray_image& image) {
  std::string bytes;
  std::string error;
  const std::string path = deflash_bench::module_file(name);
  return deflash_host::read_file_bytes(path, bytes, error, deflash_host::kMaxPictureInputBytes) &&
         deflash_host::decode_gray_image(path, bytes, image, error) ==
             deflash_host::picture_status::ok &&
         image.bits == 8;
}

/// The example scene rectified with the close-range configuration; false
/// when a picture did not read or the module did not convert.
bool rectified_example(std::vector<uint16_t>& left, std::vector<uint16_t>& right, int& width,
                       int& height) {
  deflash_host::gray_image left_source;
  deflash_host::gray_image right_source;
  if (!load("scene_left.png", left_source) || !load("scene_right.png", right_source)) return false;
  const deflash_bench::example_module module(1);
  if (!module.ok()) return false;
  std::vector<uint8_t> image(deflash_bench::kCalibImageBytes);
  {
    const deflash_bench::quiet_console quiet;
    if (gen_soc_calib_flash_param_de(&module.input(), image.data(), nullptr,
                                     deflash_bench::kCalibImageBytes, 1700000000, nullptr,
                                     0) != 0) {
      return false;
    }
  }
  const soc_convert::DeStereoRectifyParams_S& r = deflash::module_calib_image().rectify;
  width = r.virtual_L.width;
  height = r.virtual_L.height;
  const std::vector<uint8_t> left_in(left_source.pixels.begin(), left_source.pixels.end());
  const std::vector<uint8_t> right_in(right_source.pixels.begin(), right_source.pixels.end());
  const std::size_t count = static_cast<std::size_t>(width) * height;
  // 8-bit output bytes in 16-bit words, as the debug check takes them.
  std::vector<uint16_t> left_out(count / 2 + 1, 0);
  std::vector<uint16_t> right_out(count / 2 + 1, 0);
  check_soc_calib_debug(left_in.data(), left_out.data(), right_in.data(), right_out.data(), nullptr,
                        nullptr, kFormat8Bit);
  left.resize(count);
  right.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    left[i] = reinterpret_cast<const uint8_t*>(left_out.data())[i];
    right[i] = reinterpret_cast<const uint8_t*>(right_out.data())[i];
  }
  return true;
}

void BM_RowErrorExampleScene(benchmark::State& state) {
  std::vector<uint16_t> left;
  std::vector<uint16_t> right;
  int width = 0;
  int height = 0;
  if (!rectified_example(left, right, width, height)) {
    state.SkipWithError("the example scene did not rectify");
    return;
  }
  const deflash_host::gray_view left_view{width, height, left.data()};
  const deflash_host::gray_view right_view{width, height, right.data()};
  std::size_t matches = 0;
  for (auto _ : state) {
    const deflash_host::row_error_result result =
        deflash_host::measure_row_error(left_view, right_view);
    matches = result.matches.size();
    benchmark::DoNotOptimize(matches);
  }
  state.counters["matches"] = static_cast<double>(matches);
}
BENCHMARK(BM_RowErrorExampleScene)->Unit(benchmark::kMillisecond);

}  // namespace
