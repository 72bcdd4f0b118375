// Start-row table of one camera, mapped from the rectified image back
// through rotation, lens distortion and intrinsics into the source rows.
#include "rectify/start_rows_lut.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "deflash/rectify.h"

namespace deflash {
namespace {

// Start values of a destination row's largest and smallest source row, far
// outside any sensor so that the first pixel inside the image replaces them.
constexpr double kNoPixelMax = -9999.0;
constexpr double kNoPixelMin = 9999.0;
// A source row must lie below this to count: row -1 is above the sensor.
constexpr double kRowLowerBound = -1.0;
// When the last destination row needs a source row this far above the
// bottom, there is room to spread the start rows towards what the buffer allows.
constexpr int32_t kEndMargin = 6;
// Columns computed together per pass of the span loop.
constexpr int32_t kLanes = 4;

// The source camera as the projection needs it, every term widened to double once.
struct source_lens {
  double fx, fy, cx, cy;
  double k1, k2, k3, k4, k5, k6, p1, p2;
  double width, height;
};

source_lens make_source_lens(const DeCameraIntrinsic_S& src, const float* distortion,
                             int32_t width, int32_t height) {
  source_lens lens{};
  lens.fx = static_cast<double>(src.fx);
  lens.fy = static_cast<double>(src.fy);
  lens.cx = static_cast<double>(src.cx);
  lens.cy = static_cast<double>(src.cy);
  lens.k1 = static_cast<double>(distortion[0]);
  lens.k2 = static_cast<double>(distortion[1]);
  lens.k3 = static_cast<double>(distortion[2]);
  lens.k4 = static_cast<double>(distortion[3]);
  lens.k5 = static_cast<double>(distortion[4]);
  lens.k6 = static_cast<double>(distortion[5]);
  lens.p1 = static_cast<double>(distortion[6]);
  lens.p2 = static_cast<double>(distortion[7]);
  lens.width = static_cast<double>(width);
  lens.height = static_cast<double>(height);
  return lens;
}

#if defined(__GNUC__)
#define DEFLASH_ALWAYS_INLINE inline __attribute__((always_inline))
#elif defined(_MSC_VER)
#define DEFLASH_ALWAYS_INLINE __forceinline
#else
#define DEFLASH_ALWAYS_INLINE inline
#endif

// Normalised ray (x, y) through the lens (rational radial model with two
// tangential terms) onto the source sensor. `T` is one pixel (double) or two
// neighbouring columns (two_doubles); both column walks use this one
// function, so every pixel sees the same operations in the same order.
template <typename T>
DEFLASH_ALWAYS_INLINE void project_to_source(const source_lens& lens, T x, T y, T* u, T* v) {
  const T r2 = x * x + y * y;
  const T r4 = r2 * r2;
  const T r6 = r4 * r2;
  const T radial = (1.0 + lens.k1 * r2 + lens.k2 * r4 + lens.k3 * r6) /
                   (1.0 + lens.k4 * r2 + lens.k5 * r4 + lens.k6 * r6);
  const T xd = radial * x + 2.0 * lens.p1 * x * y + lens.p2 * (r2 + 2.0 * x * x);
  const T yd = radial * y + lens.p1 * (r2 + 2.0 * y * y) + 2.0 * lens.p2 * x * y;
  *u = lens.fx * xd + lens.cx;
  *v = lens.fy * yd + lens.cy;
}

// Whether a projected point lands on the sensor; both bounds inclusive.
inline bool on_sensor(const source_lens& lens, double u, double v) {
  return v > kRowLowerBound && v <= lens.height && u >= 0.0 && u <= lens.width;
}

// Smallest and largest source row one destination row touches.
struct row_span {
  double hi;
  double lo;
};

// Takes a point into the span when it lands on the sensor.
inline void widen_span(const source_lens& lens, double u, double v, row_span* span) {
  if (on_sensor(lens, u, v)) {
    span->hi = span->hi < v ? v : span->hi;
    span->lo = v < span->lo ? v : span->lo;
  }
}

row_span span_one_column(const source_lens& lens, const double* m, int32_t row, int32_t width) {
  row_span span{kNoPixelMax, kNoPixelMin};
  const double r = static_cast<double>(row);
  for (int32_t column = 0; column < width; ++column) {
    const double c = static_cast<double>(column);
    const double big_x = m[0] * c + m[1] * r + m[2];
    const double big_y = m[3] * c + m[4] * r + m[5];
    const double big_z = m[6] * c + m[7] * r + m[8];
    double u;
    double v;
    project_to_source(lens, big_x / big_z, big_y / big_z, &u, &v);
    widen_span(lens, u, v, &span);
  }
  return span;
}

// The columns left over after the four-column passes, one by one with the
// hoisted row terms (m1r = m[1] * r and so on, the same products).
row_span span_rest(const source_lens& lens, const double* m, double m1r, double m4r, double m7r,
                   int32_t first, int32_t width) {
  row_span span{kNoPixelMax, kNoPixelMin};
  for (int32_t column = first; column < width; ++column) {
    const double c = static_cast<double>(column);
    const double big_x = m[0] * c + m1r + m[2];
    const double big_y = m[3] * c + m4r + m[5];
    const double big_z = m[6] * c + m7r + m[8];
    double u;
    double v;
    project_to_source(lens, big_x / big_z, big_y / big_z, &u, &v);
    widen_span(lens, u, v, &span);
  }
  return span;
}

// Merges per-lane extremes. A maximum or minimum does not depend on the order
// it is taken in (only +0 and -0 could trade places, and both give the same
// row after rounding and truncation), so the working arrays come out identical
// to the one-column walk's.
void merge_span(const row_span& part, row_span* span) {
  span->hi = span->hi < part.hi ? part.hi : span->hi;
  span->lo = part.lo < span->lo ? part.lo : span->lo;
}

#if defined(__GNUC__)
// Two neighbouring columns in one value, the width every x86-64 vector
// register has; each lane does exactly the scalar operations (no fused
// multiply-add: -ffp-contract=off). A pass takes two such pairs.
typedef double two_doubles __attribute__((vector_size(2 * sizeof(double))));

// Extremes of the source rows that two neighbouring columns land on.
struct pair_span {
  two_doubles hi;
  two_doubles lo;
};

DEFLASH_ALWAYS_INLINE void widen_pair(const source_lens& lens, const double* m, double m1r,
                                      double m4r, double m7r, two_doubles c, pair_span* span) {
  const two_doubles big_x = m[0] * c + m1r + m[2];
  const two_doubles big_y = m[3] * c + m4r + m[5];
  const two_doubles big_z = m[6] * c + m7r + m[8];
  two_doubles u;
  two_doubles v;
  project_to_source(lens, big_x / big_z, big_y / big_z, &u, &v);
  // All-ones lanes where the point lands on the sensor; no branches.
  const auto inside = (v > kRowLowerBound) & (v <= lens.height) & (u >= 0.0) & (u <= lens.width);
  span->hi = (inside & (span->hi < v)) ? v : span->hi;
  span->lo = (inside & (v < span->lo)) ? v : span->lo;
}

// Same span as span_one_column, four columns per pass with the row terms
// hoisted; each lane keeps its own extremes, merged at the end.
row_span span_four_columns(const source_lens& lens, const double* m, int32_t row,
                           int32_t width) {
  const double r = static_cast<double>(row);
  const double m1r = m[1] * r;
  const double m4r = m[4] * r;
  const double m7r = m[7] * r;
  pair_span first = {{kNoPixelMax, kNoPixelMax}, {kNoPixelMin, kNoPixelMin}};
  pair_span second = first;
  // Column numbers as doubles; exact, as every integer below 2^53 is.
  two_doubles c_first = {0.0, 1.0};
  two_doubles c_second = {2.0, 3.0};

  int32_t column = 0;
  for (; column + kLanes <= width; column += kLanes) {
    widen_pair(lens, m, m1r, m4r, m7r, c_first, &first);
    widen_pair(lens, m, m1r, m4r, m7r, c_second, &second);
    c_first += static_cast<double>(kLanes);
    c_second += static_cast<double>(kLanes);
  }

  row_span span = span_rest(lens, m, m1r, m4r, m7r, column, width);
  for (int32_t lane = 0; lane < 2; ++lane) {
    merge_span({first.hi[lane], first.lo[lane]}, &span);
    merge_span({second.hi[lane], second.lo[lane]}, &span);
  }
  return span;
}
#else
// Without vector extensions: the same passes, lane by lane.
row_span span_four_columns(const source_lens& lens, const double* m, int32_t row,
                           int32_t width) {
  const double r = static_cast<double>(row);
  const double m1r = m[1] * r;
  const double m4r = m[4] * r;
  const double m7r = m[7] * r;
  row_span lanes[kLanes];
  for (row_span& lane : lanes) lane = {kNoPixelMax, kNoPixelMin};

  int32_t column = 0;
  for (; column + kLanes <= width; column += kLanes) {
    for (int32_t lane = 0; lane < kLanes; ++lane) {
      const double c = static_cast<double>(column + lane);
      const double big_x = m[0] * c + m1r + m[2];
      const double big_y = m[3] * c + m4r + m[5];
      const double big_z = m[6] * c + m7r + m[8];
      double u;
      double v;
      project_to_source(lens, big_x / big_z, big_y / big_z, &u, &v);
      widen_span(lens, u, v, &lanes[lane]);
    }
  }

  row_span span = span_rest(lens, m, m1r, m4r, m7r, column, width);
  for (const row_span& lane : lanes) merge_span(lane, &span);
  return span;
}
#endif

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

}  // namespace

int32_t line_buffer_depth(int32_t width) { return kLineBufferPixels / width; }

uint32_t compute_start_rows_lut(const DeCameraIntrinsic_S* src, const DeCameraIntrinsic_S* dst,
                                const float* distortion, const double* matrix, int32_t* lut,
                                int32_t rows, const uint8_t* reserved, column_walk walk,
                                start_rows_working* working) {
  if (lut == nullptr) return kStartRowsNullTable;
  if (src == nullptr || dst == nullptr || distortion == nullptr || matrix == nullptr ||
      reserved == nullptr) {
    return kStartRowsBadSize;
  }
  // The device's firmware reads the sizes as signed 16-bit numbers.
  const int32_t src_width = static_cast<int16_t>(src->width);
  const int32_t src_height = static_cast<int16_t>(src->height);
  const int32_t dst_width = static_cast<int16_t>(dst->width);
  const int32_t dst_height = static_cast<int16_t>(dst->height);
  if (rows != src_height) return kStartRowsBadSize;
  if (!sizes_fit(rows, src_width, dst_width, dst_height)) return kStartRowsBadSize;

  const int32_t depth = line_buffer_depth(src_width);
  const auto count = static_cast<std::size_t>(rows);
  for (std::size_t i = 0; i < count; ++i) lut[i] = kStartRowsFill;
  std::vector<int32_t> last_needed(count, kStartRowsFill);
  std::vector<int32_t> last_allowed(count, kStartRowsFill);
  std::vector<int32_t> start_row(count, kStartRowsFill);

  // Source span of each destination row, with the reserves around it.
  const source_lens lens = make_source_lens(*src, distortion, src_width, src_height);
  const int32_t reserve_above = reserved[0];
  const int32_t reserve_below = reserved[1];
  for (int32_t r = 0; r < dst_height; ++r) {
    const row_span span = walk == column_walk::kFourColumns
                              ? span_four_columns(lens, matrix, r, dst_width)
                              : span_one_column(lens, matrix, r, dst_width);
    const auto top = static_cast<int32_t>(std::ceil(span.hi));
    if (top >= 1 - depth && top < depth + rows) {
      last_needed[r] = static_cast<int32_t>(span.hi + static_cast<double>(reserve_below));
    }
    const auto bottom = static_cast<int32_t>(std::floor(span.lo));
    if (bottom >= 1 - depth && bottom < depth + rows) {
      last_allowed[r] = static_cast<int32_t>(span.lo - static_cast<double>(reserve_above) +
                                             static_cast<double>(depth));
    }
  }

  // Envelope: a span that does not fit the buffer with its reserves starts at
  // source row 0; then both bounds only grow down the image.
  for (std::size_t i = 0; i < count; ++i) {
    if (last_needed[i] > last_allowed[i]) last_needed[i] = 0;
  }
  make_non_decreasing(last_needed, kStartRowsFill);
  make_non_decreasing(last_allowed, kStartRowsFill);

  // Start rows move from what a row needs towards what the buffer allows as
  // the image proceeds. The single-precision form is what the device expects.
  const int32_t last_need = last_needed[count - 1];
  const int32_t last_allow = last_allowed[count - 1];
  const bool spread = last_need < rows - kEndMargin;
  const bool past_bottom = last_allow >= rows;
  // Only used when spread and past_bottom, where last_allow > last_need.
  const float slope = spread && past_bottom ? static_cast<float>(rows - last_need) /
                                                  static_cast<float>(last_allow - last_need)
                                            : 0.0f;
  for (int32_t i = 0; i < rows; ++i) {
    const int32_t need = last_needed[i];
    const int32_t allow = last_allowed[i];
    if (spread && past_bottom) {
      const float row = static_cast<float>(allow - need) * slope * static_cast<float>(i) /
                            static_cast<float>(rows) +
                        static_cast<float>(need);
      start_row[i] = static_cast<int32_t>(row);
    } else if (spread) {
      start_row[i] = (allow - need) * i / rows + need;
    } else {
      start_row[i] = need;
    }
  }

  // Invert into a table indexed by source row; a later destination row wins.
  for (int32_t i = 0; i < rows; ++i) {
    const int32_t s = start_row[i];
    if (last_needed[i] <= s && s <= last_allowed[i] && s >= 0 && s < rows) lut[s] = i;
  }
  int32_t running = lut[0];
  for (std::size_t i = 0; i < count; ++i) {
    if (lut[i] < running) {
      lut[i] = running;
    } else {
      running = lut[i];
    }
  }
  lut[count - 1] = rows + kStartRowsEndMarkerOffset;

  if (working != nullptr) {
    working->last_needed = std::move(last_needed);
    working->last_allowed = std::move(last_allowed);
    working->start_row = std::move(start_row);
  }
  return 0;
}

uint32_t calc_start_rows_lut_reference(const DeCameraIntrinsic_S* src,
                                       const DeCameraIntrinsic_S* dst, const float* distortion,
                                       const double* matrix, int32_t* lut, int32_t rows,
                                       const uint8_t* reserved) {
  return compute_start_rows_lut(src, dst, distortion, matrix, lut, rows, reserved,
                                column_walk::kOneColumn, nullptr);
}

}  // namespace deflash

uint32_t calc_start_rows_lut(const DeCameraIntrinsic_S* src, const DeCameraIntrinsic_S* dst,
                             const float* distortion, const double* matrix, int32_t* lut,
                             int32_t rows, const uint8_t* reserved) {
  return deflash::compute_start_rows_lut(src, dst, distortion, matrix, lut, rows, reserved,
                                         deflash::column_walk::kFourColumns, nullptr);
}
