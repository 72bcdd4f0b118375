// Conversions of INI value texts to numbers, with the exact error texts.
#include "config/ini_convert.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace deflash {
namespace {

[[noreturn]] void fail(const std::string& message) { throw std::domain_error(message); }

// Narrows a parsed value after its range test; the result is its low bits.
template <typename T, typename Wide>
T narrow(Wide v, Wide lo, Wide hi, const char* range_name, const ini_value& value) {
  if (v < lo || v > hi)
    fail(std::string("field is out of ") + range_name + " range: " + value.text());
  return static_cast<T>(v);
}

}  // namespace

bool as_bool(const ini_value& value) {
  std::string upper = value.text();
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (upper == "TRUE" || upper == "1") return true;
  if (upper == "FALSE" || upper == "0") return false;
  fail(value.text() + " is not a bool");
}

long long as_long_long(const ini_value& value) {
  const char* begin = value.text().c_str();
  const char* stop = begin + value.text().size();
  char* end = nullptr;
  errno = 0;
  const long long v = std::strtoll(begin, &end, 0);
  const bool range_error = errno == ERANGE && (v == LLONG_MAX || v == LLONG_MIN);
  if (end != stop || (end == begin && v == 0) || range_error) {
    fail(value.text() + " is not a long long");
  }
  return v;
}

unsigned long long as_unsigned_long_long(const ini_value& value) {
  const char* begin = value.text().c_str();
  const char* stop = begin + value.text().size();
  char* end = nullptr;
  errno = 0;
  const unsigned long long v = std::strtoull(begin, &end, 0);
  const bool range_error = errno == ERANGE && v == ULLONG_MAX;
  if (end != stop || (end == begin && v == 0) || range_error) {
    fail(value.text() + " is not a unsigned long long");
  }
  // strtoull alone would take "-1" as the largest value.
  const char* p = begin;
  while (*p == ' ' || *p == '\t') ++p;
  if (*p == '-') fail("detect negative while parse unsigned");
  return v;
}

float as_float(const ini_value& value) {
  const char* begin = value.text().c_str();
  const char* stop = begin + value.text().size();
  char* end = nullptr;
  errno = 0;
  const float v = std::strtof(begin, &end);
  const bool overflow = errno == ERANGE && std::isinf(v);
  if (end != stop || (end == begin && v == 0.0f) || overflow) {
    fail(value.text() + " is not a float");
  }
  return v;
}

int as_int(const ini_value& value) {
  return narrow<int, long long>(as_long_long(value), INT_MIN, INT_MAX, "Int", value);
}

int32_t as_int32(const ini_value& value) {
  return narrow<int32_t, long long>(as_long_long(value), INT32_MIN, INT32_MAX, "Int32", value);
}

int8_t as_int8(const ini_value& value) {
  return narrow<int8_t, long long>(as_long_long(value), INT8_MIN, INT8_MAX, "Int8", value);
}

uint8_t as_uint8(const ini_value& value) {
  return narrow<uint8_t, unsigned long long>(as_unsigned_long_long(value), 0, UINT8_MAX, "UInt8",
                                             value);
}

uint32_t as_uint32(const ini_value& value) {
  return narrow<uint32_t, unsigned long long>(as_unsigned_long_long(value), 0, UINT32_MAX, "UInt32",
                                              value);
}

}  // namespace deflash
