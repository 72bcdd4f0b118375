// `deflash update-baseline` and `deflash update-fb`: patch the baseline and
// focal length of an existing calibration image, show each field before and
// after, and verify the written file as `inspect` does.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "calibration_options.h"
#include "commands.h"
#include "host/files/safe_output.h"
#include "host/images/fb_pairs.h"
#include "host/images/image_update.h"

namespace deflash_cli {
namespace {

struct update_options {
  std::string image;
  float baseline = 0.0f;
  int index = -1;
  bool index_given = false;
  std::vector<std::string> fb;
  std::string out;
  bool dry_run = false;
  bool verbose = false;
  output_options output;
};

/// The request the options make; kExitOk or the exit code of a refused option.
int make_request(update_kind kind, const update_options& options, update_request& request) {
  request.kind = kind;
  request.image = options.image;
  request.baseline = options.baseline;
  if (options.index_given) request.index = options.index;
  if (const outcome pairs = parse_fb_pairs(options.fb, request.pairs); !pairs.ok()) {
    return show(pairs);
  }
  if (!options.dry_run && options.out.empty()) {
    return report_failure(kExitUsage, "give the output file with --out FILE, or --dry-run");
  }
  request.scratch_beside = options.dry_run ? std::string() : options.out;
  return kExitOk;
}

int run_update(update_kind kind, const update_options& options) {
  const verbosity level = options.verbose ? verbosity::verbose : verbosity::normal;
  update_request request;
  if (const int status = make_request(kind, options, request); status != kExitOk) return status;
  update_result result;
  const outcome updated = update_image(request, result);
  for (const difference& d : result.changes) std::printf("%s\n", difference_text(d).c_str());
  if (!updated.ok()) return show(updated, level);
  if (options.dry_run) {
    if (options.out.empty()) {
      std::printf("dry run: nothing written\n");
    } else {
      std::printf("dry run: %s not written\n", options.out.c_str());
    }
    return show(updated, level);
  }
  std::string error;
  if (!write_outputs({options.image}, {{options.out, result.bytes}}, options.output, error)) {
    show(updated, level);
    return report_failure(kExitUsage, error);
  }
  std::string kind_written;
  const outcome written = check_written_image(options.out, result.bytes, kind_written);
  if (!written.ok()) return show(written);
  std::printf("wrote %s (%zu bytes, %s), verified\n", options.out.c_str(), result.bytes.size(),
              kind_written.c_str());
  return show(updated, level);
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
  CLI::Option* index =
      command
          ->add_option("--index", options->index, "Only the entry at this position (default: all)")
          ->needs(baseline);
  CLI::Option* fb =
      command->add_option("--fb", options->fb,
                          "FOCAL:BASELINE: the baseline for entries whose focal length is "
                          "within 1.0 of FOCAL (repeatable)");
  baseline->excludes(fb);
  command->callback([options, baseline, index, fb, &exit_code] {
    options->index_given = index->count() > 0;
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
