// Draws the row-error picture: strokes for the matches, region means written in.
#include "host/measure/error_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "glyphs.h"

namespace deflash_host {
namespace {

/// The background keeps the scene recognisable but leaves the strokes the
/// brightest and most saturated things in the picture.
constexpr int kBackgroundFloor = 30;
constexpr int kBackgroundPercent = 55;

constexpr rgb kLower{255, 70, 40};    // right row below the left one
constexpr rgb kHigher{60, 150, 255};  // right row above the left one
constexpr rgb kMatchDot{255, 255, 255};
constexpr rgb kGridLine{110, 110, 110};
constexpr rgb kLabel{255, 255, 255};
constexpr rgb kLabelBox{0, 0, 0};

/// Region labels are written three times the font's size.
constexpr int kLabelScale = 3;
constexpr int kLegendScale = 2;
constexpr int kLabelMargin = 6;

/// "+0.12 px", or "none".
std::string region_text(const region_mean& region) {
  return region.matches == 0 ? region_mean_text(region) : region_mean_text(region) + " px";
}

}  // namespace

rgb_picture draw_row_error(const gray_view& left, int bits, const row_error_result& result) {
  rgb_picture picture;
  picture.width = left.width;
  picture.height = left.height;
  picture.rgb.assign(left.pixel_count() * 3, 0);
  // 16-bit pictures often hold 10 or 12 bits: scale to the brightest pixel.
  uint32_t top = 255;
  if (bits == 16) {
    top = 1;
    for (std::size_t i = 0; i < left.pixel_count(); ++i)
      top = std::max<uint32_t>(top, left.pixels[i]);
  }
  // The background grey of every level up to the brightest, worked out once:
  // a division a pixel was most of the drawing's time. Levels above `top`
  // (only an 8-bit picture holding more than 8 bits has them) are as bright
  // as `top`, whose level is 255 already.
  std::vector<uint8_t> grey_of(top + 1);
  for (uint32_t value = 0; value <= top; ++value) {
    const uint32_t level = std::min<uint32_t>(255, value * 255u / top);
    grey_of[value] = static_cast<uint8_t>(kBackgroundFloor + level * kBackgroundPercent / 100);
  }
  for (std::size_t i = 0; i < left.pixel_count(); ++i) {
    const uint8_t grey = grey_of[std::min<uint32_t>(left.pixels[i], top)];
    picture.rgb[3 * i] = grey;
    picture.rgb[3 * i + 1] = grey;
    picture.rgb[3 * i + 2] = grey;
  }
  for (int i = 1; i < kRegionColumns; ++i) {
    const int x = i * left.width / kRegionColumns;
    for (int y = 0; y < left.height; ++y) put_pixel(picture, x, y, kGridLine);
  }
  for (int i = 1; i < kRegionRows; ++i) {
    const int y = i * left.height / kRegionRows;
    for (int x = 0; x < left.width; ++x) put_pixel(picture, x, y, kGridLine);
  }

  for (const row_match& m : result.matches) {
    const int x = static_cast<int>(std::lround(m.x));
    const int y = static_cast<int>(std::lround(m.y));
    const int length = static_cast<int>(std::lround(m.dy * kStrokeMagnification));
    const rgb colour = length > 0 ? kLower : kHigher;
    const int step = length > 0 ? 1 : -1;
    for (int d = 0; d != length; d += step) {
      for (int w = -1; w <= 1; ++w) put_pixel(picture, x + w, y + d + step, colour);
    }
    put_pixel(picture, x, y, kMatchDot);
  }

  for (int row = 0; row < kRegionRows; ++row) {
    for (int column = 0; column < kRegionColumns; ++column) {
      const std::string text = region_text(result.figures.regions[row * kRegionColumns + column]);
      // In the region's top-left corner, where it hides few strokes.
      const int x = column * left.width / kRegionColumns + 2 * kLabelMargin;
      const int y = row * left.height / kRegionRows + 2 * kLabelMargin;
      fill_rect(picture, x - kLabelMargin, y - kLabelMargin,
                x + text_width(text, kLabelScale) + kLabelMargin,
                y + text_height(kLabelScale) + kLabelMargin, kLabelBox);
      draw_text(picture, x, y, text, kLabelScale, kLabel);
    }
  }
  const std::string legend = "dy x" + std::to_string(kStrokeMagnification);
  const int legend_top = left.height - text_height(kLegendScale) - 2 * kLabelMargin;
  fill_rect(picture, 0, legend_top, text_width(legend, kLegendScale) + 2 * kLabelMargin,
            left.height, kLabelBox);
  draw_text(picture, kLabelMargin, legend_top + kLabelMargin, legend, kLegendScale, kLabel);
  return picture;
}

}  // namespace deflash_host
