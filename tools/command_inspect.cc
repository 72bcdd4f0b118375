// `deflash inspect`: decodes a flash file deflash wrote and verifies every
// CRC, digest and layout rule; `deflash diff`: field-level differences.
#include <cstdio>
#include <memory>
#include <string>

#include "commands.h"
#include "host/files/file_io.h"
#include "host/inspection/inspect.h"

namespace deflash_cli {
namespace {

/// Reads and decodes `path`; on failure prints one line and returns false.
bool load_report(const std::string& path, deflash_host::report& out) {
  std::string bytes;
  std::string error;
  if (!read_file_bytes(path, bytes, error, kMaxImageInputBytes)) {
    std::fprintf(stderr, "deflash: %s\n", error.c_str());
    return false;
  }
  if (!deflash_host::inspect_bytes(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(),
                                   out, error)) {
    std::fprintf(stderr, "deflash: %s: %s\n", path.c_str(), error.c_str());
    return false;
  }
  return true;
}

int run_inspect(const std::string& path, bool as_json) {
  deflash_host::report report;
  if (!load_report(path, report)) return kExitUsage;
  if (as_json) {
    deflash_host::print_json_text(report, 2, &path, stdout);
  } else {
    std::printf("file: %s\n%s", path.c_str(), deflash_host::render_text(report).c_str());
  }
  std::fflush(stdout);
  for (const auto& f : report.failures) {
    std::fprintf(stderr, "deflash: %s: %s\n", path.c_str(), deflash_host::failure_text(f).c_str());
  }
  if (report.unlisted_failures != 0) {
    std::fprintf(stderr, "deflash: %s: %s\n", path.c_str(),
                 deflash_host::unlisted_failures_text(report).c_str());
  }
  return report.ok() ? kExitOk : kExitFailure;
}

int run_diff(const std::string& old_path, const std::string& new_path, bool as_json) {
  deflash_host::report a;
  deflash_host::report b;
  if (!load_report(old_path, a) || !load_report(new_path, b)) return kExitUsage;
  if (a.kind != b.kind || a.size != b.size) {
    std::fprintf(
        stderr,
        "deflash: %s: a %s file of %s bytes cannot be compared with %s, a %s file of %s bytes\n",
        new_path.c_str(), b.kind.c_str(), std::to_string(b.size).c_str(), old_path.c_str(),
        a.kind.c_str(), std::to_string(a.size).c_str());
    return kExitUsage;
  }
  if (as_json) {
    const deflash_host::json doc = deflash_host::diff_json(a, b, old_path, new_path);
    std::printf("%s\n", doc.dump(2).c_str());
    return doc.at("equal").get<bool>() ? kExitOk : kExitFailure;
  }
  const deflash_host::difference_list differences = deflash_host::diff_reports(a, b);
  for (const auto& d : differences) {
    std::printf("%s\n", deflash_host::difference_text(d).c_str());
  }
  if (differences.unlisted != 0) {
    std::printf("%s\n", deflash_host::unlisted_differences_text(differences).c_str());
  }
  std::printf("%s difference%s\n", std::to_string(differences.count()).c_str(),
              differences.count() == 1 ? "" : "s");
  return differences.empty() ? kExitOk : kExitFailure;
}

}  // namespace

void add_inspect_command(CLI::App& app, int& exit_code) {
  CLI::App* command = app.add_subcommand(
      "inspect", "Decode a flash file deflash wrote and verify its CRCs, digests and layout");
  auto file = std::make_shared<std::string>();
  auto as_json = std::make_shared<bool>(false);
  command
      ->add_option("FILE", *file,
                   "Calibration, raw-calibration, start-row, depth-engine, "
                   "erased or depth-section file")
      ->required();
  command->add_flag("--json", *as_json, "Print one JSON document (see docs/inspect-json.md)");
  command->callback([&exit_code, file, as_json] { exit_code = run_inspect(*file, *as_json); });
}

void add_diff_command(CLI::App& app, int& exit_code) {
  CLI::App* command =
      app.add_subcommand("diff", "Field-level differences between two flash files of one kind");
  auto paths = std::make_shared<std::vector<std::string>>();
  auto as_json = std::make_shared<bool>(false);
  command->add_option("A B", *paths, "The old and the new file")->required()->expected(2);
  command->add_flag("--json", *as_json, "Print one JSON document");
  command->callback(
      [&exit_code, paths, as_json] { exit_code = run_diff((*paths)[0], (*paths)[1], *as_json); });
}

}  // namespace deflash_cli
