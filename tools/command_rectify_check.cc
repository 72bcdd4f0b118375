// `deflash rectify-check`: converts one camera mode, then rectifies a left and
// right IR picture and reprojects a depth picture into the RGB camera with the
// library's debug check, measures how far apart the rows of matched points
// are, and passes or fails the mode on that.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "calibration_options.h"
#include "commands.h"
#include "host/files/file_io.h"
#include "host/files/gray_image.h"
#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"
#include "host/images/converted_geometry.h"
#include "host/images/debug_check.h"
#include "host/measure/depth_overlay.h"
#include "host/measure/error_picture.h"
#include "host/measure/row_error.h"
#include "rectify_check_json.h"

namespace deflash_cli {
namespace {

/// Rows between two horizontal guide lines of the side-by-side picture: a
/// point and its match must sit between the same pair of lines.
constexpr int kGuideLineSpacing = 40;

constexpr const char* kLeftName = "left_rectified.png";
constexpr const char* kRightName = "right_rectified.png";
constexpr const char* kSideBySideName = "side_by_side.png";
constexpr const char* kRowErrorName = "row_error.png";
constexpr const char* kDepthName = "depth_in_rgb.png";
constexpr const char* kDepthOverRgbName = "depth_over_rgb.png";

struct rectify_check_options {
  calibration_source_options source;
  std::string left;
  std::string right;
  std::string depth;
  std::string rgb;
  std::string out_dir;
  double max_row_error = kDefaultMaxRowError;
  bool json = false;
  output_options output;
};

/// The pictures the command was given, decoded.
struct input_pictures {
  gray_image left;
  gray_image right;
  gray_image depth;
  colour_image rgb;
};

/// A picture read and decoded, or the exit status and the line that say why not.
struct loaded_picture {
  int status = kExitOk;
  std::string error;
  gray_image gray;
  colour_image colour;
};

/// Reads and decodes one picture, grey or (the RGB camera's) colour.
loaded_picture load_picture(const std::string& path, bool colour) {
  loaded_picture picture;
  std::string bytes;
  if (!read_file_bytes(path, bytes, picture.error, kMaxPictureInputBytes)) {
    picture.status = kExitUsage;
    return picture;
  }
  const picture_status decoded = colour
                                     ? decode_colour_png(path, bytes, picture.colour, picture.error)
                                     : decode_gray_image(path, bytes, picture.gray, picture.error);
  switch (decoded) {
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

/// Starts reading and decoding the pictures given, each on a thread of its
/// own (decompression is much of what the command does), in the order left,
/// right, depth, RGB.
std::vector<std::future<loaded_picture>> start_loading(const rectify_check_options& options) {
  const std::vector<std::pair<const std::string*, bool>> paths{{&options.left, false},
                                                               {&options.right, false},
                                                               {&options.depth, false},
                                                               {&options.rgb, true}};
  std::vector<std::future<loaded_picture>> running;
  running.reserve(paths.size());
  for (const auto& [path, colour] : paths) {
    if (path->empty()) continue;
    running.push_back(std::async(std::launch::async, load_picture, *path, colour));
  }
  return running;
}

/// The pictures start_loading read, or the first that failed in its order
/// reported: kExitOk or its status.
int take_pictures(const rectify_check_options& options,
                  std::vector<std::future<loaded_picture>>& running, input_pictures& pictures) {
  std::vector<loaded_picture> loaded;
  loaded.reserve(running.size());
  for (std::future<loaded_picture>& picture : running) loaded.push_back(picture.get());
  for (const loaded_picture& picture : loaded) {
    if (picture.status != kExitOk) return report_failure(picture.status, picture.error);
  }
  std::size_t next = 0;
  pictures.left = std::move(loaded[next++].gray);
  pictures.right = std::move(loaded[next++].gray);
  if (!options.depth.empty()) pictures.depth = std::move(loaded[next++].gray);
  if (!options.rgb.empty()) pictures.rgb = std::move(loaded[next].colour);
  return kExitOk;
}

/// The options the command can refuse before reading a file.
int check_options(const rectify_check_options& options) {
  if (options.source.configs.size() != 1) {
    return report_failure(kExitUsage,
                          "rectify-check takes exactly one --config: one camera mode is checked");
  }
  if (!(options.max_row_error > 0.0) || !std::isfinite(options.max_row_error)) {
    return report_failure(kExitUsage, "--max-row-error must be a positive number of pixels");
  }
  if (!options.rgb.empty() && options.depth.empty()) {
    return report_failure(kExitUsage,
                          "--rgb needs --depth: the depth reprojected into the RGB camera is what "
                          "is laid over the colour picture");
  }
  return kExitOk;
}

std::string size_text(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

/// A picture as the debug check reads it: bytes for 8-bit pictures (copied
/// into `bytes`), 16-bit words for 16-bit ones.
debug_picture debug_input(const std::string& name, const gray_image& image,
                          std::vector<uint8_t>& bytes) {
  debug_picture picture;
  if (name.empty()) return picture;
  picture.name = name;
  picture.width = static_cast<std::uint64_t>(image.width);
  picture.height = static_cast<std::uint64_t>(image.height);
  picture.bits = image.bits;
  if (image.bits == 8) {
    bytes.assign(image.pixels.begin(), image.pixels.end());
    picture.pixels = bytes.data();
  } else {
    picture.pixels = image.pixels.data();
  }
  return picture;
}

/// A picture the debug check wrote, back as a picture: bytes packed into the
/// words at 8 bits; 16-bit words are taken over as they are.
gray_image from_check_words(std::vector<uint16_t>&& words, const image_size& size, int bits) {
  gray_image image;
  image.width = size.width;
  image.height = size.height;
  image.bits = bits;
  const std::size_t count =
      static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  if (bits == 16) {
    image.pixels = std::move(words);
    image.pixels.resize(count);
    return image;
  }
  const auto* bytes = reinterpret_cast<const uint8_t*>(words.data());
  image.pixels.assign(bytes, bytes + count);
  return image;
}

/// The pictures as the debug check takes them, with the bytes of 8-bit ones.
struct check_inputs {
  std::vector<uint8_t> left_bytes;
  std::vector<uint8_t> right_bytes;
  std::vector<uint8_t> depth_bytes;
  debug_picture left;
  debug_picture right;
  debug_picture depth;
};

/// Everything the debug check can refuse, in the order a check in one step
/// reports it (a picture's depth, the conversion that ran while the pictures
/// were decoded, a picture's size), then the colour picture's size: kExitOk or
/// the failure after its line.
int check_pictures_fit(const outcome& conversion, const converted_geometry& converted,
                       const rectify_check_options& options, const input_pictures& pictures,
                       check_inputs& check) {
  check.left = debug_input(options.left, pictures.left, check.left_bytes);
  check.right = debug_input(options.right, pictures.right, check.right_bytes);
  check.depth = debug_input(options.depth, pictures.depth, check.depth_bytes);
  outcome ran = check_debug_depths(check.left, check.right, check.depth);
  if (ran.ok()) {
    ran = conversion;
    if (ran.ok()) ran.append(check_debug_sizes(converted, check.left, check.right, check.depth));
  }
  if (const int status = show(ran, options.source.level()); status != kExitOk) return status;
  if (!options.rgb.empty() &&
      (pictures.rgb.width != converted.rgb.width || pictures.rgb.height != converted.rgb.height)) {
    return report_failure(kExitFailure, options.rgb + ": " +
                                            size_text(pictures.rgb.width, pictures.rgb.height) +
                                            " pixels, but the depth-to-colour RGB image is " +
                                            size_text(converted.rgb.width, converted.rgb.height));
  }
  return kExitOk;
}

/// Left and right next to each other, a full-scale line every
/// kGuideLineSpacing rows across both.
gray_image side_by_side(const gray_image& left, const gray_image& right) {
  gray_image both;
  both.width = left.width + right.width;
  both.height = left.height > right.height ? left.height : right.height;
  both.bits = left.bits;
  const auto width = static_cast<std::size_t>(both.width);
  both.pixels.resize(width * static_cast<std::size_t>(both.height));
  const uint16_t line = left.bits == 16 ? 0xFFFF : 0xFF;
  // Row `y` of `picture` into `out`, 0 below its last row.
  const auto copy_row = [](const gray_image& picture, int y, uint16_t* out) {
    const auto side = static_cast<std::size_t>(picture.width);
    if (y < picture.height) {
      const uint16_t* row = picture.pixels.data() + static_cast<std::size_t>(y) * side;
      std::copy(row, row + side, out);
    } else {
      std::fill(out, out + side, uint16_t{0});
    }
  };
  for (int y = 0; y < both.height; ++y) {
    uint16_t* row = both.pixels.data() + static_cast<std::size_t>(y) * width;
    if (y % kGuideLineSpacing == 0) {
      std::fill(row, row + width, line);
      continue;
    }
    copy_row(left, y, row);
    copy_row(right, y, row + left.width);
  }
  return both;
}

gray_view view_of(const gray_image& image) {
  return {image.width, image.height, image.pixels.data()};
}

colour_image colour_of(rgb_picture picture) {
  colour_image image;
  image.width = picture.width;
  image.height = picture.height;
  image.rgb = std::move(picture.rgb);
  return image;
}

/// One picture the command writes: its name in the folder and the picture,
/// grey or colour.
struct output_picture {
  const char* name = nullptr;
  gray_image gray;
  colour_image colour;
  bool is_colour = false;

  /// What the "wrote" line says of it.
  std::string description() const {
    if (is_colour) return size_text(colour.width, colour.height) + ", 8-bit RGB";
    return size_text(gray.width, gray.height) + ", " + std::to_string(gray.bits) + "-bit";
  }
};

output_picture grey_output(const char* name, gray_image picture) {
  output_picture out;
  out.name = name;
  out.gray = std::move(picture);
  return out;
}

output_picture colour_output(const char* name, rgb_picture picture) {
  output_picture out;
  out.name = name;
  out.colour = colour_of(std::move(picture));
  out.is_colour = true;
  return out;
}

/// A picture the command writes and its PNG.
struct written_picture {
  output_picture picture;
  png_encoding png;
};

/// Pictures to write, each compressed on a thread of its own from the
/// moment it is added: compression is most of what the command does, and
/// the pictures share nothing.
class picture_batch {
 public:
  picture_batch() = default;
  picture_batch(const picture_batch&) = delete;
  picture_batch& operator=(const picture_batch&) = delete;

  /// The picture added, for what is drawn from it.
  const output_picture& add(output_picture picture) {
    pictures_.push_back(std::move(picture));
    const output_picture& added = pictures_.back();
    encodings_.push_back(std::async(std::launch::async, [&added] {
      png_encoding encoding;
      encoding.encoded = added.is_colour
                             ? encode_colour_png(added.colour, encoding.png, encoding.error)
                             : encode_png(added.gray, encoding.png, encoding.error);
      return encoding;
    }));
    return added;
  }

  /// Waits for every picture's PNG; get() passes on what a thread threw
  /// (std::bad_alloc) after the earlier ones were waited for.
  std::vector<written_picture> finish() {
    std::vector<written_picture> written;
    written.reserve(pictures_.size());
    for (std::size_t i = 0; i < pictures_.size(); ++i) {
      png_encoding png = encodings_[i].get();
      written.push_back({std::move(pictures_[i]), std::move(png)});
    }
    return written;
  }

 private:
  // Declared first, destroyed last: an unfinished batch waits for its
  // threads (the futures' destructors) before the pictures they read go.
  std::deque<output_picture> pictures_;
  std::vector<std::future<png_encoding>> encodings_;
};

/// The depth picture reprojected into the RGB camera and, with a colour
/// picture, laid over it; compressed. The work that runs beside the IR pair's.
std::vector<written_picture> depth_pictures(const converted_geometry& converted,
                                            const debug_picture& depth, colour_image rgb) {
  debug_check_result result;
  // The sizes were checked before: the check has nothing left to refuse.
  (void)check_debug_pictures(converted, debug_picture{}, debug_picture{}, depth, result);
  picture_batch batch;
  const output_picture& in_rgb = batch.add(
      grey_output(kDepthName, from_check_words(std::move(result.depth_in_rgb), converted.rgb, 16)));
  if (!rgb.rgb.empty()) {
    rgb_picture photo;
    photo.width = rgb.width;
    photo.height = rgb.height;
    photo.rgb = std::move(rgb.rgb);
    batch.add(colour_output(kDepthOverRgbName, overlay_depth(photo, view_of(in_rgb.gray))));
  }
  return batch.finish();
}

/// The rectified IR pair, or the failure after its line.
int rectify_ir_pair(const converted_geometry& converted, const check_inputs& check,
                    const rectify_check_options& options, gray_image& left, gray_image& right) {
  debug_check_result result;
  const outcome ran =
      check_debug_pictures(converted, check.left, check.right, debug_picture{}, result);
  if (const int status = show(ran, options.source.level()); status != kExitOk) return status;
  left = from_check_words(std::move(result.left), converted.left_rectified, result.ir_bits);
  right = from_check_words(std::move(result.right), converted.right_rectified, result.ir_bits);
  return kExitOk;
}

/// The IR pictures: left, right, side by side, and the row error measured
/// on the pair drawn over the left one; compressed.
std::vector<written_picture> ir_pictures(gray_image left, gray_image right,
                                         const row_error_result& row_error) {
  // The pair starts compressing at once; the row-error and side-by-side
  // pictures are drawn from it meanwhile, so that both cores stay busy.
  picture_batch batch;
  const gray_image& left_added = batch.add(grey_output(kLeftName, std::move(left))).gray;
  const gray_image& right_added = batch.add(grey_output(kRightName, std::move(right))).gray;
  batch.add(colour_output(kRowErrorName,
                          draw_row_error(view_of(left_added), left_added.bits, row_error)));
  batch.add(grey_output(kSideBySideName, side_by_side(left_added, right_added)));
  std::vector<written_picture> started = batch.finish();
  std::vector<written_picture> listed;
  listed.reserve(started.size());
  for (const std::size_t i : {0, 1, 3, 2}) listed.push_back(std::move(started[i]));
  return listed;
}

std::string output_path(const std::string& dir, const char* name) {
  if (dir.empty()) return name;
  const char last = dir.back();
  return (last == '/' || last == '\\') ? dir + name : dir + "/" + name;
}

/// The files to write; kExitOk or the first picture that could not be
/// encoded, after its line.
int encoded_outputs(std::vector<written_picture>& written, const std::string& out_dir,
                    std::vector<output_file>& outputs) {
  outputs.reserve(written.size());
  for (written_picture& picture : written) {
    const std::string path = output_path(out_dir, picture.picture.name);
    if (!picture.png.encoded) return report_failure(kExitUsage, path + ": " + picture.png.error);
    outputs.push_back({path, std::move(picture.png.png)});
  }
  return kExitOk;
}

/// The folder the pictures go to, created as batch creates its own; one
/// line and kExitUsage when it cannot be.
int prepare_out_dir(const std::string& out_dir) {
  namespace fs = std::filesystem;
  if (out_dir.empty()) return kExitOk;
  std::error_code ec;
  if (fs::is_directory(out_dir, ec)) return kExitOk;
  fs::create_directories(out_dir, ec);
  if (!fs::is_directory(out_dir)) {
    return report_failure(kExitUsage, out_dir + ": cannot be created (" +
                                          (ec ? ec.message() : std::string("it is not a folder")) +
                                          ")");
  }
  return kExitOk;
}

/// Writes the pictures, none of them over an input; kExitOk or the failure.
int write_pictures(const calibration_inputs& inputs, const rectify_check_options& options,
                   const std::vector<output_file>& outputs) {
  std::vector<std::string> input_files = inputs.input_files();
  for (const std::string* path : {&options.left, &options.right, &options.depth, &options.rgb}) {
    if (!path->empty()) input_files.push_back(*path);
  }
  if (const int status = prepare_out_dir(options.out_dir); status != kExitOk) return status;
  std::string error;
  if (!write_outputs(input_files, outputs, options.output, error)) {
    return report_failure(kExitUsage, error);
  }
  return kExitOk;
}

/// The pictures written and the measurement, as lines or one JSON document.
void print_results(const rectify_check_options& options,
                   const std::vector<written_picture>& pictures,
                   const std::vector<output_file>& outputs, const row_error_result& row_error) {
  if (options.json) {
    std::vector<std::pair<std::string, std::string>> written;
    written.reserve(outputs.size());
    for (std::size_t i = 0; i < outputs.size(); ++i) {
      written.emplace_back(pictures[i].picture.name, outputs[i].path);
    }
    std::printf("%s\n", rectify_check_json(row_error, written).dump(2).c_str());
  } else {
    for (std::size_t i = 0; i < outputs.size(); ++i) {
      std::printf("wrote %s (%s)\n", outputs[i].path.c_str(),
                  pictures[i].picture.description().c_str());
    }
    for (const std::string& line : row_error_region_lines(row_error)) {
      std::printf("%s\n", line.c_str());
    }
    if (row_error.measured()) std::printf("%s\n", row_error_verdict_line(row_error).c_str());
  }
  std::fflush(stdout);
}

int run_rectify_check(const rectify_check_options& options) {
  if (const int status = check_options(options); status != kExitOk) return status;
  calibration_inputs inputs;
  if (const int status = show(inputs.load(options.source), options.source.level());
      status != kExitOk) {
    return status;
  }
  // The pictures are decoded while the camera mode is converted: the two
  // share nothing, and each takes a good part of the command's time.
  std::vector<std::future<loaded_picture>> loading = start_loading(options);
  converted_geometry converted;
  const outcome conversion = convert_for_debug_check(inputs, options.source, converted);
  input_pictures pictures;
  if (const int status = take_pictures(options, loading, pictures); status != kExitOk) {
    return status;
  }
  check_inputs check;
  if (const int status = check_pictures_fit(conversion, converted, options, pictures, check);
      status != kExitOk) {
    return status;
  }

  // The depth picture is reprojected, drawn and compressed beside the IR
  // pair's work; the pair is measured before its pictures are compressed, so
  // that the row-error picture drawn from the measurement is not the last
  // to start.
  std::future<std::vector<written_picture>> depth_work;
  if (check.depth.given()) {
    depth_work = std::async(std::launch::async, depth_pictures, std::cref(converted),
                            std::cref(check.depth), std::move(pictures.rgb));
  }
  gray_image left;
  gray_image right;
  if (const int status = rectify_ir_pair(converted, check, options, left, right);
      status != kExitOk) {
    return status;
  }
  // The decoded pair is not read again: its pages go back to the heap
  // before the measurement's levels are made.
  pictures.left = gray_image();
  pictures.right = gray_image();
  check.left = debug_picture();
  check.right = debug_picture();
  check.left_bytes = std::vector<uint8_t>();
  check.right_bytes = std::vector<uint8_t>();
  row_error_options measure_options;
  measure_options.max_row_error = options.max_row_error;
  const row_error_result row_error =
      measure_row_error(view_of(left), view_of(right), measure_options);
  if (row_error.status == row_error_status::bad_input) {
    return report_failure(kExitFailure, row_error.message);
  }
  std::vector<written_picture> written = ir_pictures(std::move(left), std::move(right), row_error);
  if (depth_work.valid()) {
    for (written_picture& picture : depth_work.get()) written.push_back(std::move(picture));
  }
  std::vector<output_file> outputs;
  if (const int status = encoded_outputs(written, options.out_dir, outputs); status != kExitOk) {
    return status;
  }
  if (const int status = write_pictures(inputs, options, outputs); status != kExitOk) {
    return status;
  }
  print_results(options, written, outputs, row_error);
  if (!row_error.measured()) return report_failure(kExitFailure, row_error.message);
  return row_error.passed() ? kExitOk : kExitFailure;
}

}  // namespace

void add_rectify_check_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<rectify_check_options>();
  CLI::App* command = app.add_subcommand(
      "rectify-check",
      "Rectify a left/right IR picture pair (and reproject a depth picture into the RGB camera) "
      "with one camera mode's calibration, as PNG pictures, and measure the row error of the "
      "rectified pair: exit 0 when its mean is within --max-row-error, 1 when not "
      "(docs/rectify-check.md)");
  add_calibration_source_options(*command, options->source);
  command->add_option("--left", options->left, "Left IR picture: 8- or 16-bit PNG or PGM (P5)")
      ->required();
  command->add_option("--right", options->right, "Right IR picture, same bit depth as --left")
      ->required();
  command->add_option("--depth", options->depth,
                      "Depth picture (16-bit PNG or PGM) of the depth camera, to reproject "
                      "into the RGB camera");
  command->add_option("--rgb", options->rgb,
                      "Colour picture (PNG) of the RGB camera, with --depth: the reprojected "
                      "depth is laid over it in depth_over_rgb.png");
  command
      ->add_option("--out-dir", options->out_dir,
                   "Folder for left_rectified.png, right_rectified.png, side_by_side.png, "
                   "row_error.png, depth_in_rgb.png and depth_over_rgb.png; created when missing")
      ->required();
  command->add_option("--max-row-error", options->max_row_error,
                      "Limit on the mean row error of matched points, in rectified pixels "
                      "(default 0.5)");
  command->add_flag("--json", options->json,
                    "Print one JSON document instead of the lines (docs/rectify-check-json.md)");
  add_force_option(*command, options->output);
  command->callback([options, &exit_code] { exit_code = run_rectify_check(*options); });
}

}  // namespace deflash_cli
