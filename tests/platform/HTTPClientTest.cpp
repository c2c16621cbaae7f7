// The HTTP client against servers that behave in every way that a server can.
#include "platform/HTTPClient.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <future>
#include <memory>

#include "platform/Process.h"
#include "tests/support/ScriptedServer.h"

namespace quintora {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::HasSubstr;

constexpr size_t kMegabyte = 1024 * 1024;
constexpr int kSmallBuffer = 128 * 1024;  // a receive buffer that does not grow
constexpr milliseconds kLongTime = 5s;    // longer than anything here takes that must not time out

const std::string kReply =
    "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: 5\r\n\r\nhello";

// A body that lies in memory, handed over in pieces of at most so many bytes.
class TextBody final : public HTTPBody {
 public:
  explicit TextBody(std::string_view bytes, size_t pieceSize = SIZE_MAX)
      : bytes_(bytes), left_(bytes), pieceSize_(pieceSize) {}
  uint64_t size() const override { return bytes_.size(); }
  size_t read(char* to, size_t room) override {
    EXPECT_GE(room, 16u) << "as the interface promises";
    const size_t count = left_.copy(to, std::min(room, pieceSize_));
    left_.remove_prefix(count);
    return count;
  }

 private:
  const std::string_view bytes_;
  std::string_view left_;
  const size_t pieceSize_;
};

// A request with all of its body. It can be sent again and again.
struct Post {
  int64_t port;
  Data body;
  milliseconds timeout = kLongTime;
  std::string method = "POST";
  std::string path = "/apache-tunnel/";
  std::vector<std::pair<std::string, std::string>> headers = {
      {"Content-Length", std::to_string(body.size())},
      {"Content-Type", "application/x-www-form-urlencoded charset=utf-8"}};
  size_t pieceSize = SIZE_MAX;
};

Post postTo(int64_t port, Data body, milliseconds timeout = kLongTime) {
  return {port, std::move(body), timeout};
}

HTTPRequest requestOf(const Post& post, HTTPBody& body) {
  return {post.method, "server.test", post.port, post.path, post.headers, body, post.timeout};
}

HTTPResponse send(const Post& post) {
  TextBody body(post.body, post.pieceSize);
  return sendSynchronousRequest(requestOf(post, body));
}

String failureOfConnecting(const Post& post) {
  TextBody body(post.body);
  return connectionFailure(requestOf(post, body));
}

// One connection serves one request, so the head says that it ends with it.
std::string bytesOf(const Post& post) {
  std::string bytes = post.method + " " + post.path +
                      " HTTP/1.1\r\nHost: server.test:" + std::to_string(post.port) + "\r\n";
  for (const auto& [name, value] : post.headers)
    bytes += name + ": " + value + "\r\n";
  return bytes + "Connection: close\r\n\r\n" + post.body;
}

std::string replyOf(const Data& body) {
  return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// Bytes without a pattern that a piece lost, repeated or moved would leave as it is.
Data largeBody(size_t size) {
  Data body(size, '\0');
  uint32_t state = 1;
  for (char& byte : body) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return body;
}

// A script that receives the whole request and then goes on with the rest.
ScriptedServer::Script afterRequest(size_t size, ScriptedServer::Script rest) {
  return [=](Connection& connection) {
    connection.receiveUntil(size);
    rest(connection);
  };
}

// The size of a request with this body to any port that a system hands out.
size_t requestSize(const Data& body) { return bytesOf(postTo(54321, body)).size(); }

std::string textOf(const String& string) { return string.value_or("(absent)"); }

MATCHER_P(IsSentenceNaming, place, "is a sentence that names " + testing::PrintToString(place)) {
  const std::string sentence = textOf(arg);
  *result_listener << "which is \"" << sentence << '"';
  const char first = sentence.front();
  const bool startsLikeOne = (first >= 'A' && first <= 'Z') || isdigit(first) || first == ':';
  return startsLikeOne && sentence.size() > 1 && sentence.back() == '.' &&
         isalnum(sentence[sentence.size() - 2]) && sentence.find('\n') == sentence.npos &&
         std::count(sentence.begin(), sentence.end(), ' ') >= 4 &&
         sentence.find(place) != sentence.npos;
}

auto namesPort(uint16_t port) { return IsSentenceNaming("127.0.0.1 port " + std::to_string(port)); }

void expectSuccess(const HTTPResponse& response, const Data& body) {
  ASSERT_TRUE(response.data.has_value()) << textOf(response.localizedDescription);
  EXPECT_TRUE(*response.data == body)
      << response.data->substr(0, 200) << " (" << response.data->size() << " bytes)";
  EXPECT_EQ(response.localizedDescription, std::nullopt);
}

void expectFailure(const HTTPResponse& response, uint16_t port) {
  EXPECT_EQ(response.data, std::nullopt);
  EXPECT_THAT(response.localizedDescription, namesPort(port));
}

milliseconds elapsedSince(steady_clock::time_point start) {
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
}

bool hasIPv6Loopback() { return BoundPort("::1").isBound(); }

// A port that is free on both loopback addresses.
uint16_t portOfBoth() {
  for (int attempt = 0; attempt < 100; ++attempt) {
    const BoundPort first("127.0.0.1");
    if (BoundPort("::1", first.port()).isBound())
      return first.port();
  }
  return 0;
}

class HTTPClient : public testing::Test {
 protected:
  // As in every run: a server that is gone is an error value and not a signal.
  void SetUp() override { prepareProcess(); }
};

using HTTPClientSlow = HTTPClient;

TEST_F(HTTPClient, SendsTheRequestLineHostTheHeadersInOrderAndTheBody) {
  const Data bodies[] = {"", "a=b&c=%2B", Data("\0\r\n\xFF\x80", 5), largeBody(300000)};
  for (const Data& body : bodies) {
    for (const char* const method : {"POST", "PUT"}) {
      ScriptedServer server(afterRequest(requestSize(body) - strlen("POST") + strlen(method),
                                         [](Connection& connection) {
                                           connection.send(kReply);
                                           connection.receiveUntilClosed();
                                         }));
      ASSERT_TRUE(server.isListening());
      Post post = postTo(server.port(), body);
      post.method = method;
      post.path = "/other/?q=1";
      post.headers.push_back({"X-Empty", ""});
      expectSuccess(send(post), "hello");
      EXPECT_THAT(server.received(), testing::ElementsAre(bytesOf(post)));
    }
  }
}

// The client makes 128 KiB of a body at once, and a body may give less than there is room for.
TEST_F(HTTPClient, SendsABodyWholeHoweverItComesInPieces) {
  constexpr size_t kPiece = 131072;
  const struct {
    size_t size, pieceSize;
  } rows[] = {
      {kPiece - 1, SIZE_MAX},
      {kPiece, SIZE_MAX},
      {kPiece + 1, SIZE_MAX},
      {kPiece + 15, SIZE_MAX},
      {kPiece + 16, SIZE_MAX},
      {kPiece + 17, SIZE_MAX},
      {2 * kPiece, SIZE_MAX},
      {2 * kPiece + 33, SIZE_MAX},
      {5 * kPiece + 7, SIZE_MAX},
      {5 * kPiece + 7, kPiece},
      {5 * kPiece + 7, 70001},
      {kPiece + 1, kPiece},
      {3000, 1},
      {17, 16},
      {1, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.size) + " bytes in pieces of " + std::to_string(row.pieceSize));
    const Data body = largeBody(row.size);
    ScriptedServer server(
        afterRequest(requestSize(body), [](Connection& connection) { connection.send(kReply); }));
    Post post = postTo(server.port(), body);
    post.pieceSize = row.pieceSize;
    expectSuccess(send(post), "hello");
    EXPECT_TRUE(server.received() == std::vector<std::string>{bytesOf(post)});
  }
}

TEST_F(HTTPClient, ReturnsTheStatusAndTheBodyAndTheCharsetWhateverTheStatus) {
  const struct {
    std::string status, contentType, body;
    String charset;
  } rows[] = {
      {"200 OK", "text/html; charset=utf-8", "hello", "utf-8"},
      {"200 OK", "text/html", "hello", std::nullopt},
      {"200 OK", "text/html; charset=utf-8", "", "utf-8"},
      {"404 Not Found", "text/plain; charset=\"koi8-r\"", "nothing", "koi8-r"},
      {"500 Internal Server Error", "text/plain; charset=us-ascii", "broken", "us-ascii"},
      {"302 Found\r\nLocation: http://127.0.0.1:1/", "text/plain", "elsewhere", std::nullopt},
      {"401 Unauthorized\r\nWWW-Authenticate: Basic realm=x", "text/plain", "who", std::nullopt},
      {"200 OK\r\nContent-Encoding: gzip", "text/plain", "\x1F\x8B", std::nullopt},
  };
  for (const auto& row : rows) {
    ScriptedServer server(afterRequest(requestSize("x"), [&](Connection& connection) {
      connection.send("HTTP/1.1 " + row.status + "\r\nContent-Type: " + row.contentType +
                      "\r\nContent-Length: " + std::to_string(row.body.size()) + "\r\n\r\n" +
                      row.body);
    }));
    const HTTPResponse response = send(postTo(server.port(), "x"));
    SCOPED_TRACE(row.status + ", " + row.contentType);
    expectSuccess(response, row.body);
    EXPECT_EQ(response.status, std::stoi(row.status));
    EXPECT_EQ(response.textEncodingName, row.charset);
    EXPECT_EQ(server.received().size(), 1u);
  }
}

TEST_F(HTTPClient, ReturnsAsSoonAsTheReplyIsCompleteThoughTheConnectionStaysOpen) {
  const struct {
    std::string reply;
    Data body;
  } rows[] = {
      {kReply, "hello"},
      {kReply + "surplus", "hello"},
      {replyOf(""), ""},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\n\r\n", "ok"},
      {"HTTP/1.1 204 No Content\r\n\r\n", ""},
      {"HTTP/1.1 304 Not Modified\r\nContent-Length: 5\r\n\r\n", ""},
      {"HTTP/1.1 100 Continue\r\n\r\n" + kReply, "hello"},
      {replyOf(largeBody(kMegabyte)), largeBody(kMegabyte)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reply.substr(0, 100));
    ScriptedServer server(afterRequest(requestSize("x"), [&](Connection& connection) {
      connection.send(row.reply);
      connection.receiveUntilClosed();
    }));
    const auto start = steady_clock::now();
    expectSuccess(send(postTo(server.port(), "x")), row.body);
    EXPECT_LT(elapsedSince(start), kLongTime);
  }
}

TEST_F(HTTPClient, TakesAReplyThatTheEndOfTheConnectionEnds) {
  ScriptedServer server(afterRequest(requestSize("x"), [](Connection& connection) {
    connection.send("HTTP/1.0 200 OK\r\n\r\nto the end");
  }));
  expectSuccess(send(postTo(server.port(), "x")), "to the end");
}

TEST_F(HTTPClientSlow, TakesAReplyThatComesBeforeItsBodyIsRead) {
  const Data body = largeBody(32 * kMegabyte);
  const Data large = largeBody(16 * kMegabyte);
  const struct {
    const char* what;
    Data reply;
    bool isBodyReadThen;
  } rows[] = {
      {"small, the body is never read", "hello", false},
      {"small, the body is read then", "hello", true},
      {"large, the body is never read", large, false},
      {"large, the body is read then", large, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::promise<void> hasReturned;
    const std::string reply = replyOf(row.reply);
    ScriptedServer server(
        [&](Connection& connection) {
          connection.send(reply);
          if (row.isBodyReadThen)
            connection.receiveUntilClosed();
          else
            hasReturned.get_future().wait_for(10s);
        },
        "127.0.0.1", 0, kSmallBuffer);
    expectSuccess(send(postTo(server.port(), body)), row.reply);
    hasReturned.set_value();
    EXPECT_EQ(server.received().size(), 1u);
  }
}

TEST_F(HTTPClient, TakesAReplyThatIsStreamedWhileItsBodyIsRead) {
  const Data body = largeBody(16 * kMegabyte);
  ScriptedServer server(
      [&](Connection& connection) {
        const size_t size = requestSize(body);
        connection.receiveUntil(size - body.size());
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
                        "\r\n\r\n");
        while (connection.received().size() < size) {
          const size_t before = connection.received().size();
          if (!connection.receive())
            return;
          connection.send(std::string_view(connection.received()).substr(before));
        }
      },
      "127.0.0.1", 0, kSmallBuffer);
  const Post post = postTo(server.port(), body);
  expectSuccess(send(post), body);
  EXPECT_TRUE(server.received() == std::vector<std::string>{bytesOf(post)});
}

// Closing with bytes unread resets the connection behind the reply. What of all this the client
// meets first is a matter of chance, so it is tried often, and with a reply in pieces, too.
TEST_F(HTTPClient, TakesAReplyThoughTheServerClosesWithoutReadingTheBody) {
  const Data body = largeBody(8 * kMegabyte);
  const struct {
    std::string reply, body;
    size_t pieceSize;
  } rows[] = {
      {kReply, "hello", 1000},
      {"HTTP/1.1 413 Too Large\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
       "hello", 1000},
      {replyOf(largeBody(300)), largeBody(300), 50},  // fewer pieces than a new connection holds
  };
  for (const auto& row : rows) {
    ScriptedServer server(
        [&](Connection& connection) {
          connection.receive(100);
          for (size_t start = 0; start < row.reply.size(); start += row.pieceSize)
            connection.send(row.reply.substr(start, row.pieceSize));
        },
        "127.0.0.1", 0, kSmallBuffer);
    const Post post = postTo(server.port(), body);
    for (int round = 0; round < 40; ++round)
      expectSuccess(send(post), row.body);
    EXPECT_EQ(server.received().size(), 40u);
  }
}

// Stops the thread that made it, by a signal whose handler waits, from any other thread.
class Holder {
 public:
  Holder() : held_(pthread_self()) {
    isReady_ = pipe(ends_) == 0;
    struct sigaction action = {};
    action.sa_handler = [](int) {
      char byte;
      while (read(ends_[0], &byte, 1) < 0 && errno == EINTR) {
      }
    };
    sigaction(SIGUSR1, &action, &before_);
  }
  ~Holder() {
    sigaction(SIGUSR1, &before_, nullptr);
    close(ends_[0]);
    close(ends_[1]);
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

  bool isReady() const { return isReady_; }
  void hold() const { pthread_kill(held_, SIGUSR1); }
  void release() const { EXPECT_EQ(write(ends_[1], "", 1), 1); }

 private:
  static inline int ends_[2];
  const pthread_t held_;
  bool isReady_ = false;
  struct sigaction before_ = {};
};

// Here the client has more than it takes at once before it, and behind that the reset.
HTTPResponse responseWithALateReset(const std::string& reply) {
  const Data body = largeBody(16 * kMegabyte);
  const size_t late = 100000;
  const Holder client;
  EXPECT_TRUE(client.isReady());
  ScriptedServer server(
      [&](Connection& connection) {
        connection.receive(100);
        connection.send(reply.substr(0, reply.size() - late));
        std::this_thread::sleep_for(50ms);
        client.hold();
        std::this_thread::sleep_for(20ms);
        connection.send(reply.substr(reply.size() - late));
        std::this_thread::sleep_for(50ms);
        connection.reset();
        client.release();
      },
      "127.0.0.1", 0, kSmallBuffer);
  return send(postTo(server.port(), body));
}

TEST_F(HTTPClient, TakesAllOfAReplyThatCameBeforeTheReset) {
  const Data page = largeBody(kMegabyte);
  expectSuccess(responseWithALateReset(replyOf(page)), page);
}

TEST_F(HTTPClient, FailsWhenAReplyToTheEndIsResetBeforeAllOfItIsTaken) {
  const HTTPResponse response =
      responseWithALateReset("HTTP/1.1 200 OK\r\n\r\n" + largeBody(kMegabyte));
  EXPECT_EQ(response.data, std::nullopt);
  EXPECT_THAT(textOf(response.localizedDescription), HasSubstr(strerror(ECONNRESET)));
}

TEST_F(HTTPClient, TakesAReplyToTheEndThoughTheServerDoesNotReadTheBody) {
  const Data body = largeBody(32 * kMegabyte);
  std::promise<void> hasReturned;
  ScriptedServer server([&](Connection& connection) {
    connection.send("HTTP/1.0 200 OK\r\n\r\nhello");
    connection.endSending();
    hasReturned.get_future().wait_for(10s);
  });
  expectSuccess(send(postTo(server.port(), body)), "hello");
  hasReturned.set_value();
}

// One byte less is never a shorter page.
TEST_F(HTTPClient, FailsWhenTheServerEndsTheConnectionAtAnyByteOfItsReply) {
  const std::string replies[] = {
      kReply,
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5;x\r\nhello\r\n0\r\nX: y\r\n\r\n",
      "HTTP/1.1 100 Continue\r\n\r\n" + kReply,
  };
  for (const bool isReset : {false, true}) {
    for (const std::string& reply : replies) {
      size_t size = 0;
      ScriptedServer server(afterRequest(requestSize("x"), [&](Connection& connection) {
        connection.send(reply.substr(0, size));
        if (isReset)
          connection.reset();
      }));
      for (size = 0; size < reply.size(); ++size) {
        SCOPED_TRACE((isReset ? "reset after " : "closed after ") +
                     testing::PrintToString(reply.substr(0, size)));
        expectFailure(send(postTo(server.port(), "x")), server.port());
      }
      EXPECT_EQ(server.received().size(), reply.size());
    }
  }
}

// The system tells a reset once, and with a large body often to the side that sends; the receiving
// side then sees what looks like an end in order.
TEST_F(HTTPClient, FailsWhenAReplyToTheEndIsResetWhileTheBodyIsSent) {
  for (int repetition = 0; repetition < 20; ++repetition) {
    ScriptedServer server([](Connection& connection) {
      connection.receiveUntil(1000);
      connection.send("HTTP/1.1 200 OK\r\nContent-Type: text/plain; charset=utf-8\r\n\r\npart");
      connection.reset();
    });
    expectFailure(send(postTo(server.port(), std::string(8 << 20, 'x'))), server.port());
  }
}

TEST_F(HTTPClient, FailsWhenTheConnectionIsResetWithinAReplyToTheEnd) {
  ScriptedServer server(afterRequest(requestSize("x"), [](Connection& connection) {
    connection.send("HTTP/1.1 200 OK\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nhel");
    connection.reset();
  }));
  for (int round = 0; round < 20; ++round)
    expectFailure(send(postTo(server.port(), "x")), server.port());
}

// What can go wrong after the connection stands. Nothing of it leads to a second attempt, neither
// here nor at the next address.
struct Misbehaviour {
  const char* what;
  ScriptedServer::Script script;
  size_t bodySize;
  milliseconds timeout;
  const char* word;  // of the description
};

std::vector<Misbehaviour> misbehaviours() {
  const auto size = [](size_t bodySize) { return requestSize(Data(bodySize, 'x')); };
  const auto stay = [](Connection& connection) { connection.receiveUntilClosed(); };
  return {
      {"closes at once", [](Connection&) {}, 10, kLongTime, ""},
      {"closes after the request", afterRequest(size(10), [](Connection&) {}), 10, kLongTime,
       "closed"},
      {"closes amid the request", [](Connection& c) { c.receive(); }, 8 * kMegabyte, kLongTime, ""},
      {"resets after the request", afterRequest(size(10), [](Connection& c) { c.reset(); }), 10,
       kLongTime, ""},
      {"resets amid the request",
       [](Connection& c) {
         c.receive();
         c.reset();
       },
       8 * kMegabyte, kLongTime, ""},
      {"closes amid the reply",
       afterRequest(size(10), [](Connection& c) { c.send(kReply.substr(0, kReply.size() - 1)); }),
       10, kLongTime, "closed"},
      {"speaks no HTTP", afterRequest(size(10), [](Connection& c) { c.send("220 hello\r\n"); }), 10,
       kLongTime, "HTTP"},
      {"sends a wrong length",
       afterRequest(size(10),
                    [](Connection& c) {
                      c.send(
                          "HTTP/1.1 200 OK\r\nContent-Length: -1\r\n"
                          "\r\n");
                    }),
       10, kLongTime, "HTTP"},
      {"is silent", stay, 10, 1s, "neither sent nor took a byte for 1 seconds"},
      {"stops amid the reply",
       afterRequest(size(10),
                    [=](Connection& c) {
                      c.send(kReply.substr(0, 30));
                      stay(c);
                    }),
       10, 1s, "neither sent nor took a byte for 1 seconds"},
  };
}

TEST_F(HTTPClient, NeverSendsTwiceNorElsewhereOnceConnected) {
  const bool hasOther = hasIPv6Loopback();
  for (const Misbehaviour& row : misbehaviours()) {
    SCOPED_TRACE(row.what);
    const uint16_t port = hasOther ? portOfBoth() : 0;
    ScriptedServer server(row.script, "127.0.0.1", port);
    ASSERT_TRUE(server.isListening());
    std::optional<ScriptedServer> other;
    if (hasOther) {
      other.emplace([](Connection& connection) { connection.send(kReply); }, "::1", port);
      ASSERT_TRUE(other->isListening());
    }
    const Post post = postTo(server.port(), Data(row.bodySize, 'x'), row.timeout);
    const HTTPResponse response = send(post);
    expectFailure(response, server.port());
    EXPECT_THAT(textOf(response.localizedDescription), HasSubstr(row.word));
    ASSERT_EQ(server.received().size(), 1u) << "connections";
    const std::string bytes = bytesOf(post);
    EXPECT_TRUE(bytes.compare(0, server.received()[0].size(), server.received()[0]) == 0)
        << "The server has got something else than the request, or more.";
    if (other) {
      EXPECT_EQ(other->received().size(), 0u) << "connections elsewhere";
    }
  }
}

TEST_F(HTTPClient, TriesIPv6WhenIPv4Refuses) {
  if (!hasIPv6Loopback())
    GTEST_SKIP() << "This machine has no IPv6 loopback.";
  const uint16_t port = portOfBoth();
  ScriptedServer server(afterRequest(requestSize("x"),
                                     [](Connection& connection) {
                                       connection.send(kReply);
                                       connection.receiveUntilClosed();
                                     }),
                        "::1", port);
  const BoundPort refusing("127.0.0.1", port);
  ASSERT_TRUE(server.isListening() && refusing.isBound());
  const Post post = postTo(port, "x");
  expectSuccess(send(post), "hello");
  // The host stays that of the request.
  EXPECT_THAT(server.received(), testing::ElementsAre(bytesOf(post)));
}

TEST_F(HTTPClient, PrefersIPv4) {
  if (!hasIPv6Loopback())
    GTEST_SKIP() << "This machine has no IPv6 loopback.";
  const uint16_t port = portOfBoth();
  const auto answer = [](const std::string& text) {
    return afterRequest(requestSize("x"), [=](Connection& c) { c.send(replyOf(text)); });
  };
  ScriptedServer v4(answer("v4"), "127.0.0.1", port);
  ScriptedServer v6(answer("v6"), "::1", port);
  ASSERT_TRUE(v4.isListening() && v6.isListening());
  expectSuccess(send(postTo(port, "x")), "v4");
  EXPECT_EQ(v4.received().size(), 1u);
  EXPECT_EQ(v6.received().size(), 0u);
}

TEST_F(HTTPClient, SaysWhichPortRefused) {
  const uint16_t port = hasIPv6Loopback() ? portOfBoth() : 0;
  const BoundPort refusing("127.0.0.1", port);
  const BoundPort refusingToo("::1", port);
  ASSERT_TRUE(refusing.isBound());
  const HTTPResponse response = send(postTo(refusing.port(), "x"));
  expectFailure(response, refusing.port());
  EXPECT_THAT(textOf(response.localizedDescription), HasSubstr("refused"));
}

TEST_F(HTTPClient, SaysThatItTalkedToIPv6) {
  if (!hasIPv6Loopback())
    GTEST_SKIP() << "This machine has no IPv6 loopback.";
  const uint16_t port = portOfBoth();
  const BoundPort refusing("127.0.0.1", port);
  ScriptedServer server(afterRequest(requestSize("x"), [](Connection&) {}), "::1", port);
  ASSERT_TRUE(server.isListening() && refusing.isBound());
  const HTTPResponse response = send(postTo(port, "x"));
  EXPECT_EQ(response.data, std::nullopt);
  EXPECT_EQ(response.localizedDescription,
            "::1 port " + std::to_string(port) + " closed the connection without a reply.");
}

// Lets this process open no further file or socket.
class NoMoreDescriptors {
 public:
  NoMoreDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const OwnedDescriptor next(dup(STDIN_FILENO));
    rlimit limit = before_;
    limit.rlim_cur = static_cast<rlim_t>(next.get());
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
  NoMoreDescriptors(const NoMoreDescriptors&) = delete;
  NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

