// Row-by-row driver of the debug check's vector rectification and the
// choice of its walk.
#include "calib_image/debug_rectify_rows.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace deflash {
namespace {

// Rows whose rays are accumulated together: their six running sums are
// independent, so the additions overlap instead of waiting on each other,
// and they still fit in registers (with four rows they were spilled to the stack).
constexpr int kRowsPerBlock = 2;

std::size_t pixel_bytes(debug_pixel_format format) {
  return format == debug_pixel_format::gray8 ? 1 : 2;
}

std::size_t image_bytes(int width, int height, debug_pixel_format format) {
  return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * pixel_bytes(format);
}

bool buffers_overlap(const debug_image_in& source, const debug_image_out& target) {
  const auto source_begin = reinterpret_cast<std::uintptr_t>(source.pixels);
  const auto target_begin = reinterpret_cast<std::uintptr_t>(target.pixels);
  const std::uintptr_t source_end =
      source_begin + image_bytes(source.width, source.height, source.format);
  const std::uintptr_t target_end =
      target_begin + image_bytes(target.width, target.height, target.format);
  return source_begin < target_end && target_begin < source_end;
}

}  // namespace

debug_ray_steps debug_ray_steps_of(const debug_rectify_camera& camera) {
  const float* r = camera.rotation;
  const DeCameraIntrinsic_S& virt = camera.virtual_camera;
  // The ray of virtual pixel (x, y) is R^T (a, b, 1). Like the depth engine it
  // is accumulated: the ray of pixel (0, 0), plus one column step of the
  // transposed rotation per pixel and one row step per row, in float32.
  const float a0 = (0.0f - virt.cx) / virt.fx;
  const float b0 = (0.0f - virt.cy) / virt.fy;
  return debug_ray_steps{
      {r[0] * a0 + r[3] * b0 + r[6], r[1] * a0 + r[4] * b0 + r[7], r[2] * a0 + r[5] * b0 + r[8]},
      {r[0] / virt.fx, r[1] / virt.fx, r[2] / virt.fx},
      {r[3] / virt.fy, r[4] / virt.fy, r[5] / virt.fy}};
}

debug_row_walk debug_row_walk_for(simd_path path) {
  if (!simd_path_supported(path)) return nullptr;
  switch (path) {
#if defined(DEFLASH_SIMD_AVX)
    case simd_path::kAvx2:
      return debug_row_avx2;
    case simd_path::kAvx512:
      return debug_row_avx512;
#endif
    default:
      return nullptr;
  }
}

bool rectify_debug_rows(debug_row_walk walk, const debug_rectify_camera& camera,
                        const debug_image_in& source, const debug_image_out& target) {
  constexpr std::size_t kMaxGatherBytes = 0x7FFFFFFF;
  if (walk == nullptr || buffers_overlap(source, target) ||
      image_bytes(source.width, source.height, source.format) >= kMaxGatherBytes) {
    return false;
  }
  const debug_ray_steps steps = debug_ray_steps_of(camera);
  const auto width = static_cast<std::size_t>(target.width);
  // Per block row: the X, Y and Z arrays of its rays.
  std::vector<float> rays(static_cast<std::size_t>(kRowsPerBlock) * 3 * width);
  float row_ray[3] = {steps.first[0], steps.first[1], steps.first[2]};
  for (int first_row = 0; first_row < target.height; first_row += kRowsPerBlock) {
    const int rows =
        target.height - first_row < kRowsPerBlock ? target.height - first_row : kRowsPerBlock;
    // Each row's rays as the plain loop sums them: its first ray, then one
    // column step after another, in the same float32 additions.
    float ray[kRowsPerBlock][3] = {};
    for (int row = 0; row < rows; ++row) {
      for (int c = 0; c < 3; ++c) {
        ray[row][c] = row_ray[c];
        row_ray[c] += steps.row[c];
      }
    }
    for (std::size_t x = 0; x < width; ++x) {
      for (int row = 0; row < kRowsPerBlock; ++row) {
        for (std::size_t c = 0; c < 3; ++c) {
          rays[(static_cast<std::size_t>(row) * 3 + c) * width + x] = ray[row][c];
          ray[row][c] += steps.column[c];
        }
      }
    }
    for (int row = 0; row < rows; ++row) {
      const float* row_rays = rays.data() + static_cast<std::size_t>(row) * 3 * width;
      const debug_row_rays of_row{row_rays, row_rays + width, row_rays + 2 * width};
      walk(camera, source, target, static_cast<std::size_t>(first_row + row) * width, of_row);
    }
  }
  return true;
}

}  // namespace deflash
