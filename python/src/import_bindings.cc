// Calibrations of other tools from Python, through the host's import (what
// calib-json runs), and the rotation angles of the calibration's convention.
#include <pybind11/stl.h>

#include <string>
#include <vector>

#include "bindings.h"
#include "host/import/calibration_json_writer.h"
#include "host/import/camera_import.h"
#include "host_call.h"

namespace deflash_python {
namespace {

/// The calibration JSON text of the import the values ask for, given as
/// the tool's option values.
py::tuple import_calibration(const std::string& source, const std::vector<std::string>& ir_pair,
                             const std::vector<std::string>& ir_rgb,
                             const std::vector<std::string>& camchain, const std::string& ir_size,
                             const std::string& rgb_size, const std::string& unit,
                             const std::string& temperatures, bool allow_implausible) {
  deflash_host::calibration_json_request request;
  request.import.from = source;
  request.import.ir_pair = ir_pair;
  request.import.ir_rgb = ir_rgb;
  request.import.camchain = camchain;
  request.import.ir_size = ir_size;
  request.import.rgb_size = rgb_size;
  request.import.unit = unit;
  request.temperatures = temperatures;
  request.out = "calibration";
  request.allow_implausible = allow_implausible;
  std::string text;
  const deflash_host::outcome result =
      host_call(false, [&] { return deflash_host::import_calibration_json(request, text); });
  return py::make_tuple(outcome_dict(result), result.ok() ? text : std::string());
}

/// The module's three angles of a 3x3 rotation (row-major), checked by
/// recomposition; ValueError for a matrix that is no rotation.
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

}  // namespace

void add_import_functions(py::module_& m) {
  m.def("import_calibration", &import_calibration);
  m.def("rotation_angles", &rotation_angles);
}

}  // namespace deflash_python
