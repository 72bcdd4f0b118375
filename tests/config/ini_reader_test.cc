// Tests of the INI reader: sections, fields, comments, line counting and the
// exact parse errors.
#include "config/ini_reader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "support/temp_files.h"

namespace deflash {
namespace {

ini_document decoded(const std::string& text) {
  ini_document document('=', ';');
  document.decode(text);
  return document;
}

// The text of the std::logic_error that decoding `text` throws, or a marker
// when nothing (or something else) is thrown.
std::string parse_error(const std::string& text) {
  ini_document document('=', ';');
  try {
    document.decode(text);
  } catch (const std::domain_error& e) {
    return std::string("unexpected domain_error: ") + e.what();
  } catch (const std::logic_error& e) {
    return e.what();
  }
  return "no error";
}

// The value text of `key` in `section`, or a marker when absent.
std::string value_of(const ini_document& document, const std::string& section,
                     const std::string& key) {
  const ini_section* fields = document.find_section(section);
  if (fields == nullptr) return "<no section>";
  const ini_value* value = fields->find(key);
  return value == nullptr ? "<no field>" : value->text();
}

TEST(IniReader, EmptyTextGivesAnEmptyDocument) {
  const ini_document document = decoded("");
  EXPECT_EQ(document.size(), 0u);
}

TEST(IniReader, BlankAndCommentOnlyTextGivesAnEmptyDocument) {
  const ini_document document = decoded("\n   \n\t\r\n# a\n; b\n% c\n");
  EXPECT_EQ(document.size(), 0u);
}

TEST(IniReader, UnreadableFileGivesAnEmptyDocumentWithoutError) {
  deflash_test::temp_dir dir;
  const ini_document document(dir.file("missing.ini"), '=', ';');
  EXPECT_EQ(document.size(), 0u);
}

TEST(IniReader, DirectoryInsteadOfFileGivesAnEmptyDocument) {
  deflash_test::temp_dir dir;
  const ini_document document(dir.path(), '=', ';');
  EXPECT_EQ(document.size(), 0u);
}

TEST(IniReader, FileConstructorDecodesTheFile) {
  deflash_test::temp_dir dir;
  const std::string path = dir.write("module.ini", std::string("[basic]\nbaseline = 50\n"));
  const ini_document document(path, '=', ';');
  EXPECT_EQ(document.size(), 1u);
  EXPECT_EQ(value_of(document, "basic", "baseline"), "50");
}

TEST(IniReader, FileConstructorReportsSyntaxErrors) {
  deflash_test::temp_dir dir;
  const std::string path = dir.write("bad.ini", std::string("[basic]\nbaseline 50\n"));
  try {
    const ini_document document(path, '=', ';');
    FAIL() << "no error";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "l2: ini parsing failed, no '=' found");
  }
}

TEST(IniReader, CarriageReturnsAreTrimmedAway) {
  const ini_document document = decoded("[basic]\r\nbaseline=50\r\n");
  EXPECT_EQ(document.size(), 1u);
  EXPECT_EQ(value_of(document, "basic", "baseline"), "50");
}

TEST(IniReader, LastLineWithoutLineFeedIsRead) {
  const ini_document document = decoded("[basic]\nbaseline=50");
  EXPECT_EQ(value_of(document, "basic", "baseline"), "50");
}

TEST(IniReader, EmptySectionNameFailsWithItsLineNumber) {
  EXPECT_EQ(parse_error("[basic]\na=1\n[]\n"), "l3: ini parsing failed, section is empty");
}

TEST(IniReader, SectionEmptyIsTestedBeforeTrailingText) {
  EXPECT_EQ(parse_error("[]x\n"), "l1: ini parsing failed, section is empty");
}

TEST(IniReader, UnclosedSectionFails) {
  EXPECT_EQ(parse_error("[basic\n"), "l1: ini parsing failed, section not closed");
  EXPECT_EQ(parse_error("["), "l1: ini parsing failed, section not closed");
}

TEST(IniReader, TextAfterSectionHeaderFails) {
  EXPECT_EQ(parse_error("[basic] x\n"), "l1: ini parsing failed, no end of line after section");
  EXPECT_EQ(parse_error("[a]b]\n"), "l1: ini parsing failed, no end of line after section");
  EXPECT_EQ(parse_error("[a]]\n"), "l1: ini parsing failed, no end of line after section");
}

TEST(IniReader, TrailingBlanksAfterSectionHeaderAreTrimmed) {
  const ini_document document = decoded("  [basic]  \t\nx=1\n");
  EXPECT_EQ(value_of(document, "basic", "x"), "1");
}

TEST(IniReader, FieldBeforeAnySectionFails) {
  EXPECT_EQ(parse_error("x=1\n"), "l1: ini parsing failed, field has no section");
}

TEST(IniReader, LineWithoutSeparatorFails) {
  EXPECT_EQ(parse_error("[basic]\n\n# note\nbaseline 50\n"),
            "l4: ini parsing failed, no '=' found");
}

TEST(IniReader, MissingSeparatorMessageNamesTheDocumentsSeparator) {
  ini_document document(':', '!');
  try {
    document.decode("[basic]\nbaseline = 50\n");
    FAIL() << "no error";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "l2: ini parsing failed, no ':' found");
  }
}

