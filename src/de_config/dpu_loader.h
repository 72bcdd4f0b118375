// Loader of one DPU input configuration file (one camera mode).
#ifndef DEFLASH_DE_CONFIG_DPU_LOADER_H_
#define DEFLASH_DE_CONFIG_DPU_LOADER_H_

namespace deflash {

/// Reads the DPU input file at `path` into module state (mode, version,
/// scheme, DPU parameters). Returns 0, or -1 (file cannot be opened), -5
/// (INI syntax or conversion error), -6 (required section missing), -7 to
/// -12 (section mode, basic, disparity, extend_chop, gpm, scheme failed).
/// Messages go to standard error. A file without [mode] loads nothing and
/// returns 0; a failure keeps what was stored before it.
int load_dpu_input_config(const char* path);

}  // namespace deflash

#endif  // DEFLASH_DE_CONFIG_DPU_LOADER_H_
