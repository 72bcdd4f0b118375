// The Python extension `deflash._deflash`: the library's generators and
// updates and the tool's calibration reader and importers, each call under
// one lock and with the library's console lines captured.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/files/file_io.h"
#include "host/images/flash_page.h"
#include "host/import/calibration_json_writer.h"
#include "host/import/camera_import.h"
#include "host/inputs/calibration_json.h"
#ifdef DEFLASH_WITH_PNG
#include "host/files/gray_image.h"
#endif
#include "host/files/safe_output.h"
#include "host/import/import_request.h"
#include "host/inspection/inspect.h"

namespace py = pybind11;

namespace deflash_python {
namespace {

using deflash_host::console_capture;
using deflash_host::module_calibration;

// The library keeps its configuration, serial number and converter records
// in module state; two threads inside it at once would mix them.
std::mutex library_lock;

/// Serial number: three 8-byte parts.
constexpr std::size_t kSerialBytes = 24;
/// The input list counts configurations in one byte.
constexpr std::size_t kMaxConfigs = 255;
// Raw-calibration section: 60-byte header, one 6288-byte item per mode.
constexpr std::size_t kRawHeaderBytes = 60;
constexpr std::size_t kRawItemBytes = 6288;
// Start-row section: 48-byte header, per mode a 44-byte head and two
// 4-byte start rows per source row, up to 65535 rows.
constexpr std::size_t kStartRowHeaderBytes = 48;
constexpr std::size_t kMaxStartRowEntryBytes = 44 + 8 * 65535;

/// What one library call printed, and its result.
struct call_result {
  int code = 0;
  std::string out;
  std::string err;
};

/// Runs `call` with the GIL released, under the library lock, capturing the
/// console; `call` returns the library's result code.
template <typename Call>
call_result run_library(Call&& call) {
  call_result result;
  py::gil_scoped_release release;
  std::lock_guard<std::mutex> lock(library_lock);
  console_capture capture;
  result.code = call();
  capture.finish(result.out, result.err);
  return result;
}

module_calibration parse_calibration(const std::string& json_text, const std::string& source) {
  module_calibration calibration;
  std::string error;
  if (!deflash_host::parse_calibration_json(json_text, source, calibration, error)) {
    throw py::value_error(error);
  }
  return calibration;
}

/// The generators' input list: one calibration repeated for every
/// configuration file.
struct input_list {
  std::vector<std::string> configs;
  std::vector<const char*> config_ptrs;
  std::vector<const SocCalibParams_S*> params;
  std::vector<const float*> temperatures;
  SocCalibFlashInput_S list{};

