// Loader of the depth-to-colour (D2C) configuration groups.
#include "de_config/d2c_loader.h"

#include <cstdint>

#include "config/brace_list.h"
#include "config/ini_convert.h"
#include "de_config/de_config_state.h"
#include "de_config/description_text.h"
#include "de_config/field_check.h"
#include "de_config/group_table_loader.h"
#include "de_config/unit_rounding.h"

namespace deflash {
namespace {

static_assert(sizeof(d2c_cfg_item{}.desc) == kDescriptionBytes, "desc is a description field");

// Values in a resolution list (width, height) and an extend list (left,
// top, right, bottom).
constexpr std::size_t kResolutionValues = 2;
constexpr std::size_t kExtendValues = 4;
static_assert(sizeof(d2c_cfg_item{}.res_rgb) == kResolutionValues * sizeof(uint16_t),
              "resolutions are width, height");
static_assert(sizeof(d2c_cfg_item{}.extend) == kExtendValues * sizeof(uint16_t),
              "extend is left, top, right, bottom");
// Bit of d2c_cfg_item::flags for the long-range MIPI channel.
constexpr uint32_t kFlagMipiChannel = 1u << 0;

// Parses a list of exactly `n` values with the 32-bit parser and keeps each
// as u16, the width of the D2C registers.
template <std::size_t n>
bool read_u16_list(ini_document& document, const std::string& section, const char* key,
                   uint16_t (&out)[n], loader_message& message) {
  uint32_t values[n] = {};
  if (parse_brace_list_u32(checked_value(document, section, key, message).text(), values, n) != n) {
    // The misspelling is the message hosts match on; kept on purpose.
    message.format("string to arrary %s error", key);
    return false;
  }
  for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<uint16_t>(values[i]);
  return true;
}

bool read_d2c_group(ini_document& document, const std::string& section, std::size_t index,
                    loader_message& message) {
  d2c_cfg_item record{};
  if (!copy_description("desc", checked_value(document, section, "desc", message).text(),
                        record.desc, message)) {
    return false;
  }
  if (!read_u16_list(document, section, "res_chop_out", record.res_chop_out, message) ||
      !read_u16_list(document, section, "res_d2c_in", record.res_d2c_in, message) ||
      !read_u16_list(document, section, "res_d2c_valid", record.res_d2c_valid, message) ||
      !read_u16_list(document, section, "res_depth", record.res_depth, message) ||
      !read_u16_list(document, section, "res_rgb", record.res_rgb, message)) {
    return false;
  }
  check_field(document, section, "scale", message);
  check_field(document, section, "extend", message);
  record.scale = as_float(document.section(section)["scale"]);
  if (!read_u16_list(document, section, "extend", record.extend, message)) return false;

  if (check_field(document, section, "d2d_params_unit", message) == 0) {
    const float unit = as_float(document.section(section)["d2d_params_unit"]);
    // A unit without its "in R" flag cannot be interpreted.
    if (check_field(document, section, "d2d_params_unit_in_R_en", message) != 0) return false;
    record.d2d_params_unit =
        unit_in_hundredths(unit, as_uint8(document.section(section)["d2d_params_unit_in_R_en"]));
  }
  if (check_field(document, section, "mipi_channel_status", message) == 0 &&
      (as_uint8(document.section(section)["mipi_channel_status"]) & 1u) != 0) {
    record.flags |= kFlagMipiChannel;
  }
  module_de_config().d2c_items[index] = record;
  return true;
}

}  // namespace

int load_d2c_groups(const char* path) {
  de_config_state& state = module_de_config();
  return load_group_table(path, kD2cTableCapacity, state.d2c_count, state.d2c_version,
                          read_d2c_group);
}

}  // namespace deflash
