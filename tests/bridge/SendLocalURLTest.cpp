#include "bridge/SendLocalURL.h"

#include "tests/bridge/RequestTest.h"
#include "tests/platform/ScriptedServer.h"

namespace quintora {

namespace {

using namespace std::string_view_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

constexpr auto kAbsent = std::nullopt;
const String kBinaryData = u"Error: CGI tunnel returned binary data.";
const String kNoReason = u"CGI tunnel request error:(null)";

// Whether a result is the message of a failed request and says what failed.
bool isDescribedRequestError(const String& result) {
  const std::u16string prefix = u"CGI tunnel request error:";
  return result && result->size() > prefix.size() && result->substr(0, prefix.size()) == prefix &&
         result != kNoReason;
}

TEST(ResultOfResponse, LooksForDataThenForACharset) {
  const struct {
    std::optional<std::string_view> data;
    String charset, description, expected;
  } rows[] = {
      {kAbsent, kAbsent, u"Nobody listens.", u"CGI tunnel request error:Nobody listens."},
      {kAbsent, u"utf-8", u"100%@", u"CGI tunnel request error:100%@"},
      {kAbsent, kAbsent, kAbsent, kNoReason},
      {""sv, kAbsent, kAbsent, kNoReason},
      {""sv, u"utf-8", kAbsent, kNoReason},
      {""sv, u"no-such-charset", kAbsent, kNoReason},
      {"plain ASCII"sv, kAbsent, kAbsent, kBinaryData},
      {"\xFE\xFF\0A"sv, kAbsent, kAbsent, kBinaryData},
      {"caf\xC3\xA9"sv, u"utf-8", kAbsent, u"caf\u00E9"},
      {"caf\xC3\xA9"sv, u"UTF-8", kAbsent, u"caf\u00E9"},
      {"caf\xE9"sv, u"ISO-8859-1", kAbsent, u"caf\u00E9"},
      {"caf\x8E"sv, u"macintosh", kAbsent, u"caf\u00E9"},
      {"\xFF\xFE\x41\0"sv, u"utf-16", kAbsent, u"A"},
      {"a\0b"sv, u"us-ascii", kAbsent, std::u16string(u"a\0b", 3)},
      {"caf\xE9"sv, u"utf-8", kAbsent, u""},
      {"caf\xE9"sv, u"us-ascii", kAbsent, u"caf\u00E9"},
      {"\xEF\xBB\xBF"
       "caf\xC3\xA9"sv,
       u"utf-8", kAbsent, u"caf\u00E9"},
      {"a\xA5"sv, u"iso-8859-3", kAbsent, u""},
      {"\xFE\xFF\0A"sv, u"utf-8", kAbsent, u""},
      {"plain ASCII"sv, u"no-such-charset", kAbsent, u""},
      {"plain ASCII"sv, u"", kAbsent, u""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.data) + " in " + testing::PrintToString(row.charset));
    HTTPResponse response;
    if (row.data)
      response.data = std::string(*row.data);
    response.textEncodingName = row.charset;
    response.localizedDescription = row.description;
    EXPECT_EQ(resultOfResponse(response), row.expected);
  }
}

TEST(TextOfReply, FindsTheEncodingOutForIdentifierZeroOnly) {
  const struct {
    std::string_view body;
    TextEncoding encoding;
    String expected;
  } rows[] = {
      // clang-format off
      {"caf\xC3\xA9"sv, 0, u"caf\u00E9"},
      {"\xFE\xFF\0A"sv, 0, u"A"},
      {"\xE9"sv, 0, u"\u00C8"},
      {""sv, 0, u""},
      {"caf\xC3\xA9"sv, 4, u"caf\u00E9"},
      {"\xE9"sv, 4, u""},
      {"\xFE\xFF\0A"sv, 4, u""},
      {"\xFE\xFF\0A"sv, 10, u"A"},
      {"\0A\xDC\0"sv, 10, u""},
      {"\xE9"sv, 30, u"\u00C8"},
      {"A"sv, 0xFFFFFFFF, u""},
      {"A"sv, UINT64_MAX, u""},
      // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.body) + " in " + std::to_string(row.encoding));
    EXPECT_EQ(textOfReply(row.body, row.encoding), row.expected);
  }
}

// A script that waits for a request with this body, answers with the reply and ends.
ScriptedServer::Script answering(std::string_view body, std::string reply) {
  return [end = "\r\n\r\n" + std::string(body), reply](Connection& connection) {
    while (connection.received().find(end) == std::string::npos && connection.receive()) {
    }
    connection.send(reply);
  };
}

constexpr char kHello[] = "HTTP/1.1 200 OK\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nHello";

// A request with one field stands ready, and the result holds what has to be replaced.
class SendLocalURLTest : public RequestTest {
 protected:
  void SetUp() override {
    RequestTest::SetUp();
    postParameters = {{{u"q", u"Jo Smith+Co"}}};
    cgiResult = u"Quintora CGI Error: Out of memory (form data).";
  }

