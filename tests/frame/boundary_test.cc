// The exported surface's guard: every exception becomes the failure value,
// one console line and one fixed message to the host's log.
#include "frame/boundary.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/console_capture.h"

namespace {

using deflash::at_boundary;
using deflash::boundary_log;
using deflash_test::capture_console;

struct host_log {
  std::vector<std::string> messages;
  std::function<void(const char*)> callback = [this](const char* m) { messages.emplace_back(m); };
};

void collect(void* ctx, const char* msg) { static_cast<std::string*>(ctx)->append(msg); }

}  // namespace

TEST(Boundary, HandsBackTheBodysResultWhenNothingIsThrown) {
  host_log log;
  const auto out = capture_console([&] {
    EXPECT_EQ(at_boundary("gen", -1, deflash::to_callback(&log.callback), [] { return 4096; }),
              4096);
  });
  EXPECT_EQ(out.out, "");
  EXPECT_TRUE(log.messages.empty());
}

TEST(Boundary, FailedAllocationBecomesTheFailureWithOneLineAndOneMessage) {
  host_log log;
  const auto out = capture_console([&] {
    EXPECT_EQ(at_boundary("gen_x", -1, deflash::to_callback(&log.callback),
                          []() -> int { throw std::bad_alloc(); }),
              -1);
  });
  EXPECT_EQ(out.out, "error: gen_x: out of memory\n");
  EXPECT_EQ(out.err, "");
  ASSERT_EQ(log.messages.size(), 1u);
  EXPECT_EQ(log.messages[0], "error: out of memory\n");
}

TEST(Boundary, ArrayLengthFailureCountsAsOutOfMemory) {
  const auto out = capture_console([&] {
    EXPECT_EQ(at_boundary("set_d2d", -1, {}, []() -> int { throw std::bad_array_new_length(); }),
              -1);
  });
  EXPECT_EQ(out.out, "error: set_d2d: out of memory\n");
}

TEST(Boundary, OtherStandardExceptionsAreNamedOnTheConsole) {
  host_log log;
  const auto out = capture_console([&] {
    EXPECT_FALSE(at_boundary("gen_y", false, deflash::to_callback(&log.callback),
                             []() -> bool { throw std::length_error("vector too long"); }));
  });
  EXPECT_EQ(out.out, "error: gen_y: vector too long\n");
  ASSERT_EQ(log.messages.size(), 1u);
  EXPECT_EQ(log.messages[0], "error: unexpected exception\n");
}

TEST(Boundary, AnythingElseThrownIsAnUnknownException) {
  std::string pair_sink;
  const auto out = capture_console([&] {
    EXPECT_EQ(at_boundary("soc_z", 0xFFFFFFFFu, deflash::to_pair(&pair_sink, collect),
                          []() -> unsigned { throw 42; }),
              0xFFFFFFFFu);
  });
  EXPECT_EQ(out.out, "error: soc_z: unknown exception\n");
  EXPECT_EQ(pair_sink, "error: unexpected exception\n");
}

TEST(Boundary, VoidBodiesStopWhereTheExceptionLeftThem) {
  int steps = 0;
  const auto out = capture_console([&] {
    at_boundary("check", boundary_log{}, [&] {
      ++steps;
      throw std::bad_alloc();
    });
  });
  EXPECT_EQ(steps, 1);
  EXPECT_EQ(out.out, "error: check: out of memory\n");
}

TEST(Boundary, ACallbackThatThrowsDuringTheReportIsIgnored) {
  std::function<void(const char*)> empty;
  std::function<void(const char*)> throwing = [](const char*) { throw std::runtime_error("host"); };
  const auto out = capture_console([&] {
    EXPECT_EQ(at_boundary("a", -1, deflash::to_callback(&empty),
                          [&] { return deflash::send_log(&empty, "x"), 0; }),
              -1);
    EXPECT_EQ(at_boundary("b", -1, deflash::to_callback(&throwing),
                          [&] { return deflash::send_log(&throwing, "x"), 0; }),
              -1);
  });
  EXPECT_EQ(out.out, "error: a: bad_function_call\nerror: b: host\n");
}
