// Debug-check rectification with eight pixels per 256-bit vector. The whole
// file is compiled for AVX2; it runs only on processors that have it.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <limits>

#include "calib_image/debug_rectify_lanes.h"
#include "calib_image/debug_rectify_pixel.h"
#include "calib_image/debug_rectify_rows.h"

#if !defined(__AVX2__)
#error "compile this file with -mavx2"
#endif

namespace deflash {
namespace {

constexpr int kLanes = 8;

// std::round in every lane: truncate, then step one away from zero where the
// dropped fraction (exact: the low bits of the value) is at least one half.
__m256 round_half_away(__m256 value) {
  const __m256 sign_bit = _mm256_set1_ps(-0.0f);
  const __m256 truncated = _mm256_round_ps(value, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  const __m256 fraction = _mm256_andnot_ps(sign_bit, value - truncated);
  const __m256 step = _mm256_or_ps(_mm256_and_ps(value, sign_bit), _mm256_set1_ps(1.0f));
  const __m256 half = _mm256_cmp_ps(fraction, _mm256_set1_ps(0.5f), _CMP_GE_OQ);
  return _mm256_blendv_ps(truncated, truncated + step, half);
}

// The four neighbours of each lane's pixel `index` (y0 * width + x0), read as
// two 32-bit gathers over the byte image: the upper pair from the pixel
// itself, the lower pair from two bytes before the pixel below, so that no
// gather reads past the last pixel. Lanes outside `inside` read nothing and
// give 0.
struct neighbours {
  __m256 p00, p01, p10, p11;
};

neighbours gather_neighbours(const uint8_t* /*type*/, const void* pixels, __m256i index, int width,
                             __m256i inside) {
  const auto* base = static_cast<const int*>(pixels);
  const __m256i zero = _mm256_setzero_si256();
  const __m256i byte = _mm256_set1_epi32(0xFF);
  const __m256i lower_offset = _mm256_add_epi32(index, _mm256_set1_epi32(width - 2));
  const __m256i upper = _mm256_mask_i32gather_epi32(zero, base, index, inside, 1);
  const __m256i lower = _mm256_mask_i32gather_epi32(zero, base, lower_offset, inside, 1);
  return {_mm256_cvtepi32_ps(_mm256_and_si256(upper, byte)),
          _mm256_cvtepi32_ps(_mm256_and_si256(_mm256_srli_epi32(upper, 8), byte)),
          _mm256_cvtepi32_ps(_mm256_and_si256(_mm256_srli_epi32(lower, 16), byte)),
          _mm256_cvtepi32_ps(_mm256_srli_epi32(lower, 24))};
}

neighbours gather_neighbours(const uint16_t* /*type*/, const void* pixels, __m256i index, int width,
                             __m256i inside) {
  const auto* base = static_cast<const int*>(pixels);
  const __m256i zero = _mm256_setzero_si256();
  const __m256i word = _mm256_set1_epi32(0xFFFF);
  const __m256i upper_offset = _mm256_add_epi32(index, index);
  const __m256i below = _mm256_add_epi32(index, _mm256_set1_epi32(width));
  const __m256i lower_offset = _mm256_add_epi32(below, below);
  const __m256i upper = _mm256_mask_i32gather_epi32(zero, base, upper_offset, inside, 1);
  const __m256i lower = _mm256_mask_i32gather_epi32(zero, base, lower_offset, inside, 1);
  return {_mm256_cvtepi32_ps(_mm256_and_si256(upper, word)),
          _mm256_cvtepi32_ps(_mm256_srli_epi32(upper, 16)),
          _mm256_cvtepi32_ps(_mm256_and_si256(lower, word)),
          _mm256_cvtepi32_ps(_mm256_srli_epi32(lower, 16))};
}

// Writes the lanes of `values` (already in the pixel range) where `write` is
// set and leaves the other pixels as they were.
void store_lanes(uint8_t* /*type*/, unsigned char* out, __m256i values, __m256i write) {
  const __m128i words =
      _mm_packus_epi32(_mm256_castsi256_si128(values), _mm256_extracti128_si256(values, 1));
  const __m128i word_mask =
      _mm_packs_epi32(_mm256_castsi256_si128(write), _mm256_extracti128_si256(write, 1));
  const __m128i bytes = _mm_packus_epi16(words, words);
  const __m128i byte_mask = _mm_packs_epi16(word_mask, word_mask);
  const __m128i old = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(out));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_blendv_epi8(old, bytes, byte_mask));
}

void store_lanes(uint16_t* /*type*/, unsigned char* out, __m256i values, __m256i write) {
  const __m128i words =
      _mm_packus_epi32(_mm256_castsi256_si128(values), _mm256_extracti128_si256(values, 1));
  const __m128i word_mask =
      _mm_packs_epi32(_mm256_castsi256_si128(write), _mm256_extracti128_si256(write, 1));
  const __m128i old = _mm_loadu_si128(reinterpret_cast<const __m128i*>(out));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_blendv_epi8(old, words, word_mask));
}

