// The 5 x 7 font of the host layer's pictures.
#include "glyphs.h"

#include <algorithm>
#include <cstddef>

namespace deflash_host {
namespace {

struct glyph {
  char c;
  uint8_t rows[kGlyphHeight];  // bit 4 is the leftmost column
};

constexpr glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'+', {0x00, 0x04, 0x04, 0x1F, 0x04, 0x04, 0x00}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {'p', {0x00, 0x00, 0x1E, 0x11, 0x1E, 0x10, 0x10}},
    {'x', {0x00, 0x00, 0x11, 0x0A, 0x04, 0x0A, 0x11}},
    {'n', {0x00, 0x00, 0x16, 0x19, 0x11, 0x11, 0x11}},
    {'o', {0x00, 0x00, 0x0E, 0x11, 0x11, 0x11, 0x0E}},
    {'e', {0x00, 0x00, 0x0E, 0x11, 0x1F, 0x10, 0x0E}},
    {'d', {0x01, 0x01, 0x0D, 0x13, 0x11, 0x11, 0x0F}},
    {'y', {0x00, 0x00, 0x11, 0x11, 0x0F, 0x01, 0x0E}},
};

const glyph* find_glyph(char c) {
  for (const glyph& g : kFont) {
    if (g.c == c) return &g;
  }
  return nullptr;
}

}  // namespace

void put_pixel(rgb_picture& picture, int x, int y, rgb colour) {
  if (x < 0 || y < 0 || x >= picture.width || y >= picture.height) return;
  const std::size_t at = picture.offset(x, y);
  picture.rgb[at] = colour.r;
  picture.rgb[at + 1] = colour.g;
  picture.rgb[at + 2] = colour.b;
}

int text_width(const std::string& text, int scale) {
  if (text.empty()) return 0;
  return (static_cast<int>(text.size()) * kGlyphAdvance - 1) * scale;
}

int text_height(int scale) { return kGlyphHeight * scale; }

void draw_text(rgb_picture& picture, int x, int y, const std::string& text, int scale, rgb colour) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const glyph* g = find_glyph(text[i]);
    if (g == nullptr) continue;
    const int left = x + static_cast<int>(i) * kGlyphAdvance * scale;
    for (int row = 0; row < kGlyphHeight; ++row) {
      for (int column = 0; column < kGlyphWidth; ++column) {
        if (((g->rows[row] >> (kGlyphWidth - 1 - column)) & 1) == 0) continue;
        for (int dy = 0; dy < scale; ++dy) {
          for (int dx = 0; dx < scale; ++dx) {
            put_pixel(picture, left + column * scale + dx, y + row * scale + dy, colour);
          }
        }
      }
    }
  }
}

void fill_rect(rgb_picture& picture, int x0, int y0, int x1, int y1, rgb colour) {
  x0 = std::max(x0, 0);
  y0 = std::max(y0, 0);
  x1 = std::min(x1, picture.width);
  y1 = std::min(y1, picture.height);
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) put_pixel(picture, x, y, colour);
  }
}

}  // namespace deflash_host
