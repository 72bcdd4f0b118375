// How the baseline updates match focal-length pairs and image entries: the
// windows the library uses and the host checks an update against first.
#ifndef DEFLASH_CALIB_IMAGE_UPDATE_MATCHING_H_
#define DEFLASH_CALIB_IMAGE_UPDATE_MATCHING_H_

namespace deflash {

// Entries look for their pair (update_soc_multi_baseline_de): the host
// measured the focal length of the very mode it hands a baseline for, so
// only a rounding-sized difference is allowed.
constexpr float kEntryToPairTolerance = 1.0f;

// Pairs look for entries (update_soc_multi_fb_d2c_de): a re-measured focal
// length may have moved by a few pixels from the one stored, so the window
// is wider. The difference is deliberate.
constexpr float kPairToEntryTolerance = 6.0f;

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_UPDATE_MATCHING_H_
