// Tests of the brace-list parsers: counts, bases, narrowing and the capacity bound.
#include "de_config/brace_list.h"

#include <gtest/gtest.h>

#include <cstdint>

using deflash::parse_brace_list_u16;
using deflash::parse_brace_list_u32;
using deflash::parse_brace_list_u8;

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
