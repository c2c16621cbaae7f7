// What the doctor advises for each way in which an exchange can fail, those included that take a
// minute or a fault of the system's.
#include "doctor/Advice.h"

#include <gmock/gmock.h>

#include "platform/Messages.h"

namespace quintora {

namespace {

using testing::EndsWith;
using testing::StartsWith;

constexpr const char* kPeer = "127.0.0.1 port 8080";

ConnectionChoice choiceOfPort(int64_t port) {
  ConnectionChoice choice;
  choice.port = port;
  return choice;
}

TEST(Advice, IsThatOfTheSentence) {
  const std::string listener = findingListener(8080);
  const struct {
    std::string sentence, start, end;
  } rows[] = {
      {kRefused(kPeer), "Start the server.", ".conf."},
      {kIdle(kPeer, 60), "Find out what keeps the server busy,", "on its screen."},
      {kClosedWithoutReply(kPeer), "See the server's log. If this is its HTTPS port,", listener},
      {kExchangeFailed(kPeer, "Connection reset by peer"),
       "See the server's log. If this is its HTTPS port,", listener},
      {kClosedTooSoon(kPeer), "See the server's log, and compare its Content-Length", listener},
      {kInvalidReply(kPeer, kMalformedStatusLine), "Use the server's HTTP port.", listener},
      {kInvalidReply(kPeer, kInvalidChunkSize), "Correct the server's reply,", listener},
      {kSocketFailed(kPeer, "Too many open files"), "Find out why", "systemd."},
      {kConnectionFailed(kPeer, "Network is unreachable"), "Find out why", "systemd."},
      {kWaitingFailed(kPeer, "Cannot allocate memory"), "Find out why", "systemd."},
  };
  for (const auto& row : rows) {
    const std::string fix = fixOfFailure(row.sentence, choiceOfPort(8080));
    EXPECT_THAT(fix, StartsWith(row.start)) << row.sentence;
    EXPECT_THAT(fix, EndsWith(row.end)) << row.sentence;
  }
}

TEST(Advice, IsAboutThePortWhereThatIsNone) {
  for (const int64_t port : {int64_t{0}, int64_t{-1}, int64_t{65536}})
    EXPECT_THAT(fixOfFailure(kNoSuchPort(port), choiceOfPort(port)),
                StartsWith("Set QZQuintoraServerPort to the server's port, a number alone, in /"));
  for (const int64_t port : {int64_t{1}, int64_t{65535}})
    EXPECT_THAT(fixOfFailure(kRefused(kPeer), choiceOfPort(port)), StartsWith("Start the server."));
}

}  // namespace

}  // namespace quintora
