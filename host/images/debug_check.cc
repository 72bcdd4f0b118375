// The debug check of one converted camera mode on pictures in memory.
#include "host/images/debug_check.h"

#include <future>
#include <vector>

#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/base/result_names.h"

namespace deflash_host {
namespace {

/// Pixel formats of the debug check.
constexpr uint32_t kDebugFormat8Bit = 0;
constexpr uint32_t kDebugFormat16Bit = 2;

std::string size_text(std::uint64_t width, std::uint64_t height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

std::size_t pixel_count(const image_size& size) {
  return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
}

/// Empty when `picture` is the size of the camera it comes from, else the
/// line that says it is not.
std::string size_problem(const debug_picture& picture, const image_size& camera,
                         const char* camera_name) {
  if (!picture.given() || (picture.width == static_cast<std::uint64_t>(camera.width) &&
                           picture.height == static_cast<std::uint64_t>(camera.height))) {
    return std::string();
  }
  return picture.name + ": " + size_text(picture.width, picture.height) + " pixels, but the " +
         camera_name + " image is " + size_text(camera.width, camera.height);
}

/// Words for `pixels` samples of `bits`: 16-bit buffers stay aligned, 8-bit
/// ones use bytes.
std::size_t words_for(std::size_t pixels, int bits) {
  return bits == 16 ? pixels : (pixels + 1) / 2;
}

}  // namespace

outcome check_debug_depths(const debug_picture& left, const debug_picture& right,
                           const debug_picture& depth) {
  for (const debug_picture* ir : {&left, &right}) {
    if (ir->given() && ir->bits != 8 && ir->bits != 16) {
      return fail(status::rejected, ir->name + ": " + std::to_string(ir->bits) +
                                        "-bit picture; IR pictures are 8 or 16 bits per pixel");
    }
  }
  if (left.given() && right.given() && left.bits != right.bits) {
    return fail(status::rejected, left.name + " has " + std::to_string(left.bits) +
                                      " bits per pixel but " + right.name + " has " +
                                      std::to_string(right.bits) +
                                      "; both IR pictures must have the same depth");
  }
  if (depth.given() && depth.bits != 16) {
    return fail(status::rejected, depth.name + ": " + std::to_string(depth.bits) +
                                      "-bit picture; depth must be 16 bits per pixel");
  }
  return outcome();
}

outcome convert_for_debug_check(const calibration_inputs& inputs,
                                const calibration_source_options& source,
                                converted_geometry& geometry) {
  if (inputs.config_count() != 1) {
    return fail(status::unusable, "exactly one --config: one camera mode is checked");
  }
  // The debug check reads the records the last conversion left behind.
  uint32_t image_bytes = 0;
  get_soc_file_buffer_size(inputs.list(), &image_bytes);
  std::vector<uint8_t> image(image_bytes);
  const auto log = library_log(source.verbose);
  outcome converted;
  const int result = call_captured(converted.console, [&] {
    return gen_soc_calib_flash_param_de(inputs.list(), image.data(), log.get(),
                                        static_cast<int>(image.size()), 0, nullptr, 0);
  });
  if (result != DRIVER_HELPER_OK) {
    return converted.stop(status::rejected,
                          "calibration not converted: result " + describe_result(result));
  }
  std::string error;
  if (!read_converted_geometry(image, geometry, error)) {
    return converted.stop(status::rejected, error);
  }
  return converted;
}

outcome check_debug_sizes(const converted_geometry& geometry, const debug_picture& left,
                          const debug_picture& right, const debug_picture& depth) {
  outcome checked;
  for (const std::string& problem :
       {size_problem(left, geometry.left_source, "left IR camera's"),
        size_problem(right, geometry.right_source, "right IR camera's"),
        size_problem(depth, geometry.depth, "depth-to-colour depth")}) {
    if (!problem.empty()) return checked.stop(status::rejected, problem);
  }
  const bool with_ir = left.given() || right.given();
  for (const image_size* size : {&geometry.left_rectified, &geometry.right_rectified}) {
    if (with_ir && (size->width <= 0 || size->height <= 0)) {
      return checked.stop(status::rejected, "the rectified image is " +
                                                size_text(size->width, size->height) +
                                                " pixels: nothing to check");
    }
  }
  if (depth.given() && (geometry.rgb.width <= 0 || geometry.rgb.height <= 0)) {
    return checked.stop(status::rejected, "the RGB image of the depth-to-colour record is " +
                                              size_text(geometry.rgb.width, geometry.rgb.height) +
                                              " pixels: nothing to reproject into");
  }
  return checked;
}

outcome check_debug_pictures(const converted_geometry& geometry, const debug_picture& left,
                             const debug_picture& right, const debug_picture& depth,
                             debug_check_result& out) {
  outcome checked = check_debug_sizes(geometry, left, right, depth);
  if (!checked.ok()) return checked;
  out.geometry = geometry;

  // Pixels no rule writes keep their value: start from black.
  out.ir_bits = left.given() ? left.bits : right.bits;
  if (left.given())
    out.left.assign(words_for(pixel_count(geometry.left_rectified), out.ir_bits), 0);
  if (right.given()) {
    out.right.assign(words_for(pixel_count(geometry.right_rectified), out.ir_bits), 0);
  }
  // Left, right and depth share nothing but the records they read: each is
  // checked on a thread of its own, the three at once.
  const uint32_t ir_format = out.ir_bits == 16 ? kDebugFormat16Bit : kDebugFormat8Bit;
  std::vector<std::future<void>> running;
  running.reserve(3);
  if (left.given()) {
    running.push_back(std::async(std::launch::async, [&left, &out, ir_format] {
      check_soc_calib_debug(static_cast<const uint8_t*>(left.pixels), out.left.data(), nullptr,
                            nullptr, nullptr, nullptr, ir_format);
    }));
  }
  if (right.given()) {
    running.push_back(std::async(std::launch::async, [&right, &out, ir_format] {
      check_soc_calib_debug(nullptr, nullptr, static_cast<const uint8_t*>(right.pixels),
                            out.right.data(), nullptr, nullptr, ir_format);
    }));
  }
  if (depth.given()) {
    out.depth_in_rgb.assign(pixel_count(geometry.rgb), 0);
    check_soc_calib_debug(nullptr, nullptr, nullptr, nullptr,
                          static_cast<const uint16_t*>(depth.pixels), out.depth_in_rgb.data(),
                          kDebugFormat16Bit);
  }
  for (std::future<void>& check : running) check.get();
  return checked;
}

outcome run_debug_check(const calibration_inputs& inputs, const debug_picture& left,
                        const debug_picture& right, const debug_picture& depth,
                        const calibration_source_options& source, debug_check_result& out) {
  if (inputs.config_count() != 1) {
    return fail(status::unusable, "exactly one --config: one camera mode is checked");
  }
  if (outcome depths = check_debug_depths(left, right, depth); !depths.ok()) return depths;
  converted_geometry geometry;
  outcome done = convert_for_debug_check(inputs, source, geometry);
  if (!done.ok()) return done;
  done.append(check_debug_pictures(geometry, left, right, depth, out));
  return done;
}

}  // namespace deflash_host
