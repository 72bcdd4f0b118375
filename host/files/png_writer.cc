// PNG writing: the pictures rectify-check draws and the Python module writes.
// Each row is filtered with "sub" (every byte less the one a pixel to its
// left) as it is packed, the rows are compressed by libdeflate into one zlib
// stream, and the file is the signature, IHDR, the stream in IDAT chunks and
// IEND. libpng reads them back (the tests decode every picture they write).
#include <libdeflate.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "colour_palette.h"
#include "host/files/gray_image.h"

namespace deflash_host {
namespace {

/// libdeflate's fastest level. Measured on the five pictures rectify-check
/// writes for the example module (docs/design.md, "PNG pictures"): half of
/// zlib's CPU time at its level 1, and a smaller file.
constexpr int kDeflateLevel = 1;

constexpr unsigned char kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr unsigned char kFilterSub = 1;
constexpr unsigned char kColourGrey = 0;
constexpr unsigned char kColourRgb = 2;
constexpr unsigned char kColourIndexed = 3;
/// The stream goes into IDAT chunks of at most this many bytes; a chunk's
/// length field allows 2^31 - 1.
constexpr std::size_t kMaxIdatBytes = std::size_t{1} << 30;
/// A side PNG can describe.
constexpr uint64_t kMaxPngSide = 0x7FFFFFFF;

void append_be32(std::string& out, uint32_t value) {
  const char bytes[4] = {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                         static_cast<char>(value >> 8), static_cast<char>(value)};
  out.append(bytes, sizeof bytes);
}

/// Appends one chunk: length, type, data, and the CRC-32 of type and data.
void append_chunk(std::string& out, const char (&type)[5], const unsigned char* data,
                  std::size_t size) {
  append_be32(out, static_cast<uint32_t>(size));
  const std::size_t start = out.size();
  out.append(type, 4);
  out.append(reinterpret_cast<const char*>(data), size);
  append_be32(out, libdeflate_crc32(0, out.data() + start, 4 + size));
}

/// Rows as PNG compresses them: a filter-type byte, then the row.
class scanlines {
 public:
  scanlines(std::size_t row_bytes, std::size_t height)
      : row_bytes_(row_bytes), size_((row_bytes + 1) * height), bytes_(new unsigned char[size_]) {}

  /// Row `y`'s bytes, its filter type already set to "sub".
  unsigned char* row(std::size_t y) {
    unsigned char* line = bytes_.get() + y * (row_bytes_ + 1);
    line[0] = kFilterSub;
    return line + 1;
  }
  const unsigned char* data() const { return bytes_.get(); }
  std::size_t size() const { return size_; }

 private:
  std::size_t row_bytes_;
  std::size_t size_;
  std::unique_ptr<unsigned char[]> bytes_;
};

struct compressor_free {
  void operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
  }
};

/// The PNG file of `lines`, a `width` x `height` picture of `bit_depth`-bit
/// samples of `colour_type`.
/// An indexed picture's palette goes into a PLTE chunk before the stream.
std::string png_file(const scanlines& lines, uint32_t width, uint32_t height, int bit_depth,
                     unsigned char colour_type, const std::vector<uint8_t>& palette = {}) {
  const std::unique_ptr<libdeflate_compressor, compressor_free> compressor(
      libdeflate_alloc_compressor(kDeflateLevel));
  if (!compressor) throw std::bad_alloc();
  // Left uninitialised: the bound is about the size of the rows, the stream
  // a fraction of it, and only the pages written are ever touched.
  const std::size_t bound = libdeflate_zlib_compress_bound(compressor.get(), lines.size());
  const std::unique_ptr<unsigned char[]> stream(new unsigned char[bound]);
  const std::size_t stream_bytes =
      libdeflate_zlib_compress(compressor.get(), lines.data(), lines.size(), stream.get(), bound);
  // The buffer holds the bound, so only a failed allocation inside libdeflate
  // leaves it short.
  if (stream_bytes == 0) throw std::bad_alloc();

  const unsigned char header[13] = {static_cast<unsigned char>(width >> 24),
                                    static_cast<unsigned char>(width >> 16),
                                    static_cast<unsigned char>(width >> 8),
                                    static_cast<unsigned char>(width),
                                    static_cast<unsigned char>(height >> 24),
                                    static_cast<unsigned char>(height >> 16),
                                    static_cast<unsigned char>(height >> 8),
                                    static_cast<unsigned char>(height),
                                    static_cast<unsigned char>(bit_depth),
                                    colour_type,
                                    0,   // deflate
                                    0,   // adaptive filtering, one type a row
                                    0};  // not interlaced
  std::string png;
  const std::size_t chunks = (stream_bytes + kMaxIdatBytes - 1) / kMaxIdatBytes;
  png.reserve(sizeof kSignature + 25 + (12 + palette.size()) + stream_bytes + 12 * chunks + 12);
  png.append(reinterpret_cast<const char*>(kSignature), sizeof kSignature);
  append_chunk(png, "IHDR", header, sizeof header);
  if (!palette.empty()) append_chunk(png, "PLTE", palette.data(), palette.size());
  for (std::size_t at = 0; at < stream_bytes; at += kMaxIdatBytes) {
    const std::size_t size = stream_bytes - at < kMaxIdatBytes ? stream_bytes - at : kMaxIdatBytes;
    append_chunk(png, "IDAT", stream.get() + at, size);
  }
  append_chunk(png, "IEND", nullptr, 0);
  return png;
}

/// Empty when a `width` x `height` picture can be a PNG, else the reason.
std::string unwritable(int width, int height) {
  if (width >= 1 && height >= 1 && static_cast<uint64_t>(width) <= kMaxPngSide &&
      static_cast<uint64_t>(height) <= kMaxPngSide) {
    return std::string();
  }
  return "PNG encoding failed: a picture of " + std::to_string(width) + "x" +
         std::to_string(height) + " pixels";
}

/// Row `y` of a single-channel picture, words past the end of `pixels` as 0.
const uint16_t* gray_row(const gray_image& image, std::size_t y, std::vector<uint16_t>& padded) {
  const std::size_t width = static_cast<std::size_t>(image.width);
  const std::size_t start = y * width;
  if (start + width <= image.pixels.size()) return image.pixels.data() + start;
  padded.assign(width, 0);
  for (std::size_t x = 0; start + x < image.pixels.size() && x < width; ++x) {
    padded[x] = image.pixels[start + x];
  }
  return padded.data();
}

}  // namespace

