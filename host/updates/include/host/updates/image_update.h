// The three updates of a calibration image (baseline, baselines by focal
// length, focal length and baseline in the depth-to-colour entries), with the
// checks of the image before and after the library patches it.
#ifndef DEFLASH_HOST_UPDATES_IMAGE_UPDATE_H_
#define DEFLASH_HOST_UPDATES_IMAGE_UPDATE_H_

#include <string>
#include <vector>

#include "host/base/outcome.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

enum class update_kind { baseline, multi_baseline, fb_d2c };

struct update_request {
  update_kind kind = update_kind::baseline;
  /// Names the image in messages: its path, or a Python argument.
  std::string image_name;
  /// The image's bytes.
  std::string image;
  /// update_kind::baseline: the new baseline, and the entry to patch (all
  /// when negative).
  float baseline = 0.0f;
  int index = -1;
  /// The other kinds: "FOCAL:BASELINE" pairs as the --fb option takes them.
  std::vector<std::string> fb;
  /// The library reads and writes the image only at paths: its scratch
  /// files go into the folder of this path.
  std::string scratch_target;
};

struct update_result {
  /// The file the library wrote: the 4096-byte depth section for the
  /// baseline updates, the whole image for fb_d2c.
  std::string patched;
  /// The decoded input and the decoded patched file.
  report before;
  report after;
};

/// "F:B" into two floats; false when either is missing, not a number, not
/// finite, or followed by other text.
bool parse_fb(const std::string& text, float& focal, float& baseline);

/// Checks the values and the image (a verified calibration image, or its
/// depth section for the baseline updates), has the library patch it and
/// verifies what it wrote: unusable for a malformed value or a file of
/// another kind, rejected for an image that does not verify before or after
/// or an update the library refuses. The outcome carries the library's
/// console.
outcome update_image(const update_request& request, update_result& out);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_UPDATES_IMAGE_UPDATE_H_
