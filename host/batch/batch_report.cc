// Progress display, summary and JSON report of `deflash batch`.
#include "host/batch/batch_report.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace deflash_host {
namespace {

/// Cells of the progress bar: fits an 80-column terminal with the counts.
constexpr std::size_t kBarCells = 30;

std::string fixed(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

}  // namespace

batch_progress::batch_progress(std::size_t total, bool terminal)
    : total_(total), terminal_(terminal) {
  if (terminal_) draw(0);
}

void batch_progress::module_done(const std::string& name, const module_result& result,
                                 double elapsed) {
  ++done_;
  if (!result.written) ++failed_;
  if (terminal_) {
    if (!result.written) {
      std::fputs("\r\033[K", stdout);
      std::fflush(stdout);
      std::fprintf(stderr, "deflash: %s: %s\n", name.c_str(), result.error.c_str());
      std::fflush(stderr);
    }
    draw(elapsed);
    return;
  }
  std::printf("[%zu/%zu] %s: %s\n", done_, total_, name.c_str(),
              result.written ? "written" : "failed");
  std::fflush(stdout);
  if (!result.written) {
    std::fprintf(stderr, "deflash: %s: %s\n", name.c_str(), result.error.c_str());
    std::fflush(stderr);
  }
}

void batch_progress::draw(double elapsed) {
  const std::size_t filled = total_ == 0 ? kBarCells : done_ * kBarCells / total_;
  const std::string bar = std::string(filled, '#') + std::string(kBarCells - filled, '-');
  const double rate = elapsed > 0 ? static_cast<double>(done_) / elapsed : 0;
  std::printf("\r[%s] %zu/%zu modules, %zu failed, %s modules/s\033[K", bar.c_str(), done_, total_,
              failed_, fixed(rate, 1).c_str());
  std::fflush(stdout);
}

void batch_progress::finish() {
  if (!terminal_) return;
  std::fputs("\n", stdout);
  std::fflush(stdout);
}

std::string batch_summary(const batch_totals& totals, const std::vector<batch_module>& modules,
                          const std::vector<module_result>& results) {
  std::string text = "batch: " + std::to_string(totals.modules) + " modules, " +
                     std::to_string(totals.written) + " written, " + std::to_string(totals.failed) +
                     " failed in " + fixed(totals.seconds, 2) + " s (" +
                     fixed(totals.modules_per_second(), 1) + " modules/s, " +
                     std::to_string(totals.jobs) + (totals.jobs == 1 ? " job" : " jobs") + ")\n";
  for (std::size_t i = 0; i < results.size(); ++i) {
    if (!results[i].written) text += "failed: " + modules[i].name + ": " + results[i].error + "\n";
  }
  return text;
}

std::string batch_report_json(const batch_totals& totals, const std::vector<batch_module>& modules,
                              const std::vector<module_result>& results) {
  nlohmann::ordered_json listed = nlohmann::ordered_json::array();
  for (std::size_t i = 0; i < results.size(); ++i) {
    const module_result& result = results[i];
    nlohmann::ordered_json entry;
    entry["name"] = modules[i].name;
    entry["status"] = result.written ? "written" : "failed";
    nlohmann::ordered_json outputs = nlohmann::ordered_json::array();
    for (const written_file& file : result.outputs) {
      outputs.push_back({{"path", file.path}, {"bytes", file.bytes}});
    }
    entry["outputs"] = outputs;
    if (!result.written) entry["error"] = result.error;
    entry["messages"] = result.messages;
    entry["seconds"] = result.seconds;
    listed.push_back(entry);
  }
  nlohmann::ordered_json report;
  report["modules"] = totals.modules;
  report["written"] = totals.written;
  report["failed"] = totals.failed;
  report["jobs"] = totals.jobs;
  report["timestamp"] = totals.timestamp;
  report["seconds"] = totals.seconds;
  report["modules_per_second"] = totals.modules_per_second();
  report["results"] = listed;
  return report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace deflash_host
