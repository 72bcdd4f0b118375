// The groups of functions the extension defines, one file each.
#ifndef DEFLASH_PYTHON_BINDINGS_H_
#define DEFLASH_PYTHON_BINDINGS_H_

#include <pybind11/pybind11.h>

namespace deflash_python {

/// calibration_image, start_row_image, depth_engine_image, check_calibration.
void add_image_functions(pybind11::module_& m);
/// debug_check.
void add_debug_check_function(pybind11::module_& m);
/// update.
void add_update_functions(pybind11::module_& m);
/// import_calibration, rotation_angles.
void add_import_functions(pybind11::module_& m);
/// measure_rectification.
void add_measure_functions(pybind11::module_& m);
/// inspect_json, diff_json, read_picture, write_png, check_picture_size.
void add_file_functions(pybind11::module_& m);

}  // namespace deflash_python

#endif  // DEFLASH_PYTHON_BINDINGS_H_
