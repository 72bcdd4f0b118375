// The library's debug check from Python: numpy pictures in, rectified and
// reprojected pictures out, through the host's debug check.
#include <pybind11/stl.h>

#include <optional>
#include <string>
#include <vector>

#include "bindings.h"
#include "host/images/calibration_inputs.h"
#include "host/images/debug_check.h"
#include "host_call.h"

namespace deflash_python {
namespace {

using deflash_host::debug_picture;
using deflash_host::outcome;

/// A 2-D buffer of 1- or 2-byte samples (checked by the package) as the
/// host's picture, without copying its pixels.
debug_picture picture_of(const char* name, const std::optional<py::buffer>& buffer,
                         std::optional<py::buffer_info>& info) {
  debug_picture picture;
  picture.name = name;
  if (!buffer) return picture;
  info = buffer->request();
  if (info->ndim != 2 || (info->itemsize != 1 && info->itemsize != 2)) {
    throw py::type_error(std::string(name) + " must be a 2-D array of uint8 or uint16");
  }
  picture.pixels = info->ptr;
  picture.height = static_cast<std::uint64_t>(info->shape[0]);
  picture.width = static_cast<std::uint64_t>(info->shape[1]);
  picture.bits = static_cast<int>(8 * info->itemsize);
  return picture;
}

py::bytes words_bytes(const std::vector<uint16_t>& words, std::size_t bytes) {
  return py::bytes(reinterpret_cast<const char*>(words.data()), bytes);
}

py::tuple size_tuple(const deflash_host::image_size& size) {
  return py::make_tuple(size.height, size.width);  // numpy shapes go (rows, columns)
}

py::tuple debug_check(const std::optional<std::string>& json_text, const std::string& source,
                      const std::string& config, const std::optional<py::buffer>& left,
                      const std::optional<py::buffer>& right,
                      const std::optional<py::buffer>& depth, bool allow_implausible) {
  std::optional<py::buffer_info> infos[3];
  const debug_picture pictures[3] = {picture_of("left", left, infos[0]),
                                     picture_of("right", right, infos[1]),
                                     picture_of("depth", depth, infos[2])};
  deflash_host::calibration_source_options options;
  if (!json_text) options.calibration_json = source;
  options.configs = {config};
  options.allow_implausible = allow_implausible;
  deflash_host::debug_check_result checked;
  const outcome result = host_call(true, [&] {
    deflash_host::calibration_inputs inputs;
    outcome loaded =
        json_text ? inputs.load_json_text(*json_text, source, options) : inputs.load(options);
    if (!loaded.ok()) return loaded;
    loaded.append(deflash_host::run_debug_check(inputs, pictures[0], pictures[1], pictures[2],
                                                options, checked));
    return loaded;
  });
  py::dict outputs;
  if (result.ok()) {
    const deflash_host::converted_geometry& g = checked.geometry;
    const std::size_t sample = checked.ir_bits == 16 ? 2 : 1;
    const auto pixels = [](const deflash_host::image_size& size) {
      return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
    };
    if (pictures[0].given()) {
      outputs["left"] = py::make_tuple(words_bytes(checked.left, pixels(g.left_rectified) * sample),
                                       size_tuple(g.left_rectified), checked.ir_bits);
    }
    if (pictures[1].given()) {
      outputs["right"] =
          py::make_tuple(words_bytes(checked.right, pixels(g.right_rectified) * sample),
                         size_tuple(g.right_rectified), checked.ir_bits);
    }
    if (pictures[2].given()) {
      outputs["depth"] = py::make_tuple(words_bytes(checked.depth_in_rgb, pixels(g.rgb) * 2),
                                        size_tuple(g.rgb), 16);
    }
  }
  return py::make_tuple(outcome_dict(result), outputs);
}

}  // namespace

void add_debug_check_function(py::module_& m) { m.def("debug_check", &debug_check); }

}  // namespace deflash_python
