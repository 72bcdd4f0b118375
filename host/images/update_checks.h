// What an update asks of an image, held against the entries the image has
// before the library patches anything.
#ifndef DEFLASH_HOST_IMAGES_UPDATE_CHECKS_H_
#define DEFLASH_HOST_IMAGES_UPDATE_CHECKS_H_

#include <string>
#include <vector>

#include "host/base/outcome.h"
#include "host/images/image_update.h"

namespace deflash_host {

/// The fields of a depth-calculation entry an update reads or patches.
struct depth_entry {
  float baseline = 0.0f;  ///< counted in `unit`
  float focal_length = 0.0f;
  float unit = 1.0f;  ///< d2d_params_unit: mm per baseline step
};

struct update_entries {
  std::vector<depth_entry> depth;
  /// fx of each depth-to-colour entry (whole images only).
  std::vector<float> d2c_fx;
};

/// The entries of a verified image: a whole calibration image (`whole`) or
/// its depth section alone.
update_entries read_update_entries(const std::string& bytes, bool whole);

/// Values that are wrong whatever the image: a negative index, a baseline
/// that is not a number. Unusable with one line.
outcome check_update_values(const update_request& request);

/// Whether the image's `entries` can take the update, replaying the
/// library's matching of pairs and entries: rejected (one line naming
/// `image`) for what the image cannot take, unusable for a baseline no real
/// module has.
outcome check_update_fits(const update_request& request, const update_entries& entries);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMAGES_UPDATE_CHECKS_H_
