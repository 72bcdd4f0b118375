// Exported debug check over the module's last rectification and depth-to-colour records.
#include "calib_image/calib_debug_check.h"
#include "calib_image/calib_state.h"
#include "deflash/calib_image.h"
#include "frame/boundary.h"

namespace {

deflash::debug_image_in image_in(const void* pixels, int width, int height,
                                 deflash::debug_pixel_format format) {
  return {pixels, width, height, format};
}

deflash::debug_image_out image_out(void* pixels, int width, int height,
                                   deflash::debug_pixel_format format) {
  return {pixels, width, height, format};
}

// Rectifies the IR pair and reprojects the depth image over the module's
// last records; each pair of buffers runs only when both are given.
void run_debug_check(const uint8_t* left_in, uint16_t* left_out, const uint8_t* right_in,
                     uint16_t* right_out, const uint16_t* depth_in, uint16_t* depth_out,
                     deflash::debug_pixel_format pixel) {
  using namespace deflash;
  const calib_image_state& state = module_calib_image();
  const soc_convert::DeStereoRectifyParams_S& rectify = state.rectify;
  if (left_in != nullptr && left_out != nullptr) {
    rectify_debug_image(
        left_debug_camera(rectify),
        image_in(left_in, rectify.intrinsic_L.width, rectify.intrinsic_L.height, pixel),
        image_out(left_out, rectify.virtual_L.width, rectify.virtual_L.height, pixel));
  }
  if (right_in != nullptr && right_out != nullptr) {
    rectify_debug_image(
        right_debug_camera(rectify),
        image_in(right_in, rectify.intrinsic_R.width, rectify.intrinsic_R.height, pixel),
        image_out(right_out, rectify.virtual_R.width, rectify.virtual_R.height, pixel));
  }
  if (depth_in != nullptr && depth_out != nullptr) {
    const DeCameraD2CParams_S& d2c = state.d2c;
    reproject_debug_depth(debug_d2c(d2c),
                          image_in(depth_in, d2c.depth.width, d2c.depth.height, pixel),
                          image_out(depth_out, d2c.rgb.width, d2c.rgb.height, pixel));
  }
}

}  // namespace

extern "C" void check_soc_calib_debug(const uint8_t* left_in, uint16_t* left_out,
                                      const uint8_t* right_in, uint16_t* right_out,
                                      const uint16_t* depth_in, uint16_t* depth_out,
                                      uint32_t format) {
  deflash::at_boundary(__func__, {}, [=] {
    deflash::debug_pixel_format pixel;
    if (!deflash::debug_pixel_format_from_code(format, &pixel)) return;
    run_debug_check(left_in, left_out, right_in, right_out, depth_in, depth_out, pixel);
  });
}
