// Tests of the tool's process pool: answers of any size, the bound on
// children at a time, separate memory, and children that die.
#include "host/batch/process_pool.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temp_files.h"

namespace {

using deflash_host::process_outcome;
using deflash_host::run_in_processes;

TEST(ProcessPool, HandsBackEveryAnswerWhateverItsSize) {
  std::vector<std::string> answers(5);
  std::string error;
  // 3 MB is far more than a pipe holds: the parent must read while the child writes.
  const auto size_of = [](std::size_t i) { return i == 2 ? std::size_t{3} << 20 : i * 10; };
  const bool ran = run_in_processes(
      answers.size(), 2,
      [&](std::size_t i) { return std::string(size_of(i), static_cast<char>('a' + i)); },
      [&](std::size_t i, const process_outcome& outcome) {
        EXPECT_TRUE(outcome.finished) << outcome.how;
        answers[i] = outcome.answer;
      },
      error);
  ASSERT_TRUE(ran) << error;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    EXPECT_EQ(answers[i], std::string(size_of(i), static_cast<char>('a' + i))) << i;
  }
}

TEST(ProcessPool, KeepsWhatAChildChangesInTheChild) {
  int state = 0;
  std::vector<std::string> seen;
  std::string error;
  ASSERT_TRUE(run_in_processes(
      3, 1,
      [&state](std::size_t) {
        state += 1;  // module state of this copy only
        return std::to_string(state);
      },
      [&seen](std::size_t, const process_outcome& outcome) { seen.push_back(outcome.answer); },
      error));
  EXPECT_EQ(seen, (std::vector<std::string>{"1", "1", "1"}));
  EXPECT_EQ(state, 0);
}

TEST(ProcessPool, RunsNoMoreChildrenAtATimeThanAsked) {
  // Each child marks itself present in a folder, looks how many are
  // present, and removes its mark before it ends.
  deflash_test::temp_dir dir;
  std::size_t most = 0;
  std::string error;
  ASSERT_TRUE(run_in_processes(
      8, 2,
      [&dir](std::size_t i) {
        const std::string mark = dir.write(std::to_string(i), "");
        ::usleep(20000);
        std::size_t present = 0;
        for (std::size_t j = 0; j < 8; ++j)
          present += deflash_test::file_exists(dir.file(std::to_string(j)));
        ::unlink(mark.c_str());
        return std::to_string(present);
      },
      [&most](std::size_t, const process_outcome& outcome) {
        most = std::max<std::size_t>(most, std::stoul(outcome.answer));
      },
      error));
  EXPECT_GE(most, 1u);
  EXPECT_LE(most, 2u);
}

TEST(ProcessPool, ReportsAChildThatDiesOrFails) {
  std::vector<process_outcome> outcomes(3);
  std::string error;
  ASSERT_TRUE(run_in_processes(
      3, 3,
      [](std::size_t i) -> std::string {
        if (i == 0) ::kill(::getpid(), SIGKILL);
        if (i == 1) throw std::runtime_error("no memory left for the table");
        return "fine";
      },
      [&outcomes](std::size_t i, const process_outcome& outcome) { outcomes[i] = outcome; },
      error));
  EXPECT_FALSE(outcomes[0].finished);
  EXPECT_EQ(outcomes[0].how, "ended by signal 9");
  EXPECT_FALSE(outcomes[1].finished);
  EXPECT_EQ(outcomes[1].how, "exited with status 3");
  EXPECT_TRUE(outcomes[2].finished);
  EXPECT_EQ(outcomes[2].answer, "fine");
}

}  // namespace
