// The outer steps shared by the D2C and IR pre-ISP group loaders.
#include "de_config/group_table_loader.h"

#include <cstdio>
#include <exception>

#include "config/ini_convert.h"
#include "de_config/config_file.h"
#include "de_config/field_check.h"
#include "de_config/version_packing.h"
#include "deflash/result_codes.h"

namespace deflash {
namespace {

// Formats the name of group `index` (counted from 0; sections count from 1)
// and checks that its section exists and holds keys.
bool find_group_section(const ini_document& document, std::size_t index, std::string& section,
                        loader_message& message) {
  message.format("group%zu", index + 1);
  section = message.text();
  const ini_section* fields = document.find_section(section);
  if (fields != nullptr && !fields->empty()) return true;
  message.format("check section %s error", section.c_str());
  return false;
}

int load_group_document(const char* path, std::size_t capacity, uint16_t& count, uint32_t& version,
                        group_reader read_group) {
  ini_document document(path, '=', ';');
  loader_message message;
  if (check_field(document, "basic", "num", message) != 0) {
    message.print();
    return DRIVER_HELPER_FAIL;
  }
  const int num = as_int(document.section("basic")["num"]);
  // Taken as unsigned, so a negative count fails here too. The text names
  // D2C for both loaders; hosts match it word for word.
  if (static_cast<unsigned int>(num) > capacity) {
    // The misspelling is the message hosts match on; kept on purpose.
    std::fprintf(stderr, "Number of d2c cofiguration not supported\n");
    return DRIVER_HELPER_FAIL;
  }
  count = static_cast<uint16_t>(num);
  if (check_field(document, "basic", "version", message) != 0) {
    message.print();
    return DRIVER_HELPER_FAIL;
  }
  version = pack_version(document.section("basic")["version"].text());
  for (std::size_t i = 0; i < count; ++i) {
    std::string section;
    if (!find_group_section(document, i, section, message) ||
        !read_group(document, section, i, message)) {
      message.print();
      return DRIVER_HELPER_FAIL;
    }
  }
  return DRIVER_HELPER_OK;
}

}  // namespace

int load_group_table(const char* path, std::size_t capacity, uint16_t& count, uint32_t& version,
                     group_reader read_group) {
  if (!config_file_readable(path)) return DRIVER_HELPER_FAIL;
  try {
    return load_group_document(path, capacity, count, version, read_group);
  } catch (const std::exception&) {
    return DRIVER_HELPER_DE_CONFIG_EXCEPTION;
  }
}

}  // namespace deflash
