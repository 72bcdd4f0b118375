// Exported baseline and focal-length updates of calibration image files.
#include <vector>

#include "calib_image/image_file.h"
#include "calib_image/image_update.h"
#include "deflash/calib_image.h"
#include "deflash/result_codes.h"
#include "frame/boundary.h"
#include "frame/clock.h"
#include "frame/log.h"

namespace deflash {
namespace {

// A file holding the depth-calculation section alone, as these updates write it.
constexpr std::size_t kDepthSectionFileBytes = kDepthSection.space;

bool paths_given(const char* in_path, const char* out_path) {
  if (in_path != nullptr && out_path != nullptr) return true;
  console_log("error: input or output file path is null\n");
  return false;
}

// Takes the depth-calculation section from a whole image or from a file
// that holds that section alone.
int read_depth_section(const char* path, depth_section_bytes* section) {
  image_file_reader file;
  const int opened = file.open(path);
  if (opened != DRIVER_HELPER_OK) return opened;
  std::size_t offset = 0;
  if (is_whole_image_size(file.size())) {
    offset = kDepthSection.offset;
  } else if (file.size() != kDepthSectionFileBytes) {
    console_log("Unknown file size.");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  return file.read(offset, section->data(), section->size());
}

int read_whole_image(const char* path, std::vector<uint8_t>* image) {
  image_file_reader file;
  const int opened = file.open(path);
  if (opened != DRIVER_HELPER_OK) return opened;
  if (!is_whole_image_size(file.size())) {
    console_log("Unknown file size.");
    return DRIVER_HELPER_INVALID_PARAM;
  }
  image->resize(file.size());
  return file.read(0, image->data(), image->size());
}

int update_baseline(const char* in_path, float baseline, const char* out_path, int index) {
  if (!paths_given(in_path, out_path)) return DRIVER_HELPER_INVALID_PARAM;
  depth_section_bytes in;
  int result = read_depth_section(in_path, &in);
  if (result != DRIVER_HELPER_OK) return result;
  depth_section_bytes out;
  result = rebuild_depth_section_with_baseline(in, baseline, index, current_time_stamp(), &out);
  if (result != DRIVER_HELPER_OK) return result;
  return write_image_file(out_path, out.data(), out.size());
}

int update_baselines(const char* in_path, const float* fb_set, int fb_count, const char* out_path) {
  if (fb_set == nullptr) return DRIVER_HELPER_INVALID_PARAM;
  if (!paths_given(in_path, out_path)) return DRIVER_HELPER_INVALID_PARAM;
  depth_section_bytes in;
  int result = read_depth_section(in_path, &in);
  if (result != DRIVER_HELPER_OK) return result;
  depth_section_bytes out;
  result =
      rebuild_depth_section_with_pairs(in, fb_pairs{fb_set, fb_count}, current_time_stamp(), &out);
  if (result != DRIVER_HELPER_OK) return result;
  return write_image_file(out_path, out.data(), out.size());
}

int update_focal_lengths(const char* in_path, const float* fb_set, int fb_count,
                         const char* out_path) {
  if (fb_set == nullptr) return DRIVER_HELPER_INVALID_PARAM;
  if (!paths_given(in_path, out_path)) return DRIVER_HELPER_INVALID_PARAM;
  std::vector<uint8_t> in;
  int result = read_whole_image(in_path, &in);
  if (result != DRIVER_HELPER_OK) return result;
  std::vector<uint8_t> out;
  result = patch_image_focal_lengths(in, fb_pairs{fb_set, fb_count}, current_time_stamp(), &out);
  if (result != DRIVER_HELPER_OK) return result;
  return write_image_file(out_path, out.data(), out.size());
}

}  // namespace
}  // namespace deflash

extern "C" int update_soc_baseline_de(const char* in_path, float baseline, const char* out_path,
                                      int index) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {}, [=] {
    return deflash::update_baseline(in_path, baseline, out_path, index);
  });
}

extern "C" int update_soc_multi_baseline_de(const char* in_path, const float* fb_set, int fb_count,
                                            const char* out_path) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {}, [=] {
    return deflash::update_baselines(in_path, fb_set, fb_count, out_path);
  });
}

extern "C" int update_soc_multi_fb_d2c_de(const char* in_path, const float* fb_set, int fb_count,
                                          const char* out_path) {
  return deflash::at_boundary(__func__, DRIVER_HELPER_FAIL, {}, [=] {
    return deflash::update_focal_lengths(in_path, fb_set, fb_count, out_path);
  });
}
