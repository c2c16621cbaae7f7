#include "extras/Uppercase.h"

#include <gmock/gmock.h>

#include <clocale>
#include <fstream>
#include <map>
#include <sstream>

#include "extras/NSString.h"
#include "tests/support/Units.h"

namespace quintora {

namespace {

using testing::IsEmpty;

void append(std::u16string& text, char32_t character) {
  if (character >= 0x10000) {
    text += static_cast<char16_t>(0xD7C0 + (character >> 10));
    character = 0xDC00 + character % 0x400;
  }
  text += static_cast<char16_t>(character);
}

// What the Unicode Character Database says, read from its own files.
class UppercaseDatabaseSlow : public testing::Test {
 protected:
  using Fields = std::vector<std::string>;

  void SetUp() override {
    for (const Fields& fields : linesOf("UnicodeData.txt")) {
      if (fields.size() > 12 && !fields[12].empty())
        simple_[codeOf(fields[0])] = codeOf(fields[12]);
    }
    for (const Fields& fields : linesOf("SpecialCasing.txt")) {
      const bool isConditional =
          fields.size() > 4 && fields[4].find_first_not_of(" ") != std::string::npos;
      if (fields.size() > 3 && !isConditional)
        full_[codeOf(fields[0])] = textOf(fields[3]);
    }
    ASSERT_GT(simple_.size(), 1400u) << "UnicodeData.txt is missing or cut off";
    ASSERT_GT(full_.size(), 100u) << "SpecialCasing.txt is missing or cut off";
  }

  char32_t simpleOf(char32_t character) const {
    const auto found = simple_.find(character);
    return found == simple_.end() ? character : found->second;
  }

  std::string fullOf(char32_t character) const {
    const auto found = full_.find(character);
    if (found != full_.end())
      return found->second;
    std::u16string text;
    append(text, simpleOf(character));
    return units(text);
  }

 private:
  static std::vector<Fields> linesOf(const std::string& name) {
    std::ifstream file("/usr/share/unicode/" + name);
    std::vector<Fields> lines;
    for (std::string line; std::getline(file, line);) {
      std::istringstream text(line.substr(0, line.find('#')));
      Fields fields;
      for (std::string field; std::getline(text, field, ';');)
        fields.push_back(field);
      if (!fields.empty())
        lines.push_back(fields);
    }
    return lines;
  }

  static char32_t codeOf(const std::string& digits) {
    return static_cast<char32_t>(std::stoul(digits, nullptr, 16));
  }

  static std::string textOf(const std::string& codes) {
    std::istringstream words(codes);
    std::u16string text;
    for (std::string word; words >> word;)
      append(text, codeOf(word));
    return units(text);
  }

  std::map<char32_t, char32_t> simple_;
  std::map<char32_t, std::string> full_;
};

TEST_F(UppercaseDatabaseSlow, HasEverySimpleMapping) {
  std::vector<char32_t> wrong;
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    if (simpleUppercase(character) != simpleOf(character))
      wrong.push_back(character);
  }
  EXPECT_THAT(wrong, IsEmpty());
}

// The search that ignores case relies on it.
TEST(SimpleUppercaseSlow, KeepsTheNumberOfUnits) {
  std::vector<char32_t> wrong;
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    if ((simpleUppercase(character) >= 0x10000) != (character >= 0x10000))
      wrong.push_back(character);
  }
  EXPECT_THAT(wrong, IsEmpty());
}

TEST_F(UppercaseDatabaseSlow, HasEveryUnconditionalFullMapping) {
  std::vector<char32_t> wrong;
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    std::string text = "|";
    appendUppercase(text, character);
    if (text != "|" + fullOf(character))
      wrong.push_back(character);
  }
  EXPECT_THAT(wrong, IsEmpty());
}

TEST(UppercaseString, IsTheFullMapping) {
  const struct {
    String receiver, expected;
  } rows[] = {
      {"", ""},
      {"a", "A"},
      {"az AZ 09 {|}", "AZ AZ 09 {|}"},
      {"caf\u00E9", "CAF\u00C9"},
      {"stra\u00DFe", "STRASSE"},
      {"\u1E9E", "\u1E9E"},   // the capital sharp s is upper case already
      {"\u0149", "\u02BCN"},  // n with an apostrophe before it
      {"\uFB01", "FI"},       // ligatures of two and of three letters
      {"\uFB03", "FFI"},
      {"\u0390", "\u0399\u0308\u0301"},              // iota with two marks has no single capital
      {"\u03B1\u03C3\u03C2", "\u0391\u03A3\u03A3"},  // both small sigmas have one capital
      {"\u01C5", "\u01C4"},                          // a title-case letter
      {"\u00FF\u00B5", "\u0178\u039C"},
      {"i\u0131I\u0130", "III\u0130"},
      {"\U00010428\U0001044F", "\U00010400\U00010427"},  // Deseret
      {"\U0001F600", "\U0001F600"},
      {units(u"a\xD801"), units(u"A\xD801")},  // unpaired halves
      {units(u"\xDC28\x61"), units(u"\xDC28\x41")},
      {units(u"\xD801\xD801\xDC28"), units(u"\xD801\xD801\xDC00")},
      {std::nullopt, std::nullopt},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.receiver));
    EXPECT_EQ(uppercaseString(row.receiver), row.expected);
  }
}

TEST(UppercaseString, IsTheSameInEveryLocale) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"C", "C.UTF-8", "tr_TR.UTF-8", "lt_LT.UTF-8"}) {
    SCOPED_TRACE(name);
    std::setlocale(LC_ALL, name);  // one that is not installed leaves the locale as it was
    EXPECT_EQ(uppercaseString("i\u0131\u00E9"), "II\u00C9");
    EXPECT_EQ(uppercaseString("i\u0307"), "I\u0307");
  }
  std::setlocale(LC_ALL, before.c_str());
}

}  // namespace

}  // namespace quintora
