// Tests of the "{a,b}" byte-list parser behind the reserved start-row pair.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>

#include "config/calib_input_config.h"

namespace deflash {
namespace {

// Room for eight values plus guard bytes that must never change.
struct parsed_list {
  std::size_t count;
  std::array<uint8_t, 12> bytes;
};

constexpr uint8_t kGuard = 0xCD;

parsed_list parse(const std::string& text, std::size_t capacity) {
  parsed_list result{};
  result.bytes.fill(kGuard);
  result.count = parse_brace_byte_list(text, result.bytes.data(), capacity);
  return result;
}

TEST(BraceByteList, ParsesTwoValues) {
  const parsed_list p = parse("{64,64}", 2);
  EXPECT_EQ(p.count, 2u);
  EXPECT_EQ(p.bytes[0], 64);
  EXPECT_EQ(p.bytes[1], 64);
  EXPECT_EQ(p.bytes[2], kGuard);
}

TEST(BraceByteList, AcceptsBlanksHexadecimalAndOctal) {
  const parsed_list p = parse("{ 0x40,\t010 , 7}", 4);
  EXPECT_EQ(p.count, 3u);
  EXPECT_EQ(p.bytes[0], 0x40);
  EXPECT_EQ(p.bytes[1], 8);
  EXPECT_EQ(p.bytes[2], 7);
}

TEST(BraceByteList, TreatsARunOfCommasAsOneSeparator) {
  const parsed_list p = parse("{,,64,,,32,}", 2);
  EXPECT_EQ(p.count, 2u);
  EXPECT_EQ(p.bytes[0], 64);
  EXPECT_EQ(p.bytes[1], 32);
}

TEST(BraceByteList, StoresZeroForTextAndIgnoresTrailingBytes) {
  const parsed_list p = parse("{abc,12px, }", 3);
  EXPECT_EQ(p.count, 3u);
  EXPECT_EQ(p.bytes[0], 0);
  EXPECT_EQ(p.bytes[1], 12);
  EXPECT_EQ(p.bytes[2], 0);  // a blank piece still counts
}

TEST(BraceByteList, KeepsTheLowEightBits) {
  const parsed_list p = parse("{0x1234,256,-1,-256}", 4);
  EXPECT_EQ(p.count, 4u);
  EXPECT_EQ(p.bytes[0], 0x34);
  EXPECT_EQ(p.bytes[1], 0);
  EXPECT_EQ(p.bytes[2], 0xFF);
  EXPECT_EQ(p.bytes[3], 0);
}

TEST(BraceByteList, WithoutBothBracesYieldsNothing) {
  for (const char* text : {"", "64,64", "{64,64", "64,64}", " {64,64}", "{64,64} ", "{", "}"}) {
    const parsed_list p = parse(text, 2);
    EXPECT_EQ(p.count, 0u) << '"' << text << '"';
    EXPECT_EQ(p.bytes[0], kGuard) << '"' << text << '"';
  }
}

TEST(BraceByteList, EmptyListsYieldNothing) {
  EXPECT_EQ(parse("{}", 2).count, 0u);
  EXPECT_EQ(parse("{,,,}", 2).count, 0u);
}

TEST(BraceByteList, CountsEveryPieceButWritesOnlyTheCapacity) {
  const parsed_list p = parse("{1,2,3,4,5,6,7,8,9,10,11,12,13,14}", 2);
  EXPECT_EQ(p.count, 14u);
  EXPECT_EQ(p.bytes[0], 1);
  EXPECT_EQ(p.bytes[1], 2);
  for (std::size_t i = 2; i < p.bytes.size(); ++i) EXPECT_EQ(p.bytes[i], kGuard) << i;
}

TEST(BraceByteList, ZeroCapacityWritesNothing) {
  const parsed_list p = parse("{1,2}", 0);
  EXPECT_EQ(p.count, 2u);
  EXPECT_EQ(p.bytes[0], kGuard);
}

TEST(BraceByteList, ShortListFillsOnlyItsValues) {
  const parsed_list p = parse("{32}", 2);
  EXPECT_EQ(p.count, 1u);
  EXPECT_EQ(p.bytes[0], 32);
  EXPECT_EQ(p.bytes[1], kGuard);
}

}  // namespace
}  // namespace deflash
