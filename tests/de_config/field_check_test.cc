// Tests of the field check, the loaders' message buffer and the description fields.
#include "de_config/field_check.h"

#include <gtest/gtest.h>

#include <string>

#include "de_config/description_text.h"
#include "de_config/loader_message.h"
#include "support/console_capture.h"

using deflash::check_field;
using deflash::ini_document;
using deflash::loader_message;

namespace {
ini_document document_of(const std::string& text) {
  ini_document document('=', ';');
  document.decode(text);
  return document;
}
}  // namespace

TEST(FieldCheck, PresentKeyPassesAndLeavesTheMessage) {
  const ini_document document = document_of("[basic]\nnum = 3\n");
  loader_message message;
  message.format("earlier");
  EXPECT_EQ(check_field(document, "basic", "num", message), 0);
  EXPECT_STREQ(message.text(), "earlier");
}

TEST(FieldCheck, MissingKeyFormatsTheMessageWithoutPrinting) {
  const ini_document document = document_of("[basic]\nnum = 3\n");
  loader_message message;
  const auto out = deflash_test::capture_console(
      [&] { EXPECT_EQ(check_field(document, "basic", "version", message), -1); });
  EXPECT_STREQ(message.text(), "Field version not found in section basic");
  EXPECT_EQ(out.out, "");
  EXPECT_EQ(out.err, "");
}

TEST(FieldCheck, MissingSectionFailsTheSameWayAndIsNotInserted) {
  const ini_document document = document_of("[basic]\nnum = 3\n");
  loader_message message;
  EXPECT_EQ(check_field(document, "group1", "desc", message), -1);
  EXPECT_STREQ(message.text(), "Field desc not found in section group1");
  EXPECT_EQ(document.find_section("group1"), nullptr);
}

TEST(FieldCheck, CheckedValueOfAMissingKeyReadsAsEmptyText) {
  ini_document document = document_of("[mode]\nlaser_type = 1\n");
  loader_message message;
  EXPECT_EQ(deflash::checked_value(document, "mode", "version", message).text(), "");
  EXPECT_STREQ(message.text(), "Field version not found in section mode");
  EXPECT_EQ(deflash::checked_value(document, "mode", "laser_type", message).text(), "1");
}

TEST(LoaderMessage, PrintsTheTextAndALineEndOnStandardError) {
  loader_message message;
  message.format("check section %s error", "group2");
  const auto out = deflash_test::capture_console([&] { message.print(); });
  EXPECT_EQ(out.err, "check section group2 error\n");
  EXPECT_EQ(out.out, "");
}

TEST(LoaderMessage, CutsTextThatDoesNotFit) {
  loader_message message;
  const std::string long_text(400, 'x');
  message.format("%s", long_text.c_str());
  EXPECT_EQ(std::string(message.text()), long_text.substr(0, deflash::kLoaderMessageBytes - 1));
}

TEST(DescriptionText, SixteenCharactersFillTheFieldWithoutTerminator) {
  char out[deflash::kDescriptionBytes];
  loader_message message;
  ASSERT_TRUE(deflash::copy_description("desc", "0123456789abcdef", out, message));
  EXPECT_EQ(std::string(out, sizeof out), "0123456789abcdef");
}

TEST(DescriptionText, ShorterTextIsZeroPadded) {
  char out[deflash::kDescriptionBytes];
  for (char& c : out) c = 'Z';
  loader_message message;
  ASSERT_TRUE(deflash::copy_description("desc", "close", out, message));
  EXPECT_EQ(std::string(out, 5), "close");
  for (std::size_t i = 5; i < sizeof out; ++i) EXPECT_EQ(out[i], '\0') << i;
}

TEST(DescriptionText, SeventeenCharactersAreRefusedWithAMessage) {
  char out[deflash::kDescriptionBytes] = {'k'};
  loader_message message;
  EXPECT_FALSE(deflash::copy_description("dpu_desc", "0123456789abcdefg", out, message));
  EXPECT_STREQ(message.text(), "dpu_desc 0123456789abcdefg is longer than 16 characters");
  EXPECT_EQ(out[0], 'k');
}
