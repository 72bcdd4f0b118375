// Tests of the typed INI value conversions and their exact error texts.
#include "config/ini_convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

namespace deflash {
namespace {

// The text of the std::domain_error that `convert` throws on `text`, or a
// marker when nothing (or something else) is thrown.
template <typename Convert>
std::string conversion_error(Convert convert, const std::string& text) {
  try {
    (void)convert(ini_value(text));
  } catch (const std::domain_error& e) {
    return e.what();
  } catch (...) {
    return "unexpected exception type";
  }
  return "no error";
}

ini_value v(const std::string& text) { return ini_value(text); }

TEST(AsBool, AcceptsTrueAndOneInAnyCase) {
  EXPECT_TRUE(as_bool(v("true")));
  EXPECT_TRUE(as_bool(v("True")));
  EXPECT_TRUE(as_bool(v("TRUE")));
  EXPECT_TRUE(as_bool(v("tRuE")));
  EXPECT_TRUE(as_bool(v("1")));
}

TEST(AsBool, AcceptsFalseAndZeroInAnyCase) {
  EXPECT_FALSE(as_bool(v("false")));
  EXPECT_FALSE(as_bool(v("False")));
  EXPECT_FALSE(as_bool(v("FALSE")));
  EXPECT_FALSE(as_bool(v("0")));
}

TEST(AsBool, RejectsOtherWordsNamingTheTextAsWritten) {
  EXPECT_EQ(conversion_error(as_bool, "Yes"), "Yes is not a bool");
  EXPECT_EQ(conversion_error(as_bool, "on"), "on is not a bool");
  EXPECT_EQ(conversion_error(as_bool, "2"), "2 is not a bool");
  EXPECT_EQ(conversion_error(as_bool, "01"), "01 is not a bool");
  EXPECT_EQ(conversion_error(as_bool, "true "), "true  is not a bool");
  EXPECT_EQ(conversion_error(as_bool, ""), " is not a bool");
}

TEST(AsLongLong, ParsesDecimalHexadecimalAndOctal) {
  EXPECT_EQ(as_long_long(v("42")), 42);
  EXPECT_EQ(as_long_long(v("-42")), -42);
  EXPECT_EQ(as_long_long(v("+7")), 7);
  EXPECT_EQ(as_long_long(v("0x10")), 16);
  EXPECT_EQ(as_long_long(v("0XfF")), 255);
  EXPECT_EQ(as_long_long(v("010")), 8);
  EXPECT_EQ(as_long_long(v("0")), 0);
  EXPECT_EQ(as_long_long(v(" \t12")), 12);
}

TEST(AsLongLong, AcceptsTheExtremesWhenWrittenExactly) {
  EXPECT_EQ(as_long_long(v("9223372036854775807")), std::numeric_limits<long long>::max());
  EXPECT_EQ(as_long_long(v("-9223372036854775808")), std::numeric_limits<long long>::min());
}

TEST(AsLongLong, RejectsOverflowInEitherDirection) {
  EXPECT_EQ(conversion_error(as_long_long, "9223372036854775808"),
            "9223372036854775808 is not a long long");
  EXPECT_EQ(conversion_error(as_long_long, "-9223372036854775809"),
            "-9223372036854775809 is not a long long");
}

TEST(AsLongLong, RejectsTrailingTextAndEmptyText) {
  EXPECT_EQ(conversion_error(as_long_long, "5 ; note"), "5 ; note is not a long long");
  EXPECT_EQ(conversion_error(as_long_long, "12abc"), "12abc is not a long long");
  EXPECT_EQ(conversion_error(as_long_long, "08"), "08 is not a long long");
  EXPECT_EQ(conversion_error(as_long_long, "0x"), "0x is not a long long");
  EXPECT_EQ(conversion_error(as_long_long, "1.5"), "1.5 is not a long long");
  EXPECT_EQ(conversion_error(as_long_long, "abc"), "abc is not a long long");
  EXPECT_EQ(conversion_error(as_long_long, ""), " is not a long long");
}

TEST(AsUnsignedLongLong, ParsesTheWholeRange) {
  EXPECT_EQ(as_unsigned_long_long(v("0")), 0u);
  EXPECT_EQ(as_unsigned_long_long(v("0x20")), 32u);
  EXPECT_EQ(as_unsigned_long_long(v("017")), 15u);
  EXPECT_EQ(as_unsigned_long_long(v("18446744073709551615")),
            std::numeric_limits<unsigned long long>::max());
}

TEST(AsUnsignedLongLong, RejectsOverflow) {
  EXPECT_EQ(conversion_error(as_unsigned_long_long, "18446744073709551616"),
            "18446744073709551616 is not a unsigned long long");
}

TEST(AsUnsignedLongLong, RejectsAMinusSignWithoutNamingTheValue) {
  EXPECT_EQ(conversion_error(as_unsigned_long_long, "-1"), "detect negative while parse unsigned");
  EXPECT_EQ(conversion_error(as_unsigned_long_long, "-0"), "detect negative while parse unsigned");
  EXPECT_EQ(conversion_error(as_unsigned_long_long, " \t-5"),
            "detect negative while parse unsigned");
}

TEST(AsUnsignedLongLong, ReportsOverflowBeforeTheMinusSign) {
  // The parse checks come first; a negative overflow never reaches the sign test.
  EXPECT_EQ(conversion_error(as_unsigned_long_long, "-18446744073709551616"),
            "-18446744073709551616 is not a unsigned long long");
}

TEST(AsUnsignedLongLong, RejectsTrailingTextAndEmptyText) {
  EXPECT_EQ(conversion_error(as_unsigned_long_long, "7 mm"), "7 mm is not a unsigned long long");
  EXPECT_EQ(conversion_error(as_unsigned_long_long, "09"), "09 is not a unsigned long long");
  EXPECT_EQ(conversion_error(as_unsigned_long_long, ""), " is not a unsigned long long");
}

TEST(AsFloat, ParsesDecimalAndHexadecimalForms) {
  EXPECT_EQ(as_float(v("0")), 0.0f);
  EXPECT_EQ(as_float(v("50")), 50.0f);
  EXPECT_EQ(as_float(v("-0.5")), -0.5f);
  EXPECT_EQ(as_float(v("1e3")), 1000.0f);
  EXPECT_EQ(as_float(v("0x1p3")), 8.0f);
  EXPECT_EQ(as_float(v("0.1")), 0.1f);  // rounded to float once, not via double
}

TEST(AsFloat, AcceptsInfinityAndNotANumberWords) {
  EXPECT_EQ(as_float(v("inf")), std::numeric_limits<float>::infinity());
  EXPECT_EQ(as_float(v("-Infinity")), -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(as_float(v("nan"))));
}

TEST(AsFloat, RejectsOverflow) {
  EXPECT_EQ(conversion_error(as_float, "1e39"), "1e39 is not a float");
  EXPECT_EQ(conversion_error(as_float, "-1e39"), "-1e39 is not a float");
}

TEST(AsFloat, AcceptsUnderflow) {
  EXPECT_EQ(as_float(v("1e-50")), 0.0f);
  const float denormal = as_float(v("1e-40"));
  EXPECT_GT(denormal, 0.0f);
  EXPECT_LT(denormal, std::numeric_limits<float>::min());
}

TEST(AsFloat, RejectsATrailingCommentAndEmptyText) {
  EXPECT_EQ(conversion_error(as_float, "50.0 ; mm"), "50.0 ; mm is not a float");
  EXPECT_EQ(conversion_error(as_float, "50mm"), "50mm is not a float");
  EXPECT_EQ(conversion_error(as_float, "mm"), "mm is not a float");
  EXPECT_EQ(conversion_error(as_float, ""), " is not a float");
}

TEST(AsInt, ParsesEveryBaseAndTheFullRange) {
  EXPECT_EQ(as_int(v("0x10")), 16);
  EXPECT_EQ(as_int(v("010")), 8);
  EXPECT_EQ(as_int(v("2147483647")), 2147483647);
  EXPECT_EQ(as_int(v("-2147483648")), std::numeric_limits<int>::min());
}

TEST(AsInt, RejectsValuesOutsideTheRange) {
  EXPECT_EQ(conversion_error(as_int, "2147483648"), "field is out of Int range: 2147483648");
  EXPECT_EQ(conversion_error(as_int, "-2147483649"), "field is out of Int range: -2147483649");
  EXPECT_EQ(conversion_error(as_int, "0x80000000"), "field is out of Int range: 0x80000000");
}

TEST(AsInt, PassesTheBaseConversionErrorThrough) {
  EXPECT_EQ(conversion_error(as_int, "12 px"), "12 px is not a long long");
  EXPECT_EQ(conversion_error(as_int, "99999999999999999999"),
            "99999999999999999999 is not a long long");
}

TEST(AsInt32, BehavesLikeAsIntWithItsOwnMessage) {
  EXPECT_EQ(as_int32(v("-7")), -7);
  EXPECT_EQ(as_int32(v("0x7fffffff")), 2147483647);
  EXPECT_EQ(conversion_error(as_int32, "2147483648"), "field is out of Int32 range: 2147483648");
  EXPECT_EQ(conversion_error(as_int32, "-2147483649"), "field is out of Int32 range: -2147483649");
  EXPECT_EQ(conversion_error(as_int32, "x"), "x is not a long long");
}

TEST(AsInt8, AcceptsItsRange) {
  EXPECT_EQ(as_int8(v("-128")), -128);
  EXPECT_EQ(as_int8(v("127")), 127);
  EXPECT_EQ(as_int8(v("-1")), -1);
}

TEST(AsInt8, RejectsValuesOutsideItsRange) {
  EXPECT_EQ(conversion_error(as_int8, "128"), "field is out of Int8 range: 128");
  EXPECT_EQ(conversion_error(as_int8, "-129"), "field is out of Int8 range: -129");
  EXPECT_EQ(conversion_error(as_int8, "0xff"), "field is out of Int8 range: 0xff");
}

TEST(AsUint8, AcceptsItsRange) {
  EXPECT_EQ(as_uint8(v("255")), 255);
  EXPECT_EQ(as_uint8(v("0")), 0);
  EXPECT_EQ(as_uint8(v("0377")), 255);
}

TEST(AsUint8, RejectsValuesOutsideItsRange) {
  EXPECT_EQ(conversion_error(as_uint8, "256"), "field is out of UInt8 range: 256");
  EXPECT_EQ(conversion_error(as_uint8, "0x100"), "field is out of UInt8 range: 0x100");
}

TEST(AsUint8, RejectsNegativeValues) {
  EXPECT_EQ(conversion_error(as_uint8, "-1"), "detect negative while parse unsigned");
}

TEST(AsUint8, PassesTheBaseConversionErrorThrough) {
  EXPECT_EQ(conversion_error(as_uint8, "1.0"), "1.0 is not a unsigned long long");
}

TEST(AsUint32, AcceptsItsRange) {
  EXPECT_EQ(as_uint32(v("4294967295")), 4294967295u);
  EXPECT_EQ(as_uint32(v("0xdeadbeef")), 0xdeadbeefu);
}

TEST(AsUint32, RejectsValuesOutsideItsRange) {
  EXPECT_EQ(conversion_error(as_uint32, "4294967296"), "field is out of UInt32 range: 4294967296");
  EXPECT_EQ(conversion_error(as_uint32, "-5"), "detect negative while parse unsigned");
}

TEST(IniConversion, ErrorsAreLogicErrorsToo) {
  // Loaders catch std::exception; a domain_error must be one.
  EXPECT_THROW(as_float(v("x")), std::logic_error);
  EXPECT_THROW(as_uint8(v("300")), std::logic_error);
}

}  // namespace
}  // namespace deflash
