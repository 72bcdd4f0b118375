// The Python extension `deflash._deflash`: the host layer's operations, each
// returning the host's outcome for the package to log and raise, and the
// library's version and result names.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>

#include "bindings.h"
#include "deflash.h"
#include "host/base/result_names.h"

namespace py = pybind11;

PYBIND11_MODULE(_deflash, m) {
  using namespace deflash_python;
  m.doc() = "Native part of the deflash module; use the deflash package.";
  m.def("version", [] { return std::string(soc_driver_helper_get_version()); });
  m.def("result_names", [] {
    py::dict names;
    for (const deflash_host::result_name_entry& entry : deflash_host::kResultNames) {
      names[py::int_(entry.code)] = entry.name;
    }
    return names;
  });
  add_image_functions(m);
  add_debug_check_function(m);
  add_update_functions(m);
  add_import_functions(m);
  add_file_functions(m);
  add_measure_functions(m);
}
