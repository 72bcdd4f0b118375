// What `deflash batch` shows while it runs and when it is done: the progress
// (a bar on a terminal, a line per module otherwise), the summary and the
// machine-readable report.
#ifndef DEFLASH_HOST_BATCH_REPORT_H_
#define DEFLASH_HOST_BATCH_REPORT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/batch/batch_manifest.h"
#include "host/batch/batch_module_build.h"

namespace deflash_host {

/// The batch as a whole, for the summary and the report.
struct batch_totals {
  std::size_t modules = 0;
  std::size_t written = 0;
  std::size_t failed = 0;
  std::size_t jobs = 0;
  int64_t timestamp = 0;
  double seconds = 0;

  double modules_per_second() const {
    return seconds > 0 ? static_cast<double>(modules) / seconds : 0;
  }
};

/// Shows the progress on standard output: on a terminal one bar redrawn in
/// place, otherwise one line per module as it ends. Each failed module is
/// also one line "deflash: NAME: why" on standard error.
class batch_progress {
 public:
  batch_progress(std::size_t total, bool terminal);
  void module_done(const std::string& name, const module_result& result, double elapsed);
  /// Ends the bar's line.
  void finish();

 private:
  void draw(double elapsed);

  std::size_t total_;
  bool terminal_;
  std::size_t done_ = 0;
  std::size_t failed_ = 0;
};

/// The summary lines: counts, time, rate, then each failed module and why.
std::string batch_summary(const batch_totals& totals, const std::vector<batch_module>& modules,
                          const std::vector<module_result>& results);

/// The report as a JSON document (docs/batch.md), modules in listed order.
std::string batch_report_json(const batch_totals& totals, const std::vector<batch_module>& modules,
                              const std::vector<module_result>& results);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_BATCH_REPORT_H_
