// run_workers on Windows: the tool started again with CreateProcess in its
// worker mode, the request written to its standard input and the answer read
// from its standard output, one thread per running child.
#include <windows.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/batch/process_pool.h"

namespace deflash_host {
namespace {

/// NTSTATUS values from here on are exceptions that ended the process (an
/// access violation, Ctrl-C, a stack overflow), not exit statuses.
constexpr DWORD kFirstExceptionCode = 0xC0000000;

std::string system_message(DWORD code) {
  char* text = nullptr;
  const DWORD length = FormatMessageA(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  std::string message = length > 0 ? std::string(text, length) : "error " + std::to_string(code);
  if (text != nullptr) LocalFree(text);
  while (!message.empty() && (message.back() == '\n' || message.back() == '\r' ||
                              message.back() == ' ' || message.back() == '.')) {
    message.pop_back();
  }
  return message;
}

/// The running program's own path, for starting it again.
std::wstring own_path() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (n == 0) return std::wstring();
    if (n < path.size()) {
      path.resize(n);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

/// Owns one handle.
class handle {
 public:
  handle() = default;
  explicit handle(HANDLE h) : h_(h) {}
  ~handle() { reset(); }
  handle(const handle&) = delete;
  handle& operator=(const handle&) = delete;
  handle(handle&& other) noexcept : h_(other.h_) { other.h_ = nullptr; }
  handle& operator=(handle&& other) noexcept {
    if (this != &other) {
      reset();
      h_ = other.h_;
      other.h_ = nullptr;
    }
    return *this;
  }
  HANDLE get() const { return h_; }
  HANDLE* out() {
    reset();
    return &h_;
  }
  void reset() {
    if (h_ != nullptr && h_ != INVALID_HANDLE_VALUE) CloseHandle(h_);
    h_ = nullptr;
  }

 private:
  HANDLE h_ = nullptr;
};

/// A started child: its process, the parent's ends of its two pipes.
struct child {
  std::size_t index = 0;
  handle process;
  handle request;  // written by the parent, the child's standard input
  handle answer;   // read by the parent, the child's standard output
};

/// Starts the worker of `kind`; false with `error` when Windows refuses.
bool start_child(const std::wstring& program, const worker_kind& kind, child& started,
                 std::string& error) {
  SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  handle child_in;
  handle child_out;
  if (!CreatePipe(child_in.out(), started.request.out(), &inherit, 0) ||
      !CreatePipe(started.answer.out(), child_out.out(), &inherit, 0)) {
    error = "cannot start a worker process (" + system_message(GetLastError()) + ")";
    return false;
  }
  // Only the child's ends are inherited.
  SetHandleInformation(started.request.get(), HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(started.answer.get(), HANDLE_FLAG_INHERIT, 0);
  handle child_err;
  if (!DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_ERROR_HANDLE), GetCurrentProcess(),
                       child_err.out(), 0, TRUE, DUPLICATE_SAME_ACCESS)) {
    child_err.reset();  // no standard error to share: the child gets none
  }

  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = child_in.get();
  startup.hStdOutput = child_out.get();
  startup.hStdError = child_err.get();
  std::wstring name;
  for (const char* c = kind.name; *c != '\0'; ++c) name += static_cast<wchar_t>(*c);
  std::wstring command_line = L"\"" + program + L"\" ";
  for (const char* c = kWorkerArgument; *c != '\0'; ++c) command_line += static_cast<wchar_t>(*c);
  command_line += L" " + name;
  PROCESS_INFORMATION info{};
  // A process group of its own: Ctrl-C in the console stops the batch, not
  // the module a worker is writing (it finishes and finds the batch gone).
  if (!CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, TRUE,
                      CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &startup, &info)) {
    error = "cannot start a worker process (" + system_message(GetLastError()) + ")";
    return false;
  }
  CloseHandle(info.hThread);
  *started.process.out() = info.hProcess;
  return true;
}

bool write_all(HANDLE to, const std::string& bytes) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const std::size_t left = bytes.size() - written;
    DWORD n = 0;
    if (!WriteFile(to, bytes.data() + written,
                   static_cast<DWORD>(left < (1u << 20) ? left : 1u << 20), &n, nullptr) ||
        n == 0) {
      return false;
    }
    written += n;
  }
  return true;
}

/// The child's side as the parent sees it: hand over the request, read the
/// answer until the child closes its output, wait for it to end.
process_outcome follow(child& running, const std::string& request) {
  // A worker that ends early (it failed) closes the pipe: nothing else to do then.
  write_all(running.request.get(), request);
  running.request.reset();
  process_outcome outcome;
  char chunk[65536];
  DWORD n = 0;
  while (ReadFile(running.answer.get(), chunk, sizeof chunk, &n, nullptr) && n > 0) {
    outcome.answer.append(chunk, n);
  }
  running.answer.reset();
  DWORD status = 0;
  if (WaitForSingleObject(running.process.get(), INFINITE) != WAIT_OBJECT_0 ||
      !GetExitCodeProcess(running.process.get(), &status)) {
    outcome.how = "cannot be waited for (" + system_message(GetLastError()) + ")";
  } else if (status >= kFirstExceptionCode) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08lX", static_cast<unsigned long>(status));
    outcome.how = std::string("ended by exception ") + code;
  } else if (status != 0) {
    outcome.how = "exited with status " + std::to_string(status);
  } else {
    outcome.finished = true;
  }
  running.process.reset();
  return outcome;
}

/// What the threads hand to the one that calls `done`.
struct finished_queue {
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::pair<std::size_t, process_outcome>> ended;
};

}  // namespace

bool run_workers(std::size_t count, std::size_t jobs, const worker_kind& kind,
                 const std::function<std::string(std::size_t)>& request,
                 const std::function<void(std::size_t, const process_outcome&)>& done,
                 std::string& error, const std::function<bool()>& stop) {
  if (jobs == 0) jobs = 1;
  const auto stopped = [&stop] { return stop && stop(); };
  const std::wstring program = own_path();
  if (program.empty()) {
    error = "cannot start a worker process (" + system_message(GetLastError()) + ")";
    return false;
  }
  finished_queue queue;
  std::vector<std::thread> threads;
  std::size_t next = 0;
  std::size_t running = 0;
  bool started_all = true;
  while ((started_all && next < count && !stopped()) || running > 0) {
    while (started_all && next < count && running < jobs && !stopped()) {
      auto started = std::make_shared<child>();
      started->index = next;
      std::string text = request(next);
      if (!start_child(program, kind, *started, error)) {
        started_all = false;
        break;
      }
      ++next;
      ++running;
      threads.emplace_back([started, text = std::move(text), &queue] {
        process_outcome outcome = follow(*started, text);
        const std::lock_guard<std::mutex> lock(queue.mutex);
        queue.ended.emplace_back(started->index, std::move(outcome));
        queue.changed.notify_one();
      });
    }
    if (running == 0) break;
    std::pair<std::size_t, process_outcome> ended;
    {
      std::unique_lock<std::mutex> lock(queue.mutex);
      queue.changed.wait(lock, [&queue] { return !queue.ended.empty(); });
      ended = std::move(queue.ended.front());
      queue.ended.pop_front();
    }
    --running;
    done(ended.first, ended.second);
  }
  for (std::thread& thread : threads) thread.join();
  return started_all;
}

}  // namespace deflash_host
