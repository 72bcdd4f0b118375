// Tests of the one brace-list reader: counts, bases, narrowing, the capacity
// bound, and the strict reading of a piece that configuration checks use.
#include "config/brace_list.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

using deflash::parse_brace_list_u16;
using deflash::parse_brace_list_u32;
using deflash::parse_brace_list_u8;
using deflash::read_brace_number;

TEST(BraceList, ParsesAResolutionPair) {
  uint16_t out[2] = {};
  EXPECT_EQ(parse_brace_list_u16("{1280,800}", out, 2), 2u);
  EXPECT_EQ(out[0], 1280);
  EXPECT_EQ(out[1], 800);
}

TEST(BraceList, DetectsHexadecimalOctalAndSkipsLeadingBlanks) {
  uint32_t out[4] = {};
  EXPECT_EQ(parse_brace_list_u32("{0x10, 010,  7,0}", out, 4), 4u);
  EXPECT_EQ(out[0], 16u);
  EXPECT_EQ(out[1], 8u);
  EXPECT_EQ(out[2], 7u);
  EXPECT_EQ(out[3], 0u);
}

TEST(BraceList, TextWithoutBothBracesGivesNoValues) {
  uint16_t out[2] = {7, 7};
  EXPECT_EQ(parse_brace_list_u16("1280,800", out, 2), 0u);
  EXPECT_EQ(parse_brace_list_u16("{1280,800", out, 2), 0u);
  EXPECT_EQ(parse_brace_list_u16("1280,800}", out, 2), 0u);
  EXPECT_EQ(parse_brace_list_u16("", out, 2), 0u);
  EXPECT_EQ(parse_brace_list_u16("{", out, 2), 0u);
  EXPECT_EQ(parse_brace_list_u16("{}", out, 2), 0u);
  EXPECT_EQ(out[0], 7);
  EXPECT_EQ(out[1], 7);
}

TEST(BraceList, CountsEveryPieceButStoresOnlyWhatTheArrayHolds) {
  uint16_t out[3] = {0, 0, 0xBEEF};
  EXPECT_EQ(parse_brace_list_u16("{1920,1080,0}", out, 2), 3u);
  EXPECT_EQ(out[0], 1920);
  EXPECT_EQ(out[1], 1080);
  EXPECT_EQ(out[2], 0xBEEF) << "the element after the capacity is never written";
}

TEST(BraceList, CountsFewerPiecesThanExpected) {
  uint16_t out[2] = {};
  EXPECT_EQ(parse_brace_list_u16("{1280}", out, 2), 1u);
  EXPECT_EQ(out[0], 1280);
}

TEST(BraceList, SkipsEmptyPiecesLikeStrtok) {
  uint32_t out[4] = {};
  EXPECT_EQ(parse_brace_list_u32("{1,,2,}", out, 4), 2u);
  EXPECT_EQ(out[0], 1u);
  EXPECT_EQ(out[1], 2u);
  EXPECT_EQ(parse_brace_list_u32("{,}", out, 4), 0u);
}

TEST(BraceList, NarrowVariantsKeepTheLowBitsOfAnUnsignedParse) {
  uint8_t bytes[2] = {};
  EXPECT_EQ(parse_brace_list_u8("{0x1FF,-1}", bytes, 2), 2u);
  EXPECT_EQ(bytes[0], 0xFF);
  EXPECT_EQ(bytes[1], 0xFF);
  uint16_t words[1] = {};
  EXPECT_EQ(parse_brace_list_u16("{70000}", words, 1), 1u);
  EXPECT_EQ(words[0], 70000 - 65536);
}

TEST(BraceList, WideVariantKeepsTheLow32BitsOfASignedParse) {
  uint32_t out[2] = {};
  EXPECT_EQ(parse_brace_list_u32("{-1,0x100000002}", out, 2), 2u);
  EXPECT_EQ(out[0], 0xFFFFFFFFu);
  EXPECT_EQ(out[1], 2u);
}

TEST(BraceList, PiecesTheNumberSyntaxRejectsReadAsZero) {
  uint32_t out[2] = {9, 9};
  EXPECT_EQ(parse_brace_list_u32("{abc,12px}", out, 2), 2u);
  EXPECT_EQ(out[0], 0u);
  EXPECT_EQ(out[1], 12u);
}

TEST(BraceList, ZeroCapacityOnlyCounts) {
  EXPECT_EQ(parse_brace_list_u32("{1,2,3}", nullptr, 0), 3u);
}

// The reserved start-row pair of the calibration configuration goes through
// the 8-bit variant: room for eight values plus guard bytes that must never
// change.
struct parsed_bytes {
  std::size_t count;
  std::array<uint8_t, 12> bytes;
};

constexpr uint8_t kGuard = 0xCD;

parsed_bytes parse_bytes(const std::string& text, std::size_t capacity) {
  parsed_bytes result{};
  result.bytes.fill(kGuard);
  result.count = parse_brace_list_u8(text, result.bytes.data(), capacity);
  return result;
}

