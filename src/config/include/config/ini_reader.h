// INI document reader used by every configuration loader.
#ifndef DEFLASH_CONFIG_INI_READER_H_
#define DEFLASH_CONFIG_INI_READER_H_

#include <cstddef>
#include <istream>
#include <map>
#include <string>

namespace deflash {

/// A field's value text, trimmed, never cut at a comment character.
class ini_value {
 public:
  ini_value() = default;
  explicit ini_value(std::string text) : text_(std::move(text)) {}
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

/// Fields of one section, ordered byte-wise by name (case-sensitive).
class ini_section {
 public:
  /// The value of `name`, or null; never changes the section.
  const ini_value* find(const std::string& name) const;
  /// The value of `name`, inserting an empty value if absent.
  ini_value& operator[](const std::string& name) { return fields_[name]; }
  std::size_t size() const { return fields_.size(); }
  bool empty() const { return fields_.empty(); }

 private:
  std::map<std::string, ini_value> fields_;
};

/// Sections of one INI text, ordered byte-wise by name (case-sensitive).
class ini_document {
 public:
  ini_document(char separator, char comment) : separator_(separator), comment_(comment) {}
  /// Reads the file at `path` in text mode. A file that cannot be opened
  /// gives an empty document, with no error and no message.
  ini_document(const std::string& path, char separator, char comment);

  /// Replaces the content with the decoded `text`. Throws std::logic_error
  /// "l<line>: ini parsing failed, ..." on a syntax error.
  void decode(const std::string& text);

  /// The section `name`, inserting an empty one if absent.
  ini_section& section(const std::string& name) { return sections_[name]; }
  /// The section `name`, or null; never changes the document.
  const ini_section* find_section(const std::string& name) const;
  std::size_t size() const { return sections_.size(); }

  char separator() const { return separator_; }
  char comment() const { return comment_; }

 private:
  friend void ini_decode(std::istream& in, ini_document& document);

  char separator_;
  char comment_;
  std::map<std::string, ini_section> sections_;
};

/// Decodes `in` into `document`, which is emptied first. Sections and
/// fields read before a syntax error stay in the document.
void ini_decode(std::istream& in, ini_document& document);

/// Drops leading and trailing white space of the C locale (space, \t, \n,
/// \v, \f, \r); bytes at or above 0x80 are kept.
std::string ini_trim(const std::string& text);

/// Cuts a field name before its first '#', else its first ';', else its
/// first '%' (the first character of that list present wins). Not re-trimmed.
std::string ini_strip_comment(const std::string& name);

// The loaders' contract documents the INI layer as IniDocument, IniSectionMap
// and IniValue; code written against those names keeps compiling.
using IniDocument = ini_document;
using IniSectionMap = ini_section;
using IniValue = ini_value;

}  // namespace deflash

#endif  // DEFLASH_CONFIG_INI_READER_H_
