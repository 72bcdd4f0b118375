// A small 5 x 7 pixel font for the figures written into the pictures the
// host layer draws: digits, signs and the few letters of "px", "none", "dy".
#ifndef DEFLASH_HOST_MEASURE_GLYPHS_H_
#define DEFLASH_HOST_MEASURE_GLYPHS_H_

#include <cstdint>
#include <string>

#include "host/measure/rgb_picture.h"

namespace deflash_host {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
/// Columns from one glyph's left edge to the next one's.
constexpr int kGlyphAdvance = kGlyphWidth + 1;

struct rgb {
  uint8_t r = 0;
  uint8_t g = 0;
  uint8_t b = 0;
};

/// Pixels `text` covers at `scale` (each font pixel a scale x scale block).
int text_width(const std::string& text, int scale);
int text_height(int scale);

/// Writes `text` with its top-left corner at (x, y); characters the font
/// lacks are left blank, pixels outside the picture are skipped.
void draw_text(rgb_picture& picture, int x, int y, const std::string& text, int scale, rgb colour);

/// Sets pixel (x, y) to `colour`; a pixel outside the picture is skipped.
void put_pixel(rgb_picture& picture, int x, int y, rgb colour);

/// Fills the rectangle [x0, x1) x [y0, y1), clipped to the picture.
void fill_rect(rgb_picture& picture, int x0, int y0, int x1, int y1, rgb colour);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_MEASURE_GLYPHS_H_