 private:
  rlimit before_ = {};
};

TEST_F(HTTPClient, SaysThatNoSocketCanBeMade) {
  const NoMoreDescriptors limit;
  const HTTPResponse response = send(postTo(8080, "x"));
  EXPECT_EQ(response.data, std::nullopt);
  EXPECT_EQ(
      textOf(response.localizedDescription),
      std::string("Making a socket for 127.0.0.1 port 8080 failed: ") + strerror(EMFILE) + ".");
}

TEST_F(HTTPClient, AnAttemptToConnectSendsNothing) {
  ScriptedServer server([](Connection& connection) { connection.receiveUntilClosed(); });
  EXPECT_EQ(failureOfConnecting(postTo(server.port(), "x")), std::nullopt);
  EXPECT_THAT(server.received(), testing::ElementsAre(""));
  const uint16_t port = hasIPv6Loopback() ? portOfBoth() : 0;
  const BoundPort refusing("127.0.0.1", port);
  const BoundPort refusingToo("::1", port);
  EXPECT_THAT(failureOfConnecting(postTo(refusing.port(), "x")), namesPort(refusing.port()));
  EXPECT_THAT(failureOfConnecting(postTo(65536, "x")), IsSentenceNaming("65536"));
}

TEST_F(HTTPClient, SaysThatThereIsNoSuchPort) {
  // Among them those that another count of bits would take for an existing one.
  for (const int64_t port : {int64_t{0}, int64_t{65536}, int64_t{65616}, int64_t{4294967376},
                             int64_t{-1}, int64_t{-65456}, INT64_MAX, INT64_MIN}) {
    const HTTPResponse response = send(postTo(port, "x"));
    EXPECT_EQ(response.status, 0);
    EXPECT_EQ(response.data, std::nullopt) << port;
    EXPECT_EQ(response.localizedDescription,
              "Port " + std::to_string(port) + " does not exist: TCP ports go from 1 to 65535.");
  }
}

// What the system has passed on by the deadline must not start a second interval.
void expectToGiveUpAfterOneTimeout(size_t size) {
  SCOPED_TRACE(size);
  std::promise<void> hasReturned;
  const Data body(size, 'x');
  ScriptedServer server(
      afterRequest(requestSize(body), [&](Connection&) { hasReturned.get_future().wait(); }));
  const auto start = steady_clock::now();
  expectFailure(send(postTo(server.port(), body, 3s)), server.port());
  EXPECT_GE(elapsedSince(start), 3s);
  EXPECT_LT(elapsedSince(start), 5500ms);
  hasReturned.set_value();
}

// All of them wait at the same time.
TEST_F(HTTPClientSlow, GivesUpAfterOneTimeoutHoweverLargeTheRequest) {
  std::vector<std::future<void>> exchanges;
  for (const size_t size : {size_t{100}, size_t{40'000}, size_t{100'000}, size_t{1'000'000}})
    exchanges.push_back(std::async(std::launch::async, expectToGiveUpAfterOneTimeout, size));
}

TEST_F(HTTPClientSlow, GivesUpAfterTheTimeoutWithoutAByte) {
  const Data small = "x", large(32 * kMegabyte, 'x');
  const auto stay = [](Connection& c) { c.receiveUntilClosed(); };
  std::promise<void> hasReturned;
  const std::shared_future<void> isOver = hasReturned.get_future().share();
  const auto sleep = [=](Connection&) { isOver.wait_for(10s); };
  const struct {
    const char* what;
    ScriptedServer::Script script;
    const Data& body;
  } rows[] = {
      {"takes all and sends nothing", stay, small},
      {"takes little and sends nothing", sleep, large},
      {"sends an interim reply only",
       [=](Connection& c) {
         c.send("HTTP/1.1 100 Continue\r\n\r\n");
         sleep(c);
       },
       small},
      {"sends its reply but for one byte",
       [=](Connection& c) {
         c.send(kReply.substr(0, kReply.size() - 1));
         sleep(c);
       },
       large},
  };
  std::vector<std::unique_ptr<ScriptedServer>> servers;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    servers.push_back(
        std::make_unique<ScriptedServer>(row.script, "127.0.0.1", uint16_t{0}, kSmallBuffer));
    const uint16_t port = servers.back()->port();
    const auto start = steady_clock::now();
    expectFailure(send(postTo(port, row.body, 200ms)), port);
    EXPECT_GE(elapsedSince(start), 200ms);
    EXPECT_LT(elapsedSince(start), 5s);
  }
  hasReturned.set_value();
}

// A port whose queue of connections is full, which makes a further one wait.
class BusyPort {
 public:
  explicit BusyPort(const std::string& text, uint16_t port = 0) : bound_(text, port) {
    SocketAddress address = socketAddress(text, bound_.port());
    isListening_ = bound_.isBound() && listen(bound_.descriptor(), 0) == 0;
    while (isListening_ && !isFull_ && waiting_.size() < 20) {
      const int number = socket(address.storage.ss_family, SOCK_STREAM, 0);
      waiting_.push_back(std::make_unique<OwnedDescriptor>(number));
      fcntl(number, F_SETFL, O_NONBLOCK);
      connect(number, address.get(), address.size);
      pollfd watched = {number, POLLOUT, 0};
      isFull_ = poll(&watched, 1, 100) == 0;
    }
  }

