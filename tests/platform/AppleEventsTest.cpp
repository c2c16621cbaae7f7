// The Apple events that the product brings along where there is no Apple Event Manager, against a
// peer that does what the test tells it.
#include "platform/AppleEvents.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <set>
#include <thread>

#include "platform/Process.h"

namespace quintora {

namespace {

constexpr OSType kSignature = 0x5155495A;  // 'QUIZ'

std::string number(uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

uint32_t numberAt(const std::string& bytes, size_t at) {
  uint32_t value = 0;
  for (const char byte : bytes.substr(at, 4))
    value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

std::string sized(const std::string& content) {
  return number(static_cast<uint32_t>(content.size())) + content;
}

// The reply to an event as it was received, with these parameters.
std::string replyTo(const std::string& event, const std::string& parameters) {
  return sized("aevtansr" + event.substr(12, 8) + parameters);
}

std::string textParameter(const std::string& text) { return "----TEXT" + sized(text); }

class AppleEventsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    prepareProcess();  // a peer that goes away is an error value then
    char folder[] = "/tmp/apple-events-test-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    folder_ = folder;
    ASSERT_EQ(mkdir((folder_ + "/apple-events").c_str(), 0755), 0);
    setenv("XDG_RUNTIME_DIR", folder, 1);
  }

  void TearDown() override {
    endPeer();
    AEDisposeDesc(&event_);
    AEDisposeDesc(&reply_);
    rmdir((folder_ + "/apple-events").c_str());
    rmdir(folder_.c_str());
  }

  // Makes room for another peer.
  void endPeer() {
    if (peer_.joinable())
      peer_.join();
    if (listener_ >= 0)
      close(listener_);
    listener_ = -1;
    unlink(path().c_str());
    received_.clear();
  }

  std::string path() const { return folder_ + "/apple-events/QUIZ"; }

  void listenForEvents() {
    listener_ = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path().c_str());
    ASSERT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener_, 1), 0);
  }

  // A peer that takes one event and sends what `answer` makes of it, and then, if it is to hold
  // the line, waits for us to go.
  void startPeer(std::function<std::string(const std::string& event)> answer, bool holds = false) {
    listenForEvents();
    peer_ = std::thread([this, answer, holds] {
      const int connection = accept(listener_, nullptr, nullptr);
      char buffer[4096];
      ssize_t count;
      while (received_.size() < 4 || received_.size() < 4 + numberAt(received_, 0)) {
        count = read(connection, buffer, sizeof buffer);
        if (count <= 0)
          break;
        received_.append(buffer, static_cast<size_t>(count));
      }
      const std::string bytes = answer(received_);
      EXPECT_EQ(send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                static_cast<ssize_t>(bytes.size()));
      while (holds && read(connection, buffer, sizeof buffer) > 0) {
      }
      close(connection);
    });
  }

  void startPeerThatSends(const std::string& bytes) {
    startPeer([bytes](const std::string&) { return bytes; });
  }

  // Makes the event whose direct parameter is the text, and sends it.
  OSStatus sendText(const std::string& text, long timeOut = kAEDefaultTimeout) {
    AEDisposeDesc(&event_);
    AEDesc target = {typeNull, nullptr};
    EXPECT_EQ(AECreateDesc(typeApplSignature, &kSignature, sizeof kSignature, &target), noErr);
    EXPECT_EQ(AECreateAppleEvent(0x7175695A, 0x7852554E, &target, kAutoGenerateReturnID,
                                 kAnyTransactionID, &event_),
              noErr);
    AEDisposeDesc(&target);
    EXPECT_EQ(AEPutParamPtr(&event_, keyDirectObject, typeChar, text.data(),
                            static_cast<Size>(text.size())),
              noErr);
    return AESendMessage(&event_, &reply_, kAEWaitReply, timeOut);
  }

  // The text of the reply's direct parameter, at most `most` bytes of it.
  std::string replyText(Size most = 1 << 20) {
    std::string text(1 << 20, '\0');
    DescType type = 0;
    Size size = 0;
    EXPECT_EQ(AEGetParamPtr(&reply_, keyDirectObject, typeChar, &type, &text[0], most, &size),
              noErr);
    EXPECT_EQ(type, typeChar);
    text.resize(static_cast<size_t>(std::min(size, most)));
    return text;
  }

  AppleEvent event_ = {typeNull, nullptr};
  AppleEvent reply_ = {typeNull, nullptr};
  std::string received_;
  std::string folder_;
  int listener_ = -1;
  std::thread peer_;
};

