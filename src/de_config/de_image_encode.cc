// Pure encoding of the depth-engine configuration image from loaded records.
#include "de_config/de_image_encode.h"

#include <cstring>

#include "de_config/de_image_layout.h"
#include "frame/byte_writer.h"
#include "frame/crc32.h"
#include "frame/md5.h"

namespace deflash {
namespace {

static_assert(kMd5DigestBytes == 16, "items open with a 16-byte digest");

// Writes one block at its offset: header with CRC 0, the items through
// `put_item`, then the CRC-32 of header and items into the header.
template <typename Item, typename PutItem>
bool put_block(std::vector<uint8_t>& image, const de_block_layout& block,
               const std::vector<Item>& items, uint32_t version, PutItem put_item) {
  const auto count = static_cast<uint32_t>(items.size());
  const auto length = static_cast<uint32_t>(kBlockHeaderBytes + items.size() * block.item_size);
  uint8_t* base = image.data() + block.image_offset;
  byte_writer out(base, block.space);
  out.put_u32_le(block.section_magic);
  out.put_u32_le(0);  // CRC, computed over the block while this field is 0
  out.put_u32_le(length);
  out.put_u32_le(block.flash_address);
  out.put_u32_le(kBlockFormatVersion);
  out.put_u32_le(version);
  out.put_u32_le(block.payload_magic);
  out.put_u32_le(count);
  out.put_u32_le(static_cast<uint32_t>(block.item_size));
  for (const Item& item : items) put_item(out, item);
  if (!writer_finished(out, length)) return false;
  out.patch_u32_le(kBlockCrcOffset, crc32(0, base, length));
  return true;
}

// A host-shared record whose first 16 bytes are replaced by the MD5 of the
// record's bytes [digest_offset, digest_offset + digest_bytes).
template <typename Record>
void put_digested_record(byte_writer& out, const de_block_layout& block, const Record& record) {
  static_assert(sizeof(Record) >= kMd5DigestBytes, "record opens with its digest");
  uint8_t bytes[sizeof(Record)];
  std::memcpy(bytes, &record, sizeof bytes);
  md5(bytes + block.digest_offset, bytes, static_cast<uint32_t>(block.digest_bytes));
  out.put_bytes(bytes, sizeof bytes);
}

void put_dpu_item(byte_writer& out, const dpu_image_item& item) {
  uint8_t digest[kMd5DigestBytes];
  md5(&item.mode, digest, sizeof item.mode);
  out.put_bytes(digest, sizeof digest);
  out.put_bytes(&item.mode, sizeof item.mode);
  out.put_bytes(&item.scheme, sizeof item.scheme);
}

uint32_t version_or_time(uint32_t version, uint32_t now) { return version != 0 ? version : now; }

}  // namespace

bool de_image_content_fits(const de_image_content& content) {
  return content.dpu_items.size() <= max_block_items(kDpuBlock) &&
         content.d2c_items.size() <= max_block_items(kD2cBlock) &&
         content.ir_pre_items.size() <= max_block_items(kIrPreBlock);
}

std::vector<uint8_t> encode_de_config_image(const de_image_content& content, uint32_t now) {
  if (!de_image_content_fits(content)) return {};
  std::vector<uint8_t> image(kDeImageBytes, kErasedByte);
  bool written = true;
  if (!content.dpu_items.empty()) {
    written = put_block(image, kDpuBlock, content.dpu_items,
                        version_or_time(content.dpu_version, now), put_dpu_item);
  }
  written = written && put_block(image, kD2cBlock, content.d2c_items,
                                 version_or_time(content.d2c_version, now),
                                 [](byte_writer& out, const d2c_cfg_item& item) {
                                   put_digested_record(out, kD2cBlock, item);
                                 });
  written = written && put_block(image, kIrPreBlock, content.ir_pre_items,
                                 version_or_time(content.ir_pre_version, now),
                                 [](byte_writer& out, const ir_pre_cfg_item& item) {
                                   put_digested_record(out, kIrPreBlock, item);
                                 });
  // An empty image is what the builder refuses: no partial image reaches flash.
  if (!written) return {};
  return image;
}

}  // namespace deflash
