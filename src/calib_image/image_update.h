// Baseline and focal-length patches of calibration images, as pure byte
// transforms; the exports add the file reading and writing around them.
#ifndef DEFLASH_CALIB_IMAGE_IMAGE_UPDATE_H_
#define DEFLASH_CALIB_IMAGE_IMAGE_UPDATE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "calib_image/calib_image_layout.h"

namespace deflash {

/// The depth-calculation section (0x0A) as it sits in flash.
using depth_section_bytes = std::array<uint8_t, kDepthSection.space>;

/// The host's (focal length, baseline) pairs: `count` pairs of floats.
struct fb_pairs {
  const float* values;
  int count;

  float focal_length(int i) const { return values[std::ptrdiff_t{2} * i]; }
  float baseline(int i) const { return values[std::ptrdiff_t{2} * i + 1]; }
};

/// Rebuilds the depth-calculation section with `baseline` in the entry at
/// position `index`, or in every entry when `index` < 0, stamped `now`.
/// Returns 0, -2 for a corrupt section, or 4096 when the PBF register cannot
/// hold the new baseline; `*out` is complete only on 0.
int rebuild_depth_section_with_baseline(const depth_section_bytes& in, float baseline, int index,
                                        uint32_t now, depth_section_bytes* out);

/// Rebuilds the depth-calculation section giving each entry the baseline of
/// the first pair whose focal length lies within 1.0 of the entry's. Every
/// entry must find a pair (-2). Returns as above.
int rebuild_depth_section_with_pairs(const depth_section_bytes& in, fb_pairs pairs, uint32_t now,
                                     depth_section_bytes* out);

/// True for the sizes of a whole calibration image (with or without the
/// optional section).
bool is_whole_image_size(std::size_t size);

/// For each pair, patches the first depth-to-colour entry (fx, fy) and the
/// first depth-calculation entry (baseline, focal length) whose focal
/// length lies within 6.0 of the pair's; both sections are restamped `now`
/// and their CRCs recomputed. `in` is a whole image; `*out` gets the patched
/// copy, complete only when 0 is returned (else -2 or 4096).
int patch_image_focal_lengths(const std::vector<uint8_t>& in, fb_pairs pairs, uint32_t now,
                              std::vector<uint8_t>* out);

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_IMAGE_UPDATE_H_
