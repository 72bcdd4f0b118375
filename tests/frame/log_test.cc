#include "frame/log.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/console_capture.h"

using deflash_test::capture_console;

TEST(Log, ConsoleLogWritesFormattedTextToStdout) {
  const auto out = capture_console([] { deflash::console_log("error: value=%d \n", 42); });
  EXPECT_EQ(out.out, "error: value=42 \n");
  EXPECT_EQ(out.err, "");
}

TEST(Log, ReportSendsTheSameTextToConsoleAndCallback) {
  std::vector<std::string> messages;
  std::function<void(const char*)> callback = [&](const char* m) { messages.emplace_back(m); };
  const auto out = capture_console([&] { deflash::report(&callback, "error: oops\n"); });
  EXPECT_EQ(out.out, "error: oops\n");
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0], "error: oops\n");
}

TEST(Log, NullCallbackIsSkipped) {
  const auto out = capture_console([] {
    deflash::send_log(nullptr, "x");
    deflash::send_logf(nullptr, "%d", 1);
    deflash::report(nullptr, "only console\n");
  });
  EXPECT_EQ(out.out, "only console\n");
}

TEST(Log, FormattedCallbackMessageIsCutAt255Characters) {
  std::string received;
  std::function<void(const char*)> callback = [&](const char* m) { received = m; };
  const std::string long_text(400, 'a');
  deflash::send_logf(&callback, "%s", long_text.c_str());
  EXPECT_EQ(received, std::string(255, 'a'));
}

TEST(Log, EmptyFunctionObjectThrowsBadFunctionCall) {
  std::function<void(const char*)> empty;
  EXPECT_THROW(deflash::send_log(&empty, "x"), std::bad_function_call);
}

namespace {
void collect(void* ctx, const char* msg) { static_cast<std::string*>(ctx)->append(msg); }
}  // namespace

TEST(Log, PairCallbackReceivesItsContext) {
  std::string sink;
  deflash::send_pair_log(&sink, collect, "one ");
  deflash::send_pair_log(&sink, nullptr, "dropped");
  deflash::send_pair_log(&sink, collect, "two");
  EXPECT_EQ(sink, "one two");
}
