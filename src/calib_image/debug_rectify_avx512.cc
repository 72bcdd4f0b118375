// Debug-check rectification with sixteen pixels per 512-bit vector. The
// whole file is compiled for AVX-512F; it runs only on processors that have it.
// GCC 12's AVX-512 intrinsics start their results from an "undefined"
// register that its uninitialised-use analysis then flags inside the headers.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <limits>

#include "calib_image/debug_rectify_lanes.h"
#include "calib_image/debug_rectify_pixel.h"
#include "calib_image/debug_rectify_rows.h"

#if !defined(__AVX512F__)
#error "compile this file with -mavx512f"
#endif

namespace deflash {
namespace {

constexpr int kLanes = 16;

// std::round in every lane: truncate, then step one away from zero where the
// dropped fraction (exact: the low bits of the value) is at least one half.
// AVX-512F has no float logic, so the sign is handled as integer bits.
__m512 round_half_away(__m512 value) {
  const __m512i sign_bit = _mm512_set1_epi32(static_cast<int>(0x80000000U));
  const __m512 truncated = _mm512_roundscale_ps(value, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  const __m512 fraction =
      _mm512_castsi512_ps(_mm512_andnot_si512(sign_bit, _mm512_castps_si512(value - truncated)));
  const __m512 step =
      _mm512_castsi512_ps(_mm512_or_si512(_mm512_and_si512(_mm512_castps_si512(value), sign_bit),
                                          _mm512_castps_si512(_mm512_set1_ps(1.0f))));
  const __mmask16 half = _mm512_cmp_ps_mask(fraction, _mm512_set1_ps(0.5f), _CMP_GE_OQ);
  return _mm512_mask_blend_ps(half, truncated, truncated + step);
}

// The four neighbours of each lane's pixel `index` (y0 * width + x0), read as
// two 32-bit gathers over the byte image: the upper pair from the pixel
// itself, the lower pair from two bytes before the pixel below, so that no
// gather reads past the last pixel. Lanes outside `inside` read nothing and
// give 0.
struct neighbours {
  __m512 p00, p01, p10, p11;
};

neighbours gather_neighbours(const uint8_t* /*type*/, const void* pixels, __m512i index, int width,
                             __mmask16 inside) {
  const __m512i zero = _mm512_setzero_si512();
  const __m512i byte = _mm512_set1_epi32(0xFF);
  const __m512i lower_offset = _mm512_add_epi32(index, _mm512_set1_epi32(width - 2));
  const __m512i upper = _mm512_mask_i32gather_epi32(zero, inside, index, pixels, 1);
  const __m512i lower = _mm512_mask_i32gather_epi32(zero, inside, lower_offset, pixels, 1);
  return {_mm512_cvtepi32_ps(_mm512_and_si512(upper, byte)),
          _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srli_epi32(upper, 8), byte)),
          _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srli_epi32(lower, 16), byte)),
          _mm512_cvtepi32_ps(_mm512_srli_epi32(lower, 24))};
}

neighbours gather_neighbours(const uint16_t* /*type*/, const void* pixels, __m512i index, int width,
                             __mmask16 inside) {
  const __m512i zero = _mm512_setzero_si512();
  const __m512i word = _mm512_set1_epi32(0xFFFF);
  const __m512i upper_offset = _mm512_add_epi32(index, index);
  const __m512i below = _mm512_add_epi32(index, _mm512_set1_epi32(width));
  const __m512i lower_offset = _mm512_add_epi32(below, below);
  const __m512i upper = _mm512_mask_i32gather_epi32(zero, inside, upper_offset, pixels, 1);
  const __m512i lower = _mm512_mask_i32gather_epi32(zero, inside, lower_offset, pixels, 1);
  return {_mm512_cvtepi32_ps(_mm512_and_si512(upper, word)),
          _mm512_cvtepi32_ps(_mm512_srli_epi32(upper, 16)),
          _mm512_cvtepi32_ps(_mm512_and_si512(lower, word)),
          _mm512_cvtepi32_ps(_mm512_srli_epi32(lower, 16))};
}

// Writes the lanes of `values` (already in the pixel range) where `write` is
// set; the masked narrowing stores leave the other pixels untouched.
void store_lanes(uint8_t* /*type*/, unsigned char* out, __m512i values, __mmask16 write) {
  _mm512_mask_cvtepi32_storeu_epi8(out, write, values);
}

