// Text from a user's file quoted for a one-line message, with JSON's escapes.
#include "host/base/quoted_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

using deflash_host::quoted_text;

TEST(QuotedText, PlainTextIsOnlyQuoted) {
  EXPECT_EQ(quoted_text("left_ir.fx"), "\"left_ir.fx\"");
  EXPECT_EQ(quoted_text(""), "\"\"");
  EXPECT_EQ(quoted_text("caf\xc3\xa9 %s {}"), "\"caf\xc3\xa9 %s {}\"");
}

TEST(QuotedText, NewlinesQuotesAndBackslashesAreEscaped) {
  EXPECT_EQ(quoted_text("a\nb"), "\"a\\nb\"");
  EXPECT_EQ(quoted_text("say \"hi\""), "\"say \\\"hi\\\"\"");
  EXPECT_EQ(quoted_text("C:\\cal"), "\"C:\\\\cal\"");
  EXPECT_EQ(quoted_text("\r\t\b\f"), "\"\\r\\t\\b\\f\"");
}

TEST(QuotedText, OtherControlCharactersBecomeUnicodeEscapes) {
  EXPECT_EQ(quoted_text("\x1b[2J"), "\"\\u001b[2J\"");
  EXPECT_EQ(quoted_text(std::string("a\0b", 3)), "\"a\\u0000b\"");
  EXPECT_EQ(quoted_text("\x7f"), "\"\x7f\"");  // not a control character to JSON
}

TEST(ReadableText, IsTheTextUnlessItHoldsAControlCharacter) {
  EXPECT_EQ(deflash_host::readable_text("left_ir.fx"), "left_ir.fx");
  EXPECT_EQ(deflash_host::readable_text("say \"hi\""), "say \"hi\"");
  EXPECT_EQ(deflash_host::readable_text("left_ir.\nfx"), "\"left_ir.\\nfx\"");
  EXPECT_EQ(deflash_host::readable_text("\x1b"), "\"\\u001b\"");
}

TEST(QuotedText, EveryByteIsQuotedAsJsonWritesIt) {
  for (int byte = 0; byte < 0x80; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    EXPECT_EQ(quoted_text(text), nlohmann::json(text).dump()) << byte;
  }
}
