// Tests of the PNG writer: the file's chunks and their CRC-32, the rows as
// they are filtered and compressed (unpacked with zlib, not with the writer's
// own library), and every picture read back through libpng.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/files/gray_image.h"

namespace {

using deflash_host::colour_image;
using deflash_host::decode_colour_png;
using deflash_host::decode_gray_image;
using deflash_host::encode_colour_png;
using deflash_host::encode_png;
using deflash_host::gray_image;
using deflash_host::picture_status;

uint32_t be32(const std::string& bytes, std::size_t at) {
  return static_cast<uint32_t>(static_cast<unsigned char>(bytes[at])) << 24 |
         static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + 1])) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + 2])) << 8 |
         static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + 3]));
}

struct chunk {
  std::string type;
  std::string data;
};

/// The chunks after the signature, each CRC checked against zlib's.
std::vector<chunk> chunks_of(const std::string& png) {
  std::vector<chunk> chunks;
  std::size_t at = 8;
  while (at + 12 <= png.size()) {
    const uint32_t length = be32(png, at);
    chunk c{png.substr(at + 4, 4), png.substr(at + 8, length)};
    const std::string covered = png.substr(at + 4, 4 + length);
    const uLong crc = crc32(0L, reinterpret_cast<const Bytef*>(covered.data()),
                            static_cast<uInt>(covered.size()));
    EXPECT_EQ(be32(png, at + 8 + length), static_cast<uint32_t>(crc)) << c.type;
    chunks.push_back(c);
    at += 12 + length;
  }
  EXPECT_EQ(at, png.size());
  return chunks;
}

/// The rows as the file stores them: filter byte, then the filtered row.
std::vector<unsigned char> scanlines_of(const std::vector<chunk>& chunks, std::size_t size) {
  std::string stream;
  for (const chunk& c : chunks) {
    if (c.type == "IDAT") stream += c.data;
  }
  std::vector<unsigned char> rows(size);
  uLongf unpacked = static_cast<uLongf>(size);
  EXPECT_EQ(uncompress(rows.data(), &unpacked, reinterpret_cast<const Bytef*>(stream.data()),
                       static_cast<uLong>(stream.size())),
            Z_OK);
  EXPECT_EQ(unpacked, size);
  return rows;
}

gray_image gray(int width, int height, int bits, std::vector<uint16_t> pixels) {
  gray_image image;
  image.width = width;
  image.height = height;
  image.bits = bits;
  image.pixels = std::move(pixels);
  return image;
}

TEST(PngWriter, WritesSignatureHeaderOneStreamAndEnd) {
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_png(gray(3, 2, 8, {10, 20, 15, 0, 255, 1}), png, error)) << error;
  ASSERT_GE(png.size(), 8u);
  EXPECT_EQ(png.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
  const std::vector<chunk> chunks = chunks_of(png);
  ASSERT_EQ(chunks.size(), 3u);
  EXPECT_EQ(chunks[0].type, "IHDR");
  // Width 3, height 2, 8 bits, greyscale, deflate, adaptive filtering, no interlace.
  EXPECT_EQ(chunks[0].data, std::string("\0\0\0\x03\0\0\0\x02\x08\0\0\0\0", 13));
  EXPECT_EQ(chunks[1].type, "IDAT");
  EXPECT_EQ(chunks[2].type, "IEND");
  EXPECT_TRUE(chunks[2].data.empty());
}

TEST(PngWriter, FiltersEachRowWithSub) {
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_png(gray(3, 2, 8, {10, 20, 15, 0, 255, 1}), png, error)) << error;
  // Each byte less the one to its left, modulo 256.
  const std::vector<unsigned char> expected{1, 10, 10, 251, 1, 0, 255, 2};
  EXPECT_EQ(scanlines_of(chunks_of(png), expected.size()), expected);
}

TEST(PngWriter, FiltersSixteenBitSamplesBigEndianByteByByte) {
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_png(gray(2, 1, 16, {0x12FF, 0x1401}), png, error)) << error;
  const std::vector<chunk> chunks = chunks_of(png);
  EXPECT_EQ(chunks[0].data[8], 16);
  // 0x12 0xFF, then 0x14 - 0x12 and 0x01 - 0xFF.
  const std::vector<unsigned char> expected{1, 0x12, 0xFF, 0x02, 0x02};
  EXPECT_EQ(scanlines_of(chunks, expected.size()), expected);
}