TEST(BraceByteList, ParsesTwoValues) {
  const parsed_bytes p = parse_bytes("{64,64}", 2);
  EXPECT_EQ(p.count, 2u);
  EXPECT_EQ(p.bytes[0], 64);
  EXPECT_EQ(p.bytes[1], 64);
  EXPECT_EQ(p.bytes[2], kGuard);
}

TEST(BraceByteList, AcceptsBlanksHexadecimalAndOctal) {
  const parsed_bytes p = parse_bytes("{ 0x40,\t010 , 7}", 4);
  EXPECT_EQ(p.count, 3u);
  EXPECT_EQ(p.bytes[0], 0x40);
  EXPECT_EQ(p.bytes[1], 8);
  EXPECT_EQ(p.bytes[2], 7);
}

TEST(BraceByteList, TreatsARunOfCommasAsOneSeparator) {
  const parsed_bytes p = parse_bytes("{,,64,,,32,}", 2);
  EXPECT_EQ(p.count, 2u);
  EXPECT_EQ(p.bytes[0], 64);
  EXPECT_EQ(p.bytes[1], 32);
}

TEST(BraceByteList, StoresZeroForTextAndIgnoresTrailingBytes) {
  const parsed_bytes p = parse_bytes("{abc,12px, }", 3);
  EXPECT_EQ(p.count, 3u);
  EXPECT_EQ(p.bytes[0], 0);
  EXPECT_EQ(p.bytes[1], 12);
  EXPECT_EQ(p.bytes[2], 0);  // a blank piece still counts
}

TEST(BraceByteList, KeepsTheLowEightBits) {
  const parsed_bytes p = parse_bytes("{0x1234,256,-1,-256}", 4);
  EXPECT_EQ(p.count, 4u);
  EXPECT_EQ(p.bytes[0], 0x34);
  EXPECT_EQ(p.bytes[1], 0);
  EXPECT_EQ(p.bytes[2], 0xFF);
  EXPECT_EQ(p.bytes[3], 0);
}

TEST(BraceByteList, WithoutBothBracesYieldsNothing) {
  for (const char* text : {"", "64,64", "{64,64", "64,64}", " {64,64}", "{64,64} ", "{", "}"}) {
    const parsed_bytes p = parse_bytes(text, 2);
    EXPECT_EQ(p.count, 0u) << '"' << text << '"';
    EXPECT_EQ(p.bytes[0], kGuard) << '"' << text << '"';
  }
}

TEST(BraceByteList, EmptyListsYieldNothing) {
  EXPECT_EQ(parse_bytes("{}", 2).count, 0u);
  EXPECT_EQ(parse_bytes("{,,,}", 2).count, 0u);
}

TEST(BraceByteList, CountsEveryPieceButWritesOnlyTheCapacity) {
  const parsed_bytes p = parse_bytes("{1,2,3,4,5,6,7,8,9,10,11,12,13,14}", 2);
  EXPECT_EQ(p.count, 14u);
  EXPECT_EQ(p.bytes[0], 1);
  EXPECT_EQ(p.bytes[1], 2);
  for (std::size_t i = 2; i < p.bytes.size(); ++i) EXPECT_EQ(p.bytes[i], kGuard) << i;
}

TEST(BraceByteList, ZeroCapacityWritesNothing) {
  const parsed_bytes p = parse_bytes("{1,2}", 0);
  EXPECT_EQ(p.count, 2u);
  EXPECT_EQ(p.bytes[0], kGuard);
}

TEST(BraceByteList, ShortListFillsOnlyItsValues) {
  const parsed_bytes p = parse_bytes("{32}", 2);
  EXPECT_EQ(p.count, 1u);
  EXPECT_EQ(p.bytes[0], 32);
  EXPECT_EQ(p.bytes[1], kGuard);
}

TEST(BracePieces, AreThePiecesTheParsersCount) {
  std::vector<std::string> pieces;
  const std::size_t count = deflash::for_each_brace_piece(
      "{ 1,,x , 2}", [&](std::size_t index, const std::string& piece) {
        EXPECT_EQ(index, pieces.size());
        pieces.push_back(piece);
      });
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(pieces, (std::vector<std::string>{" 1", "x ", " 2"}));
}

TEST(BraceNumber, TakesAWholeNumberInAnyBaseWithBlanksAround) {
  long long v = 0;
  EXPECT_TRUE(read_brace_number(" 64\t", v));
  EXPECT_EQ(v, 64);
  EXPECT_TRUE(read_brace_number("0x40", v));
  EXPECT_EQ(v, 64);
  EXPECT_TRUE(read_brace_number("010", v));
  EXPECT_EQ(v, 8);
  EXPECT_TRUE(read_brace_number("-64", v));
  EXPECT_EQ(v, -64);
}

TEST(BraceNumber, RefusesWhatTheParsersWouldReadSilently) {
  long long v = 0;
  // The parsers store 1 for "1e9", 12 for "12px" and 0 for the others.
  for (const char* piece : {"1e9", "12px", "abc", " ", "1.5", "99999999999999999999"}) {
    EXPECT_FALSE(read_brace_number(piece, v)) << '"' << piece << '"';
  }
}
