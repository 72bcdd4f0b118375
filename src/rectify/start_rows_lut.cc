// Start-row table of one camera, mapped from the rectified image back
// through rotation, lens distortion and intrinsics into the source rows.
#include "rectify/start_rows_lut.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "deflash/rectify.h"
#include "rectify/start_rows_span.h"

namespace deflash {
namespace {

// When the last destination row needs a source row this far above the
// bottom, there is room to spread the start rows towards what the buffer allows.
constexpr int32_t kEndMargin = 6;

// Sizes the table can be computed for without reading or writing outside the
// arrays. The device never sends others; a caller that does gets an error
// rather than a corrupted heap.
bool sizes_fit(int32_t rows, int32_t src_width, int32_t dst_width, int32_t dst_height) {
  return rows > 0 && src_width > 0 && dst_width >= 0 && dst_height >= 0 && dst_height <= rows;
}

// Raises every entry to the running maximum so that the array never decreases.
void make_non_decreasing(std::vector<int32_t>& values, int32_t start) {
  int32_t running = start;
  for (int32_t& value : values) {
    if (value < running) {
      value = running;
    } else {
      running = value;
    }
  }
}

// The sizes as the device's firmware reads them: signed 16-bit numbers.
struct lut_sizes {
  int32_t src_width;
  int32_t src_height;
  int32_t dst_width;
  int32_t dst_height;
};

lut_sizes signed_sizes(const DeCameraIntrinsic_S& src, const DeCameraIntrinsic_S& dst) {
  return {static_cast<int16_t>(src.width), static_cast<int16_t>(src.height),
          static_cast<int16_t>(dst.width), static_cast<int16_t>(dst.height)};
}

// 0 when the table can be computed; otherwise the refusal, before anything
// is written: a null table first, then a missing input, then the sizes.
uint32_t check_lut_arguments(const DeCameraIntrinsic_S* src, const DeCameraIntrinsic_S* dst,
                             const float* distortion, const double* matrix, const int32_t* lut,
                             int32_t rows, const uint8_t* reserved) {
  if (lut == nullptr) return kStartRowsNullTable;
  if (src == nullptr || dst == nullptr || distortion == nullptr || matrix == nullptr ||
      reserved == nullptr) {
    return kStartRowsBadSize;
  }
  const lut_sizes sizes = signed_sizes(*src, *dst);
  if (rows != sizes.src_height) return kStartRowsBadSize;
  if (!sizes_fit(rows, sizes.src_width, sizes.dst_width, sizes.dst_height)) {
    return kStartRowsBadSize;
  }
  return 0;
}

// Source span of each destination row, with the reserves around it: the
// last source row the row needs and the last the line buffer allows.
void find_row_bounds(const DeCameraIntrinsic_S& src, const float* distortion, const double* matrix,
                     const lut_sizes& sizes, int32_t rows, const uint8_t* reserved, simd_path path,
                     start_rows_working& w) {
  const int32_t depth = line_buffer_depth(sizes.src_width);
  const source_lens lens = make_source_lens(src, distortion, sizes.src_width, sizes.src_height);
  const int32_t reserve_above = reserved[0];
  const int32_t reserve_below = reserved[1];
  const row_span_walk span_of_row = row_span_walk_for(path);
  for (int32_t r = 0; r < sizes.dst_height; ++r) {
    const row_span span = span_of_row(lens, matrix, r, sizes.dst_width);
    const auto top = static_cast<int32_t>(std::ceil(span.hi));
    if (top >= 1 - depth && top < depth + rows) {
      w.last_needed[r] = static_cast<int32_t>(span.hi + static_cast<double>(reserve_below));
    }
    const auto bottom = static_cast<int32_t>(std::floor(span.lo));
    if (bottom >= 1 - depth && bottom < depth + rows) {
      w.last_allowed[r] = static_cast<int32_t>(span.lo - static_cast<double>(reserve_above) +
                                               static_cast<double>(depth));
    }
  }
}

// Envelope: a span that does not fit the buffer with its reserves starts at
// source row 0; then both bounds only grow down the image.
void apply_envelope(start_rows_working& w) {
  for (std::size_t i = 0; i < w.last_needed.size(); ++i) {
    if (w.last_needed[i] > w.last_allowed[i]) w.last_needed[i] = 0;
  }
  make_non_decreasing(w.last_needed, kStartRowsFill);
  make_non_decreasing(w.last_allowed, kStartRowsFill);
}

// Start rows move from what a row needs towards what the buffer allows as
// the image proceeds. The single-precision form is what the device expects.
void spread_start_rows(int32_t rows, start_rows_working& w) {
  const int32_t last_need = w.last_needed[static_cast<std::size_t>(rows) - 1];
  const int32_t last_allow = w.last_allowed[static_cast<std::size_t>(rows) - 1];
  const bool spread = last_need < rows - kEndMargin;
  const bool past_bottom = last_allow >= rows;
  // Only used when spread and past_bottom, where last_allow > last_need.
  const float slope = spread && past_bottom ? static_cast<float>(rows - last_need) /
                                                  static_cast<float>(last_allow - last_need)
                                            : 0.0f;
  for (int32_t i = 0; i < rows; ++i) {
    const int32_t need = w.last_needed[i];
    const int32_t allow = w.last_allowed[i];
    if (spread && past_bottom) {
      const float row = static_cast<float>(allow - need) * slope * static_cast<float>(i) /
                            static_cast<float>(rows) +
                        static_cast<float>(need);
      w.start_row[i] = static_cast<int32_t>(row);
    } else if (spread) {
      w.start_row[i] = (allow - need) * i / rows + need;
    } else {
      w.start_row[i] = need;
    }
  }
}

// Inverts the start rows into a table indexed by source row (a later
// destination row wins), never decreasing, closed by the end marker.
void invert_into_lut(const start_rows_working& w, int32_t rows, int32_t* lut) {
  for (int32_t i = 0; i < rows; ++i) {
    const int32_t s = w.start_row[i];
    if (w.last_needed[i] <= s && s <= w.last_allowed[i] && s >= 0 && s < rows) lut[s] = i;
  }
  const auto count = static_cast<std::size_t>(rows);
  int32_t running = lut[0];
  for (std::size_t i = 0; i < count; ++i) {
    if (lut[i] < running) {
      lut[i] = running;
    } else {
      running = lut[i];
    }
  }
  lut[count - 1] = rows + kStartRowsEndMarkerOffset;
}

}  // namespace

uint32_t compute_start_rows_lut(const DeCameraIntrinsic_S* src, const DeCameraIntrinsic_S* dst,
                                const float* distortion, const double* matrix, int32_t* lut,
                                int32_t rows, const uint8_t* reserved, simd_path path,
                                start_rows_working* working) {
  const uint32_t refused = check_lut_arguments(src, dst, distortion, matrix, lut, rows, reserved);
  if (refused != 0) return refused;
  const lut_sizes sizes = signed_sizes(*src, *dst);
  const auto count = static_cast<std::size_t>(rows);
  for (std::size_t i = 0; i < count; ++i) lut[i] = kStartRowsFill;
  start_rows_working w{std::vector<int32_t>(count, kStartRowsFill),
                       std::vector<int32_t>(count, kStartRowsFill),
                       std::vector<int32_t>(count, kStartRowsFill)};

  find_row_bounds(*src, distortion, matrix, sizes, rows, reserved, path, w);
  apply_envelope(w);
  spread_start_rows(rows, w);
  invert_into_lut(w, rows, lut);
  if (working != nullptr) *working = std::move(w);
  return 0;
}

uint32_t calc_start_rows_lut_reference(const DeCameraIntrinsic_S* src,
                                       const DeCameraIntrinsic_S* dst, const float* distortion,
                                       const double* matrix, int32_t* lut, int32_t rows,
                                       const uint8_t* reserved) {
  return compute_start_rows_lut(src, dst, distortion, matrix, lut, rows, reserved,
                                simd_path::kScalar, nullptr);
}

}  // namespace deflash
