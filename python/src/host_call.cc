// The library lock and host outcomes as Python dicts.
#include "host_call.h"

#include <pybind11/stl.h>

namespace deflash_python {

std::mutex& library_lock() {
  static std::mutex lock;
  return lock;
}

py::dict outcome_dict(const deflash_host::outcome& result) {
  using deflash_host::status;
  py::dict d;
  d["state"] = result.state == status::ok         ? "ok"
               : result.state == status::rejected ? "rejected"
                                                  : "unusable";
  py::list lines;
  py::list warnings;
  for (const deflash_host::note& n : result.notes) {
    if (n.warning) warnings.append(as_text(n.text));
  }
  // The lines the tool shows, library console summarised, warnings apart.
  for (const deflash_host::shown_line& line :
       deflash_host::shown_lines(result, deflash_host::verbosity::quiet)) {
    lines.append(as_text(line.text));
  }
  d["lines"] = lines;
  d["warnings"] = warnings;
  d["out"] = as_text(result.console.out);
  d["err"] = as_text(result.console.err);
  d["library_failed"] = result.console.called && result.console.failed;
  d["result"] = result.console.result;
  d["library_line"] = as_text(deflash_host::first_failure_line(result.console));
  d["failure"] = as_text(result.failure);
  return d;
}

py::bytes as_bytes(const std::string& data) { return py::bytes(data.data(), data.size()); }

py::str as_text(const std::string& text) {
  PyObject* decoded =
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
  if (decoded == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(decoded);
}

}  // namespace deflash_python