  input_list(const module_calibration& calibration, std::vector<std::string> files)
      : configs(std::move(files)) {
    if (configs.size() > kMaxConfigs) {
      throw py::value_error("at most 255 configuration files fit in one image");
    }
    for (const std::string& config : configs) config_ptrs.push_back(config.c_str());
    params.assign(configs.size(), &calibration.params);
    temperatures.assign(configs.size(), calibration.temperatures);
    // The library wants non-null lists, even empty ones.
    config_ptrs.reserve(1);
    params.reserve(1);
    temperatures.reserve(1);
    list.config_file_list = config_ptrs.data();
    list.config_file_num = static_cast<uint8_t>(configs.size());
    list.calib_params_list = params.data();
    list.calib_params_num = list.config_file_num;
    list.calib_temperature_list = temperatures.data();
    list.calib_temperature_num = list.config_file_num;
  }
};

py::bytes as_bytes(const std::vector<uint8_t>& data, std::size_t size) {
  return py::bytes(reinterpret_cast<const char*>(data.data()), size);
}

/// The section in `image` up to its length rounded up to a flash page, or
/// nothing when the length does not fit.
std::size_t page_rounded_section(const std::vector<uint8_t>& image, std::size_t header_bytes) {
  const std::size_t length = deflash_host::section_length(image.data());
  if (length < header_bytes || length > image.size()) return 0;
  return deflash_host::round_up_to_page(length);
}

py::tuple calibration_image(const std::string& json_text, const std::string& source,
                            const std::vector<std::string>& configs, int64_t timestamp,
                            const std::optional<std::string>& serial, bool raw) {
  const module_calibration calibration = parse_calibration(json_text, source);
  if (serial && serial->size() != kSerialBytes) {
    throw py::value_error("the serial number is 24 bytes, not " + std::to_string(serial->size()));
  }
  std::string serial_bytes = serial.value_or(std::string(kSerialBytes, '\0'));
  const input_list inputs(calibration, configs);
  std::vector<uint8_t> image;
  std::vector<uint8_t> raw_image;
  if (raw)
    raw_image.resize(
        deflash_host::round_up_to_page(kRawHeaderBytes + configs.size() * kRawItemBytes));
  const call_result result = run_library([&] {
    // Every call sets the serial, so one call's serial never leaks into the next.
    set_soc_sn(serial_bytes.data(), serial_bytes.data() + 8, serial_bytes.data() + 16);
    uint32_t size = 0;
    get_soc_file_buffer_size(&inputs.list, &size);
    image.resize(size);
    return gen_soc_calib_flash_param_de(
        &inputs.list, image.data(), nullptr, static_cast<int>(image.size()), timestamp,
        raw ? raw_image.data() : nullptr, static_cast<int>(raw_image.size()));
  });
  py::object raw_out = py::none();
  if (result.code == 0 && raw) {
    raw_out = as_bytes(raw_image, page_rounded_section(raw_image, kRawHeaderBytes));
  }
  return py::make_tuple(result.code, as_bytes(image, result.code == 0 ? image.size() : 0), raw_out,
                        result.out, result.err);
}

py::tuple start_row_image(const std::string& json_text, const std::string& source,
                          const std::vector<std::string>& configs) {
  const module_calibration calibration = parse_calibration(json_text, source);
  const input_list inputs(calibration, configs);
  std::vector<uint8_t> image(deflash_host::round_up_to_page(
      kStartRowHeaderBytes + configs.size() * kMaxStartRowEntryBytes));
  const call_result result = run_library([&] {
    return gen_soc_start_row_param_de(&inputs.list, image.data(), nullptr,
                                      static_cast<int>(image.size()));
  });
  const std::size_t bytes =
      result.code == 0 ? page_rounded_section(image, kStartRowHeaderBytes) : 0;
  return py::make_tuple(result.code, as_bytes(image, bytes), result.out, result.err);
}

py::tuple depth_engine_image(const std::vector<std::string>& dpu, const std::string& d2c,
                             const std::string& ir_pre, const std::string& out_path) {
  if (dpu.size() > kMaxConfigs) throw py::value_error("at most 255 DPU configuration files");
  de_config_files files{};
  for (const std::string* path : {&d2c, &ir_pre}) {
    if (path->size() >= sizeof files.d2c_config_path) {
      throw py::value_error(*path + ": path longer than 255 characters");
    }
  }
  std::vector<const char*> dpu_paths;
  for (const std::string& path : dpu) dpu_paths.push_back(path.c_str());
  files.dpu_config_paths = dpu_paths.empty() ? nullptr : dpu_paths.data();
  files.dpu_config_num = static_cast<uint8_t>(dpu_paths.size());
  std::memcpy(files.d2c_config_path, d2c.c_str(), d2c.size() + 1);
  std::memcpy(files.ir_pre_config_path, ir_pre.c_str(), ir_pre.size() + 1);
  const call_result result = run_library(
      [&] { return gen_depth_engine_config_flash_file_de(&files, out_path.c_str()) ? 0 : -1; });
  return py::make_tuple(result.code, result.out, result.err);
}

py::tuple update_baseline(const std::string& in_path, float baseline, const std::string& out_path,
                          int index) {
  const call_result result = run_library(
      [&] { return update_soc_baseline_de(in_path.c_str(), baseline, out_path.c_str(), index); });
  return py::make_tuple(result.code, result.out, result.err);
}

/// (focal length, baseline) pairs as the flat array the updates take.
std::vector<float> flat_pairs(const std::vector<std::pair<float, float>>& pairs) {
  std::vector<float> flat;
  for (const auto& [focal, baseline] : pairs) {
    flat.push_back(focal);
    flat.push_back(baseline);
  }
  return flat;
}

py::tuple update_multi_baseline(const std::string& in_path,
                                const std::vector<std::pair<float, float>>& pairs,
                                const std::string& out_path) {
  const std::vector<float> flat = flat_pairs(pairs);
  const call_result result = run_library([&] {
    return update_soc_multi_baseline_de(in_path.c_str(), flat.data(),
                                        static_cast<int>(pairs.size()), out_path.c_str());
  });
  return py::make_tuple(result.code, result.out, result.err);
}

py::tuple update_multi_fb_d2c(const std::string& in_path,
                              const std::vector<std::pair<float, float>>& pairs,
                              const std::string& out_path) {
  const std::vector<float> flat = flat_pairs(pairs);
  const call_result result = run_library([&] {
    return update_soc_multi_fb_d2c_de(in_path.c_str(), flat.data(), static_cast<int>(pairs.size()),
                                      out_path.c_str());
  });
  return py::make_tuple(result.code, result.out, result.err);
}

// Where the calibration image keeps the sizes the debug check works on: the
// first item of the rectification section (image offset 0 + 60) and of the
// depth-to-colour section (0x2000 + 60), each width followed by its height.
constexpr std::size_t kRectifyItem = 60;
constexpr std::size_t kD2cItem = 0x2000 + 60;
constexpr std::size_t kLeftSourceSize = kRectifyItem + 44;
constexpr std::size_t kRightSourceSize = kRectifyItem + 132;
constexpr std::size_t kLeftVirtualSize = kRectifyItem + 220;
constexpr std::size_t kRightVirtualSize = kRectifyItem + 240;
constexpr std::size_t kDepthSize = kD2cItem + 48;
constexpr std::size_t kRgbSize = kD2cItem + 68;

std::pair<int, int> size_at(const std::vector<uint8_t>& image, std::size_t offset) {
  const auto u16 = [&image](std::size_t at) { return image[at] | image[at + 1] << 8; };
  return {u16(offset + 2), u16(offset)};  // (height, width), as numpy shapes go
}

/// One image of the debug check: its input, and the output it fills.
struct debug_pair {
  std::optional<std::string> in;
  std::pair<int, int> in_shape{};
  std::pair<int, int> out_shape{};
  std::vector<uint8_t> out;
};

py::tuple debug_check(const std::string& json_text, const std::string& source,
                      const std::string& config, const std::optional<std::string>& left,
                      const std::optional<std::string>& right,
                      const std::optional<std::string>& depth, int bytes_per_pixel) {
  const module_calibration calibration = parse_calibration(json_text, source);
  const input_list inputs(calibration, {config});
  debug_pair pairs[3];
  pairs[0].in = left;
  pairs[1].in = right;
  pairs[2].in = depth;
  std::string size_error;
  const call_result result = run_library([&] {
    // The check works on the records of the last conversion: convert this
    // module for this mode first, under the same lock.
    std::vector<uint8_t> image(20480);
    const std::string zeros(kSerialBytes, '\0');
    set_soc_sn(zeros.data(), zeros.data() + 8, zeros.data() + 16);
    const int code = gen_soc_calib_flash_param_de(&inputs.list, image.data(), nullptr,
                                                  static_cast<int>(image.size()), 1, nullptr, 0);
    if (code != 0) return code;
    const std::size_t in_offsets[3] = {kLeftSourceSize, kRightSourceSize, kDepthSize};
    const std::size_t out_offsets[3] = {kLeftVirtualSize, kRightVirtualSize, kRgbSize};
    const char* names[3] = {"left", "right", "depth"};
    for (int i = 0; i < 3; ++i) {
      debug_pair& p = pairs[i];
      p.in_shape = size_at(image, in_offsets[i]);
      p.out_shape = size_at(image, out_offsets[i]);
      if (!p.in) continue;
      const std::size_t expected = static_cast<std::size_t>(p.in_shape.first) *
                                   static_cast<std::size_t>(p.in_shape.second) * bytes_per_pixel;
      if (p.in->size() != expected) {
        size_error = std::string(names[i]) + " image must be " + std::to_string(p.in_shape.first) +
                     " x " + std::to_string(p.in_shape.second) + " pixels for this mode";
        return 0;
      }
      p.out.assign(
          static_cast<std::size_t>(p.out_shape.first) * p.out_shape.second * bytes_per_pixel, 0);
    }
    const auto in_ptr = [](const debug_pair& p) {
      return p.in ? reinterpret_cast<const uint8_t*>(p.in->data()) : nullptr;
    };
    const auto out_ptr = [](debug_pair& p) {
      return p.out.empty() ? nullptr : reinterpret_cast<uint16_t*>(p.out.data());
    };
    check_soc_calib_debug(in_ptr(pairs[0]), out_ptr(pairs[0]), in_ptr(pairs[1]), out_ptr(pairs[1]),
                          reinterpret_cast<const uint16_t*>(in_ptr(pairs[2])), out_ptr(pairs[2]),
                          bytes_per_pixel == 1 ? 0u : 2u);
    return 0;
  });
  if (!size_error.empty()) throw py::value_error(size_error);
  py::list outputs;
  for (const debug_pair& p : pairs) {
    outputs.append(p.out.empty() ? py::object(py::none())
                                 : py::make_tuple(as_bytes(p.out, p.out.size()), p.out_shape));
  }
  return py::make_tuple(result.code, outputs, result.out, result.err);
}

deflash_host::image_size to_size(const std::optional<std::pair<int, int>>& size) {
  return size ? deflash_host::image_size{size->first, size->second} : deflash_host::image_size{};
}

std::string import_calibration(const std::string& source, const std::vector<std::string>& ir_pair,
                               const std::vector<std::string>& ir_rgb,
                               const std::vector<std::string>& files,
                               const std::optional<std::pair<int, int>>& ir_size,
                               const std::optional<std::pair<int, int>>& rgb_size,
                               const std::string& unit, const std::vector<float>& temperatures) {
  deflash_host::import_request request;
  if (!deflash_host::parse_import_source(source, request.source)) {
    throw py::value_error("source \"" + source + "\" must be opencv, ros or kalibr");
  }
  if (!unit.empty() && !deflash_host::parse_length_unit(unit, request.unit)) {
    throw py::value_error("unit \"" + unit + "\" must be m or mm");
  }
  if (temperatures.size() != deflash_host::kTemperatureCount) {
    throw py::value_error("temperatures are three numbers: left IR, right IR, ldm");
  }
  request.ir_pair = ir_pair;
  request.ir_rgb = ir_rgb;
  request.files = files;
  request.ir_size = to_size(ir_size);
  request.rgb_size = to_size(rgb_size);
  module_calibration calibration;
  std::string error;
  if (!deflash_host::import_calibration(request, calibration, error)) throw py::value_error(error);
  for (int i = 0; i < deflash_host::kTemperatureCount; ++i) {
    calibration.temperatures[i] = temperatures[i];
  }
  return deflash_host::calibration_json_text(calibration, "");
}

/// The module's three angles of a 3x3 rotation (row-major), checked by
/// recomposition; raises ValueError for a matrix that is no rotation.
std::vector<double> rotation_angles(const std::vector<double>& matrix) {
  if (matrix.size() != 9) throw py::value_error("a rotation is 3x3: 9 numbers");
  Eigen::Matrix3d rotation;
  for (int i = 0; i < 9; ++i) rotation(i / 3, i % 3) = matrix[i];
  double angles[3] = {};
  std::string what;
  if (!deflash_host::rotation_to_angles(rotation, angles, what)) {
    throw py::value_error("the matrix " + what);
  }
  return {angles[0], angles[1], angles[2]};
}

/// The decoded file as the JSON document `deflash inspect --json` prints;
/// raises ValueError for bytes of no kind deflash writes. Pure: no lock.
std::string inspect_json(const py::bytes& data) {
  const std::string bytes = data;
  deflash_host::report report;
  std::string error;
  if (!deflash_host::inspect_bytes(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(),
                                   report, error)) {
    throw py::value_error(error);
  }
  return deflash_host::render_json(report).dump();
}

/// The differences of two files as the JSON document `deflash diff --json`
/// prints, without the file names; raises ValueError for files of no known
/// kind or of two kinds.
std::string diff_json(const py::bytes& old_data, const py::bytes& new_data) {
  const std::string old_bytes = old_data;
  const std::string new_bytes = new_data;
  deflash_host::report a;
  deflash_host::report b;
  std::string error;
  if (!deflash_host::inspect_bytes(reinterpret_cast<const uint8_t*>(old_bytes.data()),
                                   old_bytes.size(), a, error) ||
      !deflash_host::inspect_bytes(reinterpret_cast<const uint8_t*>(new_bytes.data()),
                                   new_bytes.size(), b, error)) {
    throw py::value_error(error);
  }
  if (a.kind != b.kind || a.size != b.size) {
    throw py::value_error("a " + b.kind + " file of " + std::to_string(b.size) +
                          " bytes cannot be compared with a " + a.kind + " file of " +
                          std::to_string(a.size) + " bytes");
  }
  deflash_host::json doc = deflash_host::json::object();
  doc["schema"] = deflash_host::kSchemaVersion;
  doc["kind"] = a.kind;
  deflash_host::json list = deflash_host::json::array();
  for (const auto& d : deflash_host::diff_reports(a, b)) {
    list.push_back({{"section", d.section},
                    {"item", d.item},
                    {"field", d.field},
                    {"old", d.old_value},
                    {"new", d.new_value}});
  }
  doc["equal"] = list.empty();
  doc["differences"] = std::move(list);
  return doc.dump();
}

/// Checks calibration JSON text; raises ValueError with the reader's message.
void check_calibration(const std::string& json_text, const std::string& source) {
  parse_calibration(json_text, source);
}

#ifdef DEFLASH_WITH_PNG
/// Decodes an 8- or 16-bit greyscale PNG or PGM file: its pixels as
/// little-endian bytes of one or two per pixel, width, height and depth.
py::tuple read_picture(const std::string& path) {
  std::string bytes;
  std::string error;
  if (!deflash_host::read_file_bytes(path, bytes, error, deflash_host::kMaxPictureInputBytes)) {
    throw py::value_error(error);
  }
  deflash_host::gray_image image;
  if (deflash_host::decode_gray_image(path, bytes, image, error) !=
      deflash_host::picture_status::ok) {
    throw py::value_error(error);
  }
  const std::size_t depth = image.bits == 16 ? 2 : 1;
  std::string pixels(image.pixels.size() * depth, '\0');
  for (std::size_t i = 0; i < image.pixels.size(); ++i) {
    pixels[i * depth] = static_cast<char>(image.pixels[i] & 0xFF);
    if (depth == 2) pixels[i * depth + 1] = static_cast<char>(image.pixels[i] >> 8);
  }
  return py::make_tuple(py::bytes(pixels), image.width, image.height, image.bits);
}

/// Writes little-endian pixels of `bits` (8 or 16) as a greyscale PNG through
/// a temporary file and a rename.
void write_png(const std::string& path, const py::bytes& data, int width, int height, int bits) {
  const std::string pixels = data;
  const std::size_t depth = bits == 16 ? 2 : 1;
  if ((bits != 8 && bits != 16) || width < 1 || height < 1 ||
      pixels.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * depth) {
    throw py::value_error("a picture is 8 or 16 bits deep with width x height pixels");
  }
  deflash_host::gray_image image;
  image.width = width;
  image.height = height;
  image.bits = bits;
  image.pixels.resize(pixels.size() / depth);
  for (std::size_t i = 0; i < image.pixels.size(); ++i) {
    const auto low = static_cast<uint8_t>(pixels[i * depth]);
    const auto high = depth == 2 ? static_cast<uint8_t>(pixels[i * depth + 1]) : uint8_t{0};
    image.pixels[i] = static_cast<uint16_t>(low | (high << 8));
  }
  std::string png;
  std::string error;
  if (!deflash_host::encode_png(image, png, error) ||
      !deflash_host::write_outputs({}, {{path, std::move(png)}}, {}, error)) {
    throw py::value_error(error);
  }
}
#endif

}  // namespace
}  // namespace deflash_python

PYBIND11_MODULE(_deflash, m) {
  using namespace deflash_python;
  m.doc() = "Native part of the deflash module; use the deflash package.";
  m.def("version", [] { return std::string(soc_driver_helper_get_version()); });
  m.def("calibration_image", &calibration_image);
  m.def("start_row_image", &start_row_image);
  m.def("depth_engine_image", &depth_engine_image);
  m.def("update_baseline", &update_baseline);
  m.def("update_multi_baseline", &update_multi_baseline);
  m.def("update_multi_fb_d2c", &update_multi_fb_d2c);
  m.def("import_calibration", &import_calibration);
  m.def("check_calibration", &check_calibration);
  m.def("rotation_angles", &rotation_angles);
  m.def("debug_check", &debug_check);
  m.def("inspect_json", &inspect_json);
  m.def("diff_json", &diff_json);
#ifdef DEFLASH_WITH_PNG
  m.def("read_picture", &read_picture);
  m.def("write_png", &write_png);
#endif
}
