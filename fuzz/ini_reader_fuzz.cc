// Fuzz target: arbitrary bytes as an INI text, then as a calibration
// configuration. Decoding must be deterministic, parse errors must be the
// reader's own, and a load must return one of its codes and be idempotent.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/calib_input_config.h"
#include "config/ini_reader.h"
#include "deflash/calib_config.h"
#include "deflash/result_codes.h"
#include "fuzz_check.h"

namespace {

constexpr char kParseErrorMarker[] = ": ini parsing failed, ";

// Decodes `text`; returns the parse error text, or empty on success.
std::string decode(const std::string& text, deflash::ini_document& document) {
  try {
    document.decode(text);
  } catch (const std::domain_error&) {
    FUZZ_CHECK(false && "the reader raised a conversion error");
  } catch (const std::logic_error& e) {
    const std::string message = e.what();
    FUZZ_CHECK(!message.empty() && message[0] == 'l');
    FUZZ_CHECK(message.find(kParseErrorMarker) != std::string::npos);
    return message;
  }
  return std::string();
}

void check_decoding(const std::string& text) {
  deflash::ini_document first('=', ';');
  deflash::ini_document second('=', ';');
  const std::string first_error = decode(text, first);
  const std::string second_error = decode(text, second);
  FUZZ_CHECK(first_error == second_error);
  FUZZ_CHECK(first.size() == second.size());
  // Decoding again into a used document starts from scratch.
  FUZZ_CHECK(decode(text, first) == first_error);
  FUZZ_CHECK(first.size() == second.size());
}

void check_loading(const std::string& text) {
  // The loader takes a C string; it sees the text up to its first NUL.
  const int result = soc_convert::load_input_configs_content(text.c_str());
  FUZZ_CHECK(result == DRIVER_HELPER_OK || result == DRIVER_HELPER_INVALID_PARAM ||
             result == DRIVER_HELPER_CONFIG_EXCEPTION);
  const deflash::calib_input_config after_first = deflash::module_calib_config();

  // The same text again gives the same result and the same record: every
  // field a load writes depends only on the text and fields it wrote.
  FUZZ_CHECK(soc_convert::load_input_configs_content(text.c_str()) == result);
  FUZZ_CHECK(std::memcmp(&after_first, &deflash::module_calib_config(), sizeof after_first) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  check_decoding(text);
  check_loading(text);
  return 0;
}
