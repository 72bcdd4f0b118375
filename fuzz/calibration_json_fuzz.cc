// Fuzz target: arbitrary bytes as a calibration JSON file. The reader either
// fills the calibration or gives one line naming the file; it decides the
// same way twice, never overflows the stack on deep nesting, and whatever it
// accepts goes through the plausibility checks.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "host/inputs/calibration_json.h"
#include "fuzz_check.h"
#include "host/inputs/plausibility.h"

namespace {

constexpr char kSource[] = "fuzz.json";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  deflash_host::module_calibration first{};
  deflash_host::module_calibration second{};
  std::string first_error;
  std::string second_error;
  const bool accepted = deflash_host::parse_calibration_json(text, kSource, first, first_error);
  FUZZ_CHECK(deflash_host::parse_calibration_json(text, kSource, second, second_error) == accepted);
  if (!accepted) {
    FUZZ_CHECK(first_error == second_error);
    FUZZ_CHECK(first_error.rfind(std::string(kSource) + ": ", 0) == 0);
    FUZZ_CHECK(first_error.find('\n') == std::string::npos);
    return 0;
  }
  FUZZ_CHECK(std::memcmp(&first, &second, sizeof first) == 0);
  for (const deflash_host::implausible_value& value : deflash_host::check_calibration(first)) {
    FUZZ_CHECK(!value.field.empty() && !value.what.empty());
  }
  return 0;
}
