// Tests of the fixed-point register codes and of placing a code under a mask.
#include "rectify/fixed_point.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "support/console_capture.h"

using deflash::convert_float_to_fixed;
using deflash::set_register_field;
using deflash_test::capture_console;

namespace {

struct conversion {
  uint32_t code;
  std::string out;
  std::string err;
};

conversion convert(double value, int32_t total_bits, int32_t fraction_bits,
                   const char* name = "start_rows") {
  conversion result{};
  const auto streams = capture_console(
      [&] { result.code = convert_float_to_fixed(value, total_bits, fraction_bits, name); });
  result.out = streams.out;
  result.err = streams.err;
  return result;
}

}  // namespace

TEST(FixedPoint, RoundsHalfAwayFromZero) {
  EXPECT_EQ(convert(0.5, 32, 0).code, 1u);
  EXPECT_EQ(convert(1.5, 32, 0).code, 2u);
  EXPECT_EQ(convert(2.5, 32, 0).code, 3u);  // not to even
  EXPECT_EQ(convert(2.4999, 32, 0).code, 2u);
  EXPECT_EQ(convert(-2.5, 32, 0).code, 0xFFFFFFFDu);  // -3
}

TEST(FixedPoint, TheLargestValueBelowOneHalfIsZeroOnEveryHost) {
  // MinGW's round gives one here; the code must be the same on Windows.
  const double below_half = std::nextafter(0.5, 0.0);
  EXPECT_EQ(convert(below_half, 32, 0).code, 0u);
  EXPECT_EQ(convert(-below_half, 32, 0).code, 0u);
  EXPECT_EQ(convert(-below_half, 32, 0).out, "");
}

TEST(FixedPoint, MinusOneHalfCollidesWithTheOverflowCode) {
  // -0.5 rounds to -1, whose 32-bit pattern is the overflow code; nothing is
  // printed here, the caller reports it as out of range.
  const conversion c = convert(-0.5, 32, 0);
  EXPECT_EQ(c.code, 0xFFFFFFFFu);
  EXPECT_EQ(c.code, deflash::kFixedPointOverflow);
  EXPECT_EQ(c.out, "");
}

TEST(FixedPoint, ElevenBitFieldTakesValuesUpTo2047) {
  EXPECT_EQ(convert(2047.0, 11, 0).code, 2047u);
  EXPECT_EQ(convert(2047.4, 11, 0).code, 2047u);
  EXPECT_EQ(convert(2047.0, 11, 0).out, "");
}

TEST(FixedPoint, ElevenBitFieldOverflowLogsBothLines) {
  const conversion c = convert(2048.0, 11, 0);
  EXPECT_EQ(c.code, 0xFFFFFFFFu);
  EXPECT_EQ(c.out,
            "current lut value: 2048.00000000000000000000; dingdianhua value: "
            "2048.00000000000000000000; m_fp: 2048; return value: 0; max value: 2047 \n"
            "error code 01: value overflow in start_rows \n");
  EXPECT_EQ(c.err, "");
}

TEST(FixedPoint, HalfwayAboveTheTopOverflows) {
  const conversion c = convert(2047.5, 11, 0);
  EXPECT_EQ(c.code, 0xFFFFFFFFu);
  EXPECT_EQ(c.out,
            "current lut value: 2047.50000000000000000000; dingdianhua value: "
            "2047.50000000000000000000; m_fp: 2048; return value: 0; max value: 2047 \n"
            "error code 01: value overflow in start_rows \n");
}

TEST(FixedPoint, NegativeValuesGiveTheTwosComplementPattern) {
  EXPECT_EQ(convert(-3.0, 11, 0).code, 2045u);
  EXPECT_EQ(convert(-3.0, 11, 0).code, 0x7FDu);
  EXPECT_EQ(convert(-2048.0, 11, 0).code, 0u);
  EXPECT_EQ(convert(-2048.0, 11, 0).out, "");
  EXPECT_EQ(convert(-1.0, 32, 24).code, 0xFF000000u);
}

TEST(FixedPoint, BelowMinusTheFieldRangeOverflows) {
  const conversion c = convert(-2049.0, 11, 0);
  EXPECT_EQ(c.code, 0xFFFFFFFFu);
  // The code wrapped below zero; the printed "return value" is its masked bits.
  EXPECT_EQ(c.out,
            "current lut value: -2049.00000000000000000000; dingdianhua value: "
            "-2049.00000000000000000000; m_fp: 18446744073709551615; return value: 2047; "
            "max value: 2047 \n"
            "error code 01: value overflow in start_rows \n");
}

TEST(FixedPoint, SmallNegativeRoundingToZeroIsSilentZero) {
  const conversion c = convert(-0.3, 11, 0);
  EXPECT_EQ(c.code, 0u);
  EXPECT_EQ(c.out, "");
  EXPECT_EQ(c.err, "");
}

TEST(FixedPoint, FortyFractionBitsDoNotFitOneInThirtyTwoBits) {
  const conversion c = convert(1.0, 32, 40, "PBF");
  EXPECT_EQ(c.code, 0xFFFFFFFFu);
  EXPECT_EQ(c.out,
            "current lut value: 1.00000000000000000000; dingdianhua value: "
            "1099511627776.00000000000000000000; m_fp: 1099511627776; return value: 0; "
            "max value: 4294967295 \n"
            "error code 01: value overflow in PBF \n");
}

