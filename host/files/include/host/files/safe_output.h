// Puts every file a command writes in place together, or none of them: an
// image that reaches flash must never be half written or silently replaced.
#ifndef DEFLASH_HOST_SAFE_OUTPUT_H_
#define DEFLASH_HOST_SAFE_OUTPUT_H_

#include <string>
#include <vector>

namespace deflash_host {

struct output_file {
  std::string path;
  std::string bytes;
};

struct output_options {
  /// Write through a symbolic link to the file it names; without it a link
  /// at an output path is refused, so a stray link cannot redirect an image.
  bool force = false;
};

/// Refuses (returns false, one-line `error` naming the path) an output that
/// is an input or another output (also through links), or that exists and is
/// not a regular file; then writes each output to a new temporary file in its
/// own folder, flushes and syncs it, and renames them all into place only
/// after every temporary file was written. On failure it removes only the
/// temporary files it created: existing targets keep their bytes.
bool write_outputs(const std::vector<std::string>& inputs, const std::vector<output_file>& outputs,
                   const output_options& options, std::string& error);

/// Creates a new, empty file with a unique name in the folder of `target`
/// for a writer that only takes a path (the library writes some images to
/// files itself). Returns its path, or an empty string and a one-line
/// `error`. The caller removes it when done.
std::string reserve_temporary(const std::string& target, std::string& error);

/// The path `name` in the system's temporary folder (the first of TMPDIR,
/// TMP, TEMP and TEMPDIR that is set, else /tmp; GetTempPath on Windows), for
/// the scratch file of a writer that only takes a path. Returns an empty
/// string and a one-line `error` naming the variable and the folder when that
/// folder cannot be used.
std::string temporary_folder_path(const std::string& name, std::string& error);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_SAFE_OUTPUT_H_
