#include "bridge/SendAppleEvent.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "bridge/FinishResponse.h"
#include "bridge/RequestState.h"
#include "bridge/ServerScript.h"
#include "tests/support/ScriptedAppleEvents.h"

namespace quintora {

ScriptedAppleEvents scripted;

// The reply's buffer, and after a late failure the descriptors, are kept until the process ends, so
// no tool has to report them.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:SendAppleEvent\n"; }

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

class SendAppleEventTest : public ::testing::Test {
 protected:
  void SetUp() override {
    scripted = {};
    cgiResult = "Quintora CGI Error: Out of memory (form data).";
  }

  // The calls whose names begin so.
  static std::vector<std::string> callsOf(const std::string& name) {
    std::vector<std::string> result;
    for (const std::string& call : scripted.calls) {
      if (call.compare(0, name.size() + 1, name + "(") == 0)
        result.push_back(call);
    }
    return result;
  }

  // The bytes that the server gets for a statement.
  static std::string sent(const String& statement) {
    SendAppleEvent(statement);
    const std::string call = callsOf("AEPutParamPtr").at(0);
    const size_t quote = call.find('"');
    return call.substr(quote + 1, call.rfind('"') - quote - 1);
  }
};

TEST_F(SendAppleEventTest, MakesTheSevenCallsInOrderWithTheirArguments) {
  scripted.answer("the answer");
  SendAppleEvent("statement\n");
  EXPECT_THAT(
      scripted.calls,
      ElementsAre("AECreateDesc(sign, QUIZ, 4, null)",
                  "AECreateAppleEvent(quiZ, xRUN, target, -1, 0, null)",
                  "AEPutParamPtr(event, ----, TEXT, \"statement\n\")",
                  "AESendMessage(whole event, null, 3, -1)", "AESizeOfParam(reply, ----, size 0)",
                  "AEGetParamPtr(reply, ----, TEXT, 10)", "AEDisposeDesc(target)",
                  "AEDisposeDesc(whole event)", "AEDisposeDesc(reply)"));
  EXPECT_EQ(cgiResult, "the answer");
}

struct Failure {
  const char* call;
  OSStatus status;
  const char* result;
  std::vector<std::string> disposed;
};

TEST_F(SendAppleEventTest, EachFailureLeavesItsMessageAndReleasesWhatItMay) {
  const std::vector<std::string> none;
  const std::vector<std::string> target = {"AEDisposeDesc(target)"};
  const std::vector<std::string> targetAndEvent = {"AEDisposeDesc(target)", "AEDisposeDesc(event)"};
  // After a failed sending the reply is still the null descriptor, and is disposed of all the same.
  const std::vector<std::string> all = {"AEDisposeDesc(target)", "AEDisposeDesc(whole event)",
                                        "AEDisposeDesc(null)"};
  const Failure rows[] = {
      {"AECreateDesc", -50, "Quintora CGI error -50 returned by AECreateDesc()", none},
      {"AECreateDesc", 7, "Quintora CGI error 7 returned by AECreateDesc()", none},
      {"AECreateAppleEvent", -1704, "Quintora CGI error -1704 returned by AECreateAppleEvent()",
       target},
      {"AEPutParamPtr", -108, "Quintora CGI error -108 returned by AEPutParamPtr()",
       targetAndEvent},
      {"AESendMessage", -609, "Quintora CGI error: Quintora Server is not running.", all},
      {"AESendMessage", -600, "Quintora CGI error -600 returned by AESendMessage()", all},
      {"AESendMessage", -1712, "Quintora CGI error -1712 returned by AESendMessage()", all},
      {"AESendMessage", -1743, "Quintora CGI error -1743 returned by AESendMessage()", all},
      {"AEGetParamPtr", -1701, "Quintora CGI error -1701 returned by AEGetParamPtr()", none},
  };
  for (const Failure& row : rows) {
    SCOPED_TRACE(std::string(row.call) + " returns " + std::to_string(row.status));
    SetUp();
    scripted.answer("the answer");
    scripted.statuses[row.call] = row.status;
    SendAppleEvent("statement\n");
    EXPECT_EQ(cgiResult, row.result);
    EXPECT_THAT(callsOf("AEDisposeDesc"), ElementsAreArray(row.disposed));
    // Nothing is asked any more after the failing call, and nothing twice.
    std::string last;
    for (const std::string& call : scripted.calls) {
      if (call.compare(0, 13, "AEDisposeDesc") != 0)
        last = call;
    }
    EXPECT_EQ(last.substr(0, last.find('(')), row.call);
    EXPECT_LE(callsOf("AESendMessage").size(), 1u);
  }
}

TEST_F(SendAppleEventTest, AStatusWiderThan16BitsIsTestedAndPrintedNarrowed) {
  scripted.answer("the answer");
  struct {
    OSStatus status;
    const char* result;
  } const rows[] = {
      {0x10000, "the answer"},
      {-609 + 0x10000, "Quintora CGI error: Quintora Server is not running."},
      {-609 - 0x10000, "Quintora CGI error: Quintora Server is not running."},
      {0x18000, "Quintora CGI error -32768 returned by AESendMessage()"},
      {40000, "Quintora CGI error -25536 returned by AESendMessage()"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.status);
    scripted.statuses["AESendMessage"] = row.status;
    SendAppleEvent("statement\n");
    EXPECT_EQ(cgiResult, row.result);
  }
}

TEST_F(SendAppleEventTest, AFailingSizeIsReportedByTheNextCallOnly) {
  scripted.statuses["AESizeOfParam"] = -1701;
  scripted.statuses["AEGetParamPtr"] = -1701;
  SendAppleEvent("statement\n");
  EXPECT_EQ(cgiResult, "Quintora CGI error -1701 returned by AEGetParamPtr()");
  EXPECT_EQ(scripted.maximumSize, 0) << "the size must be 0 when the call does not set it";
}

TEST_F(SendAppleEventTest, AFailingSizeAloneIsNotLookedAt) {
  scripted.statuses["AESizeOfParam"] = -1701;
  SendAppleEvent("statement\n");
  EXPECT_EQ(cgiResult, "");
  EXPECT_EQ(callsOf("AEDisposeDesc").size(), 3u);
}

TEST_F(SendAppleEventTest, AnAbsurdSizeIsPrintedByItsLow32BitsAndReleasesNothing) {
  struct {
    Size size;
    const char* result;
  } const rows[] = {
      {INT64_MAX, "Quintora CGI error: Out of memory (reply needed -1 bytes"},
      {INT64_MAX - 99, "Quintora CGI error: Out of memory (reply needed -100 bytes"},
      {(Size{1} << 62) + 5, "Quintora CGI error: Out of memory (reply needed 5 bytes"},
      {INT64_MIN, "Quintora CGI error: Out of memory (reply needed 0 bytes"},
      {-101, "Quintora CGI error: Out of memory (reply needed -101 bytes"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.size);
    SetUp();
    scripted.reportedSize = row.size;
    SendAppleEvent("statement\n");
    EXPECT_EQ(cgiResult, row.result);
    EXPECT_TRUE(callsOf("AEDisposeDesc").empty());
    EXPECT_TRUE(callsOf("AEGetParamPtr").empty());
  }
}

struct Reply {
  const char* name;
  std::string bytes;
  String result;
};

TEST_F(SendAppleEventTest, TheReplyIsReadAsUTF8UpToItsFirstZeroByte) {
  const Reply rows[] = {
      {"plain", "Hello", "Hello"},
      {"empty", "", ""},
      {"beyond ASCII", "caf\xC3\xA9 \xF0\x9F\x98\x80", "caf\u00E9 \U0001F600"},
      {"a header of its own", "Content-type: text/html\r\n\r\n<p>",
       "Content-type: text/html\r\n\r\n<p>"},
      {"a NUL inside", std::string("before\0after", 12), "before"},
      {"a NUL first", std::string("\0after", 6), ""},
      {"invalid behind a NUL", std::string("before\0\xFF", 8), "before"},
      {"not UTF-8", "caf\xE9", std::nullopt},
      {"cut within a sequence", "caf\xC3", std::nullopt},
  };
  for (const Reply& row : rows) {
    SCOPED_TRACE(row.name);
    scripted.answer(row.bytes);
    SendAppleEvent("statement\n");
    EXPECT_EQ(cgiResult, row.result);
    EXPECT_EQ(scripted.buffer[row.bytes.size()], '\0');
  }
}

TEST_F(SendAppleEventTest, AReplyThatIsNotUTF8IsPrintedAsNull) {
  scripted.answer("\xFF");
  SendAppleEvent("statement\n");
  EXPECT_EQ(FinishResponse(cgiResult).whole(), "Content-type: text/plain\r\n\r\n(null)\r\n");
}

TEST_F(SendAppleEventTest, AByteOrderMarkBeforeTheReplyIsNoPartOfIt) {
  scripted.answer(
      "\xEF\xBB\xBF"
      "Content-type: text/html\r\n\r\npage\r\n");
  SendAppleEvent("statement\n");
  EXPECT_EQ(FinishResponse(cgiResult).whole(), "Content-type: text/html\r\n\r\npage\r\n");
}

TEST_F(SendAppleEventTest, ATextLongerThanItsToldSizeIsReadAsFarAsItWasCopied) {
  scripted.reply = std::string(100000, 'x');
  for (const Size told : {0L, 1L, 10L, 99999L}) {
    SCOPED_TRACE(told);
    scripted.reportedSize = told;
    SendAppleEvent("statement\n");
    EXPECT_EQ(cgiResult, std::string(static_cast<size_t>(told), 'x'));
    EXPECT_EQ(scripted.buffer[told], '\0') << "the zero must stay inside the buffer";
  }
}

TEST_F(SendAppleEventTest, ATextShorterThanItsToldSizeEndsWhereItEnds) {
  scripted.reply = "short";
  scripted.reportedSize = 1000;
  SendAppleEvent("statement\n");
  EXPECT_EQ(cgiResult, "short");
}

TEST_F(SendAppleEventTest, NegativeSizesThatFitTheMarginCopyNothing) {
  scripted.reply = "text";
  for (const Size told : {-1L, -99L, -100L}) {
    SCOPED_TRACE(told);
    scripted.reportedSize = told;
    SendAppleEvent("statement\n");
    EXPECT_EQ(cgiResult, "");
  }
}

struct Cut {
  const char* name;
  std::string statement;
  std::string parameter;
};

TEST_F(SendAppleEventTest, TheParameterHasAsManyBytesAsTheStatementHasUnits) {
  const Cut rows[] = {
      {"ASCII is whole", "call(\"a\"),\"\")\n", "call(\"a\"),\"\")\n"},
      {"one character of two bytes costs the line feed", "\u00E9)\n", "\xC3\xA9)"},
      {"two cost the parenthesis, too", "\u00E9\u00E9)\n", "\xC3\xA9\xC3\xA9"},
      {"three", "\u00E9\u00E9\u00E9))\n", "\xC3\xA9\xC3\xA9\xC3\xA9"},
      {"the first of two bytes", "a\u0080\n", "a\xC2\x80"},
      {"the last of two bytes", "a\u07FF\n", "a\xDF\xBF"},
      {"one of three bytes costs two", "\u20AC))\n", "\xE2\x82\xAC)"},
      {"the first of three bytes", "\u0800))\n", "\xE0\xA0\x80)"},
      {"the last of three bytes", "\uFFFF))\n", "\xEF\xBF\xBF)"},
      {"one of four bytes costs two", "\U0001F600))\n", "\xF0\x9F\x98\x80)"},
      {"two of four bytes", "\U0001F600\U0001F600))))\n", "\xF0\x9F\x98\x80\xF0\x9F\x98\x80)"},
      {"three of four bytes", "\U0001F600\U0001F600\U0001F600))))))\n",
       "\xF0\x9F\x98\x80\xF0\x9F\x98\x80\xF0\x9F\x98\x80)"},
      {"two of three bytes", "\u20AC\u20AC))))\n", "\xE2\x82\xAC\xE2\x82\xAC)"},
      {"three of three bytes", "\u20AC\u20AC\u20AC))))))\n",
       "\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC)"},
      {"three of different lengths", "\u00E9\u20AC\U0001F600)))))\n",
       "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80)"},
      {"a cut within a sequence", "a\u20AC", "a\xE2"},
      {"nothing", "", ""},
  };
  for (const Cut& row : rows) {
    SCOPED_TRACE(row.name);
    SetUp();
    scripted.answer("the answer");
    EXPECT_EQ(sent(row.statement), row.parameter);
  }
}

TEST_F(SendAppleEventTest, AWholeStatementLosesItsTailAndNothingElse) {
  const Array variables = std::vector<String>{dictionaryEntry("HTTP_COOKIE", "\u00FC=\u20AC")};
  const String statement = serverScriptStatement(variables, "\"\"");
  const std::string whole = *statement;
  scripted.answer("the answer");
  EXPECT_EQ(sent(statement), whole.substr(0, whole.size() - 3));
}

}  // namespace

}  // namespace quintora
