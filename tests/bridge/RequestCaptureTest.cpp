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
const String kNoForm = u"\"\"";

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
      {"id=7", u"id=7"},
      {"", u""},
      {"caf\xC3\xA9 \xF0\x9F\x98\x80", u"caf\u00E9 \U0001F600"},
      {"a%20b+c", u"a%20b+c"},
      {"\xE9", kAbsent},
      {"good\xC3", kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.value));
    setVariable("QUERY_STRING", row.value);
    EXPECT_EQ(getCGIVariable(u"QUERY_STRING"), row.expected);
  }
}

TEST_F(RequestCaptureTest, ReadsAnUnsetVariableAsEmpty) {
  EXPECT_EQ(getCGIVariable(u"QUERY_STRING"), u"");
  EXPECT_EQ(getCGIVariable(u"CONTENT_LENGTH"), u"");
  EXPECT_EQ(getCGIVariable(u"QUINTORA_TEST_UNSET"), u"");
}

TEST_F(RequestCaptureTest, ForwardsEighteenVariablesInTheirOrder) {
  beginAppleEventMode();
  Array expected(std::in_place);
  for (const std::string name : kForwardedVariables) {
    setVariable(name, "the " + name);
    const std::string entry = "\"" + name + "\",\"the " + name + "\"";
    expected->push_back(std::u16string(entry.begin(), entry.end()));
  }
  for (const char16_t* name : kCGIVariables)
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
    expected->insert_or_assign(std::u16string(key.begin(), key.end()),
                               std::u16string(value.begin(), value.end()));
  }
  for (const char16_t* name : kCGIVariables)
    AddEnvironmentVariable(name);
  EXPECT_EQ(postParameters, expected);
  EXPECT_EQ(postParameters->size(), 18u);
  EXPECT_EQ(environmentVariables, kAbsent);
}

TEST_F(RequestCaptureTest, ForwardsAnUnsetVariableAsEmpty) {
  beginTunnelMode();
  AddEnvironmentVariable(u"HTTP_REFERER");
  EXPECT_EQ(postParameters, (Dictionary{{{u"ApacheTunnel_HTTP_REFERER", u""}}}));
  beginAppleEventMode();
  AddEnvironmentVariable(u"HTTP_REFERER");
  EXPECT_EQ(environmentVariables, (Array{{u"\"HTTP_REFERER\",\"\""}}));
}

TEST_F(RequestCaptureTest, ForwardsAVariableThatIsNotUTF8AsNullInAppleEvents) {
  beginAppleEventMode();
  setVariable("HTTP_COOKIE", "theme=\xFF");
  AddEnvironmentVariable(u"HTTP_COOKIE");
  EXPECT_EQ(environmentVariables, (Array{{u"\"HTTP_COOKIE\",(null)"}}));
}

TEST_F(RequestCaptureDeathTest, EndsWithoutOutputForAVariableThatIsNotUTF8InTheTunnel) {
  beginTunnelMode();
  setVariable("HTTP_COOKIE", "theme=\xFF");
  EXPECT_EQ(outputOfDying([] { AddEnvironmentVariable(u"HTTP_COOKIE"); }), "");
}

TEST_F(RequestCaptureTest, SplitsAndDecodesTheFormsFields) {
  using namespace std::string_literals;
  const struct {
    std::string body;
    Dictionary tunnel;
    const char16_t* entries;
  } rows[] = {
      {"a=1&b=2", {{{u"a", u"1"}, {u"b", u"2"}}}, u"\"a\",\"1\",\n\"b\",\"2\""},
      {"b=2&a=1", {{{u"a", u"1"}, {u"b", u"2"}}}, u"\"b\",\"2\",\n\"a\",\"1\""},
      {"a=b=c", {{{u"a", u"b"}}}, u"\"a\",\"b\""},
      {"a==c", {{{u"a", u""}}}, u"\"a\",\"\""},
      {"flag", {{{u"flag", u""}}}, u"\"flag\",\"\""},
      {"flag=", {{{u"flag", u""}}}, u"\"flag\",\"\""},
      {"=x", {{{u"", u"x"}}}, u"\"\",\"x\""},
      {"=", {{{u"", u""}}}, u"\"\",\"\""},
      {"&", {{{u"", u""}}}, u"\"\",\"\",\n\"\",\"\""},
      {"a=1&&b=2",
       {{{u"a", u"1"}, {u"", u""}, {u"b", u"2"}}},
       u"\"a\",\"1\",\n\"\",\"\",\n\"b\",\"2\""},
      {"a=1&", {{{u"a", u"1"}, {u"", u""}}}, u"\"a\",\"1\",\n\"\",\"\""},
      {"=x&", {{{u"", u""}}}, u"\"\",\"x\",\n\"\",\"\""},
      {"a=1&a=2", {{{u"a", u"2"}}}, u"\"a\",\"1\",\n\"a\",\"2\""},
      {"name=Ann+Lee%2B%21", {{{u"name", u"Ann Lee+!"}}}, u"\"name\",\"Ann Lee+!\""},
      {"a+b%3d=c%26d", {{{u"a b=", u"c&d"}}}, u"\"a b=\",\"c&d\""},
      {"%2b=%252B", {{{u"+", u"%2B"}}}, u"\"+\",\"%2B\""},
      {"q=%22hi%22", {{{u"q", u"\"hi\""}}}, u"\"q\",\"\"\"hi\"\"\""},
      {"q=caf%C3%A9", {{{u"q", u"caf\u00E9"}}}, u"\"q\",\"caf\u00E9\""},
      {"q=caf\xC3\xA9", {{{u"q", u"caf\u00E9"}}}, u"\"q\",\"caf\u00E9\""},
      {"q=1%0D%0A2;3", {{{u"q", u"1\r\n2;3"}}}, u"\"q\",\"1\r\n2;3\""},
      {"a=1\0&b=2"s, {{{u"a", u"1"}}}, u"\"a\",\"1\""},
      {"a=1\0\xFF"s, {{{u"a", u"1"}}}, u"\"a\",\"1\""},
      {"\0a=1"s, {{{u"", u""}}}, u"\"\",\"\""},
      {"a=1&b=\xFF", Dictionary(std::in_place), u""},
      {"\xC3", Dictionary(std::in_place), u""},
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
    EXPECT_EQ(postDataCode, u"initializeDictionary(\n" + std::u16string(row.entries) + u"\n)\n");
    EXPECT_EQ(environmentVariables, Array(std::in_place));
    EXPECT_EQ(cgiResult, kAbsent);
  }
}

