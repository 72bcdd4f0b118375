// Greyscale PNG (through libpng) and binary PGM reading; colour PNG reading.
// Pictures are written by png_writer.cc.
#include "host/files/gray_image.h"

#include <png.h>

#include <cctype>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace deflash_host {
namespace {

constexpr std::size_t kPngSignatureBytes = 8;

std::string cannot_read(const std::string& path, const std::string& reason) {
  return path + ": cannot be read (" + reason + ")";
}

/// PNG's own limit on a side; libpng is told to allow it, so that a header
/// larger than any camera's picture is named as such rather than as damaged.
constexpr png_uint_32 kPngMaxSide = 0x7FFFFFFF;

/// Refuses from the header a picture larger than any camera of a module
/// has, before its pixels are allocated.
bool too_large(const std::string& path, uint64_t width, uint64_t height, std::string& error) {
  if (width <= kMaxPictureSide && height <= kMaxPictureSide &&
      width * height <= kMaxPicturePixels) {
    return false;
  }
  error = path + ": " + std::to_string(width) + "x" + std::to_string(height) +
          " pixels, more than any camera of a module has";
  return true;
}

// --- PNG reading. libpng reports errors by longjmp, so the functions that
// call it hold only plain locals: nothing with a destructor is skipped.

struct png_memory_source {
  const unsigned char* data;
  std::size_t size;
  std::size_t offset;
};

struct png_error_text {
  char text[160];
};

void read_png_bytes(png_structp png, png_bytep out, png_size_t length) {
  auto* source = static_cast<png_memory_source*>(png_get_io_ptr(png));
  if (length > source->size - source->offset) png_error(png, "the file ends early");
  std::memcpy(out, source->data + source->offset, length);
  source->offset += length;
}

void on_png_error(png_structp png, png_const_charp message) {
  auto* error = static_cast<png_error_text*>(png_get_error_ptr(png));
  std::snprintf(error->text, sizeof error->text, "%s", message);
  png_longjmp(png, 1);
}

void on_png_warning(png_structp, png_const_charp) {}  // a warning does not stop a read

struct png_header {
  png_uint_32 width;
  png_uint_32 height;
  int bit_depth;
  int color_type;
  int interlace;
};

bool read_png_header(png_structp png, png_infop info, png_header* header) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_info(png, info);
  png_get_IHDR(png, info, &header->width, &header->height, &header->bit_depth, &header->color_type,
               &header->interlace, nullptr, nullptr);
  return true;
}

bool host_is_little_endian() {
  const uint16_t probe = 1;
  unsigned char first = 0;
  std::memcpy(&first, &probe, 1);
  return first == 1;
}

/// Reads a greyscale picture that is not interlaced row by row into
/// `pixels` (width × height samples): 16-bit rows straight into the words,
/// byte-swapped by libpng on a little-endian host; 8-bit rows through
/// `row_bytes`, one row long, widened. No copy of the whole picture in
/// bytes, which would be fresh memory for the kernel to zero.
bool read_png_gray_rows(png_structp png, png_infop info, const png_header* header, uint16_t* pixels,
                        unsigned char* row_bytes) {
  if (setjmp(png_jmpbuf(png))) return false;
  if (header->bit_depth == 16 && host_is_little_endian()) png_set_swap(png);
  png_read_update_info(png, info);
  const std::size_t width = header->width;
  for (png_uint_32 y = 0; y < header->height; ++y) {
    uint16_t* row = pixels + std::size_t{y} * width;
    if (header->bit_depth == 16) {
      png_read_row(png, reinterpret_cast<png_bytep>(row), nullptr);
    } else {
      png_read_row(png, row_bytes, nullptr);
      for (std::size_t x = 0; x < width; ++x) row[x] = row_bytes[x];
    }
  }
  png_read_end(png, nullptr);
  return true;
}

bool read_png_rows(png_structp png, png_bytepp rows) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_read_image(png, rows);
  png_read_end(png, nullptr);
  return true;
}

const char* png_colour_name(int color_type) {
  switch (color_type) {
    case PNG_COLOR_TYPE_GRAY_ALPHA:
      return "greyscale with alpha";
    case PNG_COLOR_TYPE_PALETTE:
      return "a palette (colour)";
    case PNG_COLOR_TYPE_RGB:
      return "RGB colour";
    case PNG_COLOR_TYPE_RGB_ALPHA:
      return "RGBA colour";
    default:
      return "an unknown colour type";
  }
}

/// Owns libpng's read structures for one decode.
class png_reader {
 public:
  png_reader() {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, &error_, on_png_error, on_png_warning);
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
  }
  ~png_reader() { png_destroy_read_struct(&png_, &info_, nullptr); }
  png_reader(const png_reader&) = delete;
  png_reader& operator=(const png_reader&) = delete;

  bool ready() const { return png_ != nullptr && info_ != nullptr; }
  png_structp png() { return png_; }
  png_infop info() { return info_; }
  const char* error() const { return error_.text; }

 private:
  png_error_text error_{};
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

