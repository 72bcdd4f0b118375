// How the extension calls the host layer: one lock around the library, the
// GIL released meanwhile, and a host outcome handed to Python as a dict.
#ifndef DEFLASH_PYTHON_HOST_CALL_H_
#define DEFLASH_PYTHON_HOST_CALL_H_

#include <pybind11/pybind11.h>

#include <mutex>
#include <string>

#include "host/base/outcome.h"

namespace deflash_python {

namespace py = pybind11;

/// The library keeps its configuration, serial number and converter
/// records in module state; two threads inside it at once would mix them.
std::mutex& library_lock();

/// Runs `call` (returning an outcome) with the GIL released and, when
/// `locked`, under the library lock.
template <typename Call>
deflash_host::outcome host_call(bool locked, Call&& call) {
  py::gil_scoped_release release;
  if (!locked) return call();
  std::lock_guard<std::mutex> lock(library_lock());
  return call();
}

/// {"state": "ok" | "rejected" | "unusable", "lines": [the lines the tool
/// shows at normal verbosity, without "deflash: "], "warnings": [...],
/// "out", "err": the library's console, "library_failed", "result": its
/// result code, "library_line": its first line saying what went wrong,
/// "failure": the closing line}.
py::dict outcome_dict(const deflash_host::outcome& result);

py::bytes as_bytes(const std::string& data);

/// Text the library or a file gave, as str: bytes that are no UTF-8 (a
/// configuration file's own bytes echoed in a line) become U+FFFD instead
/// of raising.
py::str as_text(const std::string& text);

}  // namespace deflash_python

#endif  // DEFLASH_PYTHON_HOST_CALL_H_
