// A colour picture of few colours as one-byte indices into a palette: the
// drawings rectify-check makes (the row-error picture) hold a few hundred
// colours at most, and a PNG of their indices compresses a third of the bytes
// that one of RGB triples does, to the same pixels.
#ifndef DEFLASH_HOST_FILES_COLOUR_PALETTE_H_
#define DEFLASH_HOST_FILES_COLOUR_PALETTE_H_

#include <cstdint>
#include <vector>

#include "host/files/gray_image.h"

namespace deflash_host {

/// The most entries a PNG palette of 8-bit indices holds.
constexpr std::size_t kMaxPaletteColours = 256;

struct palette_picture {
  /// Red, green and blue of each entry, in increasing order of 0xRRGGBB: the
  /// greys in the order of their level, so that neighbouring pixels of a grey
  /// background have neighbouring indices.
  std::vector<uint8_t> palette;
  /// Each pixel's entry, row by row.
  std::vector<uint8_t> indices;
};

/// `image` as palette indices; false when it holds more than
/// kMaxPaletteColours colours or fewer bytes than its pixels need.
bool to_palette(const colour_image& image, palette_picture& indexed);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_FILES_COLOUR_PALETTE_H_