/// A row of `width` pixels, every one a colour of its own.
colour_image distinct_colours(int width) {
  colour_image image;
  image.width = width;
  image.height = 1;
  for (int i = 0; i < width; ++i) {
    image.rgb.push_back(static_cast<uint8_t>(200 + 3 * i));
    image.rgb.push_back(static_cast<uint8_t>(100 + i / 256));
    image.rgb.push_back(static_cast<uint8_t>(255 - i % 7));
  }
  return image;
}

TEST(PngWriter, FiltersColourAgainstThePixelToTheLeft) {
  // 257 colours: one more than a palette holds, so RGB triples.
  const colour_image image = distinct_colours(257);
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_colour_png(image, png, error)) << error;
  const std::vector<chunk> chunks = chunks_of(png);
  ASSERT_EQ(chunks.size(), 3u);
  EXPECT_EQ(chunks[0].data, std::string("\0\0\x01\x01\0\0\0\x01\x08\x02\0\0\0", 13));
  const std::vector<unsigned char> rows = scanlines_of(chunks, 1 + 257 * 3);
  // (200, 100, 255), then (203, 100, 254) less it.
  const std::vector<unsigned char> start{1, 200, 100, 255, 3, 0, 255};
  EXPECT_EQ(std::vector<unsigned char>(rows.begin(), rows.begin() + 7), start);
}

TEST(PngWriter, WritesAPictureOfFewColoursAsPaletteIndices) {
  colour_image image;
  image.width = 3;
  image.height = 2;
  image.rgb = {90, 90,  90,  255, 70, 40, 90, 90, 90,   // grey, red, grey
               60, 150, 255, 40,  40, 40, 90, 90, 90};  // blue, darker grey, grey
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_colour_png(image, png, error)) << error;
  const std::vector<chunk> chunks = chunks_of(png);
  ASSERT_EQ(chunks.size(), 4u);
  EXPECT_EQ(chunks[0].type, "IHDR");
  // Width 3, height 2, 8 bits, palette indices.
  EXPECT_EQ(chunks[0].data, std::string("\0\0\0\x03\0\0\0\x02\x08\x03\0\0\0", 13));
  EXPECT_EQ(chunks[1].type, "PLTE");
  // In increasing order of 0xRRGGBB: 282828, 3C96FF, 5A5A5A, FF4628.
  EXPECT_EQ(chunks[1].data, std::string("\x28\x28\x28\x3C\x96\xFF\x5A\x5A\x5A\xFF\x46\x28", 12));
  EXPECT_EQ(chunks[2].type, "IDAT");
  EXPECT_EQ(chunks[3].type, "IEND");
  // Indices 2 3 2 and 1 0 2, each less the one to its left.
  const std::vector<unsigned char> expected{1, 2, 1, 255, 1, 1, 255, 2};
  EXPECT_EQ(scanlines_of(chunks, expected.size()), expected);
  colour_image read;
  ASSERT_EQ(decode_colour_png("few.png", png, read, error), picture_status::ok) << error;
  EXPECT_EQ(read.rgb, image.rgb);
}

TEST(PngWriter, TwoHundredFiftySixColoursFitAPaletteAndOneMoreDoesNot) {
  for (const int colours : {255, 256, 257}) {
    const colour_image image = distinct_colours(colours);
    std::string png;
    std::string error;
    ASSERT_TRUE(encode_colour_png(image, png, error)) << error;
    const std::vector<chunk> chunks = chunks_of(png);
    ASSERT_GE(chunks.size(), 3u);
    EXPECT_EQ(chunks[0].data[9], colours <= 256 ? 3 : 2) << colours << " colours";
    if (colours <= 256) {
      EXPECT_EQ(chunks[1].type, "PLTE");
      EXPECT_EQ(chunks[1].data.size(), 3u * static_cast<std::size_t>(colours));
    }
    colour_image read;
    ASSERT_EQ(decode_colour_png("many.png", png, read, error), picture_status::ok) << error;
    EXPECT_EQ(read.rgb, image.rgb) << colours << " colours";
  }
}

TEST(PngWriter, AGreyDrawingWithMarksReadsBackTheSame) {
  // A ramp of grey levels under strokes of three colours, the kind of
  // picture rectify-check draws: 253 levels and 3 colours, 256 in all.
  colour_image image;
  image.width = 300;
  image.height = 40;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      const uint8_t level = static_cast<uint8_t>((x + y) % 253);
      const bool mark = (x * 7 + y * 3) % 61 == 0;
      const uint8_t r = mark ? 255 : level;
      const uint8_t g = mark ? static_cast<uint8_t>(40 * (x % 3)) : level;
      const uint8_t b = mark ? 0 : level;
      image.rgb.insert(image.rgb.end(), {r, g, b});
    }
  }
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_colour_png(image, png, error)) << error;
  const std::vector<chunk> chunks = chunks_of(png);
  EXPECT_EQ(chunks[0].data[9], 3);
  colour_image read;
  ASSERT_EQ(decode_colour_png("drawing.png", png, read, error), picture_status::ok) << error;
  EXPECT_EQ(read.rgb, image.rgb);
}

