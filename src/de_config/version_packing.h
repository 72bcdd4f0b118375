// Packing of dotted configuration versions ("1.0.0.1") into 32 bits.
#ifndef DEFLASH_DE_CONFIG_VERSION_PACKING_H_
#define DEFLASH_DE_CONFIG_VERSION_PACKING_H_

#include <cstdint>
#include <string>

namespace deflash {

/// Splits `text` at '.' (empty pieces are skipped, as strtok does) and, for
/// each piece in order, shifts the result left by 8 and ORs in the piece's
/// first character as a signed byte widened to 32 bits. "1.2.3.4" packs to
/// 0x31323334; only the first digit of "10" counts; empty text gives 0.
uint32_t pack_version(const std::string& text);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_VERSION_PACKING_H_
