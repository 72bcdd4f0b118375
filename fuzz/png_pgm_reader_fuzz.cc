// Fuzz target: arbitrary bytes as a camera picture given to the tool (PNG or
// binary PGM). Decoding ends with a picture inside the pixel limit whose
// values fit its depth, or with one line starting with the file's path; it
// decides the same way twice, and a decoded picture survives a round trip
// through the PNG writer unchanged.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_check.h"
#include "host/files/gray_image.h"

namespace {

constexpr char kPath[] = "fuzz.png";

/// Re-encoding is worth its time on small pictures only: the fuzzer reaches
/// the large ones' headers, not their pixels.
constexpr uint64_t kMaxRoundTripPixels = 4096;

void check_error(const std::string& error) {
  FUZZ_CHECK(error.rfind(std::string(kPath) + ": ", 0) == 0);
  FUZZ_CHECK(error.find('\n') == std::string::npos);
}

void check_gray(const std::string& bytes) {
  deflash_host::gray_image first;
  deflash_host::gray_image second;
  std::string first_error;
  std::string second_error;
  const auto status = deflash_host::decode_gray_image(kPath, bytes, first, first_error);
  FUZZ_CHECK(deflash_host::decode_gray_image(kPath, bytes, second, second_error) == status);
  FUZZ_CHECK(first_error == second_error);
  if (status != deflash_host::picture_status::ok) {
    check_error(first_error);
    return;
  }
  FUZZ_CHECK(first_error.empty());
  FUZZ_CHECK(first.width > 0 && first.height > 0);
  FUZZ_CHECK(first.bits == 8 || first.bits == 16);
  const uint64_t pixels = uint64_t(first.width) * uint64_t(first.height);
  FUZZ_CHECK(pixels <= deflash_host::kMaxPicturePixels);
  FUZZ_CHECK(first.pixels.size() == pixels);
  for (const uint16_t value : first.pixels) FUZZ_CHECK(value < (uint32_t{1} << first.bits));
  FUZZ_CHECK(second.width == first.width && second.height == first.height &&
             second.bits == first.bits && second.pixels == first.pixels);
  if (pixels > kMaxRoundTripPixels) return;
  std::string png;
  std::string error;
  FUZZ_CHECK(deflash_host::encode_png(first, png, error));
  deflash_host::gray_image again;
  FUZZ_CHECK(deflash_host::decode_gray_image(kPath, png, again, error) ==
             deflash_host::picture_status::ok);
  FUZZ_CHECK(again.width == first.width && again.height == first.height &&
             again.bits == first.bits && again.pixels == first.pixels);
}

void check_colour(const std::string& bytes) {
  deflash_host::colour_image image;
  std::string error;
  const auto status = deflash_host::decode_colour_png(kPath, bytes, image, error);
  if (status != deflash_host::picture_status::ok) {
    check_error(error);
    return;
  }
  FUZZ_CHECK(error.empty());
  FUZZ_CHECK(image.width > 0 && image.height > 0);
  const uint64_t pixels = uint64_t(image.width) * uint64_t(image.height);
  FUZZ_CHECK(pixels <= deflash_host::kMaxPicturePixels);
  FUZZ_CHECK(image.rgb.size() == 3 * pixels);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  check_gray(bytes);
  check_colour(bytes);
  return 0;
}
