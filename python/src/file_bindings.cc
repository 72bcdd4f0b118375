// Files from Python: inspection and comparison of flash files, and the
// greyscale pictures of the debug check.
#include <pybind11/stl.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bindings.h"
#include "host/files/file_io.h"
#include "host/inspection/inspect.h"
#include "host_call.h"
#ifdef DEFLASH_WITH_PNG
#include "host/files/gray_image.h"
#include "host/files/safe_output.h"
#endif

namespace deflash_python {
namespace {

using deflash_host::json;

/// The inspect document as Python objects, built as the host walks it:
/// dicts, lists, ints, floats, texts, True/False and None, as json.loads
/// would give them from the tool's text (a float that is not finite, which
/// JSON writes as null, is None).
class python_document : public deflash_host::document_sink {
 public:
  void begin_object() override { open(py::reinterpret_steal<py::object>(PyDict_New())); }
  void begin_array() override { open(py::reinterpret_steal<py::object>(PyList_New(0))); }
  void end_object() override { open_.pop_back(); }
  void end_array() override { open_.pop_back(); }
  void key(const char* name) override { key_ = name; }
  void value(const json& v) override { place(convert(v)); }

  py::object document() const { return document_; }

 private:
  /// The member names, each made once: a start-row image repeats them
  /// hundreds of thousands of times.
  PyObject* name(const char* text) {
    py::object& cached = names_[text];
    if (!cached) cached = py::str(text);
    return cached.ptr();
  }

  void open(py::object container) {
    if (!container) throw py::error_already_set();
    place(container);
    open_.push_back(std::move(container));
  }

  void place(const py::object& v) {
    if (open_.empty()) {
      document_ = v;
      return;
    }
    PyObject* into = open_.back().ptr();
    const int placed = PyDict_Check(into) ? PyDict_SetItem(into, name(key_), v.ptr())
                                          : PyList_Append(into, v.ptr());
    if (placed != 0) throw py::error_already_set();
  }

  static py::object convert(const json& v) {
    switch (v.type()) {
      case json::value_t::boolean:
        return py::bool_(v.get<bool>());
      case json::value_t::number_unsigned:
        return py::int_(v.get<uint64_t>());
      case json::value_t::number_integer:
        return py::int_(v.get<int64_t>());
      case json::value_t::number_float: {
        const double number = v.get<double>();
        return std::isfinite(number) ? py::object(py::float_(number)) : py::object(py::none());
      }
      case json::value_t::string: {
        const std::string& text = v.get_ref<const std::string&>();
        PyObject* decoded =
            PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
        if (decoded == nullptr) throw py::error_already_set();
        return py::reinterpret_steal<py::object>(decoded);
      }
      case json::value_t::array: {
        py::list items;
        for (const json& item : v) items.append(convert(item));
        return std::move(items);
      }
      case json::value_t::object: {
        py::dict members;
        for (const auto& [member, item] : v.items()) members[py::str(member)] = convert(item);
        return std::move(members);
      }
      default:
        return py::none();
    }
  }

  py::object document_;
  std::vector<py::object> open_;
  const char* key_ = "";
  std::unordered_map<const char*, py::object> names_;
};

/// Python's cycle collector paused while a document is built: the millions
/// of new dicts and lists, none of them in a cycle, would each time set it
/// scanning everything built so far (a start-row image of 190,649 entries:
/// 13.3 s with it, 2.3 s without).
class collector_paused {
 public:
  collector_paused()
      : gc_(py::module_::import("gc")), was_enabled_(gc_.attr("isenabled")().cast<bool>()) {
    gc_.attr("disable")();
  }
  ~collector_paused() {
    if (!was_enabled_) return;
    try {
      gc_.attr("enable")();
    } catch (const py::error_already_set&) {
      // Nothing a destructor can do: the collector stays off, as before a
      // failed call to gc.enable() would leave it.
    }
  }
  collector_paused(const collector_paused&) = delete;
  collector_paused& operator=(const collector_paused&) = delete;

