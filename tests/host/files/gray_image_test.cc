// Tests of the greyscale PNG reader against pictures written by libpng: 8 and
// 16 bits, every filter, interlaced or not, odd sizes; damaged files.
#include "host/files/gray_image.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

using deflash_host::decode_gray_image;
using deflash_host::gray_image;
using deflash_host::picture_status;

void append_bytes(png_structp png, png_bytep data, png_size_t length) {
  static_cast<std::string*>(png_get_io_ptr(png))
      ->append(reinterpret_cast<const char*>(data), length);
}

void flush_nothing(png_structp) {}

/// `pixels` written by libpng: big-endian samples, every filter tried.
std::string libpng_file(int width, int height, int bits, bool interlaced,
                        const std::vector<uint16_t>& pixels) {
  std::string file;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    ADD_FAILURE() << "libpng could not write the test picture";
    return std::string();
  }
  png_set_write_fn(png, &file, append_bytes, flush_nothing);
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), bits,
               PNG_COLOR_TYPE_GRAY, interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_ALL_FILTERS);
  const std::size_t sample_bytes = bits == 16 ? 2 : 1;
  std::vector<unsigned char> raw(pixels.size() * sample_bytes);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    if (bits == 16) {
      raw[2 * i] = static_cast<unsigned char>(pixels[i] >> 8);
      raw[2 * i + 1] = static_cast<unsigned char>(pixels[i] & 0xFF);
    } else {
      raw[i] = static_cast<unsigned char>(pixels[i]);
    }
  }
  std::vector<png_bytep> rows(static_cast<std::size_t>(height));
  for (int y = 0; y < height; ++y) rows[y] = raw.data() + y * width * sample_bytes;
  png_write_info(png, info);
  png_write_image(png, rows.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return file;
}

std::vector<uint16_t> random_pixels(int width, int height, int bits, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> level(0, bits == 16 ? 65535 : 255);
  std::vector<uint16_t> pixels(static_cast<std::size_t>(width) * height);
  // Smooth stretches and noise, so that every filter wins somewhere.
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] =
        (i / 7) % 3 == 0 ? static_cast<uint16_t>(i % 251) : static_cast<uint16_t>(level(random));
  }
  return pixels;
}

void expect_read_back(int width, int height, int bits, bool interlaced) {
  const std::vector<uint16_t> pixels = random_pixels(width, height, bits, 20261125u + width);
  const std::string file = libpng_file(width, height, bits, interlaced, pixels);
  gray_image image;
  std::string error;
  ASSERT_EQ(decode_gray_image("p.png", file, image, error), picture_status::ok) << error;
  EXPECT_EQ(image.width, width);
  EXPECT_EQ(image.height, height);
  EXPECT_EQ(image.bits, bits);
  EXPECT_EQ(image.pixels, pixels) << width << "x" << height << ", " << bits << "-bit"
                                  << (interlaced ? ", interlaced" : "");
}

TEST(GrayPngReader, ReadsEightAndSixteenBitPicturesRowByRow) {
  for (const int bits : {8, 16}) {
    expect_read_back(37, 23, bits, false);
    expect_read_back(1, 1, bits, false);
    expect_read_back(1280, 4, bits, false);
  }
}

TEST(GrayPngReader, ReadsInterlacedPicturesWhole) {
  for (const int bits : {8, 16}) {
    expect_read_back(37, 23, bits, true);
    expect_read_back(3, 2, bits, true);
  }
}

TEST(GrayPngReader, ADamagedPictureIsNamedAndLeavesTheImageAsItWas) {
  for (const bool interlaced : {false, true}) {
    const std::vector<uint16_t> pixels = random_pixels(64, 48, 16, 3);
    std::string file = libpng_file(64, 48, 16, interlaced, pixels);
    file.resize(file.size() / 2);  // cut inside the picture's data
    gray_image image;
    image.width = 7;
    std::string error;
    EXPECT_EQ(decode_gray_image("p.png", file, image, error), picture_status::unknown);
    EXPECT_EQ(error.rfind("p.png: cannot be read (damaged PNG: ", 0), 0u) << error;
    EXPECT_EQ(image.width, 7);
    EXPECT_TRUE(image.pixels.empty());
  }
}

TEST(GrayPngReader, ACorruptedRowIsDamagedNotMisread) {
  const std::vector<uint16_t> pixels = random_pixels(64, 48, 8, 4);
  std::string file = libpng_file(64, 48, 8, false, pixels);
  file[file.size() / 2] = static_cast<char>(file[file.size() / 2] ^ 0x55);  // IDAT CRC fails
  gray_image image;
  std::string error;
  EXPECT_EQ(decode_gray_image("p.png", file, image, error), picture_status::unknown);
  EXPECT_EQ(error.rfind("p.png: cannot be read (damaged PNG: ", 0), 0u) << error;
}

}  // namespace
