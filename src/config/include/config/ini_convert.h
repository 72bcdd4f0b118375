// Typed conversions of INI values; each throws std::domain_error naming the text.
#ifndef DEFLASH_CONFIG_INI_CONVERT_H_
#define DEFLASH_CONFIG_INI_CONVERT_H_

#include <cstdint>

#include "config/ini_reader.h"

namespace deflash {

/// "TRUE"/"1" and "FALSE"/"0", case-insensitive; anything else throws.
bool as_bool(const ini_value& value);
/// strtoll, base 0, whole text.
long long as_long_long(const ini_value& value);
/// strtoull, base 0, whole text; a leading '-' throws.
unsigned long long as_unsigned_long_long(const ini_value& value);
/// strtof, whole text; overflow throws, underflow is accepted.
float as_float(const ini_value& value);
int as_int(const ini_value& value);
int8_t as_int8(const ini_value& value);
uint8_t as_uint8(const ini_value& value);
int32_t as_int32(const ini_value& value);
uint32_t as_uint32(const ini_value& value);

}  // namespace deflash

#endif  // DEFLASH_CONFIG_INI_CONVERT_H_
