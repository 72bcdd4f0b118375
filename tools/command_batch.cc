// `deflash batch`: the calibration, start-row and depth-engine images of
// many modules, listed in a manifest or as module folders, built in parallel
// worker processes.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "calibration_options.h"
#include "commands.h"
#include "host/batch/batch_interrupt.h"
#include "host/batch/batch_manifest.h"
#include "host/batch/batch_module_build.h"
#include "host/batch/batch_paths.h"
#include "host/batch/batch_report.h"
#include "host/batch/batch_request.h"
#include "host/batch/process_pool.h"
#include "host/files/safe_output.h"
#include "host/images/calibration_inputs.h"
#include "host/images/section_stamp.h"

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace deflash_cli {
namespace {

namespace fs = std::filesystem;

/// More workers than this only wait on the disk.
constexpr unsigned kMaxJobs = 256;

struct batch_options {
  std::string source;
  std::string out_dir;
  unsigned jobs = 0;
  bool jobs_given = false;
  std::string report;
  std::string timestamp;
  batch_configs configs;
  output_options output;
  bool allow_implausible = false;
};

bool stdout_is_terminal() {
#ifdef _WIN32
  return _isatty(_fileno(stdout)) != 0;
#else
  return ::isatty(STDOUT_FILENO) != 0;
#endif
}

/// The worker's side of a module: build it and hand back its result.
std::string run_module_request(const std::string& text) {
  // Ctrl-C stops the batch, not a module halfway: the worker finishes the
  // module it began, all of its images or none, and then ends on the pipe of
  // the driver that is gone.
#ifdef _WIN32
  SetConsoleCtrlHandler(nullptr, TRUE);
#else
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGTERM, SIG_IGN);
#endif
  batch_request request;
  if (!decode_request(text, request)) {
    module_result result;
    result.error = "worker process handed back no result";
    return encode_result(result);
  }
  return encode_result(build_module(request.module, request.settings));
}

const worker_kind kBatchModuleWorker{"batch-module", run_module_request};

/// Checks the options that need no file; returns kExitOk or prints the line.
int check_options(const batch_options& options, int64_t& timestamp) {
  if (options.jobs_given && (options.jobs < 1 || options.jobs > kMaxJobs)) {
    return report_failure(kExitUsage, "--jobs " + std::to_string(options.jobs) +
                                          " must be a whole number from 1 to " +
                                          std::to_string(kMaxJobs));
  }
  if (!options.timestamp.empty() && !parse_timestamp(options.timestamp, timestamp)) {
    return report_failure(kExitUsage, "--timestamp \"" + options.timestamp +
                                          "\" must be a non-negative whole number of seconds");
  }
  if (timestamp > kMaxTimestamp) {
    return report_failure(kExitUsage, "--timestamp " + options.timestamp +
                                          " does not fit the headers' 32-bit time stamp (at "
                                          "most 4294967295)");
  }
  // One time stamp for the whole batch, however long it runs.
  if (timestamp == 0) timestamp = static_cast<int64_t>(std::time(nullptr)) & kMaxTimestamp;
  return kExitOk;
}

/// The modules the manifest or the folder lists; kExitOk or the exit code.
int list_modules(const batch_options& options, bool from_folders,
                 std::vector<batch_module>& modules) {
  std::string error;
  const bool listed = from_folders ? read_module_folders(options.source, options.out_dir,
                                                         options.configs, modules, error)
                                   : read_manifest(options.source, options.configs, modules, error);
  return listed ? kExitOk : report_failure(kExitUsage, error);
}

/// The report is written last: refuse before any work a report that would
/// replace a file the batch reads or writes, or whose folder is not there
/// (the output folder, which the batch creates, excepted).
int check_report_path(const batch_options& options, bool from_folders,
                      const std::vector<batch_module>& modules) {
  if (options.report.empty()) return kExitOk;
  const std::string conflict =
      report_conflict(options.report, batch_input_files(options.source, from_folders, modules),
                      batch_output_files(options.out_dir, modules));
  if (!conflict.empty()) return report_failure(kExitUsage, conflict);
  const fs::path folder = fs::path(options.report).parent_path();
  std::error_code ec;
  const bool out_dir = !folder.empty() && fs::weakly_canonical(folder, ec) ==
                                              fs::weakly_canonical(options.out_dir, ec);
  if (!folder.empty() && !out_dir && !fs::is_directory(folder, ec)) {
    return report_failure(kExitUsage, options.report + ": cannot be written (no folder " +
                                          folder.generic_string() + ")");
  }
  return kExitOk;
}

/// Creates the output folder; `created` tells whether this run made it.
int prepare_out_dir(const std::string& out_dir, bool& created) {
  std::error_code ec;
  created = fs::create_directories(out_dir, ec);
  if (!fs::is_directory(out_dir)) {
    return report_failure(kExitUsage, out_dir + ": cannot be created (" +
                                          (ec ? ec.message() : std::string("it is not a folder")) +
                                          ")");
  }
  return kExitOk;
}

/// A report that cannot be written is found before the modules are built:
/// a scratch file goes where it will go.
int probe_report(const std::string& report) {
  if (report.empty()) return kExitOk;
  std::error_code ec;
  if (fs::exists(fs::symlink_status(report, ec)) && !fs::is_regular_file(report, ec)) {
    return report_failure(kExitUsage,
                          report + ": cannot be written (it exists and is not a regular file)");
  }
  std::string error;
  const std::string scratch = reserve_temporary(report, error);
  if (scratch.empty()) return report_failure(kExitUsage, error);
  std::remove(scratch.c_str());
  return kExitOk;
}

/// Builds every module in worker processes until done or interrupted.
void build_modules(const std::vector<batch_module>& modules, const batch_settings& settings,
                   const interrupt_watch& interrupt, batch_totals& totals,
                   std::vector<module_result>& results, std::string& error, bool& all_started) {
  std::vector<bool> finished(modules.size(), false);
  const auto start = std::chrono::steady_clock::now();
  const auto elapsed = [&start] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  batch_progress progress(modules.size(), stdout_is_terminal());
  all_started = run_workers(
      modules.size(), totals.jobs, kBatchModuleWorker,
      [&](std::size_t i) {
        return encode_request({modules[i], settings, ""});
      },
      [&](std::size_t i, const process_outcome& outcome) {
        module_result& result = results[i];
        if (!outcome.finished) {
          result.error = "worker process " + outcome.how;
        } else if (!decode_result(outcome.answer, result)) {
          result = module_result{};
          result.error = "worker process handed back no result";
        }
        if (!result.written && result.messages.empty()) result.messages.push_back(result.error);
        finished[i] = true;
        progress.module_done(modules[i].name, result, elapsed());
      },
      error, [&interrupt] { return interrupt.requested(); });
  progress.finish();
  for (std::size_t i = 0; i < modules.size(); ++i) {
    if (!finished[i] && interrupt.requested()) {
      results[i].not_started = true;
      ++totals.not_started;
      continue;
    }
    if (!finished[i]) {
      results[i].error = "not built: " + error;
      results[i].messages.push_back(results[i].error);
    }
    ++(results[i].written ? totals.written : totals.failed);
  }
  if (interrupt.requested()) totals.interrupted_by = interrupt.signal_name();
  totals.seconds = elapsed();
}

/// The summary and the report of what was built; the batch's exit code.
int finish_batch(const batch_options& options, bool from_folders,
                 const std::vector<batch_module>& modules, const batch_totals& totals,
                 const std::vector<module_result>& results, bool all_started,
                 const std::string& pool_error) {
  std::fputs(batch_summary(totals, modules, results).c_str(), stdout);
  int status = totals.failed > 0 ? kExitFailure : kExitOk;
  if (!all_started) status = report_failure(kExitUsage, pool_error);
  if (!totals.interrupted_by.empty()) status = kInterruptedExitCode;
  if (options.report.empty()) return status;
  std::vector<std::string> inputs;
  if (!from_folders) inputs.push_back(options.source);
  std::string error;
  if (!write_outputs(inputs, {{options.report, batch_report_json(totals, modules, results)}},
                     options.output, error)) {
    return report_failure(kExitUsage, error);
  }
  std::printf("wrote %s\n", options.report.c_str());
  return status;
}

int run_batch(const batch_options& options) {
  int64_t timestamp = 0;
  if (const int status = check_options(options, timestamp); status != kExitOk) return status;
  std::error_code ec;
  const bool from_folders = fs::is_directory(options.source, ec);
  std::vector<batch_module> modules;
  if (const int status = list_modules(options, from_folders, modules); status != kExitOk) {
    return status;
  }
  if (const int status = check_report_path(options, from_folders, modules); status != kExitOk) {
    return status;
  }
  bool created = false;
  if (const int status = prepare_out_dir(options.out_dir, created); status != kExitOk) {
    return status;
  }
  if (const int status = probe_report(options.report); status != kExitOk) {
    if (created) fs::remove(options.out_dir, ec);
    return status;
  }

  batch_settings settings;
  settings.out_dir = options.out_dir;
  settings.timestamp = timestamp;
  settings.output = options.output;
  settings.allow_implausible = options.allow_implausible;
  batch_totals totals;
  totals.modules = modules.size();
  totals.jobs =
      options.jobs_given ? options.jobs : std::max(1u, std::thread::hardware_concurrency());
  totals.jobs = std::min(totals.jobs, std::max<std::size_t>(1, modules.size()));
  totals.timestamp = timestamp;

  // From here a signal stops the handing out of modules, not the driver.
  const interrupt_watch interrupt;
  std::vector<module_result> results(modules.size());
  std::string error;
  bool all_started = true;
  build_modules(modules, settings, interrupt, totals, results, error, all_started);
  return finish_batch(options, from_folders, modules, totals, results, all_started, error);
}

}  // namespace

