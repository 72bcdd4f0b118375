// The baseline and focal-length updates of an existing calibration image, in
// memory: checked against the image's entries, patched by the library,
// verified as `inspect` verifies, with every field before and after.
#ifndef DEFLASH_HOST_IMAGES_IMAGE_UPDATE_H_
#define DEFLASH_HOST_IMAGES_IMAGE_UPDATE_H_

#include <optional>
#include <string>
#include <vector>

#include "host/base/outcome.h"
#include "host/inspection/inspect.h"

namespace deflash_host {

enum class update_kind {
  /// One baseline for one depth-calculation entry or all of them; writes the
  /// 4096-byte depth section.
  baseline,
  /// A baseline per focal length for every depth-calculation entry; writes
  /// the depth section.
  multi_baseline,
  /// Focal length and baseline in the depth-to-colour and depth-calculation
  /// entries; writes the whole image.
  fb_d2c,
};

/// A focal length (pixels) and the baseline for the entries of that focal
/// length, as `--fb F:B` gives them (read by host/images/fb_pairs.h).
struct fb_pair {
  float focal_length = 0.0f;
  float baseline = 0.0f;
};

/// Baselines a real stereo module has, in mm, by magnitude: closer than
/// 1 mm the pair sees no disparity; wider than a metre it is no module. The
/// baseline an entry stores is counted in its d2d_params_unit, so a value
/// is held to this range as value x unit. Inside it the PBF register
/// (1 / (baseline x focal length), 32 bits with 40 fraction bits) keeps at
/// least 14 significant bits for any focal length up to 65535 pixels.
constexpr double kMinModuleBaselineMm = 1.0;
constexpr double kMaxModuleBaselineMm = 1000.0;

struct update_request {
  update_kind kind = update_kind::baseline;
  /// The image file to patch; it is never modified.
  std::string image;
  /// update_kind::baseline: the new baseline, and the one entry to patch
  /// (none: every entry).
  float baseline = 0.0f;
  std::optional<int> index;
  /// update_kind::multi_baseline and fb_d2c.
  std::vector<fb_pair> pairs;
  /// The library writes its result to a file only: a scratch file goes into
  /// the folder of this path (the output), or into the temporary folder when
  /// it is empty (a dry run).
  std::string scratch_beside;
};

struct update_result {
  /// What the update produced: the depth section alone, or the whole image.
  std::string bytes;
  /// Its kind as `inspect` names it ("depth-section", "calibration").
  std::string kind;
  /// Every field that differs between the input and the result, also when
  /// the result does not verify.
  std::vector<difference> changes;
};

/// Runs the update of `request`: unusable for a value no real module has
/// (a negative index, a baseline outside the module range) and for an input
/// that cannot be read or is not an image the update takes; rejected for an
/// image that does not verify, that cannot take the update (no entries, an
/// index beyond them, a focal length that is no number, a baseline of the
/// other sign, a pair that matches no entry), that the library refuses, or
/// whose result does not verify. Never prints.
outcome update_image(const update_request& request, update_result& out);

/// Reads back the file at `path` that was written with `bytes` and checks
/// it as `inspect` would: rejected when it differs or does not verify.
/// Sets `kind` to the file's kind.
outcome check_written_image(const std::string& path, const std::string& bytes, std::string& kind);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMAGES_IMAGE_UPDATE_H_