TEST(FixedPoint, FortyFractionBitsRoundAThousandth) {
  // 0.001 * 2^40 = 1099511627.776
  const conversion c = convert(0.001, 32, 40);
  EXPECT_EQ(c.code, 1099511628u);
  EXPECT_EQ(c.out, "");
}

TEST(FixedPoint, NanWritesZeroSilently) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const int32_t bits : {11, 12, 24, 32, 62}) {
    const conversion c = convert(nan, bits, 20);
    EXPECT_EQ(c.code, 0u) << bits;
    EXPECT_EQ(c.out, "") << bits;
  }
}

TEST(FixedPoint, PrintedReturnValueIsTheWholeMaskedCode) {
  // 2^33 - 1 does not fit 32 bits; its low 32 bits are all ones.
  const conversion c = convert(8589934591.0, 32, 0, "rectify_fx");
  EXPECT_EQ(c.code, 0xFFFFFFFFu);
  EXPECT_EQ(c.out,
            "current lut value: 8589934591.00000000000000000000; dingdianhua value: "
            "8589934591.00000000000000000000; m_fp: 8589934591; return value: 4294967295; "
            "max value: 4294967295 \n"
            "error code 01: value overflow in rectify_fx \n");
}

TEST(FixedPoint, CodesFromTwoToTheSixtyThreeUpConvertAsUnsigned) {
  // 2^63 keeps its value instead of saturating at the signed maximum.
  const conversion c = convert(9223372036854775808.0, 63, 0);
  EXPECT_EQ(c.code, 0xFFFFFFFFu);
  EXPECT_NE(c.out.find("m_fp: 9223372036854775808; return value: 0; "
                       "max value: 9223372036854775807 \n"),
            std::string::npos)
      << c.out;
}

TEST(FixedPoint, ValuesBeyondSixtyFourBitsOverflow) {
  // No 64-bit code exists for these; they are reported, never converted.
  for (const double value : {1e30, std::numeric_limits<double>::infinity()}) {
    const conversion c = convert(value, 32, 0, "rectify_cx");
    EXPECT_EQ(c.code, 0xFFFFFFFFu) << value;
    EXPECT_NE(c.out.find("m_fp: 18446744073709551615;"), std::string::npos) << c.out;
    EXPECT_NE(c.out.find("error code 01: value overflow in rectify_cx \n"), std::string::npos);
  }
  for (const double value : {-1e30, -std::numeric_limits<double>::infinity()}) {
    const conversion c = convert(value, 32, 0, "rectify_cy");
    EXPECT_EQ(c.code, 0xFFFFFFFFu) << value;
    EXPECT_NE(c.out.find("error code 01: value overflow in rectify_cy \n"), std::string::npos);
  }
}

TEST(FixedPoint, ShiftCountsWrapAtSixtyFour) {
  EXPECT_EQ(convert(3.0, 32, 64).code, 3u);       // 2^64 wraps to 2^0
  EXPECT_EQ(convert(0.5, 32, 65).code, 1u);       // 2^65 wraps to 2^1
  EXPECT_EQ(convert(2047.0, 75, 0).code, 2047u);  // 75 wraps to 11 bits
  EXPECT_EQ(convert(2048.0, 75, 0).code, 0xFFFFFFFFu);
}

TEST(FixedPoint, RegisterFormatsOfTheRectificationBlocks) {
  EXPECT_EQ(convert(1.0 / 512.0, 32, 40).code, 1u << 31);  // a scale term
  EXPECT_EQ(convert(-1.25, 32, 30).code, 0xB0000000u);     // an offset term
  EXPECT_EQ(convert(600.0, 32, 20).code, 600u << 20);      // a focal length
  EXPECT_EQ(convert(128.0, 32, 24).code, 0x80000000u);     // largest distortion term
  EXPECT_EQ(convert(256.0, 32, 24, "rectify_k0").code, 0xFFFFFFFFu);
}

TEST(RegisterField, PlacesTheCodeAtTheMasksLowestBit) {
  EXPECT_EQ(set_register_field(5, 0xABCD1234u, 0x0FFF0000u), 0xA0051234u);
  EXPECT_EQ(set_register_field(0x123, 0xABCD1234u, 0xFFFu), 0xABCD1123u);
  EXPECT_EQ(set_register_field(0x87654321u, 0xABCD1234u, 0xFFFFFFFFu), 0x87654321u);
}

TEST(RegisterField, EmptyMaskKeepsTheOldWord) {
  EXPECT_EQ(set_register_field(5, 0xABCD1234u, 0), 0xABCD1234u);
  EXPECT_EQ(set_register_field(0xFFFFFFFFu, 0, 0), 0u);
}

TEST(RegisterField, DropsCodeBitsOutsideTheMask) {
  EXPECT_EQ(set_register_field(5000, 0, 0xFFFu), 904u);
  EXPECT_EQ(set_register_field(0x1FFF, 0x12345678u, 0x0FFF0000u), 0x1FFF5678u);
  EXPECT_EQ(set_register_field(0xFFFFFFFFu, 0, 0x80000000u), 0x80000000u);
}
