// Runs the calibration and start-row image generators for one module and
// checks what they return and write: known result codes, every section
// inside its buffer with a CRC that recomputes, and (on a share of the
// inputs) the same bytes twice.
#ifndef DEFLASH_FUZZ_CALIB_CHAIN_CHECK_H_
#define DEFLASH_FUZZ_CALIB_CHAIN_CHECK_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "deflash.h"
#include "frame/crc32.h"
#include "fuzz_check.h"

namespace deflash_fuzz {

/// A fixed time stamp, so two runs give the same main image.
constexpr int64_t kTimestamp = 1700000000;
constexpr std::size_t kCalibImageBytes = 0x5000;
constexpr std::size_t kRawImageBytes = 0x2000;
/// The start-row section of one mode with the tallest image a 16-bit
/// height allows: 48-byte header, 44-byte entry head, 8 bytes per row.
constexpr std::size_t kStartRowImageBytes = 48 + 44 + 8 * 65535;

inline uint32_t u32_at(const uint8_t* p) {
  return p[0] | (p[1] << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

inline bool known_result(int result) {
  for (const int code : {DRIVER_HELPER_OK, DRIVER_HELPER_FAIL, DRIVER_HELPER_INVALID_PARAM,
                         DRIVER_HELPER_CONFIG_EXCEPTION, DRIVER_HELPER_DE_CONFIG_EXCEPTION,
                         DRIVER_HELPER_NUM_NOT_MATCH, DRIVER_HELPER_DPU_MODE_ERROR,
                         DRIVER_HELPER_DPU_BASIC_ERROR, DRIVER_HELPER_DPU_DISPARITY_ERROR,
                         DRIVER_HELPER_DPU_EXTEND_CHOP_ERROR, DRIVER_HELPER_DPU_GPM_ERROR,
                         DRIVER_HELPER_DPU_SCHEME_ERROR, DRIVER_HELPER_PARAM_OUT_OF_RANGE}) {
    if (result == code) return true;
  }
  return false;
}

/// The section at `offset` fits `room` bytes and its CRC recomputes.
inline void check_section(std::vector<uint8_t> image, std::size_t offset, std::size_t room) {
  uint8_t* section = image.data() + offset;
  const uint32_t length = u32_at(section + 8);
  FUZZ_CHECK(length >= 48 && length <= room);
  const uint32_t stored = u32_at(section + 4);
  std::memset(section + 4, 0, 4);
  FUZZ_CHECK(deflash::crc32(0, section, length) == stored);
}

/// A zeroed buffer of `bytes`, kept from one input to the next: a fresh
/// half-megabyte start-row buffer per input costs its page faults again
/// under the sanitizers.
inline std::vector<uint8_t>& cleared(std::vector<uint8_t>& buffer, std::size_t bytes) {
  buffer.assign(bytes, 0);
  return buffer;
}

/// Both generators over `list`; checks as above. The same image twice is
/// checked only with `repeat`: building a module's tables is most of an
/// execution, and the fuzzer reaches every input both ways.
inline void check_calib_chain(const SocCalibFlashInput_S& list, bool repeat) {
  static std::vector<uint8_t> image_buffer;
  static std::vector<uint8_t> raw_buffer;
  static std::vector<uint8_t> again_buffer;
  static std::vector<uint8_t> rows_buffer;
  std::vector<uint8_t>& image = cleared(image_buffer, kCalibImageBytes);
  std::vector<uint8_t>& raw = cleared(raw_buffer, kRawImageBytes);
  const int result =
      gen_soc_calib_flash_param_de(&list, image.data(), nullptr, static_cast<int>(image.size()),
                                   kTimestamp, raw.data(), static_cast<int>(raw.size()));
  FUZZ_CHECK(known_result(result));
  if (result == 0) {
    check_section(image, 0x0000, 0x2000);
    check_section(image, 0x2000, 0x2000);
    check_section(image, 0x4000, 0x1000);
    check_section(raw, 0, raw.size());
  }
  if (result == 0 && repeat) {
    std::vector<uint8_t>& again = cleared(again_buffer, kCalibImageBytes);
    FUZZ_CHECK(gen_soc_calib_flash_param_de(&list, again.data(), nullptr,
                                            static_cast<int>(again.size()), kTimestamp, nullptr,
                                            0) == 0);
    FUZZ_CHECK(again == image);
  }

  std::vector<uint8_t>& rows = cleared(rows_buffer, kStartRowImageBytes);
  const int rows_result =
      gen_soc_start_row_param_de(&list, rows.data(), nullptr, static_cast<int>(rows.size()));
  FUZZ_CHECK(known_result(rows_result));
  // Both generators run the same conversion: they agree on the input.
  FUZZ_CHECK((rows_result == 0) == (result == 0));
  if (rows_result == 0) check_section(rows, 0, rows.size());
}

}  // namespace deflash_fuzz

#endif  // DEFLASH_FUZZ_CALIB_CHAIN_CHECK_H_
