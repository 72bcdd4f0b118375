// sigaction handlers that record the first interrupting signal.
#include "host/batch/batch_interrupt.h"

#include <signal.h>

#include <csignal>

namespace deflash_host {
namespace {

// A signal handler may only store to a lock-free atomic of this type; the
// watch reads it from the driver's loop.
volatile std::sig_atomic_t g_signal = 0;

struct sigaction g_previous_int {};
struct sigaction g_previous_term {};

extern "C" void note_signal(int number) {
  if (g_signal == 0) g_signal = number;
}

}  // namespace

interrupt_watch::interrupt_watch() {
  g_signal = 0;
  struct sigaction action {};
  action.sa_handler = note_signal;
  sigemptyset(&action.sa_mask);
  // No SA_RESTART: the driver's wait returns and looks at the flag.
  action.sa_flags = 0;
  sigaction(SIGINT, &action, &g_previous_int);
  sigaction(SIGTERM, &action, &g_previous_term);
}

interrupt_watch::~interrupt_watch() {
  sigaction(SIGINT, &g_previous_int, nullptr);
  sigaction(SIGTERM, &g_previous_term, nullptr);
}

bool interrupt_watch::requested() const { return g_signal != 0; }

const char* interrupt_watch::signal_name() const {
  return g_signal == SIGINT ? "SIGINT" : g_signal == SIGTERM ? "SIGTERM" : "";
}

}  // namespace deflash_host
