// Layout of the 16384-byte depth-engine configuration image and its blocks.
#ifndef DEFLASH_DE_CONFIG_DE_IMAGE_LAYOUT_H_
#define DEFLASH_DE_CONFIG_DE_IMAGE_LAYOUT_H_

#include <cstddef>
#include <cstdint>

#include "deflash/de_config.h"
#include "frame/flash_section.h"

namespace deflash {

/// The image covers 16 KiB of flash; bytes no block covers stay erased.
constexpr std::size_t kDeImageBytes = 0x4000;
/// The erased image the host writes to clear the configuration area.
constexpr std::size_t kErasedDeImageBytes = 928;

// Block header, 36 bytes, at the start of every block.
constexpr std::size_t kBlockMagicOffset = kSectionMagicOffset;
constexpr std::size_t kBlockCrcOffset = kSectionCrcOffset;
constexpr std::size_t kBlockLengthOffset = kSectionLengthOffset;
constexpr std::size_t kBlockFlashAddressOffset = kSectionFlashAddressOffset;
constexpr std::size_t kBlockFormatVersionOffset = 16;
constexpr std::size_t kBlockConfigVersionOffset = 20;
constexpr std::size_t kBlockPayloadMagicOffset = 24;
constexpr std::size_t kBlockItemCountOffset = 28;
constexpr std::size_t kBlockItemSizeOffset = 32;
constexpr std::size_t kBlockHeaderBytes = 36;
static_assert(kBlockCrcOffset == kBlockMagicOffset + 4 &&
                  kBlockLengthOffset == kBlockCrcOffset + 4 &&
                  kBlockFlashAddressOffset == kBlockLengthOffset + 4 &&
                  kBlockFormatVersionOffset == kBlockFlashAddressOffset + 4 &&
                  kBlockConfigVersionOffset == kBlockFormatVersionOffset + 4 &&
                  kBlockPayloadMagicOffset == kBlockConfigVersionOffset + 4 &&
                  kBlockItemCountOffset == kBlockPayloadMagicOffset + 4 &&
                  kBlockItemSizeOffset == kBlockItemCountOffset + 4 &&
                  kBlockHeaderBytes == kBlockItemSizeOffset + 4,
              "the block header is nine consecutive u32 fields");

/// Version of this block layout, read by the device before the items.
constexpr uint32_t kBlockFormatVersion = 2;

/// Where a block sits in the image and flash and what its items look like.
struct de_block_layout {
  std::size_t image_offset;
  std::size_t space;  ///< bytes reserved for the block
  uint32_t section_magic;
  uint32_t flash_address;
  uint32_t payload_magic;
  std::size_t item_size;
  std::size_t digest_offset;  ///< first item byte the MD5 covers
  std::size_t digest_bytes;   ///< bytes the MD5 covers
};

// DPU item: digest (16), dpu_mode (32, digested), dpu_scheme_config (24),
// both records as their bytes stand. The D2C and IR pre-ISP items are their
// records (d2c_cfg_item, ir_pre_cfg_item) with the digest in `md5`.
constexpr std::size_t kDpuItemModeOffset = kItemDigestBytes;
constexpr std::size_t kDpuItemSchemeOffset = kDpuItemModeOffset + sizeof(dpu_mode);
constexpr std::size_t kDpuItemBytes = kDpuItemSchemeOffset + sizeof(dpu_scheme_config);
static_assert(kDpuItemBytes == 72, "DPU item is 72 bytes");
static_assert(offsetof(d2c_cfg_item, md5) == 0 && sizeof(d2c_cfg_item{}.md5) == kItemDigestBytes &&
                  offsetof(ir_pre_cfg_item, md5) == 0 &&
                  sizeof(ir_pre_cfg_item{}.md5) == kItemDigestBytes,
              "the group records open with their digest");

constexpr de_block_layout kDpuBlock{0x0000,
                                    0x2000,
                                    section_magic(0x06),
                                    0x14000,
                                    item_table_magic(0x03),
                                    kDpuItemBytes,
                                    kDpuItemModeOffset,
                                    sizeof(dpu_mode)};
// The D2C digest covers desc..flags (16..51) and the IR pre-ISP digest only
// dpu_desc and the reserved word (16..35). Narrow on purpose: readers of the
// image recompute exactly these ranges, so they must not be widened.
constexpr de_block_layout kD2cBlock{0x2000,
                                    0x1000,
                                    section_magic(0x07),
                                    0x16000,
                                    item_table_magic(0x04),
                                    sizeof(d2c_cfg_item),
                                    offsetof(d2c_cfg_item, desc),
                                    36};
constexpr de_block_layout kIrPreBlock{0x3000,
                                      0x1000,
                                      section_magic(0x0E),
                                      0x17000,
                                      item_table_magic(0x0B),
                                      sizeof(ir_pre_cfg_item),
                                      offsetof(ir_pre_cfg_item, dpu_desc),
                                      20};

static_assert(kDpuBlock.section_magic == 0x46447306u && kDpuBlock.payload_magic == 0x46446103u,
              "DPU magics");
static_assert(kD2cBlock.section_magic == 0x46447307u && kD2cBlock.payload_magic == 0x46446104u,
              "D2C magics");
static_assert(kIrPreBlock.section_magic == 0x4644730Eu && kIrPreBlock.payload_magic == 0x4644610Bu,
              "IR pre-ISP magics");
static_assert(kDpuBlock.image_offset + kDpuBlock.space == kD2cBlock.image_offset &&
                  kD2cBlock.image_offset + kD2cBlock.space == kIrPreBlock.image_offset &&
                  kIrPreBlock.image_offset + kIrPreBlock.space == kDeImageBytes,
              "the blocks tile the image");
static_assert(kD2cBlock.digest_offset + kD2cBlock.digest_bytes ==
                  offsetof(d2c_cfg_item, flags) + sizeof(uint32_t),
              "D2C digest ends after flags");
static_assert(kIrPreBlock.digest_offset + kIrPreBlock.digest_bytes ==
                  offsetof(ir_pre_cfg_item, exp_time_range),
              "IR pre-ISP digest ends after the reserved word");
// The image's block offsets follow the flash addresses' spacing.
static_assert(kD2cBlock.flash_address - kDpuBlock.flash_address == kD2cBlock.image_offset &&
                  kIrPreBlock.flash_address - kDpuBlock.flash_address == kIrPreBlock.image_offset,
              "image offsets mirror flash addresses");

/// Most items that fit the block's space after its header.
constexpr std::size_t max_block_items(const de_block_layout& block) {
  return (block.space - kBlockHeaderBytes) / block.item_size;
}
static_assert(max_block_items(kDpuBlock) == 113, "DPU block holds 113 modes");
static_assert(max_block_items(kD2cBlock) == 56, "D2C block holds 56 groups");
static_assert(max_block_items(kIrPreBlock) == 26, "IR pre-ISP block holds 26 groups");

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_DE_IMAGE_LAYOUT_H_
