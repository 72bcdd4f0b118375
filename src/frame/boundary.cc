// Reports of the exported surface's guard: a console line and the host's log.
#include "frame/boundary.h"

#include <exception>
#include <new>

namespace deflash {
namespace {

// The host's log gets the fixed text; a callback that throws while we are
// already failing cannot be reported to anyone, so it is dropped.
void send_boundary_log(const boundary_log& log, const char* message) noexcept {
  try {
    send_log(log.callback, message);
  } catch (...) {
    // Nothing is left to tell, and nobody to tell it to.
  }
  try {
    send_pair_log(log.ctx, log.fn, message);
  } catch (...) {
    // As above.
  }
}

}  // namespace

void report_escaped_exception(const char* export_name, const boundary_log& log) noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    console_log("error: %s: out of memory\n", export_name);
    send_boundary_log(log, kOutOfMemoryMessage);
  } catch (const std::exception& e) {
    console_log("error: %s: %s\n", export_name, e.what());
    send_boundary_log(log, kUnexpectedExceptionMessage);
  } catch (...) {
    console_log("error: %s: unknown exception\n", export_name);
    send_boundary_log(log, kUnexpectedExceptionMessage);
  }
}

}  // namespace deflash
