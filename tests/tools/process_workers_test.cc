// Tests of the tool's worker processes as batch uses them, on every system:
// forked on POSIX, this test program started again in its worker mode on
// Windows. Answers of any size, separate memory, the bound on workers at a
// time, and workers that fail. The program has its own main() for that mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/batch/process_pool.h"
#include "support/temp_files.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace {

using deflash_host::process_outcome;
using deflash_host::run_workers;
using deflash_host::worker_kind;

/// Changed by workers only: the test process must never see it move.
int g_state = 0;

// Request "N C": N bytes of C.
std::string bytes_of(const std::string& request) {
  const std::size_t space = request.find(' ');
  return std::string(std::stoul(request.substr(0, space)), request.at(space + 1));
}

std::string count_state(const std::string&) {
  g_state += 1;
  return std::to_string(g_state);
}

// Request: a folder. Marks itself present there, looks how many others are,
// and removes its mark before it ends.
std::string count_present(const std::string& folder) {
  const std::string mark =
      folder + "/" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
  if (FILE* f = std::fopen(mark.c_str(), "wb")) std::fclose(f);
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  std::size_t present = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    present += entry.is_regular_file() ? 1 : 0;
  }
  std::remove(mark.c_str());
  return std::to_string(present);
}

std::string fail(const std::string& request) {
  if (request == "throw") throw std::runtime_error("no memory left for the table");
  if (request == "exit") {
    std::fflush(nullptr);
#ifdef _WIN32
    ExitProcess(7);
#else
    ::_exit(7);
#endif
  }
  return "fine";
}

const worker_kind kBytes{"bytes", bytes_of};
const worker_kind kCountState{"count-state", count_state};
const worker_kind kCountPresent{"count-present", count_present};
const worker_kind kFail{"fail", fail};

TEST(ProcessWorkers, HandBackEveryAnswerWhateverItsSize) {
  // 3 MB is far more than a pipe holds: the parent must read while the child writes.
  const auto size_of = [](std::size_t i) { return i == 2 ? std::size_t{3} << 20 : i * 10; };
  std::vector<std::string> answers(5);
  std::vector<std::string> hows(5);
  std::string error;
  ASSERT_TRUE(run_workers(
      answers.size(), 2, kBytes,
      [&](std::size_t i) { return std::to_string(size_of(i)) + " " + static_cast<char>('a' + i); },
      [&](std::size_t i, const process_outcome& outcome) {
        EXPECT_TRUE(outcome.finished) << outcome.how;
        answers[i] = outcome.answer;
      },
      error))
      << error;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    EXPECT_EQ(answers[i], std::string(size_of(i), static_cast<char>('a' + i))) << i;
  }
}

TEST(ProcessWorkers, KeepWhatAWorkerChangesInTheWorker) {
  std::vector<std::string> seen;
  std::string error;
  ASSERT_TRUE(run_workers(
      3, 1, kCountState, [](std::size_t) { return std::string(); },
      [&seen](std::size_t, const process_outcome& outcome) { seen.push_back(outcome.answer); },
      error));
  EXPECT_EQ(seen, (std::vector<std::string>{"1", "1", "1"}));
  EXPECT_EQ(g_state, 0);
}

TEST(ProcessWorkers, RunNoMoreAtATimeThanAsked) {
  deflash_test::temp_dir dir;
  std::size_t most = 0;
  std::size_t ended = 0;
  std::string error;
  ASSERT_TRUE(run_workers(
      6, 2, kCountPresent, [&dir](std::size_t) { return dir.file(""); },
      [&](std::size_t, const process_outcome& outcome) {
        ASSERT_TRUE(outcome.finished) << outcome.how;
        most = std::max<std::size_t>(most, std::stoul(outcome.answer));
        ++ended;
      },
      error));
  EXPECT_EQ(ended, 6u);
  EXPECT_GE(most, 1u);
  EXPECT_LE(most, 2u);
}

TEST(ProcessWorkers, ReportAWorkerThatThrowsOrExits) {
  const std::vector<std::string> requests = {"throw", "exit", "fine"};
  std::vector<process_outcome> outcomes(3);
  std::string error;
  ASSERT_TRUE(run_workers(
      3, 3, kFail, [&requests](std::size_t i) { return requests[i]; },
      [&outcomes](std::size_t i, const process_outcome& outcome) { outcomes[i] = outcome; },
      error));
  EXPECT_FALSE(outcomes[0].finished);
  EXPECT_EQ(outcomes[0].how, "exited with status 3");
  EXPECT_FALSE(outcomes[1].finished);
  EXPECT_EQ(outcomes[1].how, "exited with status 7");
  EXPECT_TRUE(outcomes[2].finished);
  EXPECT_EQ(outcomes[2].answer, "fine");
}

TEST(ProcessWorkers, StartNoMoreOnceStopSaysSoAndWaitForTheRunning) {
  std::vector<std::size_t> ended;
  std::string error;
  // One at a time; stop turns true once the second worker has ended.
  EXPECT_TRUE(run_workers(
      5, 1, kFail, [](std::size_t) { return std::string("fine"); },
      [&ended](std::size_t i, const process_outcome& outcome) {
        EXPECT_TRUE(outcome.finished) << outcome.how;
        ended.push_back(i);
      },
      error, [&ended] { return ended.size() >= 2; }));
  EXPECT_EQ(ended, (std::vector<std::size_t>{0, 1}));
  EXPECT_EQ(error, "");
}

TEST(ProcessWorkers, StartNothingForNoWork) {
  std::size_t calls = 0;
  std::string error;
  EXPECT_TRUE(run_workers(
      0, 2, kFail, [&calls](std::size_t) { return std::to_string(++calls); },
      [&calls](std::size_t, const process_outcome&) { ++calls; }, error));
  EXPECT_EQ(calls, 0u);
  EXPECT_EQ(error, "");
}

}  // namespace

int main(int argc, char** argv) {
  int status = 0;
  if (deflash_host::run_as_worker(argc, argv, {kBytes, kCountState, kCountPresent, kFail},
                                  status)) {
    return status;
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
