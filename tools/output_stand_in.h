// Writes the tool's output files through a temporary file and a rename, so a
// failing command leaves every existing file as it was.
#ifndef DEFLASH_TOOLS_OUTPUT_STAND_IN_H_
#define DEFLASH_TOOLS_OUTPUT_STAND_IN_H_

#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace deflash_cli {

struct output_file {
  std::string path;
  std::string bytes;
};
struct output_options {
  bool force = false;
};

/// Refuses an output equal to an input or to another output, or one that is
/// not a regular file; writes each output to a temporary file in its folder
/// and renames them all into place only after every one was written.
inline bool write_outputs(const std::vector<std::string>& inputs,
                          const std::vector<output_file>& outputs,
                          const output_options& /*options*/, std::string& error) {
  namespace fs = std::filesystem;
  std::error_code ec;
  std::vector<fs::path> seen;
  for (const std::string& input : inputs) seen.push_back(fs::weakly_canonical(input, ec));
  for (const output_file& output : outputs) {
    const fs::path target = fs::weakly_canonical(output.path, ec);
    for (std::size_t i = 0; i < seen.size(); ++i) {
      if (!ec && seen[i] == target) {
        error = output.path + ": cannot be written (it is " +
                (i < inputs.size() ? "an input" : "another output") + ")";
        return false;
      }
    }
    seen.push_back(target);
    if (fs::exists(output.path, ec) && !fs::is_regular_file(output.path, ec)) {
      error = output.path + ": cannot be written (not a regular file)";
      return false;
    }
  }
  std::vector<std::string> temporaries;
  const auto remove_temporaries = [&temporaries] {
    for (const std::string& path : temporaries) std::remove(path.c_str());
  };
  for (const output_file& output : outputs) {
    const std::string temporary = output.path + ".deflash-tmp";
    std::FILE* file = std::fopen(temporary.c_str(), "wb");
    bool ok = file != nullptr;
    if (ok) temporaries.push_back(temporary);
    ok =
        ok && std::fwrite(output.bytes.data(), 1, output.bytes.size(), file) == output.bytes.size();
    if (file != nullptr && std::fclose(file) != 0) ok = false;
    if (!ok) {
      remove_temporaries();
      error = output.path + ": cannot be written";
      return false;
    }
  }
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    fs::rename(temporaries[i], outputs[i].path, ec);
    if (ec) {
      remove_temporaries();
      error = outputs[i].path + ": cannot be written (" + ec.message() + ")";
      return false;
    }
  }
  return true;
}

}  // namespace deflash_cli

#endif  // DEFLASH_TOOLS_OUTPUT_STAND_IN_H_
