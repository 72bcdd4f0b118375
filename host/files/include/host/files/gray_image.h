// Greyscale camera pictures of the tool: 8- or 16-bit PNG and binary PGM in,
// PNG out. IR and depth images are single-channel; colour is refused.
#ifndef DEFLASH_HOST_GRAY_IMAGE_H_
#define DEFLASH_HOST_GRAY_IMAGE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace deflash_host {

/// A picture file is at most this large: a 16-bit 8192 x 4096 PGM is 64 MiB.
constexpr std::size_t kMaxPictureInputBytes = std::size_t{64} << 20;

/// Neither side of a picture may exceed this: camera descriptions hold 16-bit sizes.
constexpr uint32_t kMaxPictureSide = 65535;

/// Row-major single-channel picture; each pixel in one 16-bit word whatever
/// the depth, values below 2^bits.
struct gray_image {
  int width = 0;
  int height = 0;
  int bits = 8;  ///< 8 or 16
  std::vector<uint16_t> pixels;
};

/// How decoding ended.
enum class picture_status {
  ok,
  unknown,   ///< not a PNG or binary PGM, or damaged: an I/O error of the tool
  rejected,  ///< a well-formed picture the tool does not take (colour, odd depth)
};

/// Decodes the PNG or PGM (P5) file `bytes` read from `path`. On failure
/// sets `error` to one line starting with `path`.
picture_status decode_gray_image(const std::string& path, const std::string& bytes,
                                 gray_image& image, std::string& error);

/// Encodes `image` as a greyscale PNG of its bit depth into `png`. Returns
/// false with one line in `error` when libpng refuses.
bool encode_png(const gray_image& image, std::string& png, std::string& error);

/// One picture of encode_pngs: its PNG, or why libpng refused.
struct png_encoding {
  bool encoded = false;
  std::string png;
  std::string error;
};

/// Encodes each of `images` as encode_png does, each on a thread of its own:
/// compression is most of the time a command that writes pictures takes, and
/// the pictures share nothing. The bytes are those encode_png writes.
std::vector<png_encoding> encode_pngs(const std::vector<const gray_image*>& images);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_GRAY_IMAGE_H_
