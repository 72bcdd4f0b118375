// The exported surface's guard: no exception of any kind reaches the host.
#ifndef DEFLASH_FRAME_BOUNDARY_H_
#define DEFLASH_FRAME_BOUNDARY_H_

#include <type_traits>
#include <utility>

#include "frame/log.h"

namespace deflash {

/// Where an export's failure message goes besides the console: the host's
/// std::function callback, the register functions' (ctx, fn) pair, or nowhere.
struct boundary_log {
  log_callback* callback = nullptr;
  void* ctx = nullptr;
  log_pair_fn fn = nullptr;
};

inline boundary_log to_callback(log_callback* log) { return {log, nullptr, nullptr}; }
inline boundary_log to_pair(void* ctx, log_pair_fn fn) { return {nullptr, ctx, fn}; }

/// Callback text of an allocation that failed inside an export.
constexpr char kOutOfMemoryMessage[] = "error: out of memory\n";
/// Callback text of any other exception that reached an export.
constexpr char kUnexpectedExceptionMessage[] = "error: unexpected exception\n";

/// Reports the exception being handled (call it only inside a catch): one
/// console line naming the export, "error: <export>: out of memory" for a
/// failed allocation, "error: <export>: <what>" for another standard
/// exception, "error: <export>: unknown exception" for anything else; then
/// the fixed text above to the host's log. Never throws: a callback that
/// throws here (an empty std::function, a host's own exception) is ignored.
void report_escaped_exception(const char* export_name, const boundary_log& log) noexcept;

/// Runs an export's body and hands its result back; an exception that
/// escapes the body is reported and becomes `failure` (of the body's result
/// type). Every export calls this (pass `__func__` as the name), so a failing
/// allocation deep in the core, a throwing host callback or any other
/// exception ends as a result instead of unwinding into a host that cannot
/// catch it.
template <typename Body>
std::invoke_result_t<Body> at_boundary(const char* export_name, std::invoke_result_t<Body> failure,
                                       const boundary_log& log, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    report_escaped_exception(export_name, log);
  }
  return failure;
}

/// The same for exports that return nothing: on an exception the export
/// returns after the report, with its outputs as far as the body got.
template <typename Body>
void at_boundary(const char* export_name, const boundary_log& log, Body&& body) noexcept {
  static_assert(std::is_void_v<std::invoke_result_t<Body>>, "a result needs a failure value");
  try {
    std::forward<Body>(body)();
  } catch (...) {
    report_escaped_exception(export_name, log);
  }
}

}  // namespace deflash

#endif  // DEFLASH_FRAME_BOUNDARY_H_