TEST_F(AppleEventsTest, AnEventHasTheDocumentedLayout) {
  startPeer([](const std::string& event) { return replyTo(event, textParameter("page")); });
  ASSERT_EQ(sendText("state\nment"), noErr);
  peer_.join();
  const std::string content =
      "quiZxRUN" + received_.substr(12, 4) + number(0) + "----TEXT" + sized("state\nment");
  EXPECT_EQ(received_, sized(content));
  EXPECT_EQ(replyText(), "page");
}

// The system numbers events itself if it is asked to, and never by the number that asks for it.
TEST_F(AppleEventsTest, EachEventHasAReturnIDOfItsOwn) {
  std::vector<uint32_t> ids;
  for (size_t event = 0; event < 3; ++event) {
    startPeer([&ids](const std::string& bytes) {
      ids.push_back(numberAt(bytes, 12));
      return replyTo(bytes, textParameter("page"));
    });
    EXPECT_EQ(sendText("x"), noErr);
    AEDisposeDesc(&reply_);
    endPeer();
  }
  EXPECT_THAT(ids, testing::Each(testing::AllOf(testing::Ge(1u), testing::Le(32767u))));
  EXPECT_THAT(std::set<uint32_t>(ids.begin(), ids.end()), testing::SizeIs(3));
}

TEST_F(AppleEventsTest, LargeTextsPassBothWays) {
  const std::string large(700000, 'x');
  startPeer([&](const std::string& event) {
    EXPECT_EQ(event.size(), 4 + 16 + 12 + large.size());
    return replyTo(event, textParameter(large));
  });
  ASSERT_EQ(sendText(large), noErr);
  EXPECT_EQ(replyText(), large);
}

TEST_F(AppleEventsTest, AnEmptyTextIsAText) {
  startPeer([](const std::string& event) { return replyTo(event, textParameter("")); });
  ASSERT_EQ(sendText(""), noErr);
  peer_.join();
  EXPECT_EQ(received_.substr(20), textParameter(""));
  EXPECT_EQ(replyText(), "");
}

TEST_F(AppleEventsTest, WithoutASocketTheConnectionIsInvalid) {
  EXPECT_EQ(sendText("x"), -609);
  EXPECT_EQ(reply_.descriptorType, typeNull);
}

TEST_F(AppleEventsTest, WithoutAListenerTheConnectionIsInvalid) {
  listenForEvents();
  close(listener_);
  listener_ = -1;
  EXPECT_EQ(sendText("x"), -609);
}

TEST_F(AppleEventsTest, APathLongerThanASocketMayHaveIsNoSocket) {
  setenv("XDG_RUNTIME_DIR", ("/tmp/" + std::string(200, 'x')).c_str(), 1);
  EXPECT_EQ(sendText("x"), -609);
}

TEST_F(AppleEventsTest, WithoutTheVariableTheSystemsFolderIsUsed) {
  if (access("/run/apple-events/QUIZ", F_OK) == 0)
    GTEST_SKIP() << "somebody on this machine takes events there";
  listenForEvents();  // in our own folder, where nobody may ask now
  unsetenv("XDG_RUNTIME_DIR");
  EXPECT_EQ(sendText("x", 12), -609);
  setenv("XDG_RUNTIME_DIR", "", 1);
  EXPECT_EQ(sendText("x", 12), -609);
}

TEST_F(AppleEventsTest, ASilentPeerTimesOut) {
  startPeer([](const std::string&) { return ""; }, true);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(sendText("x", 12), -1712);  // 12 sixtieths of a second
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(200));
  EXPECT_LT(waited, std::chrono::seconds(5));
}

TEST_F(AppleEventsTest, WithoutATimeOutAReplyIsWaitedFor) {
  startPeer([](const std::string& event) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    return replyTo(event, textParameter("page"));
  });
  ASSERT_EQ(sendText("x", kNoTimeOut), noErr);
  EXPECT_EQ(replyText(), "page");
}

