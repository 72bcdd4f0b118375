// Fuzz target: arbitrary bytes as a flash file given to `deflash inspect` and
// `deflash diff`. Decoding either refuses the file with a reason or yields a
// report that renders as text and JSON; a file differs from itself nowhere,
// and from a copy with one byte changed in a way both directions agree on.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "host/inspection/inspect.h"

namespace {

/// Decodes `bytes` and checks what every decoded report must satisfy.
bool inspect_checked(const std::vector<uint8_t>& bytes, deflash_host::report& out) {
  std::string error;
  if (!deflash_host::inspect_bytes(bytes.data(), bytes.size(), out, error)) {
    FUZZ_CHECK(!error.empty());
    return false;
  }
  FUZZ_CHECK(error.empty());
  FUZZ_CHECK(!out.kind.empty());
  FUZZ_CHECK(out.size == bytes.size());
  FUZZ_CHECK(!deflash_host::render_text(out).empty());
  // Every name and value must be valid UTF-8: dump() throws otherwise.
  const deflash_host::json doc = deflash_host::render_json(out);
  FUZZ_CHECK(!doc.dump().empty());
  FUZZ_CHECK(doc.at("ok").get<bool>() == out.ok());
  FUZZ_CHECK(doc.at("failures").size() == out.failures.size());
  for (const deflash_host::failure& f : out.failures) {
    FUZZ_CHECK(!deflash_host::failure_text(f).empty());
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::vector<uint8_t> bytes(data, data + size);
  deflash_host::report original;
  if (!inspect_checked(bytes, original)) return 0;
  FUZZ_CHECK(deflash_host::diff_reports(original, original).empty());

  // One byte changed where the input's own last byte points: the same kind
  // of file most of the time, so diff compares field by field.
  if (size == 0) return 0;
  std::vector<uint8_t> changed = bytes;
  const std::size_t at = (std::size_t{data[size - 1]} * 2654435761U) % size;
  changed[at] = static_cast<uint8_t>(changed[at] ^ 0x5A);
  deflash_host::report other;
  if (!inspect_checked(changed, other) || other.kind != original.kind) return 0;
  const auto forward = deflash_host::diff_reports(original, other);
  const auto backward = deflash_host::diff_reports(other, original);
  FUZZ_CHECK(forward.size() == backward.size());
  for (const deflash_host::difference& d : forward) {
    FUZZ_CHECK(!deflash_host::difference_text(d).empty());
  }
  return 0;
}
