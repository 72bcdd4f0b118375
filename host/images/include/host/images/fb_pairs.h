// The focal-length and baseline pairs of the updates, read from the "F:B"
// texts that `--fb` and Python's pairs give.
#ifndef DEFLASH_HOST_IMAGES_FB_PAIRS_H_
#define DEFLASH_HOST_IMAGES_FB_PAIRS_H_

#include <string>
#include <vector>

#include "host/base/outcome.h"
#include "host/images/image_update.h"

namespace deflash_host {

/// "F:B" into a pair; false when either is missing, not a number, not
/// finite, or followed by other text.
bool parse_fb_pair(const std::string& text, fb_pair& out);

/// Appends the pair of each text to `pairs`, in order. Unusable, naming the
/// first text that is no pair ("--fb T: expected FOCAL:BASELINE, two finite
/// numbers"): the tool's option and Python's pairs are refused alike.
outcome parse_fb_pairs(const std::vector<std::string>& texts, std::vector<fb_pair>& pairs);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMAGES_FB_PAIRS_H_