TEST(IniReader, FurtherSeparatorsBelongToTheValue) {
  const ini_document document = decoded("[s]\nkey = a = b\n");
  EXPECT_EQ(value_of(document, "s", "key"), "a = b");
}

TEST(IniReader, FieldWithoutValueStoresTheEmptyText) {
  const ini_document document = decoded("[s]\nkey =\n");
  EXPECT_EQ(value_of(document, "s", "key"), "");
}

TEST(IniReader, FieldWithoutNameStoresUnderTheEmptyName) {
  const ini_document document = decoded("[s]\n= 5\n");
  EXPECT_EQ(value_of(document, "s", ""), "5");
}

TEST(IniReader, LastOccurrenceOfAFieldWins) {
  const ini_document document = decoded("[s]\nkey=1\nkey=2\n");
  EXPECT_EQ(value_of(document, "s", "key"), "2");
}

TEST(IniReader, RepeatedSectionHeaderReopensTheSection) {
  const ini_document document = decoded("[basic]\na=1\nb=2\n[other]\nc=3\n[basic]\nb=20\nd=4\n");
  EXPECT_EQ(document.size(), 2u);
  ASSERT_NE(document.find_section("basic"), nullptr);
  EXPECT_EQ(document.find_section("basic")->size(), 3u);
  EXPECT_EQ(value_of(document, "basic", "a"), "1");
  EXPECT_EQ(value_of(document, "basic", "b"), "20");
  EXPECT_EQ(value_of(document, "basic", "d"), "4");
  EXPECT_EQ(value_of(document, "other", "c"), "3");
}

TEST(IniReader, ColumnOneCommentsAreSkippedButCounted) {
  EXPECT_EQ(parse_error("# note\n; note\n% note\n[s]\nbroken\n"),
            "l5: ini parsing failed, no '=' found");
  const ini_document document = decoded("# a=1\n; b=2\n% c=3\n[s]\n#x=1\n;y=2\n%z=3\nw=4\n");
  ASSERT_NE(document.find_section("s"), nullptr);
  EXPECT_EQ(document.find_section("s")->size(), 1u);
  EXPECT_EQ(value_of(document, "s", "w"), "4");
}

TEST(IniReader, DocumentsOwnCommentCharacterIsAlsoAComment) {
  ini_document document('=', '!');
  document.decode("! header\n[s]\n! key = 1\nk=2\n");
  ASSERT_NE(document.find_section("s"), nullptr);
  EXPECT_EQ(document.find_section("s")->size(), 1u);
  EXPECT_EQ(value_of(document, "s", "k"), "2");
}

