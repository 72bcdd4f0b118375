// `deflash update-baseline` and `deflash update-fb`: patch the baseline and
// focal length of an existing calibration image, show each field before and
// after, and verify the written file as `inspect` does.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "calibration_options.h"
#include "commands.h"
#include "deflash.h"
#include "host/base/console_capture.h"
#include "host/base/result_names.h"
#include "host/files/file_io.h"
#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"
#include "host/inspection/inspect.h"

namespace deflash_cli {
namespace {

/// Bytes of the depth-calculation section the baseline updates write alone.
constexpr std::size_t kDepthSectionBytes = 4096;
constexpr std::size_t kDepthSectionOffset = 0x4000;

enum class update_kind { baseline, multi_baseline, fb_d2c };

struct update_options {
  std::string image;
  float baseline = 0.0f;
  int index = -1;
  std::vector<std::string> fb;
  std::string out;
  bool dry_run = false;
  bool verbose = false;
  output_options output;
};

/// "F:B" into two floats; false when either is missing, not a number, not
/// finite, or followed by other text.
bool parse_fb(const std::string& text, float& focal, float& baseline) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  const std::string parts[2] = {text.substr(0, colon), text.substr(colon + 1)};
  float values[2];
  for (int i = 0; i < 2; ++i) {
    if (parts[i].empty()) return false;
    char* end = nullptr;
    errno = 0;
    values[i] = std::strtof(parts[i].c_str(), &end);
    if (errno != 0 || *end != '\0' || !std::isfinite(values[i])) return false;
  }
  focal = values[0];
  baseline = values[1];
  return true;
}

bool decode(const std::string& bytes, deflash_host::report& out, std::string& error) {
  return deflash_host::inspect_bytes(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(),
                                     out, error);
}

int run_update(update_kind kind, const update_options& options) {
  std::vector<float> fb_set;
  for (const std::string& pair : options.fb) {
    float focal = 0.0f;
    float baseline = 0.0f;
    if (!parse_fb(pair, focal, baseline)) {
      return report_failure(kExitUsage,
                            "--fb " + pair + ": expected FOCAL:BASELINE, two finite numbers");
    }
    fb_set.push_back(focal);
    fb_set.push_back(baseline);
  }
  if (kind != update_kind::fb_d2c && !std::isfinite(options.baseline)) {
    return report_failure(kExitUsage, "--baseline: not a finite number");
  }
  if (!options.dry_run && options.out.empty()) {
    return report_failure(kExitUsage, "give the output file with --out FILE, or --dry-run");
  }

  std::string input;
  std::string error;
  if (!read_file_bytes(options.image, input, error, kMaxImageInputBytes)) {
    return report_failure(kExitUsage, error);
  }
  deflash_host::report before;
  if (!decode(input, before, error))
    return report_failure(kExitUsage, options.image + ": " + error);
  const bool whole = before.kind == "calibration";
  const bool section_only = before.kind == "depth-section";
  if (!whole && !(section_only && kind != update_kind::fb_d2c)) {
    return report_failure(
        kExitUsage,
        options.image + ": a " + before.kind + " file; expected a calibration image" +
            (kind == update_kind::fb_d2c ? std::string(" (20480 or 24576 bytes)")
                                         : std::string(" or its 4096-byte depth section")));
  }
  // A damaged image is not patched: the update would seal its faults under
  // fresh CRCs.
  if (!before.ok()) {
    for (const auto& f : before.failures) {
      std::fprintf(stderr, "deflash: %s: %s\n", options.image.c_str(),
                   deflash_host::failure_text(f).c_str());
    }
    return report_failure(kExitFailure, options.image + ": does not verify; nothing patched");
  }

  // The library writes its own file: let it write a scratch file next to the
  // target (or in the temporary folder for a dry run), then take the bytes.
  const std::string scratch_target =
      options.dry_run ? (std::filesystem::temp_directory_path() / "deflash-dry-run.bin").string()
                      : options.out;
  const std::string scratch = reserve_temporary(scratch_target, error);
  if (scratch.empty()) return report_failure(kExitUsage, error);
  int result = 0;
  {
    outcome patched_by_library;
    const char* name = "";
    result = call_captured(patched_by_library.console, [&] {
      switch (kind) {
        case update_kind::baseline:
          name = "update_soc_baseline_de";
          return update_soc_baseline_de(options.image.c_str(), options.baseline, scratch.c_str(),
                                        options.index);
        case update_kind::multi_baseline:
          name = "update_soc_multi_baseline_de";
          return update_soc_multi_baseline_de(options.image.c_str(), fb_set.data(),
                                              static_cast<int>(fb_set.size() / 2), scratch.c_str());
        case update_kind::fb_d2c:
          name = "update_soc_multi_fb_d2c_de";
          return update_soc_multi_fb_d2c_de(options.image.c_str(), fb_set.data(),
                                            static_cast<int>(fb_set.size() / 2), scratch.c_str());
      }
      return 0;
    });
    show(patched_by_library, options.verbose ? verbosity::verbose : verbosity::normal);
    if (result != 0) {
      std::remove(scratch.c_str());
      return report_failure(kExitFailure, options.image + ": " + name +
                                              " refused the update: " + describe_result(result));
    }
  }
  std::string patched;
  const bool read_back = read_file_bytes(scratch, patched, error, kMaxImageInputBytes);
  std::remove(scratch.c_str());
  if (!read_back) return report_failure(kExitUsage, error);

  deflash_host::report after;
  if (!decode(patched, after, error)) {
    return report_failure(kExitFailure, "the updated file is not a flash file: " + error);
  }
  // The baseline updates write the depth section alone: compare it with the
  // input's depth section.
  if (after.kind == "depth-section" && whole) {
    const std::string section = input.substr(kDepthSectionOffset, kDepthSectionBytes);
    if (!decode(section, before, error)) return report_failure(kExitUsage, error);
  }
  for (const auto& d : deflash_host::diff_reports(before, after)) {
    std::printf("%s\n", deflash_host::difference_text(d).c_str());
  }
  if (!after.ok()) {
    for (const auto& f : after.failures) {
      std::fprintf(stderr, "deflash: updated image: %s\n", deflash_host::failure_text(f).c_str());
    }
    return report_failure(kExitFailure, "the updated image does not verify; nothing written");
  }
  if (options.dry_run) {
    if (options.out.empty()) {
      std::printf("dry run: nothing written\n");
    } else {
      std::printf("dry run: %s not written\n", options.out.c_str());
    }
    return kExitOk;
  }
  if (!write_outputs({options.image}, {{options.out, patched}}, options.output, error)) {
    return report_failure(kExitUsage, error);
  }
  // Read back what reached the disk and check it as `inspect` would.
  std::string written;
  deflash_host::report check;
  if (!read_file_bytes(options.out, written, error, kMaxImageInputBytes) || written != patched ||
      !decode(written, check, error) || !check.ok()) {
    return report_failure(kExitFailure,
                          options.out + ": written file does not read back as written");
  }
  std::printf("wrote %s (%s bytes, %s), verified\n", options.out.c_str(),
              std::to_string(written.size()).c_str(), check.kind.c_str());
  return kExitOk;
}

void add_common(CLI::App& command, update_options& options) {
  command.add_option("IMAGE", options.image, "Calibration image to patch (never modified)")
      ->required();
  command.add_option("--out", options.out, "File to write the patched image to");
  command.add_flag("--dry-run", options.dry_run,
                   "Print each field before and after and write nothing");
  command.add_flag("--verbose", options.verbose,
                   "Also print the library's console lines on standard error");
  add_force_option(command, options.output);
}

}  // namespace

