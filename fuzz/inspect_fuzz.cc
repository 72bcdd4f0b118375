// Fuzz target: arbitrary bytes as a flash file given to `deflash inspect` and
// `deflash diff`. Decoding either refuses the file with a reason or yields a
// report that renders as text and JSON (the streamed text byte for byte the
// dumped document) and lists at most its bound of failures; a file differs
// from itself nowhere, and from a copy with one byte changed in a way both
// directions agree on.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "host/inspection/inspect.h"

namespace {

enum class json_check { none, stream, compare };

/// Decodes `bytes` and checks what every decoded report must satisfy; from
/// `stream` on, that it streams as JSON (valid UTF-8: the writer throws
/// otherwise); with `compare`, that the stream is the dumped document.
bool inspect_checked(const std::vector<uint8_t>& bytes, deflash_host::report& out,
                     json_check json) {
  std::string error;
  if (!deflash_host::inspect_bytes(bytes.data(), bytes.size(), out, error)) {
    FUZZ_CHECK(!error.empty());
    return false;
  }
  FUZZ_CHECK(error.empty());
  FUZZ_CHECK(!out.kind.empty());
  FUZZ_CHECK(out.size == bytes.size());
  FUZZ_CHECK(!deflash_host::render_text(out).empty());
  FUZZ_CHECK(out.failures.size() <= deflash_host::kMaxListedFailures);
  FUZZ_CHECK(out.unlisted_failures == 0 || out.failures.size() == deflash_host::kMaxListedFailures);
  for (const deflash_host::failure& f : out.failures) {
    FUZZ_CHECK(!deflash_host::failure_text(f).empty());
  }
  if (json == json_check::none) return true;
  const std::string text = deflash_host::render_json_text(out, 2);
  if (json == json_check::stream) return true;
  const deflash_host::json doc = deflash_host::render_json(out);
  FUZZ_CHECK(text == doc.dump(2));
  FUZZ_CHECK(doc.at("ok").get<bool>() == out.ok());
  FUZZ_CHECK(doc.at("failures").size() == out.failures.size());
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::vector<uint8_t> bytes(data, data + size);
  deflash_host::report original;
  // Serialising dominates an execution under the sanitizers: the report is
  // streamed as JSON on the inputs whose last byte is even, half of them,
  // and the streamed text compared with the document the library dumps on
  // those whose last byte is a multiple of eight; the changed copy below is
  // not serialised at all (the fuzzer reaches such bytes as inputs of their
  // own, and flips a last byte as readily as any other).
  const uint8_t last = size != 0 ? data[size - 1] : 0;
  const json_check json = last % 8 == 0   ? json_check::compare
                          : last % 2 == 0 ? json_check::stream
                                          : json_check::none;
  if (!inspect_checked(bytes, original, json)) {
    return 0;
  }
  FUZZ_CHECK(deflash_host::diff_reports(original, original).count() == 0);

  // One byte changed where the input's own last byte points: the same kind
  // of file most of the time, so diff compares field by field.
  if (size == 0) return 0;
  std::vector<uint8_t> changed = bytes;
  const std::size_t at = (std::size_t{data[size - 1]} * 2654435761U) % size;
  changed[at] = static_cast<uint8_t>(changed[at] ^ 0x5A);
  deflash_host::report other;
  if (!inspect_checked(changed, other, json_check::none) || other.kind != original.kind) return 0;
  // Forward through the JSON document both front ends print, backward
  // through the list behind it.
  const deflash_host::json forward = deflash_host::diff_json(original, other);
  const deflash_host::difference_list backward = deflash_host::diff_reports(other, original);
  const std::size_t listed = forward.at("differences").size();
  FUZZ_CHECK(listed <= deflash_host::kMaxListedDifferences);
  FUZZ_CHECK(listed + forward.value("unlisted_differences", std::size_t{0}) == backward.count());
  FUZZ_CHECK(forward.at("equal").get<bool>() == (listed == 0));
  for (const deflash_host::difference& d : backward) {
    FUZZ_CHECK(!deflash_host::difference_text(d).empty());
  }
  return 0;
}
