// Loader of the IR pre-ISP (auto-exposure) configuration groups.
#ifndef DEFLASH_DE_CONFIG_IR_PRE_LOADER_H_
#define DEFLASH_DE_CONFIG_IR_PRE_LOADER_H_

namespace deflash {

/// Reads the IR pre-ISP group file at `path` into the module's IR pre-ISP
/// table, count and version (at most 10 groups). Returns 0, -1 after a line
/// on standard error, or -5 on an INI or conversion exception.
int load_ir_pre_groups(const char* path);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_IR_PRE_LOADER_H_
