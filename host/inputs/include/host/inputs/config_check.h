// Checks a configuration INI file before the library loads it: syntax with
// the file name and line, every key's conversion with its name, and every
// value inside the range a camera module can use.
#ifndef DEFLASH_HOST_CONFIG_CHECK_H_
#define DEFLASH_HOST_CONFIG_CHECK_H_

#include <string>
#include <vector>

#include "host/base/outcome.h"
#include "host/inputs/calibration_json.h"

namespace deflash_host {

enum class config_kind { calib, dpu, d2c, ir_pre, unknown };

/// "calib", "dpu", "d2c", "ir-pre" (the --kind values), "unknown".
const char* config_kind_name(config_kind kind);
/// The kind named by a --kind value; unknown for anything else.
config_kind parse_config_kind(const std::string& name);

struct config_problem {
  /// "FILE:LINE: KEY", "FILE: [section]" or "FILE".
  std::string where;
  std::string what;
  /// True for a value the library would still accept (--allow-implausible
  /// lets it pass); false for what the library itself would refuse or
  /// silently misread.
  bool implausible = false;
  /// A warning never stops a command.
  bool warning = false;
};

struct config_check {
  config_kind kind = config_kind::unknown;
  std::vector<config_problem> problems;
};

/// Checks the INI `text` read from `path`. With `expected` other than
/// unknown the file must be of that kind; otherwise its kind is detected from
/// its sections. With `calibration`, image-size rules (chops, clips) are
/// checked against the module's cameras.
config_check check_config_text(const std::string& path, const std::string& text,
                               config_kind expected, const module_calibration* calibration);

/// The problems found, as an outcome: each a note (implausible values as
/// warnings when `allow_implausible`), rejected when any is left standing.
outcome problems_outcome(const std::vector<config_problem>& problems, bool allow_implausible);

}  // namespace deflash_host

#endif  // DEFLASH_HOST_CONFIG_CHECK_H_
