#include "bridge/FinishResponse.h"

#include <gmock/gmock.h>

namespace quintora {

namespace {

TEST(FinishResponse, EndsLinesAndAddsTheDefaultHeader) {
  const std::u16string header = u"Content-type: text/plain\r\n\r\n";
  const struct {
    String response, expected;
  } rows[] = {
      {u"Content-type: text/html\r\rHello", u"Content-type: text/html\r\n\r\nHello\r\n"},
      {u"Content-type: text/html\n\nHello", u"Content-type: text/html\n\nHello\r\n"},
      {u"Content-type: text/html\r\nHello\rWorld", u"Content-type: text/html\r\nHello\rWorld\r\n"},
      {u"Content-type: text/html\r\n\r\nHello\r\n", u"Content-type: text/html\r\n\r\nHello\r\n"},
      {u"Content-type: text/html\r\n\r\nHello", u"Content-type: text/html\r\n\r\nHello\r\n"},
      {u"Content-type:", u"Content-type:\r\n"},
      {u"Hello", header + u"Hello\r\n"},
      {u"", header},
      {std::nullopt, header + u"(null)\r\n"},
      {u"Hello\r\n", header + u"Hello\r\n"},
      {u"Hello\n", header + u"Hello\n\r\n"},
      {u"Hello\r", header + u"Hello\r\n"},
      {u"Hello\nWorld\r", header + u"Hello\nWorld\r\r\n"},
      {u"Hello\rWorld", header + u"Hello\r\nWorld\r\n"},
      {u"Hello\n\r", header + u"Hello\n\r\r\n"},
      {u"\r", header + u"\r\n"},
      {u"\n", header + u"\n\r\n"},
      {u"\r\n", header + u"\r\n"},
      {u"\r\r", header + u"\r\n\r\n"},
      {u"Content-Type: text/html\r\n\r\nHi", header + u"Content-Type: text/html\r\n\r\nHi\r\n"},
      {u"content-type: text/html\r\n\r\n", header + u"content-type: text/html\r\n\r\n"},
      {u" Content-type: text/html", header + u" Content-type: text/html\r\n"},
      {u"\r\nContent-type: text/html", header + u"\r\nContent-type: text/html\r\n"},
      {u"Content-type", header + u"Content-type\r\n"},
      {u"Content-type : text/html", header + u"Content-type : text/html\r\n"},
      {u"100%@ %s %d %%", header + u"100%@ %s %d %%\r\n"},
      {u"Content-type: text/html\r\n\r\n%@%n", u"Content-type: text/html\r\n\r\n%@%n\r\n"},
      {u"caf\u00E9 \U0001F600", header + u"caf\u00E9 \U0001F600\r\n"},
      {std::u16string(u"a\0b", 3), header + std::u16string(u"a\0b", 3) + u"\r\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.response));
    EXPECT_EQ(FinishResponse(row.response), row.expected);
  }
}

}  // namespace

}  // namespace quintora