TEST(IniReader, BlankLinesAreCounted) {
  EXPECT_EQ(parse_error("\n\n[s]\n\r\n\t\nx\n"), "l6: ini parsing failed, no '=' found");
}

TEST(IniReader, LinesEndingInCarriageReturnAreCountedOnce) {
  EXPECT_EQ(parse_error("[s]\r\na=1\r\n[]\r\n"), "l3: ini parsing failed, section is empty");
}

TEST(IniReader, IndentedCommentInsideASectionIsAFieldWithoutSeparator) {
  EXPECT_EQ(parse_error("[s]\n  ; text\n"), "l2: ini parsing failed, no '=' found");
}

TEST(IniReader, IndentedCommentBeforeAnySectionIsAFieldWithoutSection) {
  EXPECT_EQ(parse_error("  ; text\n[s]\n"), "l1: ini parsing failed, field has no section");
}

TEST(IniReader, IndentedHashCommentWithSeparatorStoresUnderTheEmptyName) {
  const ini_document document = decoded("[s]\n  # a = b\n");
  EXPECT_EQ(value_of(document, "s", ""), "b");
  EXPECT_EQ(value_of(document, "s", "a"), "<no field>");
}

TEST(IniReader, NamesAreCaseSensitive) {
  const ini_document document = decoded("[Basic]\nBaseline=1\n");
  EXPECT_EQ(value_of(document, "Basic", "baseline"), "<no field>");
  EXPECT_EQ(value_of(document, "Basic", "Baseline"), "1");
  EXPECT_EQ(value_of(document, "basic", "Baseline"), "<no section>");
}

TEST(IniReader, SectionNamesAreNotTrimmed) {
  const ini_document document = decoded("[ basic ]\nbaseline=50\n");
  EXPECT_EQ(value_of(document, " basic ", "baseline"), "50");
  EXPECT_EQ(value_of(document, "basic", "baseline"), "<no section>");
}

TEST(IniReader, FieldNameIsCutAtHash) {
  const ini_document document = decoded("[s]\nkey#1 = 3\n");
  EXPECT_EQ(value_of(document, "s", "key"), "3");
}

TEST(IniReader, HashIsLookedForBeforeSemicolon) {
  const ini_document document = decoded("[s]\na;b#c = 3\n");
  EXPECT_EQ(value_of(document, "s", "a;b"), "3");
}

TEST(IniReader, CutFieldNameIsNotTrimmedAgain) {
  const ini_document document = decoded("[s]\nspeed ; x = 1\n");
  EXPECT_EQ(value_of(document, "s", "speed "), "1");
  EXPECT_EQ(value_of(document, "s", "speed"), "<no field>");
}

TEST(IniReader, ValueKeepsATrailingComment) {
  const ini_document document = decoded("[s]\ngain = 5 ; note\n");
  EXPECT_EQ(value_of(document, "s", "gain"), "5 ; note");
}

TEST(IniReader, NamesAndValuesAreTrimmedOfCLocaleWhiteSpace) {
  const ini_document document = decoded("[s]\n \t\v\fkey \t= \t value \v\f\r\n");
  EXPECT_EQ(value_of(document, "s", "key"), "value");
}

TEST(IniReader, HighBytesAreNeverWhiteSpace) {
  const ini_document document = decoded("[s]\nkey = \xA0value\x85\n");
  EXPECT_EQ(value_of(document, "s", "key"), "\xA0value\x85");
}

TEST(IniReader, FieldsReadBeforeAnErrorStayInTheDocument) {
  ini_document document('=', ';');
  EXPECT_THROW(document.decode("[a]\nx=1\n[b]\ny=2\nbroken\n"), std::logic_error);
  EXPECT_EQ(document.size(), 2u);
  EXPECT_EQ(value_of(document, "a", "x"), "1");
  EXPECT_EQ(value_of(document, "b", "y"), "2");
}