/// Points `reader` at the PNG file's bytes, `source` keeping the place, with
/// the largest side a camera has as the limit.
void read_from(png_reader& reader, png_memory_source& source) {
  png_set_read_fn(reader.png(), &source, read_png_bytes);
  png_set_user_limits(reader.png(), kPngMaxSide, kPngMaxSide);
}

/// Reads the picture `header` announces (too_large already asked) into
/// `raw`, `pixel_bytes` a pixel, rows top to bottom without padding: unknown
/// for a damaged file.
picture_status read_png_pixels(png_reader& reader, const png_header& header,
                               std::size_t pixel_bytes, const std::string& path,
                               std::vector<unsigned char>& raw, std::string& error) {
  const std::size_t row_bytes = std::size_t{header.width} * pixel_bytes;
  raw.assign(row_bytes * header.height, 0);
  std::vector<png_bytep> rows(header.height);
  for (png_uint_32 y = 0; y < header.height; ++y) rows[y] = raw.data() + y * row_bytes;
  if (!read_png_rows(reader.png(), rows.data())) {
    error = cannot_read(path, std::string("damaged PNG: ") + reader.error());
    return picture_status::unknown;
  }
  return picture_status::ok;
}

picture_status decode_png(const std::string& path, const std::string& bytes, gray_image& image,
                          std::string& error) {
  png_reader reader;
  if (!reader.ready()) throw std::bad_alloc();
  png_memory_source source{reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), 0};
  read_from(reader, source);

  png_header header{};
  if (!read_png_header(reader.png(), reader.info(), &header)) {
    error = cannot_read(path, std::string("damaged PNG: ") + reader.error());
    return picture_status::unknown;
  }
  if (too_large(path, header.width, header.height, error)) return picture_status::rejected;
  if (header.color_type != PNG_COLOR_TYPE_GRAY) {
    error = path + ": the PNG holds " + png_colour_name(header.color_type) +
            "; a camera picture must be single-channel greyscale";
    return picture_status::rejected;
  }
  if (header.bit_depth != 8 && header.bit_depth != 16) {
    error = path + ": " + std::to_string(header.bit_depth) +
            "-bit greyscale PNG; a camera picture must have 8 or 16 bits per pixel";
    return picture_status::rejected;
  }

  std::vector<uint16_t> pixels(std::size_t{header.width} * header.height);
  if (header.interlace == PNG_INTERLACE_NONE) {
    std::vector<unsigned char> row_bytes(header.width);
    if (!read_png_gray_rows(reader.png(), reader.info(), &header, pixels.data(),
                            row_bytes.data())) {
      error = cannot_read(path, std::string("damaged PNG: ") + reader.error());
      return picture_status::unknown;
    }
  } else {
    // The seven passes of an interlaced picture each visit every row: the
    // whole picture is read in bytes first.
    const std::size_t sample_bytes = header.bit_depth == 16 ? 2 : 1;
    std::vector<unsigned char> raw;
    const picture_status read = read_png_pixels(reader, header, sample_bytes, path, raw, error);
    if (read != picture_status::ok) return read;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      // PNG samples are big-endian.
      pixels[i] = sample_bytes == 2 ? static_cast<uint16_t>(raw[2 * i] << 8 | raw[2 * i + 1])
                                    : static_cast<uint16_t>(raw[i]);
    }
  }
  image.width = static_cast<int>(header.width);
  image.height = static_cast<int>(header.height);
  image.bits = header.bit_depth;
  image.pixels = std::move(pixels);
  return picture_status::ok;
}

// --- PGM (P5): "P5", width, height and maxval as decimal numbers separated
// by white space and "#" comments, one white-space byte, then the samples
// (one byte each below 256, else two, big-endian).

/// Reads one header number of at most `limit`.
bool next_pgm_number(const std::string& bytes, std::size_t& at, uint32_t limit, uint32_t& value) {
  for (;;) {
    while (at < bytes.size() && std::isspace(static_cast<unsigned char>(bytes[at]))) ++at;
    if (at < bytes.size() && bytes[at] == '#') {
      while (at < bytes.size() && bytes[at] != '\n' && bytes[at] != '\r') ++at;
      continue;
    }
    break;
  }
  const std::size_t start = at;
  uint64_t number = 0;
  while (at < bytes.size() && std::isdigit(static_cast<unsigned char>(bytes[at]))) {
    number = number * 10 + static_cast<uint64_t>(bytes[at] - '0');
    if (number > limit) return false;
    ++at;
  }
  value = static_cast<uint32_t>(number);
  return at > start;
}

