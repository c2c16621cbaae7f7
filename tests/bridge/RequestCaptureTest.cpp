#include "bridge/RequestCapture.h"

#include <sys/wait.h>

#include <csignal>

#include "tests/bridge/RequestTest.h"

namespace quintora {

// The buffer of a form's body is kept until the process ends, so no tool has to report it.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:AddPostData\n"; }

namespace {

using testing::KilledBySignal;

constexpr auto kAbsent = std::nullopt;
const String kNoForm = "\"\"";

class RequestCaptureTest : public RequestTest {
 protected:
  static void beginTunnelMode() {
    postParameters.emplace();
    environmentVariables.reset();
  }

  static void beginAppleEventMode() {
    postParameters.reset();
    environmentVariables.emplace();
  }

  // What a step that must end the run by a signal leaves on standard output.
  template <typename Step>
  static std::string outputOfDying(Step step) {
    std::FILE* const output = std::tmpfile();
    const auto stepWithOutput = [output, step] {
      dup2(fileno(output), STDOUT_FILENO);
      step();
    };
    EXPECT_EXIT(stepWithOutput(), KilledBySignal(SIGABRT), "");
    char bytes[100];
    std::rewind(output);
    const size_t count = std::fread(bytes, 1, sizeof bytes, output);
    std::fclose(output);
    return std::string(bytes, count);
  }
};

using RequestCaptureDeathTest = RequestCaptureTest;

TEST_F(RequestCaptureTest, ReadsAVariableAsUTF8) {
  const struct {
    const char* value;
    String expected;
  } rows[] = {
      {"id=7", "id=7"},
      {"", ""},
      {"caf\xC3\xA9 \xF0\x9F\x98\x80", "caf\u00E9 \U0001F600"},
      {"a%20b+c", "a%20b+c"},
      {"\xE9", kAbsent},
      {"good\xC3", kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.value));
    setVariable("QUERY_STRING", row.value);
    EXPECT_EQ(getCGIVariable("QUERY_STRING"), row.expected);
  }
}

TEST_F(RequestCaptureTest, ReadsAnUnsetVariableAsEmpty) {
  EXPECT_EQ(getCGIVariable("QUERY_STRING"), "");
  EXPECT_EQ(getCGIVariable("CONTENT_LENGTH"), "");
  EXPECT_EQ(getCGIVariable("QUINTORA_TEST_UNSET"), "");
}

TEST_F(RequestCaptureTest, ForwardsEighteenVariablesInTheirOrder) {
  beginAppleEventMode();
  Array expected(std::in_place);
  for (const std::string name : kForwardedVariables) {
    setVariable(name, "the " + name);
    const std::string entry = "\"" + name + "\",\"the " + name + "\"";
    expected->push_back(entry);
  }
  for (const char* name : kCGIVariables)
    AddEnvironmentVariable(name);
  EXPECT_EQ(environmentVariables, expected);
  EXPECT_EQ(environmentVariables->size(), 18u);
  EXPECT_EQ(postParameters, kAbsent);
}

TEST_F(RequestCaptureTest, ForwardsEighteenPrefixedKeysThroughTheTunnel) {
  beginTunnelMode();
  Dictionary expected(std::in_place);
  for (const std::string name : kForwardedVariables) {
    setVariable(name, "the " + name);
    const std::string key = "ApacheTunnel_" + name, value = "the " + name;
    expected->insert_or_assign(key, value);
  }
  for (const char* name : kCGIVariables)
    AddEnvironmentVariable(name);
  EXPECT_EQ(postParameters, expected);
  EXPECT_EQ(postParameters->size(), 18u);
  EXPECT_EQ(environmentVariables, kAbsent);
}

TEST_F(RequestCaptureTest, ForwardsAnUnsetVariableAsEmpty) {
  beginTunnelMode();
  AddEnvironmentVariable("HTTP_REFERER");
  EXPECT_EQ(postParameters, (Dictionary{{{"ApacheTunnel_HTTP_REFERER", ""}}}));
  beginAppleEventMode();
  AddEnvironmentVariable("HTTP_REFERER");
  EXPECT_EQ(environmentVariables, (Array{{"\"HTTP_REFERER\",\"\""}}));
}

TEST_F(RequestCaptureTest, ForwardsAVariableThatIsNotUTF8AsNullInAppleEvents) {
  beginAppleEventMode();
  setVariable("HTTP_COOKIE", "theme=\xFF");
  AddEnvironmentVariable("HTTP_COOKIE");
  EXPECT_EQ(environmentVariables, (Array{{"\"HTTP_COOKIE\",(null)"}}));
}

TEST_F(RequestCaptureDeathTest, EndsWithoutOutputForAVariableThatIsNotUTF8InTheTunnel) {
  beginTunnelMode();
  setVariable("HTTP_COOKIE", "theme=\xFF");
  EXPECT_EQ(outputOfDying([] { AddEnvironmentVariable("HTTP_COOKIE"); }), "");
}

TEST_F(RequestCaptureTest, SplitsAndDecodesTheFormsFields) {
  using namespace std::string_literals;
  const struct {
    std::string body;
    Dictionary tunnel;
    const char* entries;
  } rows[] = {
      {"a=1&b=2", {{{"a", "1"}, {"b", "2"}}}, "\"a\",\"1\",\n\"b\",\"2\""},
      {"b=2&a=1", {{{"a", "1"}, {"b", "2"}}}, "\"b\",\"2\",\n\"a\",\"1\""},
      {"a=b=c", {{{"a", "b"}}}, "\"a\",\"b\""},
      {"a==c", {{{"a", ""}}}, "\"a\",\"\""},
      {"flag", {{{"flag", ""}}}, "\"flag\",\"\""},
      {"flag=", {{{"flag", ""}}}, "\"flag\",\"\""},
      {"=x", {{{"", "x"}}}, "\"\",\"x\""},
      {"=", {{{"", ""}}}, "\"\",\"\""},
      {"&", {{{"", ""}}}, "\"\",\"\",\n\"\",\"\""},
      {"a=1&&b=2", {{{"a", "1"}, {"", ""}, {"b", "2"}}}, "\"a\",\"1\",\n\"\",\"\",\n\"b\",\"2\""},
      {"a=1&", {{{"a", "1"}, {"", ""}}}, "\"a\",\"1\",\n\"\",\"\""},
      {"=x&", {{{"", ""}}}, "\"\",\"x\",\n\"\",\"\""},
      {"a=1&a=2", {{{"a", "2"}}}, "\"a\",\"1\",\n\"a\",\"2\""},
      {"name=Ann+Lee%2B%21", {{{"name", "Ann Lee+!"}}}, "\"name\",\"Ann Lee+!\""},
      {"a+b%3d=c%26d", {{{"a b=", "c&d"}}}, "\"a b=\",\"c&d\""},
      {"%2b=%252B", {{{"+", "%2B"}}}, "\"+\",\"%2B\""},
      {"q=%22hi%22", {{{"q", "\"hi\""}}}, "\"q\",\"\"\"hi\"\"\""},
      {"q=caf%C3%A9", {{{"q", "caf\u00E9"}}}, "\"q\",\"caf\u00E9\""},
      {"q=caf\xC3\xA9", {{{"q", "caf\u00E9"}}}, "\"q\",\"caf\u00E9\""},
      {"q=1%0D%0A2;3", {{{"q", "1\r\n2;3"}}}, "\"q\",\"1\r\n2;3\""},
      {"a=1\0&b=2"s, {{{"a", "1"}}}, "\"a\",\"1\""},
      {"a=1\0\xFF"s, {{{"a", "1"}}}, "\"a\",\"1\""},
      {"\0a=1"s, {{{"", ""}}}, "\"\",\"\""},
      {"a=1&b=\xFF", Dictionary(std::in_place), ""},
      {"\xC3", Dictionary(std::in_place), ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.body));
    setBody(row.body);
    beginTunnelMode();
    AddPostData();
    EXPECT_EQ(postParameters, row.tunnel);
    EXPECT_EQ(postDataCode, kNoForm);
    setBody(row.body);
    beginAppleEventMode();
    AddPostData();
    EXPECT_EQ(postDataCode, std::string("initializeDictionary(\n") + row.entries + "\n)\n");
    EXPECT_EQ(environmentVariables, Array(std::in_place));
    EXPECT_EQ(cgiResult, kAbsent);
  }
}