TEST(IniReader, DecodingAgainStartsFromAnEmptyDocument) {
  ini_document document('=', ';');
  document.decode("[a]\nx=1\n[b]\ny=2\n");
  ASSERT_EQ(document.size(), 2u);
  document.decode("[c]\nz=3\n");
  EXPECT_EQ(document.size(), 1u);
  EXPECT_EQ(value_of(document, "a", "x"), "<no section>");
  EXPECT_EQ(value_of(document, "c", "z"), "3");
  document.decode("");
  EXPECT_EQ(document.size(), 0u);
}

TEST(IniReader, LineCounterRestartsOnEachDecoding) {
  ini_document document('=', ';');
  document.decode("[a]\nx=1\ny=2\n");
  try {
    document.decode("x=1\n");
    FAIL() << "no error";
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "l1: ini parsing failed, field has no section");
  }
}

TEST(IniReader, DecodesFromAnyStream) {
  ini_document document('=', ';');
  std::istringstream in("[s]\nk = v\n");
  ini_decode(in, document);
  EXPECT_EQ(value_of(document, "s", "k"), "v");
}

TEST(IniReader, FailedStreamDecodesToNothing) {
  ini_document document('=', ';');
  document.decode("[old]\nk=v\n");
  std::istringstream in("[s]\nk = v\n");
  in.setstate(std::ios::failbit);
  ini_decode(in, document);
  EXPECT_EQ(document.size(), 0u);
}

TEST(IniReader, LongLinesAreReadWhole) {
  const std::string long_value(100000, 'x');
  const ini_document document = decoded("[s]\nk=" + long_value + "\n");
  EXPECT_EQ(value_of(document, "s", "k"), long_value);
}

TEST(IniSectionLookup, SectionLookupInsertsAnEmptySection) {
  ini_document document = decoded("[a]\nx=1\n");
  EXPECT_EQ(document.find_section("b"), nullptr);
  EXPECT_TRUE(document.section("b").empty());
  EXPECT_EQ(document.size(), 2u);
  ASSERT_NE(document.find_section("b"), nullptr);
}

TEST(IniSectionLookup, FieldFindDoesNotInsert) {
  ini_document document = decoded("[a]\nx=1\n");
  ini_section& section = document.section("a");
  EXPECT_EQ(section.find("y"), nullptr);
  EXPECT_EQ(section.size(), 1u);
}

TEST(IniSectionLookup, FieldAccessInsertsAnEmptyValue) {
  ini_document document = decoded("[a]\nx=1\n");
  ini_section& section = document.section("a");
  EXPECT_EQ(section["x"].text(), "1");
  EXPECT_EQ(section["y"].text(), "");
  EXPECT_EQ(section.size(), 2u);
}

TEST(IniSectionLookup, DocumentKeepsItsSeparatorAndCommentCharacter) {
  const ini_document document(':', '#');
  EXPECT_EQ(document.separator(), ':');
  EXPECT_EQ(document.comment(), '#');
}

TEST(IniTrim, DropsCLocaleWhiteSpaceAtBothEnds) {
  EXPECT_EQ(ini_trim(" \t\n\v\f\ra b\r\n"), "a b");
  EXPECT_EQ(ini_trim(" \t "), "");
  EXPECT_EQ(ini_trim(""), "");
  EXPECT_EQ(ini_trim("\x80x\xFF"), "\x80x\xFF");
}

TEST(IniStripComment, CutsAtTheFirstMarkerOfTheFixedList) {
  EXPECT_EQ(ini_strip_comment("name"), "name");
  EXPECT_EQ(ini_strip_comment("a%b;c"), "a%b");
  EXPECT_EQ(ini_strip_comment("a%b"), "a");
  EXPECT_EQ(ini_strip_comment("a;b#c#d"), "a;b");
  EXPECT_EQ(ini_strip_comment("#x"), "");
  EXPECT_EQ(ini_strip_comment("a!b"), "a!b");
}

}  // namespace
}  // namespace deflash
