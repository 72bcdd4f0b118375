// The start-row flash image: per distinct rectification mode, the start-row
// tables of the target and reference cameras.
#include <algorithm>
#include <cstring>
#include <vector>

#include "calib_image/calib_image_layout.h"
#include "calib_image/calib_pipeline.h"
#include "calib_image/calib_state.h"
#include "calib_image/calib_tables.h"
#include "calib_image/digest_list.h"
#include "calib_image/start_row_layout.h"
#include "deflash/calib_image.h"
#include "deflash/rectify.h"
#include "deflash/result_codes.h"
#include "frame/boundary.h"
#include "frame/byte_writer.h"
#include "frame/crc32.h"
#include "frame/log.h"
#include "frame/md5.h"
#include "rectify/register_elements.h"

namespace deflash {
namespace {

struct reference_descriptor {
  uint32_t address = 0;
  uint32_t count = 0;
};

// False (a bug, asserted in debug builds) when the header missed its size.
bool write_header(uint8_t* image, std::size_t length, const reference_descriptor& reference) {
  byte_writer w(image, kStartRowHeaderBytes);
  w.put_u32_le(kStartRowSectionMagic);
  w.put_u32_le(0);
  w.put_u32_le(static_cast<uint32_t>(length));
  w.put_u32_le(kStartRowFlashAddress);
  w.put_u32_le(reference.address);
  w.put_u32_le(reference.count);
  w.fill(0, kStartRowHeaderBytes - kStartRowReservedOffset);  // reserved, zero
  if (!writer_finished(w, kStartRowHeaderBytes)) return false;
  store_u32_le(image + kStartRowCrcOffset, crc32(0, image, static_cast<uint32_t>(length)));
  return true;
}

// Writes one entry at `offset` and leaves its size in `entry_bytes` and the
// reference camera's section in `reference`. Returns 0, or after an error
// message the failure: -2 when the entry does not fit within `size`, the
// hand-over's result, -1 when the entry missed its own size.
int write_entry(uint8_t* image, std::size_t size, std::size_t offset,
                const std::vector<uint8_t>& key, const uint8_t* digest,
                reference_descriptor* reference, std::size_t* entry_bytes, log_callback* log) {
  const calib_image_state& state = module_calib_image();
  const auto rows = static_cast<int16_t>(state.rectify.intrinsic_L.height);
  const std::size_t table_rows = rows > 0 ? static_cast<std::size_t>(rows) : 0;
  const std::size_t bytes = kStartRowEntryHeadBytes + table_rows * kStartRowBytesPerRow;
  if (offset + bytes > size) {
    console_log(
        "error: start-row entry of %zu bytes at offset %zu does not fit the output buffer of %zu "
        "bytes\n",
        bytes, offset, size);
    send_log(log, "error: start-row image does not fit the output buffer\n");
    return DRIVER_HELPER_INVALID_PARAM;
  }

  // The register side copies as many rows as its last camera had; size the
  // tables for whichever is larger so that copy stays inside them.
  const std::size_t reference_rows = state.rectify.intrinsic_R.height;
  const std::size_t capacity = std::max(table_rows, reference_rows);
  std::vector<uint32_t> target_values(capacity, 0);
  std::vector<uint32_t> reference_values(capacity, 0);
  DeRectifyStartRowsSection_S sections[2] = {
      {0, static_cast<uint32_t>(table_rows), target_values.data()},
      {0, static_cast<uint32_t>(table_rows), reference_values.data()}};

  byte_writer w(image, size, offset);
  w.put_u32_le(kStartRowEntryMagic);
  w.put_u32_le(kStartRowEntryVersion);
  w.put_u32_le(
      static_cast<uint32_t>(table_rows * kStartRowBytesPerRow + kStartRowPayloadFixedBytes));
  w.put_bytes(digest, kMd5DigestBytes);
  w.put_bytes(key.data(), key.size());
  w.put_u32_le(static_cast<uint32_t>(static_cast<int32_t>(rows)));

  const uint32_t copied = hand_over_start_rows_sections(sections, 2);
  if (copied != 0) {
    console_log("error: de_copy_rectify_start_rows_register_section failed, error code=%d\n",
                static_cast<int>(copied));
    send_log(log, "error: de_copy_rectify_start_rows_register_section failed\n");
    return static_cast<int>(copied);
  }
  for (std::size_t i = 0; i < table_rows; ++i) w.put_u32_le(target_values[i]);
  for (std::size_t i = 0; i < table_rows; ++i) w.put_u32_le(reference_values[i]);
  if (!writer_finished(w, offset + bytes)) {
    report(log, "error: a start-row entry did not fill its place in the image\n");
    return DRIVER_HELPER_FAIL;
  }
  reference->address = sections[1].address;
  reference->count = sections[1].count;
  *entry_bytes = bytes;
  return DRIVER_HELPER_OK;
}

// Refuses a buffer that cannot hold even the header, before writing a byte.
int check_start_row_buffer(int size, log_callback* log) {
  if (size >= 0 && static_cast<std::size_t>(size) >= kStartRowHeaderBytes) return DRIVER_HELPER_OK;
  console_log("error: file_buff_out_size %d cannot hold the start-row section header\n", size);
  send_log(log, "error: file_buff_out_size is smaller than the start-row section header\n");
  return DRIVER_HELPER_INVALID_PARAM;
}

// The entries written so far: their digests, the image length, and the
// reference camera's section of the last one (the header names it).
struct start_row_entries {
  digest_list written;
  std::size_t length = kStartRowHeaderBytes;
  reference_descriptor reference;
};

// Converts configuration `index` and writes its entry unless its mode is
// already in the image.
int add_mode(const SocCalibFlashInput_S& input, uint8_t index, uint8_t* image, std::size_t size,
             start_row_entries& entries, log_callback* log) {
  soc_convert::DepthCalcParams_S depth{};
  calib_mode_flags flags{};
  int result = convert_configuration(input, index, log, &depth, &flags);
  if (result != 0) return result;

  const auto key = rectify_key(module_calib_image().rectify, flags.long_range());
  uint8_t digest[kMd5DigestBytes];
  md5(key.data(), digest, static_cast<uint32_t>(key.size()));
  if (entries.written.contains(digest)) return DRIVER_HELPER_OK;
  if (entries.written.full()) {
    console_log("error: more than %zu distinct modes for the start-row image\n", kMaxTableEntries);
    send_log(log, "error: too many distinct modes for the start-row image\n");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  std::size_t entry_bytes = 0;
  result =
      write_entry(image, size, entries.length, key, digest, &entries.reference, &entry_bytes, log);
  if (result != 0) return result;
  entries.written.add(digest);
  entries.length += entry_bytes;
  return DRIVER_HELPER_OK;
}

// The whole generation: checks, erased buffer, one entry per distinct mode,
// the header.
int build_start_row_image(const SocCalibFlashInput_S* input_list, uint8_t* image, int image_size,
                          log_callback* log) {
  int result = check_flash_input(input_list, image, log);
  if (result != 0) return result;
  result = check_start_row_buffer(image_size, log);
  if (result != 0) return result;
  const SocCalibFlashInput_S& input = *input_list;
  const auto size = static_cast<std::size_t>(image_size);
  std::memset(image, kErasedByte, size);

  start_row_entries entries;
  for (uint8_t i = 0; i < input.config_file_num; ++i) {
    result = add_mode(input, i, image, size, entries, log);
    if (result != 0) return result;
  }
  if (!write_header(image, entries.length, entries.reference)) {
    report(log, "error: the start-row header did not fit its place in the image\n");
    return DRIVER_HELPER_FAIL;
  }
  return DRIVER_HELPER_OK;
}

}  // namespace
}  // namespace deflash

extern "C" int gen_soc_start_row_param_de(const SocCalibFlashInput_S* config_input_file_list,
                                          uint8_t* file_buff_out,
                                          std::function<void(const char*)>* log,
                                          int file_buff_out_size) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, deflash::to_callback(log), [&] {
    return deflash::build_start_row_image(config_input_file_list, file_buff_out, file_buff_out_size,
                                          log);
  });
}
