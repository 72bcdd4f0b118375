// Calibration image sections: items, header, CRC.
#include "calib_image/calib_section.h"

#include <cstring>

#include "frame/byte_writer.h"
#include "frame/crc32.h"

namespace deflash {

bool calib_section::has_room() const {
  const std::size_t end = layout_.offset + length() + layout_.item_size;
  return length() + layout_.item_size <= layout_.space && end <= image_size_;
}

add_result calib_section::add_unique(const std::vector<uint8_t>& item) {
  if (digests_.contains(item.data())) return add_result::duplicate;
  if (digests_.full()) return add_result::table_full;
  const add_result result = add(item);
  if (result == add_result::added) digests_.add(item.data());
  return result;
}

add_result calib_section::add(const std::vector<uint8_t>& item) {
  if (item.size() != layout_.item_size || !has_room()) return add_result::no_room;
  std::memcpy(image_ + layout_.offset + length(), item.data(), item.size());
  ++count_;
  return add_result::added;
}

bool calib_section::close(uint32_t timestamp, const serial_number& serial) {
  uint8_t* section = image_ + layout_.offset;
  byte_writer w(section, image_size_ - layout_.offset);
  w.put_u32_le(section_magic(layout_.id));
  w.put_u32_le(0);  // CRC, computed over the section with this field zero
  w.put_u32_le(length());
  w.put_u32_le(layout_.flash_address);
  w.put_u32_le(kSectionHeaderVersion);
  w.put_u32_le(timestamp);
  w.put_bytes(serial.data(), serial.size());
  w.put_u32_le(item_table_magic(layout_.table_id));
  w.put_u32_le(count_);
  w.put_u32_le(layout_.item_size);
  if (!writer_finished(w, kSectionHeaderBytes)) return false;
  w.patch_u32_le(kHeaderCrcOffset, crc32(0, section, length()));
  return !w.overflowed();
}

}  // namespace deflash