TEST_F(RequestCaptureTest, ShowsFieldsThatCannotBeDecodedAsNullInAppleEvents) {
  const struct {
    const char* body;
    const char16_t* entries;
  } rows[] = {
      {"a=%zz", u"\"a\",(null)"},
      {"a=%C3", u"\"a\",(null)"},
      {"a=%", u"\"a\",(null)"},
      {"%zz=b", u"(null),\"b\""},
      {"%zz=%zz&c=d", u"(null),(null),\n\"c\",\"d\""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.body);
    setBody(row.body);
    beginAppleEventMode();
    AddPostData();
    EXPECT_EQ(postDataCode, u"initializeDictionary(\n" + std::u16string(row.entries) + u"\n)\n");
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
      {"1", 1, {{{u"a", u""}}}},
      {"3", 3, {{{u"a", u"1"}}}},
      {"+3", 3, {{{u"a", u"1"}}}},
      {"3.9", 3, {{{u"a", u"1"}}}},
      {" 7abc", 7, {{{u"a", u"1"}, {u"b", u"2"}}}},
      {"15", 15, {{{u"a", u"1"}, {u"b", u"2"}, {u"c", u"3"}, {u"d", u"4"}}}},
      {"1000", 15, {{{u"a", u"1"}, {u"b", u"2"}, {u"c", u"3"}, {u"d", u"4"}}}},
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
    postDataCode = u"old";
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
  EXPECT_EQ(postParameters, (Dictionary{{{u"", u""}}}));
  beginAppleEventMode();
  AddPostData();
  EXPECT_EQ(postDataCode, u"initializeDictionary(\n\"\",\"\"\n)\n");
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
  EXPECT_EQ(postParameters, (Dictionary{{{u"a", u"1"}, {u"b", u"2"}}}));
}

TEST_F(RequestCaptureTest, LetsAFieldReplaceAVariableOfTheSameKey) {
  beginTunnelMode();
  setVariable("QUERY_STRING", "id=7");
  AddEnvironmentVariable(u"QUERY_STRING");
  setBody("ApacheTunnel_QUERY_STRING=mine&query=1");
  AddPostData();
  EXPECT_EQ(postParameters,
            (Dictionary{{{u"ApacheTunnel_QUERY_STRING", u"mine"}, {u"query", u"1"}}}));
}

TEST_F(RequestCaptureTest, LeavesTheVariablesOfAppleEventsAsTheyAre) {
  beginAppleEventMode();
  environmentVariables->push_back(u"\"QUERY_STRING\",\"id=7\"");
  setBody("a=1");
  AddPostData();
  EXPECT_EQ(environmentVariables, (Array{{u"\"QUERY_STRING\",\"id=7\""}}));
}

TEST_F(RequestCaptureTest, ReadsNothingWithoutABuffer) {
  for (const auto begin : {beginTunnelMode, beginAppleEventMode}) {
    begin();
    setInput("a=1");
    setVariable("CONTENT_LENGTH", "9223372036854775807");
    cgiResult = u"old";
    AddPostData();
    EXPECT_EQ(cgiResult, u"Quintora CGI Error: Out of memory (form data).");
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
  cgiResult = u"old";
  setBody("a=1");
  AddPostData();
  EXPECT_EQ(cgiResult, u"old");
}

}  // namespace

}  // namespace quintora
