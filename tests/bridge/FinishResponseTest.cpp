#include "bridge/FinishResponse.h"

#include <gmock/gmock.h>

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

}  // namespace

}  // namespace quintora
