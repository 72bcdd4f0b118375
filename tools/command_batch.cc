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
#include "host/batch/batch_manifest.h"
#include "host/batch/batch_module_build.h"
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

/// The report is written last: refuse a folder that is not there before any work.
int check_report_folder(const std::string& report) {
  if (report.empty()) return kExitOk;
  const fs::path folder = fs::path(report).parent_path();
  std::error_code ec;
  if (!folder.empty() && !fs::is_directory(folder, ec)) {
    return report_failure(
        kExitUsage, report + ": cannot be written (no folder " + folder.generic_string() + ")");
  }
  return kExitOk;
}

int prepare_out_dir(const std::string& out_dir) {
  std::error_code ec;
  fs::create_directories(out_dir, ec);
  if (!fs::is_directory(out_dir)) {
    return report_failure(kExitUsage, out_dir + ": cannot be created (" +
                                          (ec ? ec.message() : std::string("it is not a folder")) +
                                          ")");
  }
  return kExitOk;
}

int run_batch(const batch_options& options) {
  int64_t timestamp = 0;
  if (const int status = check_options(options, timestamp); status != kExitOk) return status;
  if (const int status = check_report_folder(options.report); status != kExitOk) return status;

  std::error_code ec;
  const bool from_folders = fs::is_directory(options.source, ec);
  std::vector<batch_module> modules;
  std::string error;
  const bool listed = from_folders ? read_module_folders(options.source, options.out_dir,
                                                         options.configs, modules, error)
                                   : read_manifest(options.source, options.configs, modules, error);
  if (!listed) return report_failure(kExitUsage, error);
  if (const int status = prepare_out_dir(options.out_dir); status != kExitOk) return status;

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

  std::vector<module_result> results(modules.size());
  std::vector<bool> finished(modules.size(), false);
  const auto start = std::chrono::steady_clock::now();
  const auto elapsed = [&start] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  batch_progress progress(modules.size(), stdout_is_terminal());
  const bool all_started = run_workers(
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
      error);
  progress.finish();
  for (std::size_t i = 0; i < modules.size(); ++i) {
    if (!finished[i]) {
      results[i].error = "not built: " + error;
      results[i].messages.push_back(results[i].error);
    }
    if (results[i].written) {
      ++totals.written;
    } else {
      ++totals.failed;
    }
  }
  totals.seconds = elapsed();
  std::fputs(batch_summary(totals, modules, results).c_str(), stdout);

  int status = totals.failed > 0 ? kExitFailure : kExitOk;
  if (!all_started) status = report_failure(kExitUsage, error);
  if (!options.report.empty()) {
    std::vector<std::string> inputs;
    if (!from_folders) inputs.push_back(options.source);
    if (!write_outputs(inputs, {{options.report, batch_report_json(totals, modules, results)}},
                       options.output, error)) {
      return report_failure(kExitUsage, error);
    }
    std::printf("wrote %s\n", options.report.c_str());
  }
  return status;
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
