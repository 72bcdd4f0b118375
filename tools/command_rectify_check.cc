// `deflash rectify-check`: converts one camera mode, then rectifies a left and
// right IR picture and reprojects a depth picture into the RGB camera with the
// library's debug check, so an engineer can see whether the rows line up.
#include <cstdio>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "calibration_options.h"
#include "commands.h"
#include "deflash.h"
#include "host/base/result_names.h"
#include "host/files/file_io.h"
#include "host/files/gray_image.h"
#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"
#include "host/images/converted_geometry.h"

namespace deflash_cli {
namespace {

/// Rows between two horizontal guide lines of the side-by-side picture: a
/// point and its match must sit between the same pair of lines.
constexpr int kGuideLineSpacing = 40;

/// Pixel formats of the debug check.
constexpr uint32_t kDebugFormat8Bit = 0;
constexpr uint32_t kDebugFormat16Bit = 2;

constexpr const char* kLeftName = "left_rectified.png";
constexpr const char* kRightName = "right_rectified.png";
constexpr const char* kSideBySideName = "side_by_side.png";
constexpr const char* kDepthName = "depth_in_rgb.png";

struct rectify_check_options {
  calibration_source_options source;
  std::string left;
  std::string right;
  std::string depth;
  std::string out_dir;
  output_options output;
};

/// A picture read and decoded, or the exit status and the line that say why not.
struct loaded_picture {
  int status = kExitOk;
  std::string error;
  gray_image image;
};

loaded_picture load_picture(const std::string& path) {
  loaded_picture picture;
  std::string bytes;
  if (!read_file_bytes(path, bytes, picture.error, kMaxPictureInputBytes)) {
    picture.status = kExitUsage;
    return picture;
  }
  switch (decode_gray_image(path, bytes, picture.image, picture.error)) {
    case picture_status::ok:
      break;
    case picture_status::unknown:
      picture.status = kExitUsage;
      break;
    case picture_status::rejected:
      picture.status = kExitFailure;
      break;
  }
  return picture;
}

/// Reads and decodes the pictures on threads of their own (decompression is
/// much of what the command does) and reports the first that fails, in the
/// order given; returns kExitOk or that failure's status.
int load_pictures(const std::vector<std::pair<const std::string*, gray_image*>>& pictures) {
  std::vector<std::future<loaded_picture>> running;
  running.reserve(pictures.size());
  for (const auto& picture : pictures) {
    running.push_back(std::async(std::launch::async, load_picture, *picture.first));
  }
  std::vector<loaded_picture> loaded;
  loaded.reserve(running.size());
  for (std::future<loaded_picture>& picture : running) loaded.push_back(picture.get());
  for (std::size_t i = 0; i < loaded.size(); ++i) {
    if (loaded[i].status != kExitOk) return report_failure(loaded[i].status, loaded[i].error);
    *pictures[i].second = std::move(loaded[i].image);
  }
  return kExitOk;
}

std::string size_text(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

/// One line when `image` is not the size of the camera it comes from.
int check_size(const std::string& path, const gray_image& image, const image_size& camera,
               const char* camera_name) {
  if (image.width == camera.width && image.height == camera.height) return kExitOk;
  return report_failure(kExitFailure, path + ": " + size_text(image.width, image.height) +
                                          " pixels, but the " + camera_name + " image is " +
                                          size_text(camera.width, camera.height));
}

/// The picture's pixels as the debug check addresses them: bytes for
/// 8-bit pictures, 16-bit words for 16-bit ones.
std::vector<uint8_t> check_bytes(const gray_image& image) {
  std::vector<uint8_t> bytes;
  if (image.bits == 8) {
    bytes.assign(image.pixels.begin(), image.pixels.end());
  } else {
    bytes.resize(image.pixels.size() * 2);
    std::memcpy(bytes.data(), image.pixels.data(), bytes.size());
  }
  return bytes;
}

gray_image from_check_bytes(const std::vector<uint8_t>& bytes, const image_size& size, int bits) {
  gray_image image;
  image.width = size.width;
  image.height = size.height;
  image.bits = bits;
  image.pixels.resize(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
  if (bits == 8) {
    image.pixels.assign(bytes.begin(),
                        bytes.begin() + static_cast<std::ptrdiff_t>(image.pixels.size()));
  } else {
    std::memcpy(image.pixels.data(), bytes.data(), image.pixels.size() * 2);
  }
  return image;
}

std::size_t pixel_count(const image_size& size) {
  return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
}

/// Left and right next to each other, a full-scale line every
/// kGuideLineSpacing rows across both.
gray_image side_by_side(const gray_image& left, const gray_image& right) {
  gray_image both;
  both.width = left.width + right.width;
  both.height = left.height > right.height ? left.height : right.height;
  both.bits = left.bits;
  both.pixels.assign(static_cast<std::size_t>(both.width) * static_cast<std::size_t>(both.height),
                     0);
  const uint16_t line = left.bits == 16 ? 0xFFFF : 0xFF;
  for (int y = 0; y < both.height; ++y) {
    uint16_t* row = both.pixels.data() + static_cast<std::size_t>(y) * both.width;
    for (int x = 0; x < left.width && y < left.height; ++x) {
      row[x] = left.pixels[static_cast<std::size_t>(y) * left.width + x];
    }
    for (int x = 0; x < right.width && y < right.height; ++x) {
      row[left.width + x] = right.pixels[static_cast<std::size_t>(y) * right.width + x];
    }
    if (y % kGuideLineSpacing == 0) {
      for (int x = 0; x < both.width; ++x) row[x] = line;
    }
  }
  return both;
}

std::string output_path(const std::string& dir, const char* name) {
  if (dir.empty()) return name;
  const char last = dir.back();
  return (last == '/' || last == '\\') ? dir + name : dir + "/" + name;
}

int run_rectify_check(const rectify_check_options& options) {
  if (options.source.configs.size() != 1) {
    return report_failure(kExitUsage,
                          "rectify-check takes exactly one --config: one camera mode is checked");
  }
  calibration_inputs inputs;
  if (const int status = show(inputs.load(options.source), options.source.level());
      status != kExitOk) {
    return status;
  }

  gray_image left;
  gray_image right;
  gray_image depth;
  const bool with_depth = !options.depth.empty();
  std::vector<std::pair<const std::string*, gray_image*>> to_load{{&options.left, &left},
                                                                  {&options.right, &right}};
  if (with_depth) to_load.emplace_back(&options.depth, &depth);
  if (const int status = load_pictures(to_load); status != kExitOk) return status;
  if (left.bits != right.bits) {
    return report_failure(kExitFailure, options.left + " has " + std::to_string(left.bits) +
                                            " bits per pixel but " + options.right + " has " +
                                            std::to_string(right.bits) +
                                            "; both IR pictures must have the same depth");
  }
  if (with_depth && depth.bits != 16) {
    return report_failure(kExitFailure,
                          options.depth + ": 8-bit picture; depth must be 16 bits per pixel");
  }

  // The debug check reads the records the last conversion left behind.
  uint32_t image_size_bytes = 0;
  get_soc_file_buffer_size(inputs.list(), &image_size_bytes);
  std::vector<uint8_t> image(image_size_bytes);
  const auto log = library_log(options.source.verbose);
  outcome converted;
  const int result = call_captured(converted.console, [&] {
    return gen_soc_calib_flash_param_de(inputs.list(), image.data(), log.get(),
                                        static_cast<int>(image.size()), 0, nullptr, 0);
  });
  show(converted, options.source.level());
  if (result != DRIVER_HELPER_OK) {
    return report_failure(kExitFailure,
                          "calibration not converted: result " + describe_result(result));
  }
  converted_geometry geometry;
  std::string error;
  if (!read_converted_geometry(image, geometry, error)) return report_failure(kExitFailure, error);

  if (const int status = check_size(options.left, left, geometry.left_source, "left IR camera's");
      status != kExitOk) {
    return status;
  }
  if (const int status =
          check_size(options.right, right, geometry.right_source, "right IR camera's");
      status != kExitOk) {
    return status;
  }
  if (with_depth) {
    if (const int status =
            check_size(options.depth, depth, geometry.depth, "depth-to-colour depth");
        status != kExitOk) {
      return status;
    }
  }
  for (const image_size* size : {&geometry.left_rectified, &geometry.right_rectified}) {
    if (size->width <= 0 || size->height <= 0) {
      return report_failure(kExitFailure, "the rectified image is " +
                                              size_text(size->width, size->height) +
                                              " pixels: nothing to check");
    }
  }

  const std::size_t sample_bytes = left.bits == 16 ? 2 : 1;
  const std::vector<uint8_t> left_in = check_bytes(left);
  const std::vector<uint8_t> right_in = check_bytes(right);
  // Pixels no rule writes keep their value: start from black. The buffers
  // are uint16_t so that 16-bit pictures are aligned; 8-bit ones use bytes.
  std::vector<uint16_t> left_out((pixel_count(geometry.left_rectified) * sample_bytes + 1) / 2, 0);
  std::vector<uint16_t> right_out((pixel_count(geometry.right_rectified) * sample_bytes + 1) / 2,
                                  0);
  check_soc_calib_debug(left_in.data(), left_out.data(), right_in.data(), right_out.data(), nullptr,
                        nullptr, sample_bytes == 2 ? kDebugFormat16Bit : kDebugFormat8Bit);
  const auto as_bytes = [](const std::vector<uint16_t>& words, std::size_t count) {
    std::vector<uint8_t> bytes(count);
    std::memcpy(bytes.data(), words.data(), count);
    return bytes;
  };
  gray_image left_rect =
      from_check_bytes(as_bytes(left_out, pixel_count(geometry.left_rectified) * sample_bytes),
                       geometry.left_rectified, left.bits);
  gray_image right_rect =
      from_check_bytes(as_bytes(right_out, pixel_count(geometry.right_rectified) * sample_bytes),
                       geometry.right_rectified, left.bits);

  gray_image both = side_by_side(left_rect, right_rect);
  std::vector<std::pair<const char*, gray_image>> pictures;
  pictures.emplace_back(kLeftName, std::move(left_rect));
  pictures.emplace_back(kRightName, std::move(right_rect));
  pictures.emplace_back(kSideBySideName, std::move(both));
  if (with_depth) {
    if (geometry.rgb.width <= 0 || geometry.rgb.height <= 0) {
      return report_failure(kExitFailure, "the RGB image of the depth-to-colour record is " +
                                              size_text(geometry.rgb.width, geometry.rgb.height) +
                                              " pixels: nothing to reproject into");
    }
    std::vector<uint16_t> depth_out(pixel_count(geometry.rgb), 0);
    check_soc_calib_debug(nullptr, nullptr, nullptr, nullptr, depth.pixels.data(), depth_out.data(),
                          kDebugFormat16Bit);
    gray_image in_rgb;
    in_rgb.width = geometry.rgb.width;
    in_rgb.height = geometry.rgb.height;
    in_rgb.bits = 16;
    in_rgb.pixels = std::move(depth_out);
    pictures.emplace_back(kDepthName, std::move(in_rgb));
  }

  std::vector<const gray_image*> images;
  images.reserve(pictures.size());
  for (const auto& picture : pictures) images.push_back(&picture.second);
  std::vector<png_encoding> encodings = encode_pngs(images);
  std::vector<output_file> outputs;
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    const std::string path = output_path(options.out_dir, pictures[i].first);
    if (!encodings[i].encoded) return report_failure(kExitUsage, path + ": " + encodings[i].error);
    outputs.push_back({path, std::move(encodings[i].png)});
  }
  std::vector<std::string> input_files = inputs.input_files();
  input_files.push_back(options.left);
  input_files.push_back(options.right);
  if (with_depth) input_files.push_back(options.depth);
  if (!write_outputs(input_files, outputs, options.output, error)) {
    return report_failure(kExitUsage, error);
  }
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    const gray_image& picture = pictures[i].second;
    std::printf("wrote %s (%s, %d-bit)\n", outputs[i].path.c_str(),
                size_text(picture.width, picture.height).c_str(), picture.bits);
  }
  return kExitOk;
}

}  // namespace

void add_rectify_check_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<rectify_check_options>();
  CLI::App* command = app.add_subcommand(
      "rectify-check",
      "Rectify a left/right IR picture pair (and reproject a depth picture into the RGB camera) "
      "with one camera mode's calibration, as PNG pictures");
  add_calibration_source_options(*command, options->source);
  command->add_option("--left", options->left, "Left IR picture: 8- or 16-bit PNG or PGM (P5)")
      ->required();
  command->add_option("--right", options->right, "Right IR picture, same bit depth as --left")
      ->required();
  command->add_option("--depth", options->depth,
                      "Depth picture (16-bit PNG or PGM) of the depth camera, to reproject "
                      "into the RGB camera");
  command
      ->add_option("--out-dir", options->out_dir,
                   "Folder for left_rectified.png, right_rectified.png, side_by_side.png and "
                   "depth_in_rgb.png")
      ->required();
  add_force_option(*command, options->output);
  command->callback([options, &exit_code] { exit_code = run_rectify_check(*options); });
}

}  // namespace deflash_cli