TEST_F(AppleEventsTest, ATimeOutIsOfTheWholeExchangeAndNotOfEachByte) {
  listenForEvents();
  peer_ = std::thread([this] {
    const int connection = accept(listener_, nullptr, nullptr);
    const std::string reply = sized("aevtansr" + std::string(10000, 'x'));
    for (const char byte : reply) {
      if (send(connection, &byte, 1, MSG_NOSIGNAL) != 1)
        break;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    close(connection);
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(sendText("x", 12), -1712);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(AppleEventsTest, WithoutTimeLeftNothingIsWaitedFor) {
  listenForEvents();
  for (const long timeOut : {0L, -60L})
    EXPECT_EQ(sendText("x", timeOut), -1712);
}

TEST_F(AppleEventsTest, APeerThatGoesAwayWhileItIsSentToIsAnInvalidConnection) {
  listenForEvents();
  peer_ = std::thread([this] { close(accept(listener_, nullptr, nullptr)); });
  EXPECT_EQ(sendText(std::string(10 << 20, 'x')), -609);
}

TEST_F(AppleEventsTest, ASocketThatThisUserMayNotUseIsNotPermitted) {
  listenForEvents();
  ASSERT_EQ(chmod(path().c_str(), 0), 0);
  const uid_t user = geteuid();
  const uid_t nobody = 65534;
  if (user == 0) {  // whom nothing is forbidden
    ASSERT_EQ(chmod(folder_.c_str(), 0755), 0);
    ASSERT_EQ(seteuid(nobody), 0);
  }
  EXPECT_EQ(sendText("x"), -1743);
  ASSERT_EQ(seteuid(user), 0);
}

TEST_F(AppleEventsTest, APeerThatTakesNoConnectionsTimesOut) {
  listenForEvents();
  // Fill the queue; what does not fit any more refuses at once, without waiting.
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, path().c_str());
  std::vector<int> waiting;
  do {
    waiting.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0));
  } while (connect(waiting.back(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
  EXPECT_EQ(sendText("x", 12), -1712);
  for (const int descriptor : waiting)
    close(descriptor);
}

TEST_F(AppleEventsTest, APeerThatGoesAwayWithoutAReplyIsAnInvalidConnection) {
  startPeerThatSends("");
  EXPECT_EQ(sendText("x"), -609);
}

TEST_F(AppleEventsTest, AReplyCutOffAnywhereIsCorrupt) {
  const size_t length = replyTo(std::string(20, 'x'), textParameter("page")).size();
  for (size_t cut = 1; cut < length; ++cut) {
    SCOPED_TRACE(cut);
    startPeer([cut](const std::string& event) {
      return replyTo(event, textParameter("page")).substr(0, cut);
    });
    EXPECT_EQ(sendText("x"), -1702);
    endPeer();
  }
}

struct BadReply {
  const char* name;
  std::string bytes;
  OSStatus status;
};

TEST_F(AppleEventsTest, AnAbsurdReplyIsAnErrorStatus) {
  const std::string head = "aevtansr" + number(1) + number(0);
  const BadReply rows[] = {
      {"no size at all", number(0), -1702},
      {"shorter than a head", sized("aevtansr" + number(1)), -1702},
      {"2^30 claimed and not sent", number(1u << 30) + head, -1702},
      {"rest too short for a parameter", sized(head + "----TEXT"), -1702},
      {"a parameter larger than the message", sized(head + "----TEXT" + number(5) + "page"), -1702},
      {"a parameter of the largest size", sized(head + "----TEXT" + number(0xFFFFFFFF)), -1702},
      {"bytes behind the last parameter", sized(head + textParameter("page") + "x"), -1702},
  };
  for (const BadReply& row : rows) {
    SCOPED_TRACE(row.name);
    startPeerThatSends(row.bytes);
    EXPECT_EQ(sendText("x"), row.status);
    EXPECT_EQ(reply_.descriptorType, typeNull) << "the reply must stay as it was";
    endPeer();
  }
}

// Such a peer need not even end the connection, or send anything at all, to be refused at once.
TEST_F(AppleEventsTest, AClaimOfMoreThan2To30BytesIsRefusedAndASmallerOneWaitedFor) {
  const struct {
    uint32_t size;
    OSStatus status;
  } rows[] = {{1u << 30, -1712}, {(1u << 30) + 1, -1702}, {0xFFFFFFFF, -1702}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.size);
    startPeer([&](const std::string&) { return number(row.size); }, true);
    EXPECT_EQ(sendText("x", 12), row.status);
    endPeer();
  }
}

TEST_F(AppleEventsTest, AMessageThatIsNotTheReplyToThisEventIsRefused) {
  const std::function<std::string(const std::string&)> answers[] = {
      [](const std::string& event) { return sized("quiZansr" + event.substr(12, 8)); },
      [](const std::string& event) { return sized("aevtxRUN" + event.substr(12, 8)); },
      [](const std::string& event) {
        return sized("aevtansr" + number(numberAt(event, 12) + 1) + event.substr(16, 4));
      },
      [](const std::string& event) {  // the same return ID in its lower 16 bits
        return sized("aevtansr" + number(numberAt(event, 12) + 0x10000) + event.substr(16, 4));
      },
      [](const std::string& event) {  // another transaction
        return sized("aevtansr" + event.substr(12, 4) + number(99));
      },
  };
  for (const auto& answer : answers) {
    startPeer(answer);
    EXPECT_EQ(sendText("x"), -1709);
    endPeer();
  }
}

TEST_F(AppleEventsTest, AnErrorReplyHasNoDirectParameter) {
  startPeer([](const std::string& event) {
    return replyTo(event, "errnlong" + sized(number(0xFFFFF954)) + "errsTEXT" + sized("no"));
  });
  ASSERT_EQ(sendText("x"), noErr);
  DescType type = 0;
  Size size = 0;
  char buffer[100];
  EXPECT_EQ(AESizeOfParam(&reply_, keyDirectObject, &type, &size), -1701);
  EXPECT_EQ(size, 0);
  EXPECT_EQ(AEGetParamPtr(&reply_, keyDirectObject, typeChar, &type, buffer, 100, &size), -1701);
  EXPECT_EQ(AESizeOfParam(&reply_, 0x65727273, &type, &size), noErr);  // 'errs'
  EXPECT_EQ(size, 2);
}

TEST_F(AppleEventsTest, AParameterIsCopiedUpToTheMaximumAndItsWholeSizeTold) {
  startPeer([](const std::string& event) { return replyTo(event, textParameter("a page")); });
  ASSERT_EQ(sendText("x"), noErr);
  DescType type = 0;
  Size size = 0;
  EXPECT_EQ(AESizeOfParam(&reply_, keyDirectObject, &type, &size), noErr);
  EXPECT_EQ(type, typeChar);
  EXPECT_EQ(size, 6);
  char buffer[8] = "-------";
  EXPECT_EQ(AEGetParamPtr(&reply_, keyDirectObject, typeWildCard, &type, buffer, 3, &size), noErr);
  EXPECT_STREQ(buffer, "a p----");
  EXPECT_EQ(size, 6);
}

// UTF-16 in the byte order of this machine.
std::string bytesOf(const std::u16string& text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof text[0]};
}

TEST_F(AppleEventsTest, UnicodeTextIsConvertedToText) {
  const struct {
    const char* type;
    std::string bytes, text;
  } rows[] = {
      {"utf8", "caf\xC3\xA9", "caf\xC3\xA9"},
      {"utf8", "not UTF-8: \xFF", "not UTF-8: \xFF"},  // the same bytes, whatever they are
      {"utf8", "", ""},
      {"utxt", bytesOf(u"caf\u00E9 \u20AC \U0001F600"),
       "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
      {"utxt", bytesOf({u'a', u'\0', u'b'}), std::string("a\0b", 3)},
      {"utxt", "", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    startPeer([&row](const std::string& event) {
      return replyTo(event, "----" + std::string(row.type) + sized(row.bytes));
    });
    ASSERT_EQ(sendText("x"), noErr);
    DescType type = 0;
    Size size = 0;
    EXPECT_EQ(AESizeOfParam(&reply_, keyDirectObject, &type, &size), noErr);
    EXPECT_EQ(number(type), row.type);
    EXPECT_EQ(size, static_cast<Size>(row.bytes.size()));
    std::string text(100, '-');
    EXPECT_EQ(AEGetParamPtr(&reply_, keyDirectObject, typeChar, &type, &text[0], 100, &size),
              noErr);
    EXPECT_EQ(type, typeChar);
    EXPECT_EQ(size, static_cast<Size>(row.text.size()));
    EXPECT_EQ(text, row.text + std::string(100 - row.text.size(), '-'));
    EXPECT_EQ(AEGetParamPtr(&reply_, keyDirectObject, typeWildCard, &type, &text[0], 100, &size),
              noErr);
    EXPECT_EQ(number(type), row.type);
    EXPECT_EQ(text.substr(0, static_cast<size_t>(size)), row.bytes);
    AEDisposeDesc(&reply_);
    endPeer();
  }
}

TEST_F(AppleEventsTest, ConvertedTextIsCopiedUpToTheMaximumAndItsWholeSizeTold) {
  startPeer([](const std::string& event) {
    return replyTo(event, "----utxt" + sized(bytesOf(u"\u20AC\u20AC")));
  });
  ASSERT_EQ(sendText("x"), noErr);
  DescType type = 0;
  Size size = 0;
  char buffer[8] = "-------";
  EXPECT_EQ(AEGetParamPtr(&reply_, keyDirectObject, typeChar, &type, buffer, 4, &size), noErr);
  EXPECT_STREQ(buffer, "\xE2\x82\xAC\xE2---");
  EXPECT_EQ(size, 6);
}

TEST_F(AppleEventsTest, WhatIsNoTextIsNotConverted) {
  const std::string parameters[] = {
      "----long" + sized(number(7)), "----utxt" + sized("odd"),
      "----utxt" + sized(bytesOf({0xD83D})),          // half of a pair
      "----utxt" + sized(bytesOf({0xDE00, 0xD83D})),  // the wrong way round
  };
  for (const std::string& parameter : parameters) {
    SCOPED_TRACE(parameter);
    startPeer([&](const std::string& event) { return replyTo(event, parameter); });
    ASSERT_EQ(sendText("x"), noErr);
    DescType type = 0;
    Size size = 0;
    char buffer[8];
    EXPECT_EQ(AEGetParamPtr(&reply_, keyDirectObject, typeChar, &type, buffer, 8, &size), -1700);
    AEDisposeDesc(&reply_);
    endPeer();
  }
}

TEST_F(AppleEventsTest, TextIsConvertedToNoOtherType) {
  startPeer([](const std::string& event) { return replyTo(event, textParameter("text")); });
  ASSERT_EQ(sendText("x"), noErr);
  DescType type = 0;
  Size size = 0;
  char buffer[8];
  EXPECT_EQ(AEGetParamPtr(&reply_, keyDirectObject, 0x75746638, &type, buffer, 8, &size), -1700);
}

TEST_F(AppleEventsTest, ALaterParameterReplacesAnEarlierOneOfTheSameKeyword) {
  startPeer([](const std::string& event) { return replyTo(event, ""); });
  AEDesc target = {typeNull, nullptr};
  AECreateDesc(typeApplSignature, &kSignature, sizeof kSignature, &target);
  ASSERT_EQ(AECreateAppleEvent(0x7175695A, 0x7852554E, &target, 7, 9, &event_), noErr);
  AEDisposeDesc(&target);
  EXPECT_EQ(AEPutParamPtr(&event_, keyDirectObject, typeChar, "first", 5), noErr);
  EXPECT_EQ(AEPutParamPtr(&event_, keyDirectObject, typeChar, "second", 6), noErr);
  EXPECT_EQ(AESendMessage(&event_, &reply_, kAEWaitReply, kAEDefaultTimeout), noErr);
  peer_.join();
  EXPECT_EQ(received_, sized("quiZxRUN" + number(7) + number(9) + textParameter("second")));
}

TEST_F(AppleEventsTest, WrongArgumentsAreErrorStatuses) {
  AEDesc plain = {typeNull, nullptr};
  const AEDesc null = {typeNull, nullptr};
  EXPECT_EQ(AECreateDesc(typeChar, nullptr, 4, &plain), -50);
  EXPECT_EQ(AECreateDesc(typeChar, "x", -1, &plain), -50);
  EXPECT_EQ(AECreateDesc(typeChar, "x", 1, nullptr), -50);
  EXPECT_EQ(AECreateDesc(typeChar, nullptr, 0, nullptr), -50);
  EXPECT_EQ(plain.descriptorType, typeNull) << "the result must stay as it was";
  EXPECT_EQ(AECreateDesc(typeChar, nullptr, 0, &plain), noErr);
  EXPECT_EQ(plain.descriptorType, typeChar);
  EXPECT_EQ(AECreateAppleEvent(1, 2, &plain, 3, 4, &event_), -1704);
  EXPECT_EQ(AEDisposeDesc(&plain), noErr);
  EXPECT_EQ(AECreateAppleEvent(1, 2, &null, 3, 4, &event_), -1704);
  EXPECT_EQ(AECreateAppleEvent(1, 2, nullptr, 3, 4, &event_), -50);
  EXPECT_EQ(AECreateDesc(typeApplSignature, "abc", 3, &plain), noErr);
  EXPECT_EQ(AECreateAppleEvent(1, 2, &plain, 3, 4, &event_), -1704);
  EXPECT_EQ(AEPutParamPtr(&plain, keyDirectObject, typeChar, "x", 1), -1704);
  EXPECT_EQ(AEPutParamPtr(nullptr, keyDirectObject, typeChar, "x", 1), -1704);
  EXPECT_EQ(AESendMessage(&plain, &reply_, kAEWaitReply, 60), -1704);
  DescType type = 0;
  Size size = 0;
  char byte = '?';
  EXPECT_EQ(AESizeOfParam(&plain, keyDirectObject, &type, &size), -1704);
  EXPECT_EQ(AEGetParamPtr(&plain, keyDirectObject, typeChar, &type, &byte, 1, &size), -1704);
  EXPECT_EQ(AEDisposeDesc(&plain), noErr);
  EXPECT_EQ(plain.descriptorType, typeNull);
  EXPECT_EQ(plain.dataHandle, nullptr);
  EXPECT_EQ(AEDisposeDesc(&plain), noErr);
  EXPECT_EQ(AEDisposeDesc(nullptr), -50);
}

TEST_F(AppleEventsTest, WhatCannotBePutIntoAnEventLeavesItAsItWas) {
  startPeer([](const std::string& event) { return replyTo(event, ""); });
  AEDesc target = {typeNull, nullptr};
  AECreateDesc(typeApplSignature, &kSignature, sizeof kSignature, &target);
  EXPECT_EQ(AECreateAppleEvent(0x7175695A, 0x7852554E, &target, 7, 9, nullptr), -50);
  ASSERT_EQ(AECreateAppleEvent(0x7175695A, 0x7852554E, &target, 7, 9, &event_), noErr);
  AEDisposeDesc(&target);
  EXPECT_EQ(AEPutParamPtr(&event_, keyDirectObject, typeChar, "text", 4), noErr);
  EXPECT_EQ(AEPutParamPtr(&event_, keyDirectObject, typeChar, "x", -1), -50);
  EXPECT_EQ(AEPutParamPtr(&event_, keyDirectObject, typeChar, nullptr, 1), -50);
  EXPECT_EQ(AEPutParamPtr(&event_, keyDirectObject, typeChar, "x", Size{1} << 30), -50);
  EXPECT_EQ(AESendMessage(&event_, nullptr, kAEWaitReply, kAEDefaultTimeout), -50);
  EXPECT_EQ(AESendMessage(&event_, &reply_, kAEWaitReply, kAEDefaultTimeout), noErr);
  peer_.join();
  EXPECT_EQ(received_, sized("quiZxRUN" + number(7) + number(9) + textParameter("text")));
}

// Only macOS returns it; administrators find it by this number.
TEST(AppleEventStatus, OfAMissingLibraryIsTheSystems) { EXPECT_EQ(cfragNoLibraryErr, -2804); }

TEST_F(AppleEventsTest, OnlyWaitingForTheReplyIsKnown) {
  sendText("x");
  EXPECT_EQ(AESendMessage(&event_, &reply_, 1, kAEDefaultTimeout), -1710);
}

}  // namespace

}  // namespace quintora
