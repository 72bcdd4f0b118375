// The part of Google Benchmark's interface deflash_bench uses, for builds that
// have no Google Benchmark package (the Windows cross build): the same
// benchmarks then run under Wine and write the same JSON for bench/report.py.
// Each benchmark runs until it has taken --benchmark_min_time seconds (0.5 by
// default), --benchmark_repetitions times; the JSON holds the median and mean.
#ifndef DEFLASH_BENCH_STAND_IN_BENCHMARK_H_
#define DEFLASH_BENCH_STAND_IN_BENCHMARK_H_

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <regex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace benchmark {

enum TimeUnit { kNanosecond, kMicrosecond, kMillisecond, kSecond };

class Counter {
 public:
  enum Flags { kDefaults = 0, kIsIterationInvariantRate = 1 };
  Counter(double value = 0, Flags flags = kDefaults) : value(value), flags(flags) {}  // NOLINT
  double value;
  Flags flags;
};

namespace internal {

/// CPU time of the whole process in seconds, as Google Benchmark measures it.
inline double process_cpu_seconds() {
#if defined(_WIN32)
  FILETIME created, exited, kernel, user;
  if (!GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user)) return 0;
  const auto seconds = [](const FILETIME& t) {
    return static_cast<double>((static_cast<unsigned long long>(t.dwHighDateTime) << 32) |
                               t.dwLowDateTime) *
           1e-7;
  };
  return seconds(kernel) + seconds(user);
#else
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
#endif
}

inline double wall_seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace internal

class State {
 public:
  explicit State(long long iterations) : iterations_(iterations) {}

  class iterator {
   public:
    iterator(State* state, long long left) : state_(state), left_(left) {}
    bool operator!=(const iterator&) const {
      if (left_ > 0) return true;
      state_->stop_timing();
      return false;
    }
    iterator& operator++() {
      --left_;
      return *this;
    }
    // Unused by every loop: the attribute keeps -Wunused-but-set-variable quiet.
    struct __attribute__((unused)) value {};
    value operator*() const { return value(); }

   private:
    State* state_;
    long long left_;
  };
  iterator begin() {
    start_timing();
    return iterator(this, iterations_);
  }
  iterator end() { return iterator(this, 0); }

  void SkipWithError(const char* message) {
    error_ = true;
    message_ = message;
  }
  void SetLabel(const std::string& label) { label_ = label; }
  // Throughput is not reported by this runner: the figures it writes are times.
  void SetBytesProcessed(long long bytes) { bytes_ = bytes; }
  long long iterations() const { return iterations_; }

  std::map<std::string, Counter> counters;

  // What the runner reads back.
  bool error() const { return error_; }
  const std::string& message() const { return message_; }
  const std::string& label() const { return label_; }
  double real_seconds() const { return real_; }
  double cpu_seconds() const { return cpu_; }

 private:
  void start_timing() {
    real_start_ = internal::wall_seconds();
    cpu_start_ = internal::process_cpu_seconds();
  }
  void stop_timing() {
    real_ = internal::wall_seconds() - real_start_;
    cpu_ = internal::process_cpu_seconds() - cpu_start_;
  }

  long long iterations_;
  bool error_ = false;
  std::string message_;
  std::string label_;
  long long bytes_ = 0;
  double real_start_ = 0;
  double cpu_start_ = 0;
  double real_ = 0;
  double cpu_ = 0;
};

template <class T>
inline void DoNotOptimize(T&& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}
inline void ClobberMemory() { asm volatile("" : : : "memory"); }

namespace internal {

class Benchmark {
 public:
  Benchmark(std::string name, std::function<void(State&)> run)
      : name_(std::move(name)), run_(std::move(run)) {}
  Benchmark* Unit(TimeUnit unit) {
    unit_ = unit;
    return this;
  }
  const std::string& name() const { return name_; }
  TimeUnit unit() const { return unit_; }
  void run(State& state) const { run_(state); }

 private:
  std::string name_;
  std::function<void(State&)> run_;
  TimeUnit unit_ = kNanosecond;
};

inline std::vector<Benchmark*>& registry() {
  static std::vector<Benchmark*> benchmarks;
  return benchmarks;
}

inline Benchmark* add(std::string name, std::function<void(State&)> run) {
  registry().push_back(new Benchmark(std::move(name), std::move(run)));
  return registry().back();
}

struct settings {
  int repetitions = 1;
  double min_time = 0.5;
  std::string filter = ".";
  std::string out;
  std::vector<std::string> unrecognized;
  std::vector<std::pair<std::string, std::string>> context;
};

inline settings& the_settings() {
  static settings s;
  return s;
}

inline const char* unit_name(TimeUnit unit) {
  switch (unit) {
    case kNanosecond:
      return "ns";
    case kMicrosecond:
      return "us";
    case kMillisecond:
      return "ms";
    case kSecond:
      return "s";
  }
  return "ns";
}

inline double unit_scale(TimeUnit unit) {
  switch (unit) {
    case kNanosecond:
      return 1e9;
    case kMicrosecond:
      return 1e6;
    case kMillisecond:
      return 1e3;
    case kSecond:
      return 1;
  }
  return 1e9;
}

inline std::string json_text(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "\"";
}

struct measurement {
  double real_per_iteration = 0;
  double cpu_per_iteration = 0;
  long long iterations = 0;
};

/// Runs `benchmark` with more iterations until a run takes min_time seconds.
inline bool measure(const Benchmark& benchmark, measurement& result, std::string& error,
                    std::string& label) {
  long long iterations = 1;
  for (;;) {
    State state(iterations);
    benchmark.run(state);
    if (state.error()) {
      error = state.message();
      return false;
    }
    label = state.label();
    const double taken = std::max(state.real_seconds(), state.cpu_seconds());
    if (taken >= the_settings().min_time || iterations >= 1000000000LL) {
      result.real_per_iteration = state.real_seconds() / static_cast<double>(iterations);
      result.cpu_per_iteration = state.cpu_seconds() / static_cast<double>(iterations);
      result.iterations = iterations;
      return true;
    }
    const double factor = taken > 0 ? 1.4 * the_settings().min_time / taken : 10.0;
    iterations = static_cast<long long>(static_cast<double>(iterations) *
                                        std::min(10.0, std::max(factor, 1.2))) +
                 1;
  }
}

inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

inline double mean(const std::vector<double>& values) {
  double sum = 0;
  for (const double v : values) sum += v;
  return sum / static_cast<double>(values.size());
}

}  // namespace internal

inline void Initialize(int* argc, char** argv) {
  internal::settings& s = internal::the_settings();
  int kept = 1;
  for (int i = 1; i < *argc; ++i) {
    const std::string arg = argv[i];
    const auto value_of = [&arg](const char* name, std::string& value) {
      const std::string prefix = std::string(name) + "=";
      if (arg.rfind(prefix, 0) != 0) return false;
      value = arg.substr(prefix.size());
      return true;
    };
    std::string value;
    if (value_of("--benchmark_repetitions", value)) {
      s.repetitions = std::max(1, std::atoi(value.c_str()));
    } else if (value_of("--benchmark_min_time", value)) {
      s.min_time = std::atof(value.c_str());
    } else if (value_of("--benchmark_filter", value)) {
      s.filter = value;
    } else if (value_of("--benchmark_out", value)) {
      s.out = value;
    } else if (value_of("--benchmark_out_format", value) ||
               value_of("--benchmark_report_aggregates_only", value)) {
      // JSON and aggregates are all this stand-in writes.
    } else {
      s.unrecognized.push_back(arg);
      argv[kept++] = argv[i];
    }
  }
  *argc = kept;
}

inline bool ReportUnrecognizedArguments(int, char**) {
  for (const std::string& arg : internal::the_settings().unrecognized) {
    std::fprintf(stderr, "error: unrecognized command-line flag: %s\n", arg.c_str());
  }
  return !internal::the_settings().unrecognized.empty();
}

inline void AddCustomContext(const std::string& key, const std::string& value) {
  internal::the_settings().context.emplace_back(key, value);
}

inline std::size_t RunSpecifiedBenchmarks() {
  using namespace internal;
  const settings& s = the_settings();
  const std::regex filter(s.filter);
  std::string entries;
  std::size_t ran = 0;
  for (const Benchmark* benchmark : registry()) {
    if (!std::regex_search(benchmark->name(), filter)) continue;
    ++ran;
    std::vector<double> real;
    std::vector<double> cpu;
    long long iterations = 0;
    std::string error;
    std::string label;
    for (int r = 0; r < s.repetitions && error.empty(); ++r) {
      measurement m;
      if (!measure(*benchmark, m, error, label)) break;
      real.push_back(m.real_per_iteration);
      cpu.push_back(m.cpu_per_iteration);
      iterations = m.iterations;
    }
    const std::string name = json_text(benchmark->name());
    if (!entries.empty()) entries += ",\n";
    if (!error.empty()) {
      std::printf("%-40s ERROR: %s\n", benchmark->name().c_str(), error.c_str());
      entries += "    {\"name\": " + name + ", \"run_name\": " + name +
                 ", \"run_type\": \"iteration\", \"error_occurred\": true, \"error_message\": " +
                 json_text(error) + "}";
      continue;
    }
    const double scale = unit_scale(benchmark->unit());
    const char* unit = unit_name(benchmark->unit());
    std::printf("%-40s %12.3f %s %12.3f %s %10lld %s\n", benchmark->name().c_str(),
                median(real) * scale, unit, median(cpu) * scale, unit, iterations, label.c_str());
    const auto aggregate = [&](const char* which, double real_time, double cpu_time) {
      char times[160];
      std::snprintf(times, sizeof times, "\"real_time\": %.9g, \"cpu_time\": %.9g", real_time,
                    cpu_time);
      return "    {\"name\": " + json_text(benchmark->name() + "_" + which) +
             ", \"run_name\": " + name +
             ", \"run_type\": \"aggregate\", \"repetitions\": " + std::to_string(s.repetitions) +
             ", \"aggregate_name\": \"" + which +
             "\", \"iterations\": " + std::to_string(iterations) + ", " + times +
             ", \"time_unit\": \"" + unit + "\", \"label\": " + json_text(label) + "}";
    };
    entries += aggregate("mean", mean(real) * scale, mean(cpu) * scale) + ",\n" +
               aggregate("median", median(real) * scale, median(cpu) * scale);
  }
  if (!s.out.empty()) {
    std::string context =
        "    \"num_cpus\": " + std::to_string(std::thread::hardware_concurrency());
    for (const auto& [key, value] : s.context) {
      context += ",\n    " + json_text(key) + ": " + json_text(value);
    }
    const std::string json = "{\n  \"context\": {\n" + context + "\n  },\n  \"benchmarks\": [\n" +
                             entries + "\n  ]\n}\n";
    if (FILE* out = std::fopen(s.out.c_str(), "wb")) {
      std::fwrite(json.data(), 1, json.size(), out);
      std::fclose(out);
    } else {
      std::fprintf(stderr, "error: cannot write %s\n", s.out.c_str());
    }
  }
  return ran;
}

inline void Shutdown() {}

}  // namespace benchmark

#define DEFLASH_BENCHMARK_JOIN2(a, b) a##b
#define DEFLASH_BENCHMARK_JOIN(a, b) DEFLASH_BENCHMARK_JOIN2(a, b)
#define BENCHMARK(function)                                                               \
  static ::benchmark::internal::Benchmark* DEFLASH_BENCHMARK_JOIN(benchmark_, __LINE__) = \
      ::benchmark::internal::add(#function, function)
#define BENCHMARK_CAPTURE(function, name, ...)                                            \
  static ::benchmark::internal::Benchmark* DEFLASH_BENCHMARK_JOIN(benchmark_, __LINE__) = \
      ::benchmark::internal::add(#function "/" #name,                                     \
                                 [](::benchmark::State& state) { function(state, __VA_ARGS__); })

#endif  // DEFLASH_BENCH_STAND_IN_BENCHMARK_H_