 private:
  py::module_ gc_;
  bool was_enabled_;
};

/// The decoded file as the dict `json.loads` makes of `deflash inspect
/// --json`'s document; ValueError for bytes of no kind deflash writes. Pure:
/// no lock, and the GIL released while it decodes.
py::object inspect_document(const py::bytes& data) {
  const std::string bytes = data;
  deflash_host::report report;
  std::string error;
  bool decoded = false;
  {
    // Decoding touches no Python object: other threads run meanwhile.
    const py::gil_scoped_release unlocked;
    decoded = deflash_host::inspect_bytes(reinterpret_cast<const uint8_t*>(bytes.data()),
                                          bytes.size(), report, error);
  }
  if (!decoded) throw py::value_error(error);
  // Built node by node from the report: a start-row image of hundreds of
  // thousands of entries never becomes a JSON text to parse again.
  python_document document;
  {
    const collector_paused paused;
    deflash_host::walk_document(report, nullptr, document);
  }
  return document.document();
}

/// The differences of two files as the JSON document `deflash diff --json`
/// prints, without the file names; ValueError for files of no known kind
/// or of two kinds.
std::string diff_json(const py::bytes& old_data, const py::bytes& new_data) {
  const std::string old_bytes = old_data;
  const std::string new_bytes = new_data;
  const py::gil_scoped_release unlocked;
  deflash_host::report a;
  deflash_host::report b;
  std::string error;
  if (!deflash_host::inspect_bytes(reinterpret_cast<const uint8_t*>(old_bytes.data()),
                                   old_bytes.size(), a, error) ||
      !deflash_host::inspect_bytes(reinterpret_cast<const uint8_t*>(new_bytes.data()),
                                   new_bytes.size(), b, error)) {
    throw py::value_error(error);
  }
  if (a.kind != b.kind || a.size != b.size) {
    throw py::value_error("a " + b.kind + " file of " + std::to_string(b.size) +
                          " bytes cannot be compared with a " + a.kind + " file of " +
                          std::to_string(a.size) + " bytes");
  }
  return deflash_host::diff_json(a, b).dump();
}

#ifdef DEFLASH_WITH_PNG
/// Decodes an 8- or 16-bit greyscale PNG or PGM file: the outcome, and its
/// pixels as host-order samples of one or two bytes, width, height and depth.
py::tuple read_picture(const std::string& path) {
  deflash_host::gray_image image;
  const deflash_host::outcome result = host_call(false, [&] {
    std::string bytes;
    std::string error;
    if (!deflash_host::read_file_bytes(path, bytes, error, deflash_host::kMaxPictureInputBytes)) {
      return deflash_host::fail(deflash_host::status::unusable, error);
    }
    switch (deflash_host::decode_gray_image(path, bytes, image, error)) {
      case deflash_host::picture_status::ok:
        return deflash_host::outcome{};
      case deflash_host::picture_status::unknown:
        return deflash_host::fail(deflash_host::status::unusable, error);
      case deflash_host::picture_status::rejected:
        break;
    }
    return deflash_host::fail(deflash_host::status::rejected, error);
  });
  const std::size_t depth = image.bits == 16 ? 2 : 1;
  std::string pixels;
  if (result.ok()) {
    pixels.resize(image.pixels.size() * depth);
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
      if (depth == 2) {
        std::memcpy(&pixels[2 * i], &image.pixels[i], 2);
      } else {
        pixels[i] = static_cast<char>(image.pixels[i]);
      }
    }
  }
  return py::make_tuple(outcome_dict(result), as_bytes(pixels), image.width, image.height,
                        image.bits);
}

/// The outcome of the size check a picture of `width` x `height` pixels
/// passes before anything is allocated for it.
py::dict check_picture_size(const std::string& name, uint64_t width, uint64_t height) {
  const std::string problem = deflash_host::picture_size_problem(name, width, height);
  return outcome_dict(problem.empty()
                          ? deflash_host::outcome{}
                          : deflash_host::fail(deflash_host::status::unusable, problem));
}

/// Writes a 2-D buffer of uint8 or uint16 samples as a greyscale PNG of
/// that depth through a temporary file and a rename.
py::dict write_png(const std::string& path, const py::buffer& buffer) {
  const py::buffer_info info = buffer.request();
  if (info.ndim != 2 || (info.itemsize != 1 && info.itemsize != 2)) {
    throw py::type_error("picture must be a 2-D array of uint8 or uint16");
  }
  const auto height = static_cast<uint64_t>(info.shape[0]);
  const auto width = static_cast<uint64_t>(info.shape[1]);
  const deflash_host::outcome result = host_call(false, [&] {
    const std::string problem = deflash_host::picture_size_problem("picture", width, height);
    if (!problem.empty()) return deflash_host::fail(deflash_host::status::unusable, problem);
    deflash_host::gray_image image;
    image.width = static_cast<int>(width);
    image.height = static_cast<int>(height);
    image.bits = static_cast<int>(8 * info.itemsize);
    image.pixels.resize(width * height);
    for (std::size_t i = 0; i < image.pixels.size(); ++i) {
      if (info.itemsize == 2) {
        std::memcpy(&image.pixels[i], static_cast<const char*>(info.ptr) + 2 * i, 2);
      } else {
        image.pixels[i] = static_cast<const uint8_t*>(info.ptr)[i];
      }
    }
    std::string png;
    std::string error;
    if (!deflash_host::encode_png(image, png, error)) {
      return deflash_host::fail(deflash_host::status::rejected, path + ": " + error);
    }
    if (!deflash_host::write_outputs({}, {{path, std::move(png)}}, {}, error)) {
      return deflash_host::fail(deflash_host::status::unusable, error);
    }
    return deflash_host::outcome{};
  });
  return outcome_dict(result);
}
#endif

}  // namespace

void add_file_functions(py::module_& m) {
  m.def("inspect_document", &inspect_document);
  m.def("diff_json", &diff_json);
#ifdef DEFLASH_WITH_PNG
  m.def("read_picture", &read_picture);
  m.def("check_picture_size", &check_picture_size);
  m.def("write_png", &write_png);
#endif
}

}  // namespace deflash_python