  static constexpr std::string_view kBody = "q=Jo%20Smith%2BCo";
};

TEST_F(SendLocalURLTest, AsksByAPostWithAnIdleTimeoutOfAMinute) {
  quiZServerPort = 8081;
  postParameters->insert_or_assign(u"q", u"a b");
  const std::optional<HTTPRequest> request = localRequest();
  ASSERT_TRUE(request.has_value());
  EXPECT_EQ(request->method, "POST");
  EXPECT_EQ(request->url.port, "8081");
  EXPECT_EQ(request->url.path, "/apache-tunnel/");
  EXPECT_EQ(request->timeoutInterval, std::chrono::seconds(60));
  EXPECT_EQ(request->body, "q=a%20b");
  using Headers = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(request->headers,
            (Headers{{"Content-Length", "7"},
                     {"Content-Type", "application/x-www-form-urlencoded charset=utf-8"}}));
}

TEST_F(SendLocalURLTest, PostsTheEncodedParameters) {
  ScriptedServer server(answering(kBody, kHello));
  quiZServerPort = server.port();
  SendLocalURL();
  const std::string expected =
      "POST /apache-tunnel/ HTTP/1.1\r\n"
      "Host: localhost:" +
      std::to_string(server.port()) +
      "\r\n"
      "Content-Length: 17\r\n"
      "Content-Type: application/x-www-form-urlencoded charset=utf-8\r\n"
      "Connection: close\r\n\r\n"
      "q=Jo%20Smith%2BCo";
  EXPECT_THAT(server.received(), ElementsAre(expected));
  EXPECT_EQ(cgiResult, u"Hello");
  EXPECT_EQ(postParameters, (Dictionary{{{u"q", u"Jo Smith+Co"}}}));
}

TEST_F(SendLocalURLTest, PostsAnEmptyDictionaryAsNoBytes) {
  postParameters.emplace();
  ScriptedServer server(answering("", kHello));
  quiZServerPort = server.port();
  SendLocalURL();
  EXPECT_THAT(server.received(),
              ElementsAre(AllOf(HasSubstr("\r\nContent-Length: 0\r\n"), EndsWith("\r\n\r\n"))));
  EXPECT_EQ(cgiResult, u"Hello");
}

TEST_F(SendLocalURLTest, LeavesTheReplyOrAMessage) {
  const struct {
    const char *status, *type, *body;
    String expected;
  } rows[] = {
      {"200 OK", "text/plain; charset=utf-8", "caf\xC3\xA9", u"caf\u00E9"},
      {"200 OK", "text/html; charset=\"ISO-8859-1\"", "caf\xE9", u"caf\u00E9"},
      {"404 Not Found", "text/plain; charset=utf-8", "none", u"none"},
      {"500 Internal Server Error", "text/plain; charset=utf-8", "broken", u"broken"},
      {"200 OK", "text/plain; charset=utf-8", "", kNoReason},
      {"500 Internal Server Error", "text/plain; charset=utf-8", "", kNoReason},
      {"200 OK", "text/plain", "plain ASCII", kBinaryData},
      {"200 OK", "text/plain", "", kNoReason},
      {"200 OK", "text/plain; charset=utf-8", "caf\xE9", u""},
      {"200 OK", "text/plain; charset=no-such-charset", "plain ASCII", u""},
  };
  for (const auto& row : rows) {
    const std::string head =
        std::string("HTTP/1.1 ") + row.status + "\r\nContent-Type: " + row.type;
    SCOPED_TRACE(testing::PrintToString(head + "\r\n\r\n" + row.body));
    ScriptedServer server(answering(kBody, head + "\r\n\r\n" + row.body));
    quiZServerPort = server.port();
    cgiResult = u"old";
    SendLocalURL();
    EXPECT_EQ(cgiResult, row.expected);
  }
}

TEST_F(SendLocalURLTest, SendsOnceEvenWhenNoReplyComes) {
  ScriptedServer server(answering(kBody, ""));
  quiZServerPort = server.port();
  SendLocalURL();
  EXPECT_PRED1(isDescribedRequestError, cgiResult);
  EXPECT_THAT(server.received(), ElementsAre(EndsWith(std::string(kBody))));
}

TEST_F(SendLocalURLTest, DescribesAConnectionThatIsRefused) {
  const BoundPort silent("127.0.0.1");
  ASSERT_TRUE(silent.isBound());
  quiZServerPort = silent.port();
  SendLocalURL();
  EXPECT_PRED1(isDescribedRequestError, cgiResult);
}

TEST_F(SendLocalURLTest, RefusesANegativePortAsAMalformedURL) {
  for (const int64_t port : {int64_t{-1}, int64_t{-8080}, INT64_MIN}) {
    SCOPED_TRACE(port);
    quiZServerPort = port;
    cgiResult = u"old";
    SendLocalURL();
    EXPECT_EQ(cgiResult, u"CGI tunnel error: malformed URL.");
  }
}

TEST_F(SendLocalURLTest, FailsForPortsThatDoNotExist) {
  for (const int64_t port : {int64_t{0}, int64_t{65536}, int64_t{65536 + 8080}, INT64_MAX}) {
    SCOPED_TRACE(port);
    quiZServerPort = port;
    cgiResult = u"old";
    SendLocalURL();
    EXPECT_PRED1(isDescribedRequestError, cgiResult);
  }
}

}  // namespace

}  // namespace quintora
