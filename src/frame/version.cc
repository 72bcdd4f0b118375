// Version exports.
#include <cstring>

#include "deflash/frame.h"
#include "frame/boundary.h"
#include "frame/version_text.h"

namespace {
// Hosts compare this text with what they were built for: "2.2.0.4".
constexpr char kVersion[] = DEFLASH_VERSION_TEXT;
// The host hands an 8-byte buffer; the seven characters leave the eighth
// byte zero as the terminator.
constexpr std::size_t kVersionBufferBytes = 8;
static_assert(sizeof kVersion <= kVersionBufferBytes, "version fits the host buffer");
}  // namespace

extern "C" void get_soc_depth_driver_helper_version(char* out) {
  deflash::at_boundary(__func__, {}, [out] {
    if (out == nullptr) return;
    std::memset(out, 0, kVersionBufferBytes);
    std::memcpy(out, kVersion, sizeof kVersion - 1);
  });
}

// Nothing here can fail; the guard keeps the rule without exceptions, and
// its failure value is the same constant text.
extern "C" const char* soc_driver_helper_get_version(void) {
  return deflash::at_boundary(__func__, kVersion, {}, [] { return kVersion; });
}
