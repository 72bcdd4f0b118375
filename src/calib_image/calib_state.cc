// Calibration-chain module state and the image buffer-size query.
#include "calib_image/calib_state.h"

#include "calib_image/calib_image_layout.h"
#include "deflash/frame.h"
#include "frame/boundary.h"

namespace deflash {
namespace {
calib_image_state g_calib_image{};
}  // namespace

calib_image_state& module_calib_image() { return g_calib_image; }

}  // namespace deflash

extern "C" void get_soc_file_buffer_size(const SocCalibFlashInput_S* inputs, uint32_t* size) {
  deflash::at_boundary(__func__, {}, [=] {
    const bool requested = inputs != nullptr && inputs->optional_section != nullptr &&
                           inputs->optional_section[0] != '\0';
    const bool enabled = deflash::module_calib_image().d2c.optional_section_flag != 0;
    *size = static_cast<uint32_t>((enabled && requested) ? deflash::kCalibImageWithOptionalBytes
                                                         : deflash::kCalibImageBytes);
  });
}
