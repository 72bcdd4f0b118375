// The debug check rectifying one 8-bit IR image of the example module, against
// OpenCV building the same rectification map and remapping bilinearly.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench_support.h"
#include "calib_image/calib_debug_check.h"
#include "calib_image/calib_state.h"
#include "deflash/calib_image.h"
#include "rectify/simd_path.h"

#if defined(DEFLASH_BENCH_OPENCV)
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using deflash::simd_path;

// Leaves the close-range configuration's records in the module state, as a
// host does before it calls the check; false when the chain failed.
bool convert_example_module() {
  const deflash_bench::example_module module(1);
  if (!module.ok()) return false;
  std::vector<uint8_t> image(deflash_bench::kCalibImageBytes);
  std::vector<uint8_t> raw(deflash_bench::kSecondImageBytes);
  const deflash_bench::quiet_console quiet;
  return gen_soc_calib_flash_param_de(&module.input(), image.data(), nullptr,
                                      deflash_bench::kCalibImageBytes, 1700000000, raw.data(),
                                      deflash_bench::kSecondImageBytes) == 0;
}

// A grey ramp with some texture; the values do not change the work.
std::vector<uint8_t> ir_image(int width, int height) {
  std::vector<uint8_t> image(static_cast<std::size_t>(width) * height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image[static_cast<std::size_t>(y) * width + x] = static_cast<uint8_t>((x * 7 + y * 3) ^ y);
    }
  }
  return image;
}

void set_pixel_rate(benchmark::State& state, const DeCameraIntrinsic_S& output) {
  state.counters["pixels"] = benchmark::Counter(static_cast<double>(output.width) * output.height,
                                                benchmark::Counter::kIsIterationInvariantRate);
}

void BM_CalibDebugCheck8Bit(benchmark::State& state) {
  if (!convert_example_module()) {
    state.SkipWithError("the example module did not convert");
    return;
  }
  const soc_convert::DeStereoRectifyParams_S& r = deflash::module_calib_image().rectify;
  const std::vector<uint8_t> left = ir_image(r.intrinsic_L.width, r.intrinsic_L.height);
  std::vector<uint8_t> left_out(static_cast<std::size_t>(r.virtual_L.width) * r.virtual_L.height);
  for (auto _ : state) {
    check_soc_calib_debug(left.data(), reinterpret_cast<uint16_t*>(left_out.data()), nullptr,
                          nullptr, nullptr, nullptr, 0);
    benchmark::ClobberMemory();
  }
  set_pixel_rate(state, r.virtual_L);
}
BENCHMARK(BM_CalibDebugCheck8Bit)->Unit(benchmark::kMillisecond);

// The left rectification alone on one path, 8-bit; skipped where the
// processor lacks the path, and refused when its image differs from the
// plain loop's.
void BM_CalibDebugRectify(benchmark::State& state, simd_path path) {
  if (!deflash::simd_path_supported(path)) {
    state.SkipWithError("this processor has no such path");
    return;
  }
  if (!convert_example_module()) {
    state.SkipWithError("the example module did not convert");
    return;
  }
  const soc_convert::DeStereoRectifyParams_S& r = deflash::module_calib_image().rectify;
  const deflash::debug_rectify_camera camera = deflash::left_debug_camera(r);
  const std::vector<uint8_t> left = ir_image(r.intrinsic_L.width, r.intrinsic_L.height);
  const std::size_t pixels = static_cast<std::size_t>(r.virtual_L.width) * r.virtual_L.height;
  std::vector<uint8_t> plain(pixels);
  std::vector<uint8_t> out(pixels);
  const deflash::debug_image_in in{left.data(), r.intrinsic_L.width, r.intrinsic_L.height,
                                   deflash::debug_pixel_format::gray8};
  const deflash::debug_image_out plain_view{plain.data(), r.virtual_L.width, r.virtual_L.height,
                                            deflash::debug_pixel_format::gray8};
  const deflash::debug_image_out view{out.data(), r.virtual_L.width, r.virtual_L.height,
                                      deflash::debug_pixel_format::gray8};
  deflash::rectify_debug_image_with(simd_path::kScalar, camera, in, plain_view);
  deflash::rectify_debug_image_with(path, camera, in, view);
  if (out != plain) {
    state.SkipWithError("image differs from the plain loop's");
    return;
  }
  for (auto _ : state) {
    deflash::rectify_debug_image_with(path, camera, in, view);
    benchmark::ClobberMemory();
  }
  set_pixel_rate(state, r.virtual_L);
}
BENCHMARK_CAPTURE(BM_CalibDebugRectify, scalar, simd_path::kScalar)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_CalibDebugRectify, avx2, simd_path::kAvx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_CalibDebugRectify, avx512, simd_path::kAvx512)->Unit(benchmark::kMillisecond);

#if defined(DEFLASH_BENCH_OPENCV)
// The left camera's stored record handed to OpenCV: its intrinsics and
// distortion (k1, k2, p1, p2, k3, k4, k5, k6), the stored rotation as the
// rectifying transform, the virtual camera as the new camera matrix. Map and
// remap run in every iteration, one thread, as the check does both.
void BM_OpenCvRectifyRemap8Bit(benchmark::State& state) {
  if (!convert_example_module()) {
    state.SkipWithError("the example module did not convert");
    return;
  }
  const soc_convert::DeStereoRectifyParams_S& rec = deflash::module_calib_image().rectify;
  const DeCameraIntrinsic_S& s = rec.intrinsic_L;
  const DeCameraIntrinsic_S& v = rec.virtual_L;
  const float* d = rec.distortion_L;
  const float* q = rec.rotation_L;
  const cv::Matx33d k(s.fx, 0, s.cx, 0, s.fy, s.cy, 0, 0, 1);
  const cv::Matx33d p(v.fx, 0, v.cx, 0, v.fy, v.cy, 0, 0, 1);
  const cv::Matx33d r(q[0], q[1], q[2], q[3], q[4], q[5], q[6], q[7], q[8]);
  const cv::Mat coefficients =
      (cv::Mat_<double>(1, 8) << d[0], d[1], d[6], d[7], d[2], d[3], d[4], d[5]);
  std::vector<uint8_t> left = ir_image(s.width, s.height);
  const cv::Mat input(s.height, s.width, CV_8UC1, left.data());
  cv::Mat output(v.height, v.width, CV_8UC1);
  cv::Mat map_x;
  cv::Mat map_y;
  const int previous_threads = cv::getNumThreads();
  cv::setNumThreads(1);
  for (auto _ : state) {
    cv::initUndistortRectifyMap(k, coefficients, r, p, cv::Size(v.width, v.height), CV_32FC1, map_x,
                                map_y);
    cv::remap(input, output, map_x, map_y, cv::INTER_LINEAR, cv::BORDER_CONSTANT);
    benchmark::DoNotOptimize(output.data);
    benchmark::ClobberMemory();
  }
  cv::setNumThreads(previous_threads);
  set_pixel_rate(state, v);
}
BENCHMARK(BM_OpenCvRectifyRemap8Bit)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
