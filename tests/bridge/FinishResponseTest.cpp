#include "bridge/FinishResponse.h"

#include <gmock/gmock.h>

#include <utility>

namespace quintora {

namespace {

TEST(FinishResponse, EndsLinesAndAddsTheDefaultHeader) {
  const std::string header = "Content-type: text/plain\r\n\r\n";
  const struct {
    String response;
    std::string expected;
  } rows[] = {
      {"Content-type: text/html\r\rHello", "Content-type: text/html\r\n\r\nHello\r\n"},
      {"Content-type: text/html\n\nHello", "Content-type: text/html\n\nHello\r\n"},
      {"Content-type: text/html\r\nHello\rWorld", "Content-type: text/html\r\nHello\rWorld\r\n"},
      {"Content-type: text/html\r\n\r\nHello\r\n", "Content-type: text/html\r\n\r\nHello\r\n"},
      {"Content-type: text/html\r\n\r\nHello", "Content-type: text/html\r\n\r\nHello\r\n"},
      {"Content-type:", "Content-type:\r\n"},
      {"Hello", header + "Hello\r\n"},
      {"", header},
      {std::nullopt, header + "(null)\r\n"},
      {"Hello\r\n", header + "Hello\r\n"},
      {"Hello\n", header + "Hello\n\r\n"},
      {"Hello\r", header + "Hello\r\n"},
      {"Hello\nWorld\r", header + "Hello\nWorld\r\r\n"},
      {"Hello\rWorld", header + "Hello\r\nWorld\r\n"},
      {"Hello\n\r", header + "Hello\n\r\r\n"},
      {"\r", header + "\r\n"},
      {"\n", header + "\n\r\n"},
      {"\r\n", header + "\r\n"},
      {"\r\r", header + "\r\n\r\n"},
      {"Content-Type: text/html\r\n\r\nHi", header + "Content-Type: text/html\r\n\r\nHi\r\n"},
      {"content-type: text/html\r\n\r\n", header + "content-type: text/html\r\n\r\n"},
      {" Content-type: text/html", header + " Content-type: text/html\r\n"},
      {"\r\nContent-type: text/html", header + "\r\nContent-type: text/html\r\n"},
      {"Content-type", header + "Content-type\r\n"},
      {"Content-type : text/html", header + "Content-type : text/html\r\n"},
      {"100%@ %s %d %%", header + "100%@ %s %d %%\r\n"},
      {"Content-type: text/html\r\n\r\n%@%n", "Content-type: text/html\r\n\r\n%@%n\r\n"},
      {"caf\u00E9 \U0001F600", header + "caf\u00E9 \U0001F600\r\n"},
      {std::string("a\0b", 3), header + std::string("a\0b", 3) + "\r\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.response));
    EXPECT_EQ(FinishResponse(row.response).whole(), row.expected);
  }
}

TEST(FinishResponse, IsWrittenInThreePartsOfWhichTheTextIsNotCopied) {
  const std::string page(1 << 20, 'x');
  const struct {
    std::string response, header, lineEnd;
  } rows[] = {
      {page, "Content-type: text/plain\r\n\r\n", "\r\n"},
      {page + "\r\n", "Content-type: text/plain\r\n\r\n", ""},
      {"Content-type: text/html\r\n\r\n" + page, "", "\r\n"},
      {"Content-type: text/html\r\n\r\n" + page + "\r\n", "", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.response.substr(0, 20));
    String response = row.response;
    const void* const bytes = response->data();
    const FinishedResponse finished = FinishResponse(std::move(response));
    EXPECT_EQ(finished.header, row.header);
    EXPECT_TRUE(finished.text == row.response);
    EXPECT_EQ(finished.text.data(), bytes);
    EXPECT_EQ(finished.lineEnd, row.lineEnd);
  }
}

TEST(CutAtNUL, LeavesNothingFromTheFirstNULOn) {
  const std::string header = "Content-type: text/plain\r\n\r\n";
  using namespace std::string_literals;
  const struct {
    std::string response, printed;
  } rows[] = {
      {"a\0b"s, header + "a"},
      {"a\0b\0c"s, header + "a"},
      {"\0a"s, header},
      {"a\0"s, header + "a"},
      {"a\r\n\0b"s, header + "a\r\n"},
      {"Content-type: text/html\r\n\r\na\0b"s, "Content-type: text/html\r\n\r\na"},
      {"Content-type:\0"s, "Content-type:"},
      {"a", header + "a\r\n"},
      {"", header},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.response));
    FinishedResponse response = FinishResponse(row.response);
    cutAtNUL(response);
    EXPECT_EQ(response.whole(), row.printed);
  }
}

}  // namespace

}  // namespace quintora
