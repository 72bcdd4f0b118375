// Software rectification and depth-to-colour reprojection that let a host see
// what the depth engine will make of the last converted calibration.
#ifndef DEFLASH_CALIB_IMAGE_CALIB_DEBUG_CHECK_H_
#define DEFLASH_CALIB_IMAGE_CALIB_DEBUG_CHECK_H_

#include <cstdint>

#include "deflash/calib_records.h"
#include "rectify/simd_path.h"

namespace deflash {

/// Pixel size of the debug images; every other format code writes nothing.
enum class debug_pixel_format { gray8, gray16 };

/// Maps the host's format code (0: 8-bit, 2: 16-bit); false for any other code.
bool debug_pixel_format_from_code(uint32_t code, debug_pixel_format* format);

/// A row-major image read by the check. `pixels` may be unaligned.
struct debug_image_in {
  const void* pixels;
  int width;
  int height;
  debug_pixel_format format;
};

/// A row-major image written by the check; pixels no rule writes keep their value.
struct debug_image_out {
  void* pixels;
  int width;
  int height;
  debug_pixel_format format;
};

/// The values of one IR camera the rectification reads from the module's
/// rectification record.
struct debug_rectify_camera {
  DeCameraIntrinsic_S source;
  float distortion[8];  ///< k1, k2, k3, k4, k5, k6, p1, p2
  float rotation[9];    ///< row-major rectifying rotation, applied transposed
  DeCameraIntrinsic_S virtual_camera;
};

/// The values the depth-to-colour reprojection reads from the module's record.
struct debug_d2c_geometry {
  DeD2CCamera_S depth;
  DeD2CCamera_S rgb;
  float rotation[9];  ///< depth to RGB, row-major, applied as stored
  float translation[3];
};

debug_rectify_camera left_debug_camera(const soc_convert::DeStereoRectifyParams_S& rectify);
debug_rectify_camera right_debug_camera(const soc_convert::DeStereoRectifyParams_S& rectify);
debug_d2c_geometry debug_d2c(const DeCameraD2CParams_S& d2c);

/// Rectifies `source` (the IR camera's image) into `target` (the virtual
/// camera's image) in float32 with the walk of `path`. The scalar path is the
/// plain pixel-by-pixel loop; the vector paths write the same pixels with the
/// same values bit for bit, and fall back to it where they cannot run. Both
/// views must have the same pixel format and hold width × height pixels; an
/// image with no pixels writes nothing.
void rectify_debug_image_with(simd_path path, const debug_rectify_camera& camera,
                              const debug_image_in& source, const debug_image_out& target);

/// rectify_debug_image_with on the path chosen for this processor
/// (chosen_simd_path: the widest it has, or the one DEFLASH_SIMD forces).
void rectify_debug_image(const debug_rectify_camera& camera, const debug_image_in& source,
                         const debug_image_out& target);

/// Reprojects every pixel of the depth image `depth` into the RGB image
/// `target` in float32; later depth pixels overwrite earlier ones.
void reproject_debug_depth(const debug_d2c_geometry& geometry, const debug_image_in& depth,
                           const debug_image_out& target);

}  // namespace deflash

#endif  // DEFLASH_CALIB_IMAGE_CALIB_DEBUG_CHECK_H_
