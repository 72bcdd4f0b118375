// Ctrl-C and Ctrl-Break during a batch on Windows: a console control handler
// that records the first of them, so the driver stops handing out modules,
// waits for its workers (which run in process groups of their own and never
// see the event) and reports what finished.
#include <windows.h>

#include <atomic>

#include "host/batch/batch_interrupt.h"

namespace deflash_host {
namespace {

/// The control event that arrived first; -1 before any.
std::atomic<long> g_event{-1};

BOOL WINAPI note_event(DWORD type) {
  if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT) return FALSE;  // closing: the default
  long none = -1;
  g_event.compare_exchange_strong(none, static_cast<long>(type));
  return TRUE;
}

}  // namespace

interrupt_watch::interrupt_watch() {
  g_event = -1;
  SetConsoleCtrlHandler(note_event, TRUE);
}

interrupt_watch::~interrupt_watch() { SetConsoleCtrlHandler(note_event, FALSE); }

bool interrupt_watch::requested() const { return g_event != -1; }

// The names the POSIX build prints: Ctrl-C is SIGINT there too; Ctrl-Break is
// the C runtime's SIGBREAK.
const char* interrupt_watch::signal_name() const {
  const long event = g_event;
  return event == CTRL_C_EVENT ? "SIGINT" : event == CTRL_BREAK_EVENT ? "SIGBREAK" : "";
}

}  // namespace deflash_host
