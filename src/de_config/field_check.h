// Presence checks of INI keys shared by the depth-engine configuration loaders.
#ifndef DEFLASH_DE_CONFIG_FIELD_CHECK_H_
#define DEFLASH_DE_CONFIG_FIELD_CHECK_H_

#include <string>

#include "config/ini_reader.h"
#include "de_config/loader_message.h"

namespace deflash {

/// 0 when `section` of `document` holds `key`; otherwise formats
/// "Field %s not found in section %s" (key, section) into `message` and
/// returns -1. Never prints and never changes the document.
int check_field(const ini_document& document, const std::string& section, const std::string& key,
                loader_message& message);

/// The value of `key` after a field check. A missing key leaves its message
/// in `message` and reads as empty text, which every typed conversion and
/// brace list rejects: that is how a required key fails.
const ini_value& checked_value(ini_document& document, const std::string& section,
                               const std::string& key, loader_message& message);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_FIELD_CHECK_H_
