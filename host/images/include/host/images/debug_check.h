// The library's software debug check of one camera mode, on pictures held in
// memory: the left and right IR pictures rectified, a depth picture
// reprojected into the RGB camera, each picture checked against the size of
// its camera first.
#ifndef DEFLASH_HOST_IMAGES_DEBUG_CHECK_H_
#define DEFLASH_HOST_IMAGES_DEBUG_CHECK_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/base/outcome.h"
#include "host/images/calibration_inputs.h"
#include "host/images/converted_geometry.h"

namespace deflash_host {

/// One input picture: row-major, one byte a pixel at 8 bits, one 16-bit
/// word a pixel (host order) at 16 bits.
struct debug_picture {
  /// Names the picture in messages: a file path, a Python argument.
  std::string name;
  /// Null when the picture is not given.
  const void* pixels = nullptr;
  std::uint64_t width = 0;
  std::uint64_t height = 0;
  int bits = 8;

  bool given() const { return pixels != nullptr; }
};

/// What the check wrote: rectified left and right pictures at the IR
/// pictures' depth (bytes packed into the words at 8 bits), and the depth
/// picture in the RGB camera; each empty when its input was not given.
struct debug_check_result {
  converted_geometry geometry;
  int ir_bits = 8;
  std::vector<std::uint16_t> left;
  std::vector<std::uint16_t> right;
  std::vector<std::uint16_t> depth_in_rgb;
};

/// Converts the one camera mode of `inputs` (the check reads the records of
/// the last conversion), then rectifies `left` and `right` (8 or 16 bits,
/// both alike) and reprojects `depth` (16 bits): rejected, with the line
/// saying why, for a picture of the wrong depth or of another size than its
/// camera's, or a conversion the library refuses. The three steps below, in
/// order.
outcome run_debug_check(const calibration_inputs& inputs, const debug_picture& left,
                        const debug_picture& right, const debug_picture& depth,
                        const calibration_source_options& source, debug_check_result& out);

/// Rejected, with the line, unless the IR pictures given are 8 or 16 bits
/// alike and the depth picture 16 bits.
outcome check_debug_depths(const debug_picture& left, const debug_picture& right,
                           const debug_picture& depth);

/// Converts the one camera mode of `inputs` and reads back the sizes the
/// check needs; the check then reads the records this conversion left behind.
/// Needs no picture: a command can decode its pictures meanwhile.
outcome convert_for_debug_check(const calibration_inputs& inputs,
                                const calibration_source_options& source,
                                converted_geometry& geometry);

/// Rejected, with the line, unless each picture given is the size of its
/// camera in `geometry` and there is a rectified (IR) or RGB (depth) image
/// to write into.
outcome check_debug_sizes(const converted_geometry& geometry, const debug_picture& left,
                          const debug_picture& right, const debug_picture& depth);

/// Checks the pictures (depths already checked) against the sizes of
/// `geometry`, the last conversion's, then runs the library's check. The
/// pictures given are each checked on a thread of their own; calls for
/// different pictures may run at once.
outcome check_debug_pictures(const converted_geometry& geometry, const debug_picture& left,
                             const debug_picture& right, const debug_picture& depth,
                             debug_check_result& out);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_IMAGES_DEBUG_CHECK_H_
