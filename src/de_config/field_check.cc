// Presence checks of INI keys shared by the depth-engine configuration loaders.
#include "de_config/field_check.h"

namespace deflash {

int check_field(const ini_document& document, const std::string& section, const std::string& key,
                loader_message& message) {
  const ini_section* fields = document.find_section(section);
  if (fields != nullptr && fields->find(key) != nullptr) return 0;
  message.format("Field %s not found in section %s", key.c_str(), section.c_str());
  return -1;
}

const ini_value& checked_value(ini_document& document, const std::string& section,
                               const std::string& key, loader_message& message) {
  check_field(document, section, key, message);
  // Find-or-insert: the document is the loader's own and dies with the call.
  return document.section(section)[key];
}

}  // namespace deflash