void add_update_baseline_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<update_options>();
  CLI::App* command =
      app.add_subcommand("update-baseline",
                         "Patch the baseline of the depth-calculation entries; writes the "
                         "4096-byte depth section");
  add_common(*command, *options);
  CLI::Option* baseline =
      command->add_option("--baseline", options->baseline, "New baseline for the entries");
  command->add_option("--index", options->index, "Only the entry at this position (default: all)")
      ->needs(baseline);
  CLI::Option* fb =
      command->add_option("--fb", options->fb,
                          "FOCAL:BASELINE: the baseline for entries whose focal length is "
                          "within 1.0 of FOCAL (repeatable)");
  baseline->excludes(fb);
  command->callback([options, baseline, fb, &exit_code] {
    if (baseline->count() == 0 && fb->count() == 0) {
      exit_code = report_failure(kExitUsage, "give --baseline MM or --fb F:B");
      return;
    }
    exit_code = run_update(
        baseline->count() > 0 ? update_kind::baseline : update_kind::multi_baseline, *options);
  });
}

void add_update_fb_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<update_options>();
  CLI::App* command =
      app.add_subcommand("update-fb",
                         "Patch focal length and baseline in the depth-to-colour and "
                         "depth-calculation entries of a whole calibration image");
  add_common(*command, *options);
  command
      ->add_option("--fb", options->fb,
                   "FOCAL:BASELINE: patches the first entry whose focal length is within 6.0 of "
                   "FOCAL (repeatable)")
      ->required();
  command->callback(
      [options, &exit_code] { exit_code = run_update(update_kind::fb_d2c, *options); });
}

}  // namespace deflash_cli