/// A picture of `bits` with every value a sample can take somewhere.
gray_image ramp(int width, int height, int bits) {
  gray_image image = gray(width, height, bits, {});
  const uint32_t levels = 1u << bits;
  for (int i = 0; i < width * height; ++i) {
    image.pixels.push_back(
        static_cast<uint16_t>((static_cast<uint32_t>(i) * 2654435761u) % levels));
  }
  return image;
}

TEST(PngWriter, GreyPicturesReadBackThroughLibpng) {
  for (const int bits : {8, 16}) {
    for (const auto& [width, height] : {std::pair{1, 1}, std::pair{1280, 3}, std::pair{7, 300}}) {
      const gray_image written = ramp(width, height, bits);
      std::string png;
      std::string error;
      ASSERT_TRUE(encode_png(written, png, error)) << error;
      gray_image read;
      ASSERT_EQ(decode_gray_image("ramp.png", png, read, error), picture_status::ok) << error;
      EXPECT_EQ(read.width, width);
      EXPECT_EQ(read.height, height);
      EXPECT_EQ(read.bits, bits);
      EXPECT_EQ(read.pixels, written.pixels) << bits << "-bit " << width << "x" << height;
    }
  }
}

TEST(PngWriter, ColourPicturesReadBackThroughLibpng) {
  colour_image written;
  written.width = 641;
  written.height = 5;
  for (int i = 0; i < written.width * written.height * 3; ++i) {
    written.rgb.push_back(static_cast<uint8_t>(i * 7 + i / 3));
  }
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_colour_png(written, png, error)) << error;
  colour_image read;
  ASSERT_EQ(decode_colour_png("colour.png", png, read, error), picture_status::ok) << error;
  EXPECT_EQ(read.width, written.width);
  EXPECT_EQ(read.height, written.height);
  EXPECT_EQ(read.rgb, written.rgb);
}

TEST(PngWriter, PixelsMissingAtTheEndAreWrittenBlack) {
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_png(gray(2, 2, 8, {9, 8, 7}), png, error)) << error;
  gray_image read;
  ASSERT_EQ(decode_gray_image("short.png", png, read, error), picture_status::ok) << error;
  EXPECT_EQ(read.pixels, (std::vector<uint16_t>{9, 8, 7, 0}));

  colour_image image;
  image.width = 2;
  image.height = 1;
  image.rgb = {1, 2, 3, 4};
  ASSERT_TRUE(encode_colour_png(image, png, error)) << error;
  colour_image colour;
  ASSERT_EQ(decode_colour_png("short.png", png, colour, error), picture_status::ok) << error;
  EXPECT_EQ(colour.rgb, (std::vector<uint8_t>{1, 2, 3, 4, 0, 0}));
}

TEST(PngWriter, EightBitPicturesKeepTheLowByteOfEachWord) {
  std::string png;
  std::string error;
  ASSERT_TRUE(encode_png(gray(2, 1, 8, {0x1FF, 0x102}), png, error)) << error;
  gray_image read;
  ASSERT_EQ(decode_gray_image("wide.png", png, read, error), picture_status::ok) << error;
  EXPECT_EQ(read.pixels, (std::vector<uint16_t>{0xFF, 0x02}));
}

TEST(PngWriter, RefusesPicturesPngCannotHold) {
  std::string png = "untouched";
  std::string error;
  EXPECT_FALSE(encode_png(gray(0, 5, 8, {}), png, error));
  EXPECT_EQ(error, "PNG encoding failed: a picture of 0x5 pixels");
  EXPECT_FALSE(encode_png(gray(4, -1, 16, {}), png, error));
  EXPECT_EQ(error, "PNG encoding failed: a picture of 4x-1 pixels");
  EXPECT_FALSE(encode_png(gray(1, 1, 12, {1}), png, error));
  EXPECT_EQ(error, "PNG encoding failed: 12-bit greyscale");
  colour_image empty;
  EXPECT_FALSE(encode_colour_png(empty, png, error));
  EXPECT_EQ(error, "PNG encoding failed: a picture of 0x0 pixels");
  EXPECT_EQ(png, "untouched");
}

}  // namespace