TEST_F(RequestCaptureTest, ShowsFieldsThatCannotBeDecodedAsNullInAppleEvents) {
  const struct {
    const char* body;
    const char* entries;
  } rows[] = {
      {"a=%zz", "\"a\",(null)"},
      {"a=%C3", "\"a\",(null)"},
      {"a=%", "\"a\",(null)"},
      {"%zz=b", "(null),\"b\""},
      {"%zz=%zz&c=d", "(null),(null),\n\"c\",\"d\""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.body);
    setBody(row.body);
    beginAppleEventMode();
    AddPostData();
    EXPECT_EQ(postDataCode, std::string("initializeDictionary(\n") + row.entries + "\n)\n");
  }
}

TEST_F(RequestCaptureDeathTest, EndsWithoutOutputForFieldsThatCannotBeDecodedInTheTunnel) {
  beginTunnelMode();
  for (const char* body : {"a=%zz", "a=%C3", "a=%", "%zz=b", "good=1&a=%4&more=2"}) {
    SCOPED_TRACE(body);
    setBody(body);
    EXPECT_EQ(outputOfDying([] { AddPostData(); }), "");
  }
}

TEST_F(RequestCaptureTest, ReadsAsManyBytesAsContentLengthSays) {
  const std::string input = "a=1&b=2&c=3&d=4";
  const struct {
    const char* contentLength;
    int64_t read;
    Dictionary fields;
  } rows[] = {
      {"", 0, Dictionary(std::in_place)},
      {"0", 0, Dictionary(std::in_place)},
      {"-5", 0, Dictionary(std::in_place)},
      {"abc", 0, Dictionary(std::in_place)},
      {"\xFF"
       "3",
       0, Dictionary(std::in_place)},
      {"-99999999999999999999", 0, Dictionary(std::in_place)},
      {"1", 1, {{{"a", ""}}}},
      {"3", 3, {{{"a", "1"}}}},
      {"+3", 3, {{{"a", "1"}}}},
      {"3.9", 3, {{{"a", "1"}}}},
      {" 7abc", 7, {{{"a", "1"}, {"b", "2"}}}},
      {"15", 15, {{{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}}}},
      {"1000", 15, {{{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.contentLength));
    beginTunnelMode();
    setInput(input);
    setVariable("CONTENT_LENGTH", row.contentLength);
    postDataCode = kAbsent;
    AddPostData();
    EXPECT_EQ(bytesRead(), row.read);
    EXPECT_EQ(postParameters, row.fields);
    EXPECT_EQ(postDataCode, kNoForm);
    EXPECT_EQ(cgiResult, kAbsent);
  }
}

TEST_F(RequestCaptureTest, WithoutABodyLeavesTheEmptyLiteralInBothModes) {
  setInput("a=1");
  for (const auto begin : {beginTunnelMode, beginAppleEventMode}) {
    begin();
    postDataCode = "old";
    AddPostData();
    EXPECT_EQ(postDataCode, kNoForm);
    EXPECT_EQ(bytesRead(), 0);
  }
  EXPECT_EQ(environmentVariables, Array(std::in_place));
}

TEST_F(RequestCaptureTest, TakesAnInputThatNeverCameForOneEmptyField) {
  setVariable("CONTENT_LENGTH", "10");
  beginTunnelMode();
  AddPostData();
  EXPECT_EQ(postParameters, (Dictionary{{{"", ""}}}));
  beginAppleEventMode();
  AddPostData();
  EXPECT_EQ(postDataCode, "initializeDictionary(\n\"\",\"\"\n)\n");
}

TEST_F(RequestCaptureTest, WaitsForABodyThatComesInParts) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  dup2(ends[0], STDIN_FILENO);
  close(ends[0]);
  const pid_t writer = fork();
  if (writer == 0) {
    for (const char byte : std::string("a=1&b=2")) {
      usleep(5000);
      if (write(ends[1], &byte, 1) != 1)
        _exit(1);
    }
    _exit(0);
  }
  close(ends[1]);
  setVariable("CONTENT_LENGTH", "7");
  beginTunnelMode();
  AddPostData();
  EXPECT_EQ(waitpid(writer, nullptr, 0), writer);
  EXPECT_EQ(postParameters, (Dictionary{{{"a", "1"}, {"b", "2"}}}));
}

TEST_F(RequestCaptureTest, LetsAFieldReplaceAVariableOfTheSameKey) {
  beginTunnelMode();
  setVariable("QUERY_STRING", "id=7");
  AddEnvironmentVariable("QUERY_STRING");
  setBody("ApacheTunnel_QUERY_STRING=mine&query=1");
  AddPostData();
  EXPECT_EQ(postParameters, (Dictionary{{{"ApacheTunnel_QUERY_STRING", "mine"}, {"query", "1"}}}));
}

TEST_F(RequestCaptureTest, LetsAFieldReplaceThePathAndTheNameOfTheBridge) {
  beginTunnelMode();
  CaptureRequest("/cgi-bin/Gateway.cgi", "Gateway.cgi");
  EXPECT_EQ(postParameters->find("ApacheTunnel_CLIPATH"), "/cgi-bin/Gateway.cgi");
  EXPECT_EQ(postParameters->find("ApacheTunnel_CLICOMMAND"), "Gateway.cgi");
  EXPECT_EQ(postParameters->size(), 20u);
  setBody("ApacheTunnel_CLIPATH=mine&ApacheTunnel_CLICOMMAND=mine.cgi");
  CaptureRequest("/cgi-bin/Gateway.cgi", "Gateway.cgi");
  EXPECT_EQ(postParameters->find("ApacheTunnel_CLIPATH"), "mine");
  EXPECT_EQ(postParameters->find("ApacheTunnel_CLICOMMAND"), "mine.cgi");
  EXPECT_EQ(postParameters->size(), 20u);
}

TEST_F(RequestCaptureTest, LeavesTheVariablesOfAppleEventsAsTheyAre) {
  beginAppleEventMode();
  environmentVariables->push_back("\"QUERY_STRING\",\"id=7\"");
  setBody("a=1");
  AddPostData();
  EXPECT_EQ(environmentVariables, (Array{{"\"QUERY_STRING\",\"id=7\""}}));
}

TEST_F(RequestCaptureTest, ReadsNothingWithoutABuffer) {
  for (const auto begin : {beginTunnelMode, beginAppleEventMode}) {
    begin();
    setInput("a=1");
    setVariable("CONTENT_LENGTH", "9223372036854775807");
    cgiResult = "old";
    AddPostData();
    EXPECT_EQ(cgiResult, "Quintora CGI Error: Out of memory (form data).");
    EXPECT_EQ(postDataCode, kNoForm);
    EXPECT_EQ(bytesRead(), 0);
  }
  EXPECT_EQ(environmentVariables, Array(std::in_place));
  beginTunnelMode();
  AddPostData();
  EXPECT_EQ(postParameters, Dictionary(std::in_place));
}

TEST_F(RequestCaptureTest, KeepsWhatStoodInTheResult) {
  beginTunnelMode();
  cgiResult = "old";
  setBody("a=1");
  AddPostData();
  EXPECT_EQ(cgiResult, "old");
}

}  // namespace

}  // namespace quintora