bool run_batch_worker(int argc, char** argv, int& status) {
  return run_as_worker(argc, argv, {kBatchModuleWorker, kBatchImageWorker}, status);
}

void add_batch_command(CLI::App& app, int& exit_code) {
  auto options = std::make_shared<batch_options>();
  CLI::App* command = app.add_subcommand(
      "batch",
      "Build the calibration, start-row and depth-engine images of many modules in parallel");
  command
      ->add_option("source", options->source,
                   "Manifest file (one module per line) or folder of module folders")
      ->required();
  command->add_option("--out-dir", options->out_dir, "Folder that gets one folder per module")
      ->required();
  CLI::Option* jobs = command->add_option(
      "--jobs", options->jobs, "Worker processes at a time (default: the number of cores)");
  command->add_option("--report", options->report, "Also write the results as JSON");
  command->add_option("--timestamp", options->timestamp,
                      "Header time stamp of every module, seconds since 1970 (default and 0: "
                      "the batch's start)");
  command->add_option("--config", options->configs.calib,
                      "Calibration configuration INI of every module; repeat per camera mode");
  command->add_option("--dpu", options->configs.deconfig.dpu,
                      "DPU input configuration of every module; repeat per camera mode");
  command->add_option("--d2c", options->configs.deconfig.d2c, "D2C groups of every module");
  command->add_option("--ir-pre", options->configs.deconfig.ir_pre,
                      "IR pre-ISP groups of every module");
  command->add_flag("--allow-implausible", options->allow_implausible,
                    "Let values the library accepts but no real module has pass, as warnings");
  add_force_option(*command, options->output);
  command->callback([options, jobs, &exit_code] {
    options->jobs_given = jobs->count() > 0;
    exit_code = run_batch(*options);
  });
}

}  // namespace deflash_cli