  bool isFull() const { return isFull_; }
  uint16_t port() const { return bound_.port(); }

 private:
  const BoundPort bound_;
  std::vector<std::unique_ptr<OwnedDescriptor>> waiting_;
  bool isListening_ = false;
  bool isFull_ = false;
};

// Only a refusal leads to the next address.
TEST_F(HTTPClient, GivesUpAfterTheTimeoutWhenNobodyTakesTheConnection) {
  const uint16_t port = hasIPv6Loopback() ? portOfBoth() : 0;
  const BusyPort busy("127.0.0.1", port);
  ASSERT_TRUE(busy.isFull());
  ScriptedServer other([](Connection& connection) { connection.send(kReply); }, "::1", port);
  const auto start = steady_clock::now();
  expectFailure(send(postTo(busy.port(), "x", 200ms)), busy.port());
  EXPECT_GE(elapsedSince(start), 200ms);
  EXPECT_LT(elapsedSince(start), 5s);
  if (other.isListening()) {
    EXPECT_EQ(other.received().size(), 0u) << "connections elsewhere";
  }
}

// The first is what the administrator wants to know of.
TEST_F(HTTPClientSlow, SaysThatIPv4RefusedThoughIPv6FailsToo) {
  if (!hasIPv6Loopback())
    GTEST_SKIP() << "This machine has no IPv6 loopback.";
  const BusyPort busy("::1", portOfBoth());
  const BoundPort refusing("127.0.0.1", busy.port());
  ASSERT_TRUE(busy.isFull() && refusing.isBound());
  const HTTPResponse response = send(postTo(busy.port(), "x", 200ms));
  EXPECT_EQ(response.data, std::nullopt);
  EXPECT_EQ(response.localizedDescription,
            "127.0.0.1 port " + std::to_string(busy.port()) + " refused the connection.");
}

TEST_F(HTTPClientSlow, WaitsLongerThanTheTimeoutWhileBytesCome) {
  ScriptedServer server(afterRequest(requestSize("x"), [](Connection& connection) {
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 12\r\n\r\n");
    for (const char byte : std::string("hello, world")) {
      std::this_thread::sleep_for(200ms);
      connection.send({&byte, 1});
    }
  }));
  const auto start = steady_clock::now();
  expectSuccess(send(postTo(server.port(), "x", 2s)), "hello, world");
  EXPECT_GE(elapsedSince(start), 2s);
}

// Takes the request in pieces, with a pause before each, and answers then.
ScriptedServer::Script takingSlowly(size_t size, size_t pieceSize) {
  return [=](Connection& connection) {
    size_t wanted = 0;
    while (connection.received().size() == wanted && wanted < size) {
      std::this_thread::sleep_for(100ms);
      wanted = std::min(size, wanted + pieceSize);
      connection.receiveUntil(wanted);
    }
    connection.send(kReply);
  };
}

void expectToWaitForASlowTaker(size_t bodySize, size_t pieceSize) {
  const Data body = largeBody(bodySize);
  ScriptedServer server(takingSlowly(requestSize(body), pieceSize), "127.0.0.1", 0, kSmallBuffer);
  const auto start = steady_clock::now();
  expectSuccess(send(postTo(server.port(), body, 2s)), "hello");
  EXPECT_GE(elapsedSince(start), 2s);
}

TEST_F(HTTPClientSlow, WaitsLongerThanTheTimeoutWhileBytesAreTaken) {
  expectToWaitForASlowTaker(24 * kMegabyte, kMegabyte);
}

// The system may take all of the body at once, and still the server takes it piece by piece.
TEST_F(HTTPClientSlow, WaitsLongerThanTheTimeoutWhileBytesThatTheSystemHoldsAreTaken) {
  expectToWaitForASlowTaker(kMegabyte + kMegabyte / 2, kMegabyte / 16);
}

// Interrupts every call that waits, again and again.
class FrequentSignal {
 public:
  FrequentSignal() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGALRM, &action, &before_);
    const itimerval often = {{0, 3000}, {0, 3000}};
    setitimer(ITIMER_REAL, &often, nullptr);
  }
  ~FrequentSignal() {
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before_, nullptr);
  }
  FrequentSignal(const FrequentSignal&) = delete;
  FrequentSignal& operator=(const FrequentSignal&) = delete;

 private:
  struct sigaction before_ = {};
};

TEST_F(HTTPClient, IsNotDisturbedBySignals) {
  const Data body = largeBody(2 * kMegabyte);
  ScriptedServer server(afterRequest(requestSize(body), [](Connection& connection) {
    std::this_thread::sleep_for(100ms);
    connection.send(kReply.substr(0, 40));
    std::this_thread::sleep_for(100ms);
    connection.send(kReply.substr(40));
  }));
  const FrequentSignal signal;
  expectSuccess(send(postTo(server.port(), body)), "hello");
}

TEST_F(HTTPClient, IsNotKeptBySignalsBeyondTheTimeout) {
  ScriptedServer server([](Connection& connection) { connection.receiveUntilClosed(); });
  const FrequentSignal signal;
  const auto start = steady_clock::now();
  expectFailure(send(postTo(server.port(), "x", 200ms)), server.port());
  EXPECT_GE(elapsedSince(start), 200ms);
  EXPECT_LT(elapsedSince(start), 5s);
}

}  // namespace

}  // namespace quintora