template <typename Pixel>
void rectify_row(const debug_rectify_camera& camera, const debug_image_in& source,
                 const debug_image_out& target, std::size_t row_start, const debug_row_rays& rays) {
  constexpr float kMax = static_cast<float>(std::numeric_limits<Pixel>::max());
  Pixel* const type = nullptr;
  unsigned char* const out = static_cast<unsigned char*>(target.pixels) + row_start * sizeof(Pixel);
  const __m256 zero = _mm256_setzero_ps();
  const __m256 source_width = _mm256_set1_ps(static_cast<float>(source.width));
  const __m256 source_height = _mm256_set1_ps(static_cast<float>(source.height));
  const __m256i last_column = _mm256_set1_epi32(source.width - 1);
  const __m256i last_row = _mm256_set1_epi32(source.height - 1);
  const __m256i stride = _mm256_set1_epi32(source.width);
  int x = 0;
  for (; x + kLanes <= target.width; x += kLanes) {
    __m256 u;
    __m256 v;
    distort_and_project_lanes<__m256>(camera, _mm256_loadu_ps(rays.x + x),
                                      _mm256_loadu_ps(rays.y + x), _mm256_loadu_ps(rays.z + x), &u,
                                      &v);
    // The plain loop's write test; ordered comparisons fail on NaN as its do.
    __m256 write =
        _mm256_and_ps(_mm256_cmp_ps(u, zero, _CMP_GE_OQ), _mm256_cmp_ps(v, zero, _CMP_GE_OQ));
    write = _mm256_and_ps(write, _mm256_cmp_ps(round_half_away(u), source_width, _CMP_LT_OQ));
    write = _mm256_and_ps(write, _mm256_cmp_ps(round_half_away(v), source_height, _CMP_LT_OQ));
    if (_mm256_movemask_ps(write) == 0) continue;
    // u, v >= 0 where written, so truncation is the floor.
    const __m256i x0 = _mm256_cvttps_epi32(u);
    const __m256i y0 = _mm256_cvttps_epi32(v);
    __m256i inside =
        _mm256_and_si256(_mm256_castps_si256(write), _mm256_cmpgt_epi32(last_column, x0));
    inside = _mm256_and_si256(inside, _mm256_cmpgt_epi32(last_row, y0));
    const __m256 a = u - _mm256_cvtepi32_ps(x0);
    const __m256 b = v - _mm256_cvtepi32_ps(y0);
    const __m256i index = _mm256_add_epi32(_mm256_mullo_epi32(y0, stride), x0);
    const neighbours p = gather_neighbours(type, source.pixels, index, source.width, inside);
    // No right or lower neighbour: 0, as bilinear gives.
    const __m256 value = _mm256_and_ps(bilinear_lanes<__m256>(p.p00, p.p01, p.p10, p.p11, a, b),
                                       _mm256_castsi256_ps(inside));
    // to_pixel: rounded, anything not above 0 to 0, the maximum and above to the maximum.
    const __m256 rounded = round_half_away(value);
    __m256 pixel = _mm256_and_ps(rounded, _mm256_cmp_ps(rounded, zero, _CMP_GT_OQ));
    pixel = _mm256_blendv_ps(pixel, _mm256_set1_ps(kMax),
                             _mm256_cmp_ps(rounded, _mm256_set1_ps(kMax), _CMP_GE_OQ));
    store_lanes(type, out + static_cast<std::size_t>(x) * sizeof(Pixel), _mm256_cvttps_epi32(pixel),
                _mm256_castps_si256(write));
  }
  for (; x < target.width; ++x) {
    rectify_debug_pixel<Pixel>(camera, source, target, row_start + static_cast<std::size_t>(x),
                               rays.x[x], rays.y[x], rays.z[x]);
  }
}

}  // namespace

void debug_row_avx2(const debug_rectify_camera& camera, const debug_image_in& source,
                    const debug_image_out& target, std::size_t row_start,
                    const debug_row_rays& rays) {
  if (source.format == debug_pixel_format::gray8) {
    rectify_row<uint8_t>(camera, source, target, row_start, rays);
  } else {
    rectify_row<uint16_t>(camera, source, target, row_start, rays);
  }
}

}  // namespace deflash
