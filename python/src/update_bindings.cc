// The updates of a calibration image from Python, through the host's update.
#include <pybind11/stl.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "bindings.h"
#include "host/files/safe_output.h"
#include "host/images/fb_pairs.h"
#include "host/images/image_update.h"
#include "host_call.h"

namespace deflash_python {
namespace {

using deflash_host::outcome;

/// Every mention of `from` in `text` as `to`.
std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

/// The update reads the image from a file: the bytes go into a scratch file
/// of the temporary folder, which the outcome's lines name "image".
outcome update_bytes(deflash_host::update_request& request, const std::string& image,
                     deflash_host::update_result& updated) {
  std::string error;
  const std::string target = deflash_host::temporary_folder_path("deflash-image.bin", error);
  if (target.empty()) return deflash_host::fail(deflash_host::status::unusable, error);
  const std::string scratch = deflash_host::reserve_temporary(target, error);
  if (scratch.empty()) return deflash_host::fail(deflash_host::status::unusable, error);
  std::FILE* file = std::fopen(scratch.c_str(), "wb");
  const bool written = file != nullptr &&
                       std::fwrite(image.data(), 1, image.size(), file) == image.size() &&
                       std::fclose(file) == 0;
  if (!written) {
    if (file != nullptr) std::fclose(file);
    std::remove(scratch.c_str());
    return deflash_host::fail(deflash_host::status::unusable, scratch + ": cannot be written");
  }
  request.image = scratch;
  outcome result = deflash_host::update_image(request, updated);
  std::remove(scratch.c_str());
  for (deflash_host::note& n : result.notes) n.text = replaced(n.text, scratch, "image");
  result.failure = replaced(result.failure, scratch, "image");
  return result;
}

/// kind: "baseline", "multi_baseline" or "fb_d2c"; `fb` the pairs as the
/// tool's FOCAL:BASELINE values.
py::tuple update(const std::string& kind, const py::bytes& image, float baseline,
                 std::optional<int> index, const std::vector<std::string>& fb) {
  deflash_host::update_request request;
  request.kind = kind == "baseline"         ? deflash_host::update_kind::baseline
                 : kind == "multi_baseline" ? deflash_host::update_kind::multi_baseline
                                            : deflash_host::update_kind::fb_d2c;
  request.baseline = baseline;
  request.index = index;
  const std::string bytes = image;
  deflash_host::update_result updated;
  const outcome result = host_call(true, [&] {
    outcome pairs = deflash_host::parse_fb_pairs(fb, request.pairs);
    if (!pairs.ok()) return pairs;
    return update_bytes(request, bytes, updated);
  });
  return py::make_tuple(outcome_dict(result), as_bytes(result.ok() ? updated.bytes : ""));
}

}  // namespace

void add_update_functions(py::module_& m) { m.def("update", &update); }

}  // namespace deflash_python
