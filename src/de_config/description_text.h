// The 16-byte description fields that name a mode or group on the device.
#ifndef DEFLASH_DE_CONFIG_DESCRIPTION_TEXT_H_
#define DEFLASH_DE_CONFIG_DESCRIPTION_TEXT_H_

#include <cstddef>
#include <string>

#include "de_config/loader_message.h"

namespace deflash {

/// Bytes of a description field; a 16-character text fills it with no terminator.
constexpr std::size_t kDescriptionBytes = 16;

/// Copies `text` into `out`, zero padded, without terminator. A longer text
/// would be cut silently and could name two modes alike, so it is refused:
/// formats "%s %s is longer than 16 characters" (key, text) into `message`,
/// leaves `out` unchanged and returns false.
bool copy_description(const std::string& key, const std::string& text,
                      char (&out)[kDescriptionBytes], loader_message& message);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_DESCRIPTION_TEXT_H_
