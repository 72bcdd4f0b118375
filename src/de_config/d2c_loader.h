// Loader of the depth-to-colour (D2C) configuration groups.
#ifndef DEFLASH_DE_CONFIG_D2C_LOADER_H_
#define DEFLASH_DE_CONFIG_D2C_LOADER_H_

namespace deflash {

/// Reads the D2C group file at `path` into the module's D2C table, count and
/// version (at most 100 groups). Returns 0, -1 after a line on standard
/// error, or -5 on an INI or conversion exception.
int load_d2c_groups(const char* path);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_D2C_LOADER_H_
