// Calibration JSON reader: every key named, unknown and repeated keys refused.
#include "host/inputs/calibration_json.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "host/base/quoted_text.h"
#include "host/files/file_io.h"

namespace deflash_host {
namespace {

// Floats are parsed straight to float32 (strtof), so a value rounds once from
// its decimal text to the bits the flash carries, never through a double.
// Keys keep their document order so the first unknown key reported is the
// first one in the file.
using json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool,
                                  std::int64_t, std::uint64_t, float>;

/// Image sizes are carried as 16-bit values in the flash keys.
constexpr std::uint64_t kMaxImageSide = 65535;

std::string join(const std::string& parent, const std::string& key) {
  return parent.empty() ? key : parent + "." + key;
}

/// A key's dotted path, escaped: a key may hold a newline or a quote.
std::string quoted(const std::string& path) { return quoted_text(path); }

/// The first failure of a read, as "<source>: <message>".
class reader {
 public:
  explicit reader(const std::string& source) : source_(source) {}

  bool fail(const std::string& message) {
    error_ = source_ + ": " + message;
    return false;
  }
  const std::string& error() const { return error_; }

 private:
  const std::string& source_;
  std::string error_;
};

/// Refuses keys of `object` outside `allowed`, first in document order: a
/// misspelt key would otherwise be dropped without a word.
bool check_keys(reader& in, const json& object, const std::string& path,
                std::initializer_list<const char*> allowed) {
  for (const auto& item : object.items()) {
    bool known = false;
    for (const char* key : allowed) known = known || item.key() == key;
    if (!known) return in.fail("unknown key " + quoted(join(path, item.key())));
  }
  return true;
}

/// The member `key` of `object`, or null when it is absent.
const json* member(const json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? nullptr : &*found;
}

bool read_object(reader& in, const json& parent, const char* key, const std::string& path,
                 const json*& out) {
  out = member(parent, key);
  if (out == nullptr) return in.fail(quoted(path) + " is missing");
  if (!out->is_object()) return in.fail(quoted(path) + " must be an object");
  return true;
}

bool read_float(reader& in, const json& object, const char* key, const std::string& parent,
                float& out) {
  const std::string path = join(parent, key);
  const json* value = member(object, key);
  if (value == nullptr) return in.fail(quoted(path) + " is missing");
  if (!value->is_number()) return in.fail(quoted(path) + " must be a number");
  out = value->get<float>();
  return true;
}

/// Like read_float, but an absent key reads as 0.
bool read_optional_float(reader& in, const json& object, const char* key, const std::string& parent,
                         float& out) {
  out = 0.0f;
  return member(object, key) == nullptr || read_float(in, object, key, parent, out);
}

/// A width or height: a whole number of pixels that fits 16 bits.
bool read_side(reader& in, const json& object, const char* key, const std::string& parent,
               float& out) {
  const std::string path = join(parent, key);
  const json* value = member(object, key);
  if (value == nullptr) return in.fail(quoted(path) + " is missing");
  bool whole = false;
  if (value->is_number_unsigned()) {
    const std::uint64_t side = value->get<std::uint64_t>();
    whole = side >= 1 && side <= kMaxImageSide;
  } else if (value->is_number_float()) {
    const float side = value->get<float>();
    whole = side == std::floor(side) && side >= 1.0f && side <= static_cast<float>(kMaxImageSide);
  }
  if (!whole) {
    return in.fail(quoted(path) + " must be a whole number from 1 to " +
                   std::to_string(kMaxImageSide));
  }
  out = value->get<float>();
  return true;
}

/// An array of exactly three numbers (angles or a translation).
bool read_triple(reader& in, const json& object, const char* key, const std::string& parent,
                 float* out) {
  const std::string path = join(parent, key);
  const json* value = member(object, key);
  if (value == nullptr) return in.fail(quoted(path) + " is missing");
  if (!value->is_array() || value->size() != 3) {
    return in.fail(quoted(path) + " must be an array of 3 numbers");
  }
  for (std::size_t i = 0; i < 3; ++i) {
    const json& element = (*value)[i];
    if (!element.is_number()) {
      return in.fail(quoted(path + "[" + std::to_string(i) + "]") + " must be a number");
    }
    out[i] = element.get<float>();
  }
  return true;
}

bool read_camera(reader& in, const json& root, const char* key, SocCalibCamera_S& camera) {
  const json* object = nullptr;
  if (!read_object(in, root, key, key, object)) return false;
  if (!check_keys(in, *object, key,
                  {"width", "height", "fx", "fy", "cx", "cy", "k1", "k2", "k3", "k4", "k5", "k6",
                   "p1", "p2"})) {
    return false;
  }
  float* d = camera.distortion;
  // k4..k6 complete the rational model; plain Brown calibrations leave them out.
  return read_side(in, *object, "width", key, camera.width) &&
         read_side(in, *object, "height", key, camera.height) &&
         read_float(in, *object, "fx", key, camera.fx) &&
         read_float(in, *object, "fy", key, camera.fy) &&
         read_float(in, *object, "cx", key, camera.cx) &&
         read_float(in, *object, "cy", key, camera.cy) &&
         read_float(in, *object, "k1", key, d[0]) && read_float(in, *object, "k2", key, d[1]) &&
         read_float(in, *object, "k3", key, d[2]) &&
         read_optional_float(in, *object, "k4", key, d[3]) &&
         read_optional_float(in, *object, "k5", key, d[4]) &&
         read_optional_float(in, *object, "k6", key, d[5]) &&
         read_float(in, *object, "p1", key, d[6]) && read_float(in, *object, "p2", key, d[7]);
}

/// Angles a0, a1, a2 (radians), then tx, ty, tz (mm), relative to the left IR camera.
bool read_extrinsics(reader& in, const json& root, const char* key, float* out) {
  const json* object = nullptr;
  return read_object(in, root, key, key, object) &&
         check_keys(in, *object, key, {"angles", "translation"}) &&
         read_triple(in, *object, "angles", key, out) &&
         read_triple(in, *object, "translation", key, out + 3);
}

bool read_temperatures(reader& in, const json& root, float* out) {
  const char* key = "temperatures";
  const json* object = nullptr;
  return read_object(in, root, key, key, object) &&
         check_keys(in, *object, key, {"left_ir", "right_ir", "ldm"}) &&
         read_float(in, *object, "left_ir", key, out[kTemperatureLeftIr]) &&
         read_float(in, *object, "right_ir", key, out[kTemperatureRightIr]) &&
         read_float(in, *object, "ldm", key, out[kTemperatureLaser]);
}

void put_f32_le(uint8_t* at, float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  for (int i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(bits >> (8 * i));
}

/// One camera's polynomial block, packed as the constants in the header say.
bool read_poly_block(reader& in, const json& poly, const char* camera, uint8_t* block) {
  const std::string path = join("poly_distortion", camera);
  if (member(poly, camera) == nullptr) return true;
  const json* object = nullptr;
  if (!read_object(in, poly, camera, path, object) || !check_keys(in, *object, path, {"terms"})) {
    return false;
  }
  const std::string terms_path = join(path, "terms");
  const json* terms = member(*object, "terms");
  if (terms == nullptr) return in.fail(quoted(terms_path) + " is missing");
  if (!terms->is_array()) return in.fail(quoted(terms_path) + " must be an array of numbers");
  if (terms->size() > kMaxPolyTerms) {
    return in.fail(quoted(terms_path) + " holds " + std::to_string(terms->size()) +
                   " terms; a polynomial block takes at most " + std::to_string(kMaxPolyTerms));
  }
  block[kPolyTermCountOffset] = static_cast<uint8_t>(terms->size());
  for (std::size_t i = 0; i < terms->size(); ++i) {
    const json& term = (*terms)[i];
    if (!term.is_number()) {
      return in.fail(quoted(terms_path + "[" + std::to_string(i) + "]") + " must be a number");
    }
    put_f32_le(block + kPolyTermsOffset + 4 * i, term.get<float>());
  }
  return true;
}

bool read_poly_distortion(reader& in, const json& root, SocCalibParams_S& params) {
  const char* key = "poly_distortion";
  if (member(root, key) == nullptr) return true;
  const json* poly = nullptr;
  return read_object(in, root, key, key, poly) &&
         check_keys(in, *poly, key, {"left_ir", "right_ir", "rgb"}) &&
         read_poly_block(in, *poly, "left_ir", params.poly_distortion[kCameraLeftIr]) &&
         read_poly_block(in, *poly, "right_ir", params.poly_distortion[kCameraRightIr]) &&
         read_poly_block(in, *poly, "rgb", params.poly_distortion[kCameraRgb]);
}

/// Parser hook that notes the first key repeated within one object: the
/// parser would otherwise keep the last value and drop the first unseen.
class duplicate_key_finder {
 public:
  bool operator()(int /*depth*/, json::parse_event_t event, json& parsed) {
    switch (event) {
      case json::parse_event_t::object_start:
        frames_.push_back(frame{true, {}, {}});
        break;
      case json::parse_event_t::array_start:
        frames_.push_back(frame{false, {}, {}});
        break;
      case json::parse_event_t::object_end:
      case json::parse_event_t::array_end:
        if (!frames_.empty()) frames_.pop_back();
        break;
      case json::parse_event_t::key: {
        frame& current = frames_.back();
        current.key = parsed.get<std::string>();
        if (!current.keys.insert(current.key).second && first_duplicate_.empty()) {
          first_duplicate_ = path();
        }
        break;
      }
      case json::parse_event_t::value:
        break;
    }
    return true;
  }

  /// Dotted path of the first repeated key; empty when none was.
  const std::string& first_duplicate() const { return first_duplicate_; }

  /// Dotted path of the member being read: where the parser stopped.
  std::string current() const { return path(); }

 private:
  struct frame {
    bool is_object;
    std::set<std::string> keys;
    std::string key;  ///< the member being read
  };

  std::string path() const {
    std::string joined;
    for (const frame& f : frames_) {
      if (f.is_object) joined = join(joined, f.key);
    }
    return joined;
  }

  std::vector<frame> frames_;
  std::string first_duplicate_;
};

/// The parser's message without its "[json.exception....] " tag.
std::string parser_message(const char* what) {
  const char* text = std::strstr(what, "] ");
  return text == nullptr ? what : text + 2;
}

/// The calibration nests three levels deep; a document nested far deeper is
/// no calibration, and the parser and the tree it builds would recurse once
/// per level (a 200 KB file of brackets overflows the stack).
constexpr int kMaxJsonDepth = 16;

/// The JSON library's id for a number its number type cannot hold.
constexpr int kNumberOverflow = 406;

/// The deepest bracket nesting of `text` outside strings, stopping early
/// once it passes `limit`.
int json_depth(const std::string& text, int limit) {
  int depth = 0;
  int deepest = 0;
  bool in_string = false;
  bool escaped = false;
  for (const char c : text) {
    if (in_string) {
      if (escaped) {
        escaped = false;
      } else if (c == '\\') {
        escaped = true;
      } else if (c == '"') {
        in_string = false;
      }
      continue;
    }
    if (c == '"') {
      in_string = true;
    } else if (c == '{' || c == '[') {
      if (++depth > deepest) deepest = depth;
      if (deepest > limit) break;
    } else if ((c == '}' || c == ']') && depth > 0) {
      --depth;
    }
  }
  return deepest;
}

}  // namespace

bool parse_calibration_json(const std::string& text, const std::string& source,
                            module_calibration& out, std::string& error) {
  reader in(source);
  json root;
  if (json_depth(text, kMaxJsonDepth) > kMaxJsonDepth) {
    error = source + ": not a calibration: nested deeper than " + std::to_string(kMaxJsonDepth) +
            " levels";
    return false;
  }
  auto finder = std::make_shared<duplicate_key_finder>();
  try {
    root = json::parse(text, [finder](int depth, json::parse_event_t event, json& parsed) {
      return (*finder)(depth, event, parsed);
    });
  } catch (const json::out_of_range& e) {
    // A number beyond float32 is valid JSON that the record cannot carry:
    // name its key, as the importers do.
    const std::string message = parser_message(e.what());
    const std::size_t open = message.find('\'');
    const std::size_t close = message.rfind('\'');
    const std::string number =
        open < close ? message.substr(open + 1, close - open - 1) : std::string();
    const std::string key = finder->current();
    in.fail(e.id == kNumberOverflow && !number.empty() && !key.empty()
                ? readable_text(key) + ": " + number +
                      " does not fit the calibration record's 32-bit floats"
                : "not valid JSON: " + message);
    error = in.error();
    return false;
  } catch (const json::exception& e) {
    in.fail(std::string("not valid JSON: ") + parser_message(e.what()));
    error = in.error();
    return false;
  }
  if (!finder->first_duplicate().empty()) {
    in.fail("key " + quoted(finder->first_duplicate()) + " appears twice");
    error = in.error();
    return false;
  }

  out = module_calibration{};
  SocCalibParams_S& params = out.params;
  const bool ok =
      (root.is_object() || in.fail("the top level must be a JSON object")) &&
      check_keys(in, root, "",
                 {"description", "left_ir", "right_ir", "rgb", "right_ir_extrinsics",
                  "rgb_extrinsics", "temperatures", "poly_distortion"}) &&
      // A free-text note about the module; the images do not carry it.
      (member(root, "description") == nullptr || member(root, "description")->is_string() ||
       in.fail(quoted("description") + " must be a string")) &&
      read_camera(in, root, "left_ir", params.camera[kCameraLeftIr]) &&
      read_camera(in, root, "right_ir", params.camera[kCameraRightIr]) &&
      read_camera(in, root, "rgb", params.camera[kCameraRgb]) &&
      read_extrinsics(in, root, "right_ir_extrinsics", params.right_extrinsics) &&
      read_extrinsics(in, root, "rgb_extrinsics", params.rgb_extrinsics) &&
      read_temperatures(in, root, out.temperatures) && read_poly_distortion(in, root, params);
  if (!ok) error = in.error();
  return ok;
}

bool read_calibration_json(const std::string& path, module_calibration& out, std::string& error) {
  std::string text;
  return read_file_bytes(path, text, error) && parse_calibration_json(text, path, out, error);
}

bool read_raw_calibration(const std::string& path, SocCalibParams_S& out, std::string& error) {
  std::string bytes;
  if (!read_file_bytes(path, bytes, error)) return false;
  if (bytes.size() != kRawCalibrationBytes) {
    error = path + ": is " + std::to_string(bytes.size()) +
            " bytes; a raw calibration record is exactly " + std::to_string(kRawCalibrationBytes) +
            " bytes";
    return false;
  }
  // The record is plain floats and bytes, so its bytes are its value.
  std::memcpy(&out, bytes.data(), kRawCalibrationBytes);
  return true;
}

bool parse_temperatures(const std::string& text, float* out) {
  const char* cursor = text.c_str();
  for (int i = 0; i < kTemperatureCount; ++i) {
    if (i > 0) {
      if (*cursor != ',') return false;
      ++cursor;
    }
    // strtof skips leading blanks and would take "inf"; neither is a temperature.
    if (*cursor == '\0' || std::strchr(" \t,", *cursor) != nullptr) return false;
    char* end = nullptr;
    out[i] = std::strtof(cursor, &end);
    if (end == cursor || !std::isfinite(out[i])) return false;
    cursor = end;
  }
  return *cursor == '\0';
}

}  // namespace deflash_host
