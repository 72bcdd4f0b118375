// The row error of a rectified pair from Python, through the host's
// measurement that rectify-check prints.
#include <pybind11/stl.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bindings.h"
#include "host/measure/row_error.h"
#include "host/measure/row_error_json.h"
#include "host_call.h"

namespace deflash_python {
namespace {

/// A JSON value as the Python value json.loads would give: objects keep
/// their keys' order.
py::object as_python(const nlohmann::ordered_json& value) {
  switch (value.type()) {
    case nlohmann::ordered_json::value_t::object: {
      py::dict out;
      for (const auto& item : value.items()) out[py::str(item.key())] = as_python(item.value());
      return std::move(out);
    }
    case nlohmann::ordered_json::value_t::array: {
      py::list out;
      for (const auto& item : value) out.append(as_python(item));
      return std::move(out);
    }
    case nlohmann::ordered_json::value_t::string:
      return py::str(value.get_ref<const std::string&>());
    case nlohmann::ordered_json::value_t::boolean:
      return py::bool_(value.get<bool>());
    case nlohmann::ordered_json::value_t::number_integer:
      return py::int_(value.get<int64_t>());
    case nlohmann::ordered_json::value_t::number_unsigned:
      return py::int_(value.get<uint64_t>());
    case nlohmann::ordered_json::value_t::number_float:
      return py::float_(value.get<double>());
    default:
      return py::none();
  }
}

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
  return py::dict(as_python(deflash_host::row_error_json(result)));
}

}  // namespace

void add_measure_functions(py::module_& m) {
  m.def("measure_rectification", &measure_rectification);
}

}  // namespace deflash_python
