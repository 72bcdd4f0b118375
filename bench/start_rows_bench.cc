// Start-row table of a 1280 x 800 IR camera on each column walk, against
// OpenCV's initUndistortRectifyMap computing the same projection per pixel.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "deflash/rectify.h"
#include "rectify/simd_path.h"
#include "rectify/start_rows_lut.h"

#if defined(DEFLASH_BENCH_OPENCV)
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#endif

namespace {

using deflash::simd_path;

// A realistic module: mild barrel distortion, a rectifying rotation of a
// fraction of a degree, virtual focal length a little shorter than the real one.
struct camera {
  DeCameraIntrinsic_S src;
  DeCameraIntrinsic_S dst;
  float distortion[8];
  double rotation[9];  // R, row-major: rectified from source
  double matrix[9];    // M = R^T * K_dst^-1
  uint8_t reserved[2];
  int32_t rows;
};

camera ir_camera() {
  camera cam{};
  cam.src = {1150.0f, 1150.0f, 643.5f, 397.25f, 1280, 800};
  cam.dst = {1120.0f, 1120.0f, 640.0f, 400.0f, 1280, 800};
  const float distortion[8] = {-0.05f, 0.02f, -0.001f, 0.0f, 0.0f, 0.0f, 1e-4f, -1.2e-4f};
  for (int i = 0; i < 8; ++i) cam.distortion[i] = distortion[i];
  // R = Rz(az) * Ry(ay) * Rx(ax), row-major.
  const double ax = 0.004, ay = -0.012, az = 0.002;
  const double cx = std::cos(ax), sx = std::sin(ax);
  const double cy = std::cos(ay), sy = std::sin(ay);
  const double cz = std::cos(az), sz = std::sin(az);
  const double r[9] = {cz * cy,
                       cz * sy * sx - sz * cx,
                       cz * sy * cx + sz * sx,
                       sz * cy,
                       sz * sy * sx + cz * cx,
                       sz * sy * cx - cz * sx,
                       -sy,
                       cy * sx,
                       cy * cx};
  for (int i = 0; i < 9; ++i) cam.rotation[i] = r[i];
  const double fx = cam.dst.fx, fy = cam.dst.fy, px = cam.dst.cx, py = cam.dst.cy;
  for (int i = 0; i < 3; ++i) {
    cam.matrix[3 * i + 0] = r[i] / fx;
    cam.matrix[3 * i + 1] = r[3 + i] / fy;
    cam.matrix[3 * i + 2] = r[6 + i] - cam.matrix[3 * i + 0] * px - cam.matrix[3 * i + 1] * py;
  }
  cam.reserved[0] = 2;
  cam.reserved[1] = 3;
  cam.rows = cam.src.height;
  return cam;
}

uint32_t start_rows(const camera& cam, simd_path path, int32_t* lut) {
  return deflash::compute_start_rows_lut(&cam.src, &cam.dst, cam.distortion, cam.matrix, lut,
                                         cam.rows, cam.reserved, path, nullptr);
}

void set_pixel_rate(benchmark::State& state, const camera& cam) {
  state.counters["pixels"] = benchmark::Counter(static_cast<double>(cam.dst.width) * cam.dst.height,
                                                benchmark::Counter::kIsIterationInvariantRate);
}

// The table on one column walk; a walk this processor lacks is reported as
// skipped, and one whose table differs from the plain loop's as an error.
void BM_StartRows(benchmark::State& state, simd_path path) {
  if (!deflash::simd_path_supported(path)) {
    state.SkipWithError("this processor has no such path");
    return;
  }
  const camera cam = ir_camera();
  std::vector<int32_t> lut(static_cast<std::size_t>(cam.rows), 0);
  std::vector<int32_t> plain(static_cast<std::size_t>(cam.rows), 1);
  if (start_rows(cam, path, lut.data()) != 0 ||
      start_rows(cam, simd_path::kScalar, plain.data()) != 0 || lut != plain) {
    state.SkipWithError("table differs from the plain loop's");
    return;
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(start_rows(cam, path, lut.data()));
    benchmark::ClobberMemory();
  }
  set_pixel_rate(state, cam);
}
BENCHMARK_CAPTURE(BM_StartRows, scalar, simd_path::kScalar)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_StartRows, sse2, simd_path::kSse2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_StartRows, avx2, simd_path::kAvx2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_StartRows, avx512, simd_path::kAvx512)->Unit(benchmark::kMillisecond);

// What the exported calc_start_rows_lut runs: the widest path, or DEFLASH_SIMD's.
void BM_StartRowsExport(benchmark::State& state) {
  const camera cam = ir_camera();
  std::vector<int32_t> lut(static_cast<std::size_t>(cam.rows), 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(calc_start_rows_lut(&cam.src, &cam.dst, cam.distortion, cam.matrix,
                                                 lut.data(), cam.rows, cam.reserved));
    benchmark::ClobberMemory();
  }
  state.SetLabel(deflash::simd_path_name(deflash::chosen_simd_path()));
  set_pixel_rate(state, cam);
}
BENCHMARK(BM_StartRowsExport)->Unit(benchmark::kMillisecond);

#if defined(DEFLASH_BENCH_OPENCV)
// The same rational lens model and rectifying rotation as OpenCV takes them:
// distortion (k1, k2, p1, p2, k3, k4, k5, k6), one thread, float maps.
void BM_OpenCvRectifyMap(benchmark::State& state) {
  const camera cam = ir_camera();
  const int previous_threads = cv::getNumThreads();
  cv::setNumThreads(1);
  const cv::Matx33d k(cam.src.fx, 0, cam.src.cx, 0, cam.src.fy, cam.src.cy, 0, 0, 1);
  const cv::Matx33d p(cam.dst.fx, 0, cam.dst.cx, 0, cam.dst.fy, cam.dst.cy, 0, 0, 1);
  const cv::Matx33d r(cam.rotation);
  const float* d = cam.distortion;
  const cv::Mat coefficients =
      (cv::Mat_<double>(1, 8) << d[0], d[1], d[6], d[7], d[2], d[3], d[4], d[5]);
  cv::Mat map_x;
  cv::Mat map_y;
  for (auto _ : state) {
    cv::initUndistortRectifyMap(k, coefficients, r, p, cv::Size(cam.dst.width, cam.dst.height),
                                CV_32FC1, map_x, map_y);
    benchmark::DoNotOptimize(map_x.data);
    benchmark::ClobberMemory();
  }
  cv::setNumThreads(previous_threads);
  set_pixel_rate(state, cam);
}
BENCHMARK(BM_OpenCvRectifyMap)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
