#include "bridge/ServerScript.h"

#include "bridge/RequestCapture.h"
#include "tests/bridge/RequestTest.h"

namespace quintora {

namespace {

constexpr auto kAbsent = std::nullopt;

TEST(DictionaryEntry, QuotesKeyAndValue) {
  const struct {
    String key, value, expected;
  } rows[] = {
      {"name", "Ann", "\"name\",\"Ann\""},
      {"", "", "\"\",\"\""},
      {"\"", "say \"hi\"", "\"\"\"\",\"say \"\"hi\"\"\""},
      {"note", "a}b", "\"note\",\"a}b\""},
      {"a,b", "{1}\r\n\\%@", "\"a,b\",\"{1}\r\n\\%@\""},
      {"name", kAbsent, "\"name\",(null)"},
      {kAbsent, "Ann", "(null),\"Ann\""},
      {kAbsent, kAbsent, "(null),(null)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.key) + " and " + testing::PrintToString(row.value));
    EXPECT_EQ(dictionaryEntry(row.key, row.value), row.expected);
  }
}

TEST(FormDictionaryText, JoinsEntriesAndEndsWithALineFeed) {
  EXPECT_EQ(formDictionaryText(""), "initializeDictionary(\n\n)\n");
  EXPECT_EQ(formDictionaryText("\"a\",\"1\""), "initializeDictionary(\n\"a\",\"1\"\n)\n");
  std::string entries;
  appendEntry(entries, "\"a\",\"1\"");
  EXPECT_EQ(entries, "\"a\",\"1\"");
  appendEntry(entries, "\"a\",\"1\"");
  EXPECT_EQ(formDictionaryText(entries), "initializeDictionary(\n\"a\",\"1\",\n\"a\",\"1\"\n)\n");
}

TEST(ServerScriptStatement, HasTheVariablesThenTheForm) {
  EXPECT_EQ(serverScriptStatement({{"\"A\",\"1\"", "\"B\",\"2\""}}, kEmptyLiteral),
            "setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n"
            "\"A\",\"1\",\n\"B\",\"2\"\n),\"\")\n");
  EXPECT_EQ(serverScriptStatement({{"\"A\",\"1\""}}, formDictionaryText("\"a\",\"1\"")),
            "setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n"
            "\"A\",\"1\"\n),initializeDictionary(\n\"a\",\"1\"\n)\n)\n");
}

TEST(ServerScriptStatement, ShowsWhatIsAbsentAsNull) {
  EXPECT_EQ(serverScriptStatement(kAbsent, kEmptyLiteral),
            "setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n(null)\n),"
            "\"\")\n");
  EXPECT_EQ(serverScriptStatement(Array(std::in_place), kAbsent),
            "setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n\n),(null))"
            "\n");
}

TEST(ServerScriptStatement, TakesNoValueForAFormat) {
  EXPECT_EQ(serverScriptStatement({{"\"A\",\"%@\""}}, "%d"),
            "setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n"
            "\"A\",\"%@\"\n),%d)\n");
}

// A whole request in Apple-event mode, from the environment to the statement.
class RequestStatementTest : public RequestTest {
 protected:
  void SetUp() override {
    RequestTest::SetUp();
    setVariable("SERVER_SOFTWARE", "Apache/2.4");
    setVariable("QUERY_STRING", "id=7");
    setVariable("REMOTE_ADDR", "192.0.2.10");
    setVariable("REMOTE_PORT", "52814");
    setVariable("REQUEST_METHOD", "POST");
    setVariable("SERVER_ADDR", "192.0.2.1");
    setVariable("SERVER_NAME", "192.0.2.1");
    setVariable("SERVER_PORT", "80");
    setVariable("HTTP_ACCEPT", "text/html");
    setVariable("HTTP_ACCEPT_ENCODING", "gzip");
    setVariable("HTTP_ACCEPT_LANGUAGE", "en");
    setVariable("HTTP_CONNECTION", "keep-alive");
    setVariable("HTTP_HOST", "192.0.2.1");
    setVariable("HTTP_USER_AGENT", "TestAgent/1.0");
    setVariable("HTTP_COOKIE", "theme=\"dark\"");
  }

  static String capturedStatement() {
    environmentVariables.emplace();
    for (const char* name : kCGIVariables)
      AddEnvironmentVariable(name);
    AddPostData();
    return serverScriptStatement(environmentVariables, postDataCode);
  }

  const std::string variables_ =
      R"(setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(
"SERVER_SOFTWARE","Apache/2.4",
"QUERY_STRING","id=7",
"REMOTE_ADDR","192.0.2.10",
"REMOTE_PORT","52814",
"REQUEST_METHOD","POST",
"SERVER_ADDR","192.0.2.1",
"SERVER_ADMIN","",
"SERVER_NAME","192.0.2.1",
"SERVER_PORT","80",
"SERVER_SIGNATURE","",
"HTTP_ACCEPT","text/html",
"HTTP_ACCEPT_ENCODING","gzip",
"HTTP_ACCEPT_LANGUAGE","en",
"HTTP_CONNECTION","keep-alive",
"HTTP_HOST","192.0.2.1",
"HTTP_REFERER","",
"HTTP_USER_AGENT","TestAgent/1.0",
"HTTP_COOKIE","theme=""dark"""
),)";
};

TEST_F(RequestStatementTest, CarriesVariablesAndFields) {
  setBody("name=Ann+%22Al%22+Lee&city=Bern&note=a%7Db&flag");
  EXPECT_EQ(capturedStatement(), variables_ +
                                     R"(initializeDictionary(
"name","Ann ""Al"" Lee",
"city","Bern",
"note","a}b",
"flag",""
)
)
)");
}

TEST_F(RequestStatementTest, EndsWithTheEmptyLiteralWithoutABody) {
  EXPECT_EQ(capturedStatement(), variables_ + "\"\")\n");
}

TEST_F(RequestStatementTest, EndsWithAnEmptyDictionaryForABodyThatIsNotUTF8) {
  setBody("a=1&b=\xFF");
  EXPECT_EQ(capturedStatement(), variables_ + "initializeDictionary(\n\n)\n)\n");
}

TEST_F(RequestStatementTest, ListsFieldsOfTheSameNameInTheirOrder) {
  setBody("a=1&a=2");
  EXPECT_EQ(capturedStatement(),
            variables_ + "initializeDictionary(\n\"a\",\"1\",\n\"a\",\"2\"\n)\n)\n");
}

}  // namespace

}  // namespace quintora
