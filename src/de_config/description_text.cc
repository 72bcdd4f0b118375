// The 16-byte description fields that name a mode or group on the device.
#include "de_config/description_text.h"

#include <cstring>

namespace deflash {

bool copy_description(const std::string& key, const std::string& text,
                      char (&out)[kDescriptionBytes], loader_message& message) {
  if (text.size() > kDescriptionBytes) {
    message.format("%s %s is longer than 16 characters", key.c_str(), text.c_str());
    return false;
  }
  std::memset(out, 0, kDescriptionBytes);
  std::memcpy(out, text.data(), text.size());
  return true;
}

}  // namespace deflash
