// The row error of a rectified pair from Python, through the host's
// measurement that rectify-check prints.
#include <pybind11/stl.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bindings.h"
#include "host/measure/row_error.h"
#include "host_call.h"

namespace deflash_python {
namespace {

/// One rectified picture's pixels, little-endian, one or two bytes each.
std::vector<uint16_t> rectified_pixels(const std::string& data, int width, int height,
                                       int bytes_per_pixel, const char* name) {
  if ((bytes_per_pixel != 1 && bytes_per_pixel != 2) || width < 1 || height < 1 ||
      data.size() != static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                         static_cast<std::size_t>(bytes_per_pixel)) {
    throw py::value_error(std::string(name) +
                          ": a rectified picture is a 2-D array of uint8 or uint16");
  }
  std::vector<uint16_t> pixels(data.size() / static_cast<std::size_t>(bytes_per_pixel));
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const auto low = static_cast<uint8_t>(data[i * bytes_per_pixel]);
    const auto high = bytes_per_pixel == 2 ? static_cast<uint8_t>(data[i * 2 + 1]) : uint8_t{0};
    pixels[i] = static_cast<uint16_t>(low | (high << 8));
  }
  return pixels;
}

/// The row error of a rectified pair, keyed as `rectify-check --json` keys
/// its "row_error"; a refusal (too few matches) carries "refused". Raises
/// ValueError for pictures or a limit the measurement cannot take.
py::dict measure_rectification(const py::bytes& left_data, int left_width, int left_height,
                               const py::bytes& right_data, int right_width, int right_height,
                               int bytes_per_pixel, double max_row_error) {
  const std::vector<uint16_t> left =
      rectified_pixels(left_data, left_width, left_height, bytes_per_pixel, "left_rectified");
  const std::vector<uint16_t> right =
      rectified_pixels(right_data, right_width, right_height, bytes_per_pixel, "right_rectified");
  deflash_host::row_error_options options;
  options.max_row_error = max_row_error;
  deflash_host::row_error_result result;
  {
    // Pure host code: other Python threads may run meanwhile.
    py::gil_scoped_release release;
    result = deflash_host::measure_row_error({left_width, left_height, left.data()},
                                             {right_width, right_height, right.data()}, options);
  }
  if (result.status == deflash_host::row_error_status::bad_input) {
    throw py::value_error(result.message);
  }
  const deflash_host::row_error_figures& f = result.figures;
  const bool measured = result.measured();
  const auto figure = [measured](double value) -> py::object {
    if (!measured) return py::none();
    return py::float_(deflash_host::reported_pixels(value));
  };
  py::list regions;
  for (int row = 0; row < deflash_host::kRegionRows; ++row) {
    py::list line;
    for (int column = 0; column < deflash_host::kRegionColumns; ++column) {
      const deflash_host::region_mean& region =
          f.regions[row * deflash_host::kRegionColumns + column];
      py::dict cell;
      cell["matches"] = region.matches;
      cell["mean_dy_px"] =
          region.matches > 0 ? py::object(py::float_(deflash_host::reported_pixels(region.mean_dy)))
                             : py::object(py::none());
      line.append(cell);
    }
    regions.append(line);
  }
  py::dict out;
  out["matches"] = f.matches;
  out["mean_px"] = figure(f.mean);
  out["rms_px"] = figure(f.rms);
  out["p95_px"] = figure(f.p95);
  out["max_px"] = figure(f.max);
  out["regions"] = regions;
  out["threshold_px"] = result.threshold;
  out["pass"] = result.passed();
  if (!measured) out["refused"] = result.message;
  return out;
}

}  // namespace

void add_measure_functions(py::module_& m) {
  m.def("measure_rectification", &measure_rectification);
}

}  // namespace deflash_python
