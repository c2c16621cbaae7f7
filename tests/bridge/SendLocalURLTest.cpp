#include "bridge/SendLocalURL.h"

#include "tests/bridge/RequestTest.h"
#include "tests/support/ScriptedServer.h"

namespace quintora {

namespace {

using namespace std::string_view_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

constexpr auto kAbsent = std::nullopt;
const String kBinaryData = "Error: CGI tunnel returned binary data.";
const String kNoReason = "CGI tunnel request error:(null)";

// Whether a result is the message of a failed request and says what failed.
bool isDescribedRequestError(const String& result) {
  const std::string prefix = "CGI tunnel request error:";
  return result && result->size() > prefix.size() && result->substr(0, prefix.size()) == prefix &&
         result != kNoReason;
}

TEST(ResultOfResponse, LooksForDataThenForACharset) {
  const struct {
    std::optional<std::string_view> data;
    String charset, description, expected;
  } rows[] = {
      {kAbsent, kAbsent, "Nobody listens.", "CGI tunnel request error:Nobody listens."},
      {kAbsent, "utf-8", "100%@", "CGI tunnel request error:100%@"},
      {kAbsent, kAbsent, kAbsent, kNoReason},
      {""sv, kAbsent, kAbsent, kNoReason},
      {""sv, "utf-8", kAbsent, kNoReason},
      {""sv, "no-such-charset", kAbsent, kNoReason},
      {"plain ASCII"sv, kAbsent, kAbsent, kBinaryData},
      {"\xFE\xFF\0A"sv, kAbsent, kAbsent, kBinaryData},
      {"caf\xC3\xA9"sv, "utf-8", kAbsent, "caf\u00E9"},
      {"caf\xC3\xA9"sv, "UTF-8", kAbsent, "caf\u00E9"},
      {"caf\xE9"sv, "ISO-8859-1", kAbsent, "caf\u00E9"},
      {"caf\x8E"sv, "macintosh", kAbsent, "caf\u00E9"},
      {"\xFF\xFE\x41\0"sv, "utf-16", kAbsent, "A"},
      {"a\0b"sv, "us-ascii", kAbsent, std::string("a\0b", 3)},
      {"caf\xE9"sv, "utf-8", kAbsent, ""},
      {"caf\xE9"sv, "us-ascii", kAbsent, "caf\u00E9"},
      {"\xEF\xBB\xBF"
       "caf\xC3\xA9"sv,
       "utf-8", kAbsent, "caf\u00E9"},
      {"a\xA5"sv, "iso-8859-3", kAbsent, ""},
      {"\xFE\xFF\0A"sv, "utf-8", kAbsent, ""},
      {"plain ASCII"sv, "no-such-charset", kAbsent, ""},
      {"plain ASCII"sv, "", kAbsent, ""},
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

TEST(ResultOfResponse, DoesNotCopyAReplyInUTF8) {
  HTTPResponse response;
  response.data = std::string(1 << 20, 'x') + "caf\u00E9";
  response.textEncodingName = "utf-8";
  const void* const bytes = response.data->data();
  const String result = resultOfResponse(std::move(response));
  ASSERT_NE(result, kAbsent);
  EXPECT_TRUE(*result == std::string(1 << 20, 'x') + "caf\u00E9");
  EXPECT_EQ(result->data(), bytes);
}

TEST(TextOfReply, FindsTheEncodingOutForIdentifierZeroOnly) {
  const struct {
    std::string_view body;
    TextEncoding encoding;
    String expected;
  } rows[] = {
      // clang-format off
      {"caf\xC3\xA9"sv, 0, "caf\u00E9"},
      {"\xFE\xFF\0A"sv, 0, "A"},
      {"\xE9"sv, 0, "\u00C8"},
      {""sv, 0, ""},
      {"caf\xC3\xA9"sv, 4, "caf\u00E9"},
      {"\xE9"sv, 4, ""},
      {"\xFE\xFF\0A"sv, 4, ""},
      {"\xFE\xFF\0A"sv, 10, "A"},
      {"\0A\xDC\0"sv, 10, ""},
      {"\xE9"sv, 30, "\u00C8"},
      {"A"sv, 0xFFFFFFFF, ""},
      {"A"sv, UINT64_MAX, ""},
      // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.body) + " in " + std::to_string(row.encoding));
    EXPECT_EQ(textOfReply(Data(row.body), row.encoding), row.expected);
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
    postParameters = {{{"q", "Jo Smith+Co"}}};
    cgiResult = "Quintora CGI Error: Out of memory (form data).";
  }

  static constexpr std::string_view kBody = "q=Jo%20Smith%2BCo";
};

TEST_F(SendLocalURLTest, AsksByAPostWithAnIdleTimeoutOfAMinute) {
  quiZServerPort = 8081;
  postParameters->insert_or_assign("q", "a b");
  FormBody body(postParameters);
  const HTTPRequest request = localRequest(body);
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.host, "localhost");
  EXPECT_EQ(request.port, 8081);
  EXPECT_EQ(request.path, "/apache-tunnel/");
  EXPECT_EQ(request.timeoutInterval, std::chrono::seconds(60));
  EXPECT_EQ(request.body.size(), 7u);
  std::string bytes(100, '?');
  bytes.resize(request.body.read(bytes.data(), bytes.size()));
  EXPECT_EQ(bytes, "q=a%20b");
  using Headers = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(request.headers,
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
  EXPECT_EQ(cgiResult, "Hello");
  EXPECT_EQ(postParameters, (Dictionary{{{"q", "Jo Smith+Co"}}}));
}

// Of 4 MB, which the client does not make at once. The pieces' ends fall anywhere into names,
// values and escapes.
TEST_F(SendLocalURLTest, PostsALargeDictionaryWhole) {
  postParameters.emplace();
  std::string expected;
  for (size_t number = 0; expected.size() < 4000000; ++number) {
    const std::string key = "field " + std::to_string(number);
    postParameters->insert_or_assign(key, std::string(number, 'x') + "\u00E9\u65E5 & +");
    expected += (number == 0 ? "field%20" : "&field%20") + std::to_string(number) + "=" +
                std::string(number, 'x') + "%C3%A9%E6%97%A5%20%26%20%2B";
  }
  const size_t size = expected.size();
  ScriptedServer server([size](Connection& connection) {
    while (connection.received().find("\r\n\r\n") == std::string::npos && connection.receive()) {
    }
    connection.receiveUntil(connection.received().find("\r\n\r\n") + 4 + size);
    connection.send(kHello);
  });
  quiZServerPort = server.port();
  SendLocalURL();
  ASSERT_EQ(server.received().size(), 1u);
  const std::string& request = server.received().front();
  const size_t bodyStart = request.find("\r\n\r\n") + 4;
  EXPECT_THAT(request.substr(0, bodyStart),
              HasSubstr("\r\nContent-Length: " + std::to_string(size) + "\r\n"));
  EXPECT_TRUE(request.substr(bodyStart) == expected);
  EXPECT_EQ(cgiResult, "Hello");
}

TEST_F(SendLocalURLTest, PostsAnEmptyDictionaryAsNoBytes) {
  postParameters.emplace();
  ScriptedServer server(answering("", kHello));
  quiZServerPort = server.port();
  SendLocalURL();
  EXPECT_THAT(server.received(),
              ElementsAre(AllOf(HasSubstr("\r\nContent-Length: 0\r\n"), EndsWith("\r\n\r\n"))));
  EXPECT_EQ(cgiResult, "Hello");
}

TEST_F(SendLocalURLTest, LeavesTheReplyOrAMessage) {
  const struct {
    const char *status, *type, *body;
    String expected;
  } rows[] = {
      {"200 OK", "text/plain; charset=utf-8", "caf\xC3\xA9", "caf\u00E9"},
      {"200 OK", "text/html; charset=\"ISO-8859-1\"", "caf\xE9", "caf\u00E9"},
      {"404 Not Found", "text/plain; charset=utf-8", "none", "none"},
      {"500 Internal Server Error", "text/plain; charset=utf-8", "broken", "broken"},
      {"200 OK", "text/plain; charset=utf-8", "", kNoReason},
      {"500 Internal Server Error", "text/plain; charset=utf-8", "", kNoReason},
      {"200 OK", "text/plain", "plain ASCII", kBinaryData},
      {"200 OK", "text/plain", "", kNoReason},
      {"200 OK", "text/plain; charset=utf-8", "caf\xE9", ""},
      {"200 OK", "text/plain; charset=no-such-charset", "plain ASCII", ""},
  };
  for (const auto& row : rows) {
    const std::string head =
        std::string("HTTP/1.1 ") + row.status + "\r\nContent-Type: " + row.type;
    SCOPED_TRACE(testing::PrintToString(head + "\r\n\r\n" + row.body));
    ScriptedServer server(answering(kBody, head + "\r\n\r\n" + row.body));
    quiZServerPort = server.port();
    cgiResult = "old";
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
    cgiResult = "old";
    SendLocalURL();
    EXPECT_EQ(cgiResult, "CGI tunnel error: malformed URL.");
  }
}

TEST_F(SendLocalURLTest, FailsForPortsThatDoNotExist) {
  for (const int64_t port : {int64_t{0}, int64_t{65536}, int64_t{65536 + 8080}, INT64_MAX}) {
    SCOPED_TRACE(port);
    quiZServerPort = port;
    cgiResult = "old";
    SendLocalURL();
    EXPECT_PRED1(isDescribedRequestError, cgiResult);
  }
}

}  // namespace

}  // namespace quintora
