// Greyscale camera pictures of the tool: 8- or 16-bit PNG and binary PGM in,
// PNG out. IR and depth images are single-channel; colour is refused. The RGB
// camera's colour pictures, and the colour pictures rectify-check draws, go
// through colour PNG.
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

/// Decoded pixels a picture may hold: 8192 x 4096. A few hundred bytes of
/// PNG can claim a picture of gigabytes; no camera of a module is that large.
constexpr uint64_t kMaxPicturePixels = uint64_t{1} << 25;

/// Empty when a picture of `width` x `height` pixels is one deflash reads
/// and writes, else one line "<name>: WxH pixels; ..." saying why not. For
/// a writer to check before it allocates anything.
std::string picture_size_problem(const std::string& name, uint64_t width, uint64_t height);

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
/// false with one line in `error` for a picture PNG cannot hold (a side of
/// 0, a depth other than 8 or 16 bits).
bool encode_png(const gray_image& image, std::string& png, std::string& error);

/// Row-major 8-bit colour picture: three bytes a pixel (red, green, blue).
struct colour_image {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;
};

/// Decodes a PNG of the RGB camera: colour with or without alpha (dropped),
/// palette or greyscale, 8 or 16 bits (16 reduced to 8). On failure sets
/// `error` to one line starting with `path`: unknown when it is no PNG or is
/// damaged.
picture_status decode_colour_png(const std::string& path, const std::string& bytes,
                                 colour_image& image, std::string& error);

/// Encodes `image` as an 8-bit PNG into `png`: of palette indices when it
/// holds at most 256 colours (a drawing), else of RGB triples; the pixels read
/// back the same either way. Returns false with one line in `error` for a
/// picture PNG cannot hold.
bool encode_colour_png(const colour_image& image, std::string& png, std::string& error);

/// One picture encoded: its PNG, or why it cannot be one.
struct png_encoding {
  bool encoded = false;
  std::string png;
  std::string error;
};

}  // namespace deflash_host

#endif  // DEFLASH_HOST_GRAY_IMAGE_H_
