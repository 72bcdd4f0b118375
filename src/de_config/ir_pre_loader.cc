// Loader of the IR pre-ISP (auto-exposure) configuration groups.
#include "de_config/ir_pre_loader.h"

#include <cstdint>
#include <initializer_list>

#include "config/brace_list.h"
#include "config/ini_convert.h"
#include "de_config/de_config_state.h"
#include "de_config/description_text.h"
#include "de_config/field_check.h"
#include "de_config/group_table_loader.h"

namespace deflash {
namespace {

static_assert(sizeof(ir_pre_cfg_item{}.dpu_desc) == kDescriptionBytes,
              "dpu_desc is a description field");

// Bits of ir_pre_cfg_item::flags: which loops the auto-exposure may drive.
constexpr int kFlagExpEn = 0;
constexpr int kFlagGainEn = 1;
constexpr int kFlagLdmPowerEn = 2;

// Checks a batch of keys; a missing one leaves its message and later reads
// as empty text.
void check_fields(const ini_document& document, const std::string& section,
                  std::initializer_list<const char*> keys, loader_message& message) {
  for (const char* key : keys) check_field(document, section, key, message);
}

// Values of a range list (min, max and the two steps), parsed as 32 bits.
constexpr std::size_t kRangeValues = 4;
static_assert(sizeof(ir_pre_cfg_item{}.gain_range) == kRangeValues * sizeof(uint32_t),
              "ranges hold four u32");

bool read_range(ini_document& document, const std::string& section, const char* key,
                uint32_t (&out)[kRangeValues], loader_message& message) {
  if (parse_brace_list_u32(document.section(section)[key].text(), out, kRangeValues) !=
      kRangeValues) {
    // The misspelling is the message hosts match on; kept on purpose.
    message.format("string to arrary %s error", key);
    return false;
  }
  return true;
}

template <std::size_t n>
bool read_u16_list(ini_document& document, const std::string& section, const char* key,
                   uint16_t (&out)[n], loader_message& message) {
  if (parse_brace_list_u16(document.section(section)[key].text(), out, n) != n) {
    // The misspelling is the message hosts match on; kept on purpose.
    message.format("string to arrary %s error", key);
    return false;
  }
  return true;
}

uint32_t read_u32(ini_document& document, const std::string& section, const char* key) {
  return as_uint32(document.section(section)[key]);
}

uint32_t lowest_bit_at(ini_document& document, const std::string& section, const char* key,
                       int bit) {
  return (read_u32(document, section, key) & 1u) << bit;
}

bool read_ir_pre_group(ini_document& document, const std::string& section, std::size_t index,
                       loader_message& message) {
  ir_pre_cfg_item record{};
  check_fields(document, section, {"dpu_desc"}, message);
  check_fields(document, section, {"exp_time_range"}, message);
  check_fields(document, section, {"gain_range"}, message);
  check_fields(document, section, {"laser_current_range"}, message);
  if (!copy_description("dpu_desc", document.section(section)["dpu_desc"].text(), record.dpu_desc,
                        message) ||
      !read_range(document, section, "exp_time_range", record.exp_time_range, message) ||
      !read_range(document, section, "gain_range", record.gain_range, message) ||
      !read_range(document, section, "laser_current_range", record.laser_current_range, message)) {
    return false;
  }

  check_fields(document, section, {"target_brightness", "target_th", "center_weight"}, message);
  check_fields(document, section, {"skip_frame", "smooth_steps", "delay_ms"}, message);
  check_fields(document, section, {"meter_method", "exp_en", "gain_en", "ldm_power_en"}, message);
  record.target_brightness = read_u32(document, section, "target_brightness");
  record.target_th = read_u32(document, section, "target_th");
  record.center_weight = read_u32(document, section, "center_weight");
  record.skip_frame = read_u32(document, section, "skip_frame");
  record.smooth_steps = read_u32(document, section, "smooth_steps");
  record.delay_ms = read_u32(document, section, "delay_ms");
  record.meter_method = read_u32(document, section, "meter_method");
  record.flags |= lowest_bit_at(document, section, "exp_en", kFlagExpEn);
  record.flags |= lowest_bit_at(document, section, "gain_en", kFlagGainEn);
  record.flags |= lowest_bit_at(document, section, "ldm_power_en", kFlagLdmPowerEn);

  check_fields(document, section, {"roi_size"}, message);
  check_fields(document, section, {"box_cnt"}, message);
  check_fields(document, section, {"box_weight_16"}, message);
  if (!read_u16_list(document, section, "roi_size", record.roi_size, message) ||
      !read_u16_list(document, section, "box_cnt", record.box_cnt, message) ||
      !read_u16_list(document, section, "box_weight_16", record.box_weight_16, message)) {
    return false;
  }
  module_de_config().ir_pre_items[index] = record;
  return true;
}

}  // namespace

int load_ir_pre_groups(const char* path) {
  de_config_state& state = module_de_config();
  return load_group_table(path, kIrPreTableCapacity, state.ir_pre_count, state.ir_pre_version,
                          read_ir_pre_group);
}

}  // namespace deflash
