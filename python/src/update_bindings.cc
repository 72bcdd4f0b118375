// The updates of a calibration image from Python, through the host's update.
#include <pybind11/stl.h>

#include <filesystem>
#include <string>
#include <vector>

#include "bindings.h"
#include "host/updates/image_update.h"
#include "host_call.h"

namespace deflash_python {
namespace {

/// kind: "baseline", "multi_baseline" or "fb_d2c"; `fb` the pairs as
/// "FOCAL:BASELINE" texts.
py::tuple update(const std::string& kind, const py::bytes& image, float baseline, int index,
                 const std::vector<std::string>& fb) {
  deflash_host::update_request request;
  request.kind = kind == "baseline"         ? deflash_host::update_kind::baseline
                 : kind == "multi_baseline" ? deflash_host::update_kind::multi_baseline
                                            : deflash_host::update_kind::fb_d2c;
  request.image_name = "image";
  request.image = image;
  request.baseline = baseline;
  request.index = index;
  request.fb = fb;
  std::error_code ignored;
  request.scratch_target =
      (std::filesystem::temp_directory_path(ignored) / "deflash-update.bin").string();
  deflash_host::update_result updated;
  const deflash_host::outcome result =
      host_call(true, [&] { return deflash_host::update_image(request, updated); });
  return py::make_tuple(outcome_dict(result), as_bytes(result.ok() ? updated.patched : ""));
}

}  // namespace

void add_update_functions(py::module_& m) { m.def("update", &update); }

}  // namespace deflash_python
