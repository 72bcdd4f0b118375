// The colours of a picture counted into a palette, in one pass over its pixels.
#include "colour_palette.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace deflash_host {
namespace {

/// Slots of the table of colours that are not grey: four times the most a
/// palette holds, so that probes stay short.
constexpr std::size_t kSlots = 4 * kMaxPaletteColours;
constexpr uint32_t kEmpty = 0xFFFFFFFF;

/// Colours numbered in the order they are first seen. Greys (red, green and
/// blue alike), most of a drawing over a grey picture, are looked up by
/// level; the others in a small open-addressing table.
class colour_numbers {
 public:
  colour_numbers() {
    grey_.fill(-1);
    keys_.fill(kEmpty);
  }

  /// The number of the colour 0xRRGGBB, or -1 once there would be too many.
  int number(uint8_t r, uint8_t g, uint8_t b) {
    if (r == g && g == b) {
      int& slot = grey_[r];
      if (slot < 0) slot = add(rgb_key(r, g, b));
      return slot;
    }
    const uint32_t key = rgb_key(r, g, b);
    std::size_t at = (key * 2654435761u >> 16) % kSlots;
    while (keys_[at] != key) {
      if (keys_[at] == kEmpty) {
        keys_[at] = key;
        numbers_[at] = add(key);
        break;
      }
      at = (at + 1) % kSlots;
    }
    return numbers_[at];
  }

  const std::vector<uint32_t>& colours() const { return colours_; }

 private:
  static uint32_t rgb_key(uint8_t r, uint8_t g, uint8_t b) {
    return static_cast<uint32_t>(r) << 16 | static_cast<uint32_t>(g) << 8 | b;
  }

  int add(uint32_t key) {
    if (colours_.size() == kMaxPaletteColours) return -1;
    colours_.push_back(key);
    return static_cast<int>(colours_.size()) - 1;
  }

  std::array<int, 256> grey_{};
  std::array<uint32_t, kSlots> keys_{};
  std::array<int, kSlots> numbers_{};
  std::vector<uint32_t> colours_;
};

}  // namespace

bool to_palette(const colour_image& image, palette_picture& indexed) {
  const std::size_t pixels =
      static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
  if (image.width < 1 || image.height < 1 || image.rgb.size() / 3 < pixels) return false;
  colour_numbers numbers;
  std::vector<uint8_t> first_seen(pixels);
  const uint8_t* rgb = image.rgb.data();
  for (std::size_t i = 0; i < pixels; ++i, rgb += 3) {
    const int number = numbers.number(rgb[0], rgb[1], rgb[2]);
    if (number < 0) return false;
    first_seen[i] = static_cast<uint8_t>(number);
  }
  // Entries in the order of their colours, and each first-seen number's entry.
  std::vector<uint32_t> sorted = numbers.colours();
  std::sort(sorted.begin(), sorted.end());
  std::array<uint8_t, kMaxPaletteColours> entry_of{};
  for (std::size_t n = 0; n < numbers.colours().size(); ++n) {
    entry_of[n] = static_cast<uint8_t>(
        std::lower_bound(sorted.begin(), sorted.end(), numbers.colours()[n]) - sorted.begin());
  }
  indexed.palette.clear();
  for (const uint32_t colour : sorted) {
    indexed.palette.push_back(static_cast<uint8_t>(colour >> 16));
    indexed.palette.push_back(static_cast<uint8_t>(colour >> 8));
    indexed.palette.push_back(static_cast<uint8_t>(colour));
  }
  for (uint8_t& number : first_seen) number = entry_of[number];
  indexed.indices = std::move(first_seen);
  return true;
}

}  // namespace deflash_host
