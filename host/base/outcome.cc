// The end of a host operation and the lines it shows.
#include "host/base/outcome.h"

#include <sstream>

namespace deflash_host {
namespace {

/// The library's failure lines: "error: ...", "Error: ...", "Caught an
/// exception: ...", "... section not found!", "Field ... not found ...".
bool says_what_failed(const std::string& line) {
  for (const char* mark : {"error", "Error", "exception", "not found", "invalid", "failed"}) {
    if (line.find(mark) != std::string::npos) return true;
  }
  return false;
}

/// The whole text as it stands, ending in a line end.
void add_whole(const std::string& text, std::vector<shown_line>& lines) {
  if (text.empty()) return;
  lines.push_back({text.back() == '\n' ? text : text + "\n", false});
}

/// The first line of the library's console that says what went wrong:
/// standard error first, where the loaders put their key and section messages.
void add_first_failure(const library_console& console, std::vector<shown_line>& lines) {
  for (const std::string* text : {&console.err, &console.out}) {
    std::istringstream stream(*text);
    std::string line;
    while (std::getline(stream, line)) {
      while (!line.empty() && (line.back() == ' ' || line.back() == '\r')) line.pop_back();
      if (!line.empty() && says_what_failed(line)) {
        lines.push_back({"library: " + line, true});
        return;
      }
    }
  }
}

}  // namespace

void outcome::append(outcome later) {
  for (note& n : later.notes) notes.push_back(std::move(n));
  if (later.console.called) console = std::move(later.console);
  state = later.state;
  failure = std::move(later.failure);
}

outcome fail(status state, std::string line) {
  outcome result;
  result.state = state;
  result.failure = std::move(line);
  return result;
}

std::vector<shown_line> shown_lines(const outcome& result, verbosity level) {
  std::vector<shown_line> lines;
  for (const note& n : result.notes) {
    if (n.warning && level == verbosity::quiet) continue;
    lines.push_back({n.warning ? "warning: " + n.text : n.text, true});
  }
  if (result.console.called) {
    if (level == verbosity::verbose) {
      add_whole(result.console.out, lines);
      add_whole(result.console.err, lines);
    } else if (level == verbosity::normal && result.console.failed) {
      add_first_failure(result.console, lines);
    }
  }
  if (!result.ok() && !result.failure.empty()) lines.push_back({result.failure, true});
  return lines;
}

}  // namespace deflash_host