picture_status decode_pgm(const std::string& path, const std::string& bytes, gray_image& image,
                          std::string& error) {
  std::size_t at = 2;  // past "P5"
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t maxval = 0;
  // Sides are read up to 32 bits, so that a header larger than any camera's
  // picture is named as such; maxval is a 16-bit sample's at most.
  if (!next_pgm_number(bytes, at, UINT32_MAX, width) ||
      !next_pgm_number(bytes, at, UINT32_MAX, height) ||
      !next_pgm_number(bytes, at, kMaxPictureSide, maxval) || at >= bytes.size() ||
      !std::isspace(static_cast<unsigned char>(bytes[at]))) {
    error = cannot_read(path, "damaged PGM header: width, height and maxval up to 65535 expected");
    return picture_status::unknown;
  }
  ++at;  // the single white-space byte before the samples
  if (width == 0 || height == 0 || maxval == 0) {
    error = path + ": PGM of " + std::to_string(width) + "x" + std::to_string(height) +
            " pixels with maxval " + std::to_string(maxval) + " holds no picture";
    return picture_status::rejected;
  }
  const std::size_t sample_bytes = maxval > 255 ? 2 : 1;
  if (too_large(path, width, height, error)) return picture_status::rejected;
  const std::size_t count = std::size_t{width} * height;
  if (bytes.size() - at < count * sample_bytes) {
    error = cannot_read(path, "damaged PGM: " + std::to_string(count * sample_bytes) +
                                  " bytes of pixels expected, " +
                                  std::to_string(bytes.size() - at) + " found");
    return picture_status::unknown;
  }
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data()) + at;
  image.width = static_cast<int>(width);
  image.height = static_cast<int>(height);
  image.bits = sample_bytes == 2 ? 16 : 8;
  image.pixels.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    image.pixels[i] = sample_bytes == 2 ? static_cast<uint16_t>(data[2 * i] << 8 | data[2 * i + 1])
                                        : static_cast<uint16_t>(data[i]);
  }
  return picture_status::ok;
}

/// Asks libpng for 8-bit RGB whatever the file holds.
bool read_as_rgb(png_structp png, png_infop info) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_expand(png);
  png_set_strip_16(png);
  png_set_strip_alpha(png);
  png_set_gray_to_rgb(png);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  return true;
}

}  // namespace

picture_status decode_gray_image(const std::string& path, const std::string& bytes,
                                 gray_image& image, std::string& error) {
  if (bytes.size() >= kPngSignatureBytes &&
      png_sig_cmp(reinterpret_cast<png_const_bytep>(bytes.data()), 0, kPngSignatureBytes) == 0) {
    return decode_png(path, bytes, image, error);
  }
  if (bytes.size() >= 2 && bytes[0] == 'P' && bytes[1] == '5') {
    return decode_pgm(path, bytes, image, error);
  }
  error = cannot_read(path, "neither a PNG nor a binary PGM (P5) picture");
  return picture_status::unknown;
}

std::string picture_size_problem(const std::string& name, uint64_t width, uint64_t height) {
  if (width >= 1 && height >= 1 && width <= kMaxPictureSide && height <= kMaxPictureSide &&
      width * height <= kMaxPicturePixels) {
    return std::string();
  }
  return name + ": " + std::to_string(width) + "x" + std::to_string(height) +
         " pixels; a picture is 1 to " + std::to_string(kMaxPictureSide) +
         " pixels a side and at most " + std::to_string(kMaxPicturePixels) + " pixels";
}

picture_status decode_colour_png(const std::string& path, const std::string& bytes,
                                 colour_image& image, std::string& error) {
  if (bytes.size() < kPngSignatureBytes ||
      png_sig_cmp(reinterpret_cast<png_const_bytep>(bytes.data()), 0, kPngSignatureBytes) != 0) {
    error = cannot_read(path, "not a PNG picture");
    return picture_status::unknown;
  }
  png_reader reader;
  if (!reader.ready()) throw std::bad_alloc();
  png_memory_source source{reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), 0};
  read_from(reader, source);
  png_header header{};
  if (!read_png_header(reader.png(), reader.info(), &header)) {
    error = cannot_read(path, std::string("damaged PNG: ") + reader.error());
    return picture_status::unknown;
  }
  if (too_large(path, header.width, header.height, error)) return picture_status::rejected;
  if (!read_as_rgb(reader.png(), reader.info())) {
    error = cannot_read(path, std::string("damaged PNG: ") + reader.error());
    return picture_status::unknown;
  }
  constexpr std::size_t kRgbBytes = 3;
  std::vector<unsigned char> raw;
  const picture_status read = read_png_pixels(reader, header, kRgbBytes, path, raw, error);
  if (read != picture_status::ok) return read;
  image.width = static_cast<int>(header.width);
  image.height = static_cast<int>(header.height);
  image.rgb.assign(raw.begin(), raw.end());
  return picture_status::ok;
}

}  // namespace deflash_host