bool encode_png(const gray_image& image, std::string& png, std::string& error) {
  if (std::string problem = unwritable(image.width, image.height); !problem.empty()) {
    error = problem;
    return false;
  }
  if (image.bits != 8 && image.bits != 16) {
    error = "PNG encoding failed: " + std::to_string(image.bits) + "-bit greyscale";
    return false;
  }
  const std::size_t width = static_cast<std::size_t>(image.width);
  const std::size_t height = static_cast<std::size_t>(image.height);
  const bool wide = image.bits == 16;
  scanlines lines(width * (wide ? 2 : 1), height);
  std::vector<uint16_t> padded;
  for (std::size_t y = 0; y < height; ++y) {
    const uint16_t* pixel = gray_row(image, y, padded);
    unsigned char* out = lines.row(y);
    // Byte differences wrap modulo 256, so each byte of a sample is the
    // difference of the words' bytes; 16-bit samples are big-endian.
    if (wide) {
      out[0] = static_cast<unsigned char>(pixel[0] >> 8);
      out[1] = static_cast<unsigned char>(pixel[0]);
      for (std::size_t x = 1; x < width; ++x) {
        out[2 * x] = static_cast<unsigned char>((pixel[x] >> 8) - (pixel[x - 1] >> 8));
        out[2 * x + 1] = static_cast<unsigned char>(pixel[x] - pixel[x - 1]);
      }
    } else {
      out[0] = static_cast<unsigned char>(pixel[0]);
      for (std::size_t x = 1; x < width; ++x) {
        out[x] = static_cast<unsigned char>(pixel[x] - pixel[x - 1]);
      }
    }
  }
  png = png_file(lines, static_cast<uint32_t>(width), static_cast<uint32_t>(height), image.bits,
                 kColourGrey);
  return true;
}

bool encode_colour_png(const colour_image& image, std::string& png, std::string& error) {
  if (std::string problem = unwritable(image.width, image.height); !problem.empty()) {
    error = problem;
    return false;
  }
  const std::size_t width = static_cast<std::size_t>(image.width);
  const std::size_t height = static_cast<std::size_t>(image.height);
  if (palette_picture indexed; to_palette(image, indexed)) {
    // One byte a pixel: the "sub" filter on the indices, which follow the
    // grey levels of a grey background.
    scanlines lines(width, height);
    for (std::size_t y = 0; y < height; ++y) {
      const uint8_t* in = indexed.indices.data() + y * width;
      unsigned char* out = lines.row(y);
      out[0] = in[0];
      for (std::size_t x = 1; x < width; ++x)
        out[x] = static_cast<unsigned char>(in[x] - in[x - 1]);
    }
    png = png_file(lines, static_cast<uint32_t>(width), static_cast<uint32_t>(height), 8,
                   kColourIndexed, indexed.palette);
    return true;
  }
  constexpr std::size_t kPixelBytes = 3;
  const std::size_t row_bytes = width * kPixelBytes;
  scanlines lines(row_bytes, height);
  std::vector<uint8_t> padded;
  for (std::size_t y = 0; y < height; ++y) {
    const std::size_t start = y * row_bytes;
    const uint8_t* in = image.rgb.data() + start;
    if (start + row_bytes > image.rgb.size()) {  // bytes past the end are 0
      padded.assign(row_bytes, 0);
      for (std::size_t x = 0; start + x < image.rgb.size(); ++x) padded[x] = image.rgb[start + x];
      in = padded.data();
    }
    unsigned char* out = lines.row(y);
    for (std::size_t x = 0; x < kPixelBytes && x < row_bytes; ++x) out[x] = in[x];
    for (std::size_t x = kPixelBytes; x < row_bytes; ++x) {
      out[x] = static_cast<unsigned char>(in[x] - in[x - kPixelBytes]);
    }
  }
  png = png_file(lines, static_cast<uint32_t>(width), static_cast<uint32_t>(height), 8, kColourRgb);
  return true;
}

}  // namespace deflash_host
