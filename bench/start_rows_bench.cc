// Start-row table of a 1280 x 800 IR camera: the four-column walk the library
// uses against the plain one-column walk over the same pixels.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "deflash/rectify.h"
#include "rectify/start_rows_lut.h"

namespace {

// A realistic module: mild barrel distortion, a rectifying rotation of a
// fraction of a degree, virtual focal length a little shorter than the real one.
struct camera {
  DeCameraIntrinsic_S src;
  DeCameraIntrinsic_S dst;
  float distortion[8];
  double matrix[9];
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
  const double r[9] = {cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx,
                       sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx,
                       -sy,     cy * sx,                cy * cx};
  // M = R^T * K_dst^-1.
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

uint32_t four_columns(const camera& cam, int32_t* lut) {
  return calc_start_rows_lut(&cam.src, &cam.dst, cam.distortion, cam.matrix, lut, cam.rows,
                             cam.reserved);
}

uint32_t one_column(const camera& cam, int32_t* lut) {
  return deflash::calc_start_rows_lut_reference(&cam.src, &cam.dst, cam.distortion, cam.matrix,
                                                lut, cam.rows, cam.reserved);
}

void set_pixel_rate(benchmark::State& state, const camera& cam) {
  state.counters["pixels"] = benchmark::Counter(
      static_cast<double>(cam.dst.width) * cam.dst.height,
      benchmark::Counter::kIsIterationInvariantRate);
}

void BM_StartRowsFourColumns(benchmark::State& state) {
  const camera cam = ir_camera();
  std::vector<int32_t> lut(static_cast<std::size_t>(cam.rows));
  for (auto _ : state) {
    benchmark::DoNotOptimize(four_columns(cam, lut.data()));
    benchmark::ClobberMemory();
  }
  set_pixel_rate(state, cam);
}
BENCHMARK(BM_StartRowsFourColumns)->Unit(benchmark::kMillisecond);

void BM_StartRowsOneColumn(benchmark::State& state) {
  const camera cam = ir_camera();
  std::vector<int32_t> lut(static_cast<std::size_t>(cam.rows));
  for (auto _ : state) {
    benchmark::DoNotOptimize(one_column(cam, lut.data()));
    benchmark::ClobberMemory();
  }
  set_pixel_rate(state, cam);
}
BENCHMARK(BM_StartRowsOneColumn)->Unit(benchmark::kMillisecond);

// Both walks timed back to back in each iteration, so that the ratio sees
// the same machine load; "speedup" is one-column time over four-column time.
void BM_StartRowsSpeedup(benchmark::State& state) {
  using clock = std::chrono::steady_clock;
  const camera cam = ir_camera();
  std::vector<int32_t> lut(static_cast<std::size_t>(cam.rows));
  double fast_seconds = 0.0;
  double plain_seconds = 0.0;
  for (auto _ : state) {
    const auto t0 = clock::now();
    benchmark::DoNotOptimize(four_columns(cam, lut.data()));
    benchmark::ClobberMemory();
    const auto t1 = clock::now();
    benchmark::DoNotOptimize(one_column(cam, lut.data()));
    benchmark::ClobberMemory();
    const auto t2 = clock::now();
    fast_seconds += std::chrono::duration<double>(t1 - t0).count();
    plain_seconds += std::chrono::duration<double>(t2 - t1).count();
  }
  state.counters["speedup"] = fast_seconds > 0.0 ? plain_seconds / fast_seconds : 0.0;
}
BENCHMARK(BM_StartRowsSpeedup)->Unit(benchmark::kMillisecond);

// The speed is worth nothing unless the tables are the same.
bool walks_agree() {
  const camera cam = ir_camera();
  std::vector<int32_t> fast(static_cast<std::size_t>(cam.rows), 0);
  std::vector<int32_t> plain(static_cast<std::size_t>(cam.rows), 1);
  if (four_columns(cam, fast.data()) != 0 || one_column(cam, plain.data()) != 0) return false;
  return fast == plain;
}

}  // namespace

int main(int argc, char** argv) {
  if (!walks_agree()) {
    std::fprintf(stderr, "start_rows_bench: four-column and one-column tables differ\n");
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
