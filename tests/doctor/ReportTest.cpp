// What of a text the doctor shows on a terminal.
#include "doctor/Report.h"

#include <gmock/gmock.h>

namespace quintora {

namespace {

using namespace std::string_literals;

TEST(Report, ShowsTextAsItIs) {
  for (const std::string text : {"", "a \"b\" ~", "Gr\u00FC\u00DFe \U0001F600 \u05D0 \u00A0"})
    EXPECT_EQ(printable(text), text);
}

TEST(Report, ShowsNothingThatCommandsATerminal) {
  const struct {
    std::string text, shown;
  } rows[] = {
      {"a\x1B]0;owned\x07z", "a?]0;owned?z"},
      {"9\0 8"s, "9? 8"},
      {"a\nb\rc\td", "a?b?c?d"},
      {"a\x7Fz", "a?z"},
      {"a\u0080z\u009B2J\u009F", "a?z?2J?"},
      {"\u061C\u200E\u200F\u202A\u202E\u2066\u2069", "???????"},
      {"a\x9Bz", "a?z"},
      {"\xC3(\xE2\x82", "?(??"},
      {"\xED\xA0\x80", "???"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(printable(row.text), row.shown);
  EXPECT_EQ(printable("a\tb\r\n\x1B\n", "\t\r\n"), "a\tb\r\n?\n");
}

TEST(Report, ShowsTheBeginningOfALine) {
  EXPECT_EQ(excerpt("line\r\nnext"), "\"line\"");
  EXPECT_EQ(excerpt("say \"hi\""), "'say \"hi\"'");
  EXPECT_EQ(excerpt(std::string(60, 'x')), '"' + std::string(60, 'x') + '"');
  EXPECT_EQ(excerpt(std::string(61, 'x')), '"' + std::string(60, 'x') + "...\"");
}

}  // namespace

}  // namespace quintora