void store_lanes(uint16_t* /*type*/, unsigned char* out, __m512i values, __mmask16 write) {
  _mm512_mask_cvtepi32_storeu_epi16(out, write, values);
}

template <typename Pixel>
void rectify_row(const debug_rectify_camera& camera, const debug_image_in& source,
                 const debug_image_out& target, std::size_t row_start, const debug_row_rays& rays) {
  constexpr float kMax = static_cast<float>(std::numeric_limits<Pixel>::max());
  Pixel* const type = nullptr;
  unsigned char* const out = static_cast<unsigned char*>(target.pixels) + row_start * sizeof(Pixel);
  const __m512 zero = _mm512_setzero_ps();
  const __m512 source_width = _mm512_set1_ps(static_cast<float>(source.width));
  const __m512 source_height = _mm512_set1_ps(static_cast<float>(source.height));
  const __m512i last_column = _mm512_set1_epi32(source.width - 1);
  const __m512i last_row = _mm512_set1_epi32(source.height - 1);
  const __m512i stride = _mm512_set1_epi32(source.width);
  int x = 0;
  for (; x + kLanes <= target.width; x += kLanes) {
    __m512 u;
    __m512 v;
    distort_and_project_lanes<__m512>(camera, _mm512_loadu_ps(rays.x + x),
                                      _mm512_loadu_ps(rays.y + x), _mm512_loadu_ps(rays.z + x), &u,
                                      &v);
    // The plain loop's write test; ordered comparisons fail on NaN as its do.
    __mmask16 write = _mm512_cmp_ps_mask(u, zero, _CMP_GE_OQ);
    write = _mm512_mask_cmp_ps_mask(write, v, zero, _CMP_GE_OQ);
    write = _mm512_mask_cmp_ps_mask(write, round_half_away(u), source_width, _CMP_LT_OQ);
    write = _mm512_mask_cmp_ps_mask(write, round_half_away(v), source_height, _CMP_LT_OQ);
    if (write == 0) continue;
    // u, v >= 0 where written, so truncation is the floor.
    const __m512i x0 = _mm512_cvttps_epi32(u);
    const __m512i y0 = _mm512_cvttps_epi32(v);
    __mmask16 inside = _mm512_mask_cmplt_epi32_mask(write, x0, last_column);
    inside = _mm512_mask_cmplt_epi32_mask(inside, y0, last_row);
    const __m512 a = u - _mm512_cvtepi32_ps(x0);
    const __m512 b = v - _mm512_cvtepi32_ps(y0);
    const __m512i index = _mm512_add_epi32(_mm512_mullo_epi32(y0, stride), x0);
    const neighbours p = gather_neighbours(type, source.pixels, index, source.width, inside);
    // No right or lower neighbour: 0, as bilinear gives.
    const __m512 value =
        _mm512_maskz_mov_ps(inside, bilinear_lanes<__m512>(p.p00, p.p01, p.p10, p.p11, a, b));
    // to_pixel: rounded, anything not above 0 to 0, the maximum and above to the maximum.
    const __m512 rounded = round_half_away(value);
    __m512 pixel = _mm512_maskz_mov_ps(_mm512_cmp_ps_mask(rounded, zero, _CMP_GT_OQ), rounded);
    pixel = _mm512_mask_blend_ps(_mm512_cmp_ps_mask(rounded, _mm512_set1_ps(kMax), _CMP_GE_OQ),
                                 pixel, _mm512_set1_ps(kMax));
    store_lanes(type, out + static_cast<std::size_t>(x) * sizeof(Pixel), _mm512_cvttps_epi32(pixel),
                write);
  }
  for (; x < target.width; ++x) {
    rectify_debug_pixel<Pixel>(camera, source, target, row_start + static_cast<std::size_t>(x),
                               rays.x[x], rays.y[x], rays.z[x]);
  }
}

}  // namespace

void debug_row_avx512(const debug_rectify_camera& camera, const debug_image_in& source,
                      const debug_image_out& target, std::size_t row_start,
                      const debug_row_rays& rays) {
  if (source.format == debug_pixel_format::gray8) {
    rectify_row<uint8_t>(camera, source, target, row_start, rays);
  } else {
    rectify_row<uint16_t>(camera, source, target, row_start, rays);
  }
}

}  // namespace deflash
