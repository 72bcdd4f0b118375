// The outer steps shared by the D2C and IR pre-ISP group loaders.
#ifndef DEFLASH_DE_CONFIG_GROUP_TABLE_LOADER_H_
#define DEFLASH_DE_CONFIG_GROUP_TABLE_LOADER_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "config/ini_reader.h"
#include "de_config/loader_message.h"

namespace deflash {

/// Reads section `section` into record `index` of the loader's table; the
/// record is replaced only when the whole group reads. Returns false with
/// the reason in `message`. May throw the INI layer's exceptions.
using group_reader = bool (*)(ini_document& document, const std::string& section, std::size_t index,
                              loader_message& message);

/// Loads the group file at `path`: basic/num (at most `capacity` groups),
/// basic/version, then the sections group1..groupN through `read_group`.
/// `count` is stored before the version and the groups are read, so a
/// failed load can leave a count whose records were not all replaced.
/// Returns 0; -1 after a line on standard error; -5 on an INI or conversion
/// exception (no line).
int load_group_table(const char* path, std::size_t capacity, uint16_t& count, uint32_t& version,
                     group_reader read_group);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_GROUP_TABLE_LOADER_H_
