// A batch module and the batch's settings to and from bytes: every field as
// its length in decimal, ':' and its bytes, so that any path (a non-UTF-8
// byte too) arrives as it was.
#include "host/batch/batch_request.h"

#include <cstdint>
#include <string>
#include <vector>

namespace deflash_host {
namespace {

class field_writer {
 public:
  void add(const std::string& bytes) { text_ += std::to_string(bytes.size()) + ":" + bytes; }
  void add(bool value) { add(std::string(value ? "1" : "0")); }
  void add(const std::vector<std::string>& list) {
    add(std::to_string(list.size()));
    for (const std::string& item : list) add(item);
  }
  std::string text() const { return text_; }

 private:
  std::string text_;
};

class field_reader {
 public:
  explicit field_reader(const std::string& text) : text_(text) {}
  bool next(std::string& bytes) {
    std::size_t length = 0;
    std::size_t at = at_;
    while (at < text_.size() && text_[at] >= '0' && text_[at] <= '9' && length < text_.size()) {
      length = length * 10 + static_cast<std::size_t>(text_[at++] - '0');
    }
    if (at == at_ || at >= text_.size() || text_[at] != ':' || text_.size() - at - 1 < length) {
      return false;
    }
    bytes = text_.substr(at + 1, length);
    at_ = at + 1 + length;
    return true;
  }
  bool next(bool& value) {
    std::string bytes;
    if (!next(bytes) || (bytes != "0" && bytes != "1")) return false;
    value = bytes == "1";
    return true;
  }
  bool next(int64_t& value) {
    std::string bytes;
    if (!next(bytes) || bytes.empty() || bytes.size() > 18) return false;
    value = 0;
    for (const char c : bytes) {
      if (c < '0' || c > '9') return false;
      value = value * 10 + (c - '0');
    }
    return true;
  }
  bool next(std::vector<std::string>& list) {
    int64_t count = 0;
    if (!next(count)) return false;
    list.clear();
    for (int64_t i = 0; i < count; ++i) {
      std::string item;
      if (!next(item)) return false;
      list.push_back(std::move(item));
    }
    return true;
  }
  bool at_end() const { return at_ == text_.size(); }

 private:
  const std::string& text_;
  std::size_t at_ = 0;
};

}  // namespace

std::string encode_request(const batch_request& request) {
  const batch_module& m = request.module;
  const batch_settings& s = request.settings;
  field_writer out;
  out.add(m.name);
  out.add(m.calibration);
  out.add(m.has_serial);
  std::string serial;
  for (const auto& part : m.serial.parts) serial.append(part, part + kSerialPartBytes);
  out.add(serial);
  out.add(m.configs);
  out.add(m.has_deconfig);
  out.add(m.deconfig.dpu);
  out.add(m.deconfig.d2c);
  out.add(m.deconfig.ir_pre);
  out.add(m.problem);
  out.add(s.out_dir);
  out.add(std::to_string(s.timestamp));
  out.add(s.output.force);
  out.add(s.allow_implausible);
  out.add(request.extra);
  return out.text();
}

bool decode_request(const std::string& text, batch_request& request) {
  batch_module& m = request.module;
  batch_settings& s = request.settings;
  field_reader in(text);
  std::string serial;
  const bool read = in.next(m.name) && in.next(m.calibration) && in.next(m.has_serial) &&
                    in.next(serial) && serial.size() == kSerialParts * kSerialPartBytes &&
                    in.next(m.configs) && in.next(m.has_deconfig) && in.next(m.deconfig.dpu) &&
                    in.next(m.deconfig.d2c) && in.next(m.deconfig.ir_pre) && in.next(m.problem) &&
                    in.next(s.out_dir) && in.next(s.timestamp) && in.next(s.output.force) &&
                    in.next(s.allow_implausible) && in.next(request.extra) && in.at_end();
  if (!read) return false;
  for (std::size_t p = 0; p < kSerialParts; ++p) {
    for (std::size_t b = 0; b < kSerialPartBytes; ++b) {
      m.serial.parts[p][b] = static_cast<uint8_t>(serial[p * kSerialPartBytes + b]);
    }
  }
  return true;
}

}  // namespace deflash_host
