// Reads the "F:B" texts of the updates into focal-length and baseline pairs.
#include "host/images/fb_pairs.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace deflash_host {

bool parse_fb_pair(const std::string& text, fb_pair& out) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  const std::string parts[2] = {text.substr(0, colon), text.substr(colon + 1)};
  float values[2];
  for (int i = 0; i < 2; ++i) {
    if (parts[i].empty()) return false;
    char* end = nullptr;
    errno = 0;
    values[i] = std::strtof(parts[i].c_str(), &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(values[i])) return false;
  }
  out = fb_pair{values[0], values[1]};
  return true;
}

outcome parse_fb_pairs(const std::vector<std::string>& texts, std::vector<fb_pair>& pairs) {
  for (const std::string& text : texts) {
    fb_pair pair;
    if (!parse_fb_pair(text, pair)) {
      return fail(status::unusable,
                  "--fb " + text + ": expected FOCAL:BASELINE, two finite numbers");
    }
    pairs.push_back(pair);
  }
  return outcome{};
}

}  // namespace deflash_host
