// The reply parser, from tables. Each reply is fed whole, byte by byte, and in two parts at every
// position: where the network cuts it must make no difference.
#include "platform/http/HTTPReply.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace quintora {

namespace {

using namespace std::string_literals;
using State = HTTPReply::State;

constexpr size_t kMostHeadBytes = 256 * 1024;

// What becomes of a reply: complete by its own account, complete because the connection ended,
// still not complete then, or invalid.
enum class Outcome { complete, completeAtEnd, incomplete, invalid };

std::ostream& operator<<(std::ostream& out, Outcome outcome) {
  constexpr const char* kNames[] = {"complete", "complete at the end of the connection",
                                    "incomplete", "invalid"};
  return out << kNames[static_cast<int>(outcome)];
}

struct Reading {
  Outcome outcome;
  Data body;       // of a complete reply
  String charset;  // likewise
};

bool operator==(const Reading& a, const Reading& b) {
  return a.outcome == b.outcome && a.body == b.body && a.charset == b.charset;
}

std::ostream& operator<<(std::ostream& out, const Reading& reading) {
  return out << reading.outcome << ", body " << testing::PrintToString(reading.body.substr(0, 200))
             << ", charset " << testing::PrintToString(reading.charset);
}

Outcome outcomeOf(State beforeEnd, State atEnd) {
  if (atEnd == State::invalid)
    return Outcome::invalid;
  if (atEnd == State::incomplete)
    return Outcome::incomplete;
  return beforeEnd == State::complete ? Outcome::complete : Outcome::completeAtEnd;
}

// Feeds the pieces and then the end of the connection.
Reading read(const std::vector<std::string_view>& pieces) {
  HTTPReply reply;
  State state = State::incomplete;
  bool hasBytes = false;
  for (const std::string_view piece : pieces) {
    const State before = state;
    state = reply.parse(piece);
    hasBytes = hasBytes || !piece.empty();
    EXPECT_TRUE(before == State::incomplete || state == before) << "An outcome is final.";
    EXPECT_EQ(reply.hasBegun(), hasBytes);
  }
  const Outcome outcome = outcomeOf(state, reply.parseEnd());
  EXPECT_EQ(*reply.fault != '\0', outcome == Outcome::invalid)
      << "The fault is \"" << reply.fault << '"';
  if (outcome == Outcome::incomplete || outcome == Outcome::invalid)
    return {outcome, {}, {}};
  return {outcome, reply.body, reply.textEncodingName};
}

std::vector<std::string_view> bytesOf(std::string_view text) {
  std::vector<std::string_view> bytes;
  for (size_t position = 0; position < text.size(); ++position)
    bytes.push_back(text.substr(position, 1));
  return bytes;
}

// Every position, and of a large text a sample, with all those near its end.
bool isCutPosition(size_t position, size_t size) {
  return size < 2000 || position % (size / 50) == 0 || position + 10 > size;
}

void expectReading(const std::string& bytes, const Reading& expected) {
  SCOPED_TRACE("reply " + testing::PrintToString(bytes.substr(0, 400)));
  ASSERT_EQ(read({bytes}), expected) << "fed whole";
  ASSERT_EQ(read(bytesOf(bytes)), expected) << "fed byte by byte";
  const std::string_view view = bytes;
  for (size_t cut = 0; cut <= view.size(); ++cut) {
    if (isCutPosition(cut, view.size())) {
      ASSERT_EQ(read({view.substr(0, cut), view.substr(cut)}), expected) << "cut at " << cut;
    }
  }
}

struct Row {
  std::string bytes;
  Outcome outcome;
  Data body = {};
  String charset = {};
};

void expectRows(const std::vector<Row>& rows) {
  for (const Row& row : rows)
    expectReading(row.bytes, {row.outcome, row.body, row.charset});
}

// A 200 reply with these header lines, each with its line end, and what follows its head.
std::string reply(const std::string& headerLines, const std::string& rest) {
  return "HTTP/1.1 200 OK\r\n" + headerLines + "\r\n" + rest;
}

std::string chunked(const std::string& rest) {
  return reply("Transfer-Encoding: chunked\r\n", rest);
}

// Replies that say how long they are and hold nothing beyond it.
const std::vector<std::string> kSelfDelimitedReplies = {
    reply("Content-Length: 5\r\n", "hello"),
    reply("Content-Type: text/html; charset=utf-8\r\nContent-Length: 12\r\n", "hello, world"),
    reply("Content-Length: 0\r\n", ""),
    reply("Content-Length: 5, 5\r\nContent-Length: 5\r\n", "hello"),
    chunked("5\r\nhello\r\n0\r\n\r\n"),
    chunked("5;a=b\r\nhello\r\n10\r\n0123456789abcdef\r\n0;c\r\nX-After: 1\r\n folded\r\n\r\n"),
    "HTTP/1.1 100 Continue\r\nX: y\r\n\r\n" + reply("Content-Length: 2\r\n", "ok"),
    "HTTP/1.1 204 No Content\r\nX: y\r\n\r\n",
    "HTTP/1.1 304 Not Modified\r\nContent-Length: 5\r\n\r\n",
};

TEST(HTTPReply, IsCompleteWithItsLastByteAndNotBefore) {
  for (const std::string& whole : kSelfDelimitedReplies) {
    EXPECT_EQ(read({whole}).outcome, Outcome::complete) << testing::PrintToString(whole);
    for (size_t size = 0; size < whole.size(); ++size) {
      const std::string prefix = whole.substr(0, size);
      EXPECT_EQ(read({prefix}).outcome, Outcome::incomplete) << testing::PrintToString(prefix);
      EXPECT_EQ(read(bytesOf(prefix)).outcome, Outcome::incomplete)
          << "byte by byte " << testing::PrintToString(prefix);
    }
  }
}

TEST(HTTPReply, IgnoresWhatFollowsItsEnd) {
  for (const std::string& whole : kSelfDelimitedReplies) {
    const Reading alone = read({whole});
    for (const std::string& surplus : {"x"s, "\0\r\n"s, reply("Content-Length: 3\r\n", "two")})
      expectReading(whole + surplus, alone);
  }
}

TEST(HTTPReply, HasNotBegunWithoutAByte) {
  HTTPReply parser;
  EXPECT_FALSE(parser.hasBegun());
  EXPECT_EQ(parser.parse(""), State::incomplete);
  EXPECT_FALSE(parser.hasBegun());
  EXPECT_EQ(parser.parseEnd(), State::incomplete);
}

// Only a small part of a body is copied while it grows, if its length is declared.
TEST(HTTPReply, GetsNoMoreRoomThanItHasUseFor) {
  const std::string piece(65536, 'x');
  constexpr size_t kSize = 100'000'000;
  HTTPReply exact;
  exact.parse(reply("Content-Length: " + std::to_string(kSize) + "\r\n", ""));
  size_t copied = 0;
  for (size_t taken = 0; taken < kSize; taken += piece.size()) {
    const void* const start = exact.body.data();
    const size_t size = exact.body.size();
    exact.parse(piece);
    copied += start == exact.body.data() ? 0 : size;
  }
  EXPECT_EQ(exact.body.size(), kSize);
  EXPECT_LT(copied, kSize / 32);
  EXPECT_LT(exact.body.capacity(), kSize + 100);

  HTTPReply claiming;
  claiming.parse(reply("Content-Length: 9223372036854775807\r\n", ""));
  for (size_t i = 0; i < 64; ++i) {
    claiming.parse(piece);
    EXPECT_LE(claiming.body.capacity(), 2 * claiming.body.size());
  }

  HTTPReply chunky;
  chunky.parse(chunked("7fffffffffffffff\r\nhello"));
  EXPECT_LE(chunky.body.capacity(), 100u);
}

// A long body gets its room in steps. At each of them, every byte keeps its place.
TEST(HTTPReply, KeepsEveryByteOfALongBody) {
  constexpr size_t kSize = 0x1400001;  // 20 MiB and a byte
  std::string text;
  for (size_t number = 0; text.size() < kSize; ++number)
    text += std::to_string(number) + '\n';
  text.resize(kSize);
  const std::string wholes[] = {
      reply("", text),
      reply("Content-Length: " + std::to_string(kSize) + "\r\n", text),
      chunked("1\r\n" + text.substr(0, 1) + "\r\n1400000\r\n" + text.substr(1) + "\r\n0\r\n\r\n"),
  };
  for (const std::string_view bytes : wholes) {
    for (const size_t inPieces : {size_t{0}, size_t{9} << 20, bytes.size()}) {
      HTTPReply parser;
      for (size_t at = 0; at < inPieces; at += 65536)
        parser.parse(bytes.substr(at, std::min<size_t>(65536, inPieces - at)));
      parser.parse(bytes.substr(inPieces));
      EXPECT_EQ(parser.parseEnd(), State::complete);
      EXPECT_TRUE(parser.body == text) << inPieces << " bytes in pieces, then the others at once";
    }
  }
}

// Even if it is longer than the room that a body of unknown length gets at once, and is copied.
TEST(HTTPReplySlow, KeepsEveryByteOfAVeryLongBody) {
  constexpr size_t kPiece = size_t{5} << 20, kCount = 52;  // 260 MiB
  HTTPReply parser;
  parser.parse(reply("", ""));
  const auto piece = [](size_t index) { return std::string(kPiece, static_cast<char>(index)); };
  for (size_t index = 0; index < kCount; ++index)
    parser.parse(piece(index));
  ASSERT_EQ(parser.parseEnd(), State::complete);
  ASSERT_EQ(parser.body.size(), kPiece * kCount);
  for (size_t index = 0; index < kCount; ++index)
    EXPECT_EQ(parser.body.compare(index * kPiece, kPiece, piece(index)), 0) << index;
}

TEST(HTTPReply, ReadsItsLengthFromContentLength) {
  const struct {
    std::string headerLines;
    Outcome outcome;
  } rows[] = {
      {"Content-Length: 5\r\n", Outcome::complete},
      {"content-LENGTH:5\r\n", Outcome::complete},
      {"Content-Length:\t 5\t \r\n", Outcome::complete},
      {"Content-Length: 005\r\n", Outcome::complete},
      {"Content-Length: 00000000000000000000000000000005\r\n", Outcome::complete},
      {"Content-Length: 6\r\n", Outcome::incomplete},
      {"Content-Length: 9223372036854775807\r\n", Outcome::incomplete},
      // Equal repeats, in one line and in several.
      {"Content-Length: 5\r\nContent-Length: 5\r\n", Outcome::complete},
      {"Content-Length: 5, 5\r\n", Outcome::complete},
      {"Content-Length: 5,5,\t5\r\n", Outcome::complete},
      {"Content-Length: 5\r\nX: y\r\ncontent-length: 5 , 5\r\n", Outcome::complete},
      // Different ones.
      {"Content-Length: 5\r\nContent-Length: 6\r\n", Outcome::invalid},
      {"Content-Length: 6\r\nContent-Length: 5\r\n", Outcome::invalid},
      {"Content-Length: 5, 6\r\n", Outcome::invalid},
      {"Content-Length: 5, 5, 4\r\n", Outcome::invalid},
      {"Content-Length: 5\r\nContent-Length: x\r\n", Outcome::invalid},
      {"Content-Length: x\r\nContent-Length: 5\r\n", Outcome::invalid},
      {"Content-Length: 5, -5\r\n", Outcome::invalid},
      // What is no number of decimal digits, or too large a one.
      {"Content-Length: -5\r\n", Outcome::invalid},
      {"Content-Length: -0\r\n", Outcome::invalid},
      {"Content-Length: +5\r\n", Outcome::invalid},
      {"Content-Length: 0x5\r\n", Outcome::invalid},
      {"Content-Length: 5h\r\n", Outcome::invalid},
      {"Content-Length: a\r\n", Outcome::invalid},
      {"Content-Length: 5 5\r\n", Outcome::invalid},
      {"Content-Length: 5.0\r\n", Outcome::invalid},
      {"Content-Length: 5;\r\n", Outcome::invalid},
      {"Content-Length: \"5\"\r\n", Outcome::invalid},
      {"Content-Length: 18446744073709551616\r\n", Outcome::invalid},
      {"Content-Length: 18446744073709551621\r\n", Outcome::invalid},  // 5, were it cut to 64 bits
      {"Content-Length: 99999999999999999999999999999999\r\n", Outcome::invalid},
      {"Content-Length:\r\n", Outcome::invalid},
      {"Content-Length: \t\r\n", Outcome::invalid},
      {"Content-Length: ,\r\n", Outcome::invalid},
  };
  for (const auto& row : rows) {
    const bool isComplete = row.outcome == Outcome::complete;
    expectReading(reply(row.headerLines, "hello"), {row.outcome, isComplete ? "hello" : "", {}});
  }
}

TEST(HTTPReply, ReadsChunks) {
  expectRows({
      {chunked("0\r\n\r\n"), Outcome::complete, ""},
      {chunked("5\r\nhello\r\n0\r\n\r\n"), Outcome::complete, "hello"},
      {chunked("5\r\nhello\r\n7\r\n, world\r\n0\r\n\r\n"), Outcome::complete, "hello, world"},
      {chunked("3\r\n\r\n0\r\n0\r\n\r\n"), Outcome::complete, "\r\n0"},
      {chunked("3\r\n\0\n\xFF\r\n0\r\n\r\n"s), Outcome::complete, "\0\n\xFF"s},
      // Sizes are hexadecimal, in either case, with any number of zeros in front.
      {chunked("a\r\n0123456789\r\n0\r\n\r\n"), Outcome::complete, "0123456789"},
      {chunked("A\r\n0123456789\r\n0\r\n\r\n"), Outcome::complete, "0123456789"},
      {chunked("1b\r\nabcdefghijklmnopqrstuvwxyz.\r\n0\r\n\r\n"), Outcome::complete,
       "abcdefghijklmnopqrstuvwxyz."},
      {chunked("1B\r\nabcdefghijklmnopqrstuvwxyz.\r\n0\r\n\r\n"), Outcome::complete,
       "abcdefghijklmnopqrstuvwxyz."},
      {chunked("000000000000000000000005\r\nhello\r\n00000\r\n\r\n"), Outcome::complete, "hello"},
      // Extensions mean nothing here.
      {chunked("5;name=value\r\nhello\r\n0;last\r\n\r\n"), Outcome::complete, "hello"},
      {chunked("5 ; a ; b=\"x;y\"\r\nhello\r\n0\r\n\r\n"), Outcome::complete, "hello"},
      {chunked("5;6\r\nhello\r\n0\r\n\r\n"), Outcome::complete, "hello"},
      // Trailers neither.
      {chunked("2\r\nok\r\n0\r\nX-Sum: 1\r\nX-More: 2\r\n\r\n"), Outcome::complete, "ok"},
      {chunked("2\r\nok\r\n0\r\nContent-Length: 9\r\nTransfer-Encoding: gzip\r\n"
               "Content-Type: text/plain; charset=koi8-r\r\n\r\n"),
       Outcome::complete, "ok"},
      // Too little.
      {chunked(""), Outcome::incomplete},
      {chunked("5\r\nhello\r\n"), Outcome::incomplete},
      {chunked("5\r\nhello\r\n0\r\n"), Outcome::incomplete},
      {chunked("7FFFFFFFFFFFFFFF\r\nhello"), Outcome::incomplete},
      // Sizes that are none.
      {chunked("\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked(";a=b\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("g\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("5g\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("-5\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("+5\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("0x5\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("5 5\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("5,5\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("10000000000000000\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("10000000000000005\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("FFFFFFFFFFFFFFFFFFFFFFFF\r\nhello\r\n0\r\n\r\n"), Outcome::invalid},
      // Chunks that are longer or shorter than they say.
      {chunked("5\r\nhello!\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("5\r\nhello0\r\n\r\n"), Outcome::invalid},
  });
}

// The tolerance for a lone LF is for the lines of the head: behind a chunk it would hide that the
// chunk has one byte less than it says.
TEST(HTTPReply, RefusesALoneLFBehindAChunk) {
  expectRows({
      {chunked("5\r\nhell\r\n0\r\n\r\n"), Outcome::invalid},
      {chunked("5\r\nhello\n0\r\n\r\n"), Outcome::invalid},
  });
}

TEST(HTTPReply, HasTheCharsetOfItsHeadAndNotOfATrailer) {
  expectRows({
      {reply("Transfer-Encoding: chunked\r\nContent-Type: text/html; charset=utf-8\r\n",
             "2\r\nok\r\n0\r\nContent-Type: text/html; charset=koi8-r\r\n\r\n"),
       Outcome::complete, "ok", "utf-8"},
      {reply("CONTENT-TYPE:text/html;CHARSET=\"Shift_JIS\"\r\nContent-Length: 2\r\n", "ok"),
       Outcome::complete, "ok", "Shift_JIS"},
      {reply("Content-Type: text/html\r\nContent-Length: 2\r\n", "ok"), Outcome::complete, "ok"},
      {reply("X-Content-Type: text/html; charset=utf-8\r\nContent-Length: 2\r\n", "ok"),
       Outcome::complete, "ok"},
      {reply("Content-Type-X: text/html; charset=utf-8\r\nContent-Length: 2\r\n", "ok"),
       Outcome::complete, "ok"},
  });
}

TEST(HTTPReply, TakesTheChunkedCodingAndNoOther) {
  const std::string chunks = "5\r\nhello\r\n0\r\n\r\n";
  expectRows({
      {reply("transfer-encoding:CHUNKED\r\n", chunks), Outcome::complete, "hello"},
      {reply("Transfer-Encoding: \tChunked\t\r\n", chunks), Outcome::complete, "hello"},
      // It overrides any length.
      {reply("Transfer-Encoding: chunked\r\nContent-Length: 3\r\n", chunks), Outcome::complete,
       "hello"},
      {reply("Content-Length: 300\r\nTransfer-Encoding: chunked\r\n", chunks), Outcome::complete,
       "hello"},
      {reply("Content-Length: 0\r\nTransfer-Encoding: chunked\r\n", chunks), Outcome::complete,
       "hello"},
      // "identity" stands for none.
      {reply("Transfer-Encoding: identity\r\nContent-Length: 5\r\n", "hello"), Outcome::complete,
       "hello"},
      {reply("Transfer-Encoding: Identity\r\n", "hello"), Outcome::completeAtEnd, "hello"},
      {reply("Transfer-Encoding: identity, chunked\r\n", chunks), Outcome::complete, "hello"},
      // Others would have to be undone.
      {reply("Transfer-Encoding: gzip\r\n", "hello"), Outcome::invalid},
      {reply("Transfer-Encoding: gzip\r\nContent-Length: 5\r\n", "hello"), Outcome::invalid},
      {reply("Transfer-Encoding: gzip, chunked\r\n", chunks), Outcome::invalid},
      {reply("Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n", chunks),
       Outcome::invalid},
      {reply("Transfer-Encoding: chunked, gzip\r\n", chunks), Outcome::invalid},
      {reply("Transfer-Encoding: chunked, chunked\r\n", chunks), Outcome::invalid},
      {reply("Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", chunks),
       Outcome::invalid},
      {reply("Transfer-Encoding: xchunked\r\n", chunks), Outcome::invalid},
      {reply("Transfer-Encoding: chunkedx\r\n", chunks), Outcome::invalid},
      {reply("Transfer-Encoding: chunk\r\n", chunks), Outcome::invalid},
      {reply("Transfer-Encoding: \"chunked\"\r\n", chunks), Outcome::invalid},
  });
}

TEST(HTTPReply, SkipsEmptyElementsOfListsOfCodings) {
  const std::string chunks = "5\r\nhello\r\n0\r\n\r\n";
  expectRows({
      {reply("Transfer-Encoding: chunked,\r\n", chunks), Outcome::complete, "hello"},
      {reply("Transfer-Encoding: , chunked\r\n", chunks), Outcome::complete, "hello"},
      {reply("Transfer-Encoding: ,, chunked ,\t,\r\n", chunks), Outcome::complete, "hello"},
      // A length is no list; what repeats it must repeat it whole.
      {reply("Content-Length: 5,\r\n", "hello"), Outcome::invalid},
      {reply("Content-Length: , 5\r\n", "hello"), Outcome::invalid},
      {reply("Content-Length: 5,, 5\r\n", "hello"), Outcome::invalid},
  });
}

TEST(HTTPReply, LeavesContentCodingsAlone) {
  expectRows({{reply("Content-Encoding: gzip\r\nContent-Length: 4\r\n", "\x1F\x8B\x08\0"s),
               Outcome::complete, "\x1F\x8B\x08\0"s}});
}

TEST(HTTPReply, SkipsInterimRepliesAndTheirHeaders) {
  const std::string last = reply("Content-Length: 2\r\n", "ok");
  const std::string toEnd = reply("", "ok");
  expectRows({
      {"HTTP/1.1 100 Continue\r\n\r\n" + last, Outcome::complete, "ok"},
      {"HTTP/1.1 102 Processing\r\nX: y\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: z\r\n\r\n" + last,
       Outcome::complete, "ok"},
      {"HTTP/1.1 199 Whatever\r\n\r\n" + last, Outcome::complete, "ok"},
      {"HTTP/1.1 100 Continue\r\nContent-Type: text/html; charset=utf-8\r\n\r\n" + last,
       Outcome::complete, "ok"},
      {"HTTP/1.1 100 Continue\r\nContent-Length: 1\r\n\r\n" + last, Outcome::complete, "ok"},
      {"HTTP/1.1 100 Continue\r\nContent-Length: 1\r\n\r\n" + toEnd, Outcome::completeAtEnd, "ok"},
      {"HTTP/1.1 100 Continue\r\nContent-Length: none\r\n\r\n" + last, Outcome::complete, "ok"},
      {"HTTP/1.1 100 Continue\r\nTransfer-Encoding: chunked\r\n\r\n" + last, Outcome::complete,
       "ok"},
      {"HTTP/1.1 100 Continue\r\nTransfer-Encoding: chunked\r\n\r\n" +
           chunked("2\r\nok\r\n0\r\n\r\n"),
       Outcome::complete, "ok"},
      {"HTTP/1.1 100 Continue\r\nTransfer-Encoding: gzip\r\n\r\n" + last, Outcome::complete, "ok"},
      {"HTTP/1.1 100 Continue\r\nX: y\r\n z\r\n\r\n" + last, Outcome::complete, "ok"},
      {"HTTP/1.1 100 Continue\r\nX: y\r\n\r\nHTTP/1.1 200 OK\r\n folded\r\n\r\n", Outcome::invalid},
      {"HTTP/1.1 100 Continue\r\n\r\n", Outcome::incomplete},
      {"HTTP/1.1 100 Continue\r\n\r\nok", Outcome::incomplete},
      {"HTTP/1.1 100 Continue\r\n\r\nok\r\n", Outcome::invalid},
  });
}

TEST(HTTPReply, HasNoBodyWithStatus204And304) {
  const struct {
    std::string headerLines;
  } rows[] = {
      {""},
      {"Content-Length: 5\r\n"},
      {"Content-Length: 99999999999999999999\r\n"},
      {"Transfer-Encoding: chunked\r\n"},
      {"Transfer-Encoding: gzip\r\n"},
  };
  for (const std::string status : {"204 No Content", "304 Not Modified"}) {
    for (const auto& row : rows) {
      expectReading("HTTP/1.1 " + status + "\r\n" + row.headerLines + "\r\n",
                    {Outcome::complete, "", {}});
      expectReading("HTTP/1.1 " + status + "\r\n" + row.headerLines + "\r\nhello",
                    {Outcome::complete, "", {}});
    }
  }
}

TEST(HTTPReply, UnfoldsHeaderLines) {
  const std::string chunks = "5\r\nhello\r\n0\r\n\r\n";
  expectRows({
      {reply("Content-Type: text/html;\r\n charset=utf-8\r\nContent-Length: 5\r\n", "hello"),
       Outcome::complete, "hello", "utf-8"},
      {reply("Content-Type:\r\n\ttext/html\r\n \t;\r\n  charset=\"utf-8\"\t\r\n"
             "Content-Length: 5\r\n",
             "hello"),
       Outcome::complete, "hello", "utf-8"},
      {reply("Transfer-Encoding:\r\n chunked\r\n", chunks), Outcome::complete, "hello"},
      {reply("Transfer-Encoding: gzip,\r\n chunked\r\n", chunks), Outcome::invalid},
      {reply("Content-Length:\r\n\t5\r\n", "hello"), Outcome::complete, "hello"},
      {reply("Content-Length: 5\r\n \r\n", "hello"), Outcome::complete, "hello"},
      {reply("Content-Length: 5,\r\n 5\r\n", "hello"), Outcome::complete, "hello"},
      // A fold is a blank, so digits on both sides of it are two numbers.
      {reply("Content-Length: 1\r\n 2\r\n", "hello, world"), Outcome::invalid},
      // What looks like a header line in a fold belongs to the line before it.
      {reply("X: y\r\n Content-Length: 3\r\nContent-Length: 5\r\n", "hello"), Outcome::complete,
       "hello"},
      {reply("X: y\r\n\tTransfer-Encoding: gzip\r\nContent-Length: 5\r\n", "hello"),
       Outcome::complete, "hello"},
      // There is nothing that the first line could continue.
      {reply(" X: y\r\nContent-Length: 5\r\n", "hello"), Outcome::invalid},
  });
}

TEST(HTTPReply, ReadsStatusLines) {
  const struct {
    std::string statusLine;
    bool isValid;
  } rows[] = {
      {"HTTP/1.1 200 OK", true},
      {"HTTP/1.0 200 OK", true},
      {"HTTP/1.9 200 OK", true},
      {"HTTP/1.1 200 ", true},
      {"HTTP/1.1 200", true},
      {"HTTP/1.1 200 All is well, \"really\"", true},
      {"HTTP/1.1 200 Alles sch\xC3\xB6n\t\xFF", true},
      {"HTTP/1.1 404 Not Found", true},
      {"HTTP/1.1 500 Internal Server Error", true},
      {"HTTP/1.1 599 Custom", true},
      {"", false},
      {"hello", false},
      {"http/1.1 200 OK", false},
      {"HTTP/2.0 200 OK", false},
      {"HTTP/2 200", false},
      {"HTTP/11 200 OK", false},
      {"HTTP/1. 200 OK", false},
      {"HTTP/1.x 200 OK", false},
      {"HTTP/1.10 200 OK", false},
      {"HTTPS/1.1 200 OK", false},
      {"XHTTP/1.1 200 OK", false},
      {"ICY 200 OK", false},
      {"HTTP/1.1", false},
      {"HTTP/1.1 ", false},
      {"HTTP/1.1 20", false},
      {"HTTP/1.1 20 OK", false},
      {"HTTP/1.1 2000 OK", false},
      {"HTTP/1.1 200OK", false},
      {"HTTP/1.1 2x0 OK", false},
      {"HTTP/1.1 -20 OK", false},
      {"HTTP/1.1 OK", false},
      {"HTTP/1.1200 OK", false},
      {"200 OK", false},
      {"Content-Length: 2", false},
  };
  for (const auto& row : rows) {
    const Reading valid = {Outcome::complete, "ok", {}};
    const Reading invalid = {Outcome::invalid, {}, {}};
    expectReading(row.statusLine + "\r\nContent-Length: 2\r\n\r\nok",
                  row.isValid ? valid : invalid);
  }
}

TEST(HTTPReply, ReadsHeaderLines) {
  expectRows({
      {reply("Content-Length: 2\r\nX-Empty:\r\nX:y\r\nX: a:b\r\n", "ok"), Outcome::complete, "ok"},
      {reply("X: \"\xC3\xA9\xFF\t \"\r\nContent-Length: 2\r\n", "ok"), Outcome::complete, "ok"},
      {reply("no colon\r\nContent-Length: 2\r\n", "ok"), Outcome::invalid},
      {reply("Content-Length\r\nContent-Length: 2\r\n", "ok"), Outcome::invalid},
      {reply("Content-Length: 2\r\nno-colon\r\n", "ok"), Outcome::invalid},
      {reply(": no name\r\nContent-Length: 2\r\n", "ok"), Outcome::invalid},
      // A line may end in LF alone; a CR elsewhere and a NUL are refused.
      {"HTTP/1.1 200 OK\nContent-Type: text/html; charset=utf-8\nContent-Length: 2\n\nok",
       Outcome::complete, "ok", "utf-8"},
      {"HTTP/1.1 200 OK\r\nContent-Length: 2\n\r\nok", Outcome::complete, "ok"},
      {reply("X: a\rb\r\nContent-Length: 2\r\n", "ok"), Outcome::invalid},
      {reply("X: a\r\r\nContent-Length: 2\r\n", "ok"), Outcome::invalid},
      {reply("X: a\rContent-Length: 2\r\n", "ok"), Outcome::invalid},
      {"HTTP/1.1 200 O\rK\r\nContent-Length: 2\r\n\r\nok", Outcome::invalid},
      {reply("X: a\0b\r\nContent-Length: 2\r\n"s, "ok"), Outcome::invalid},
      {reply("Content-Length: 2\0\r\n"s, "ok"), Outcome::invalid},
      {reply("X\0: a\r\nContent-Length: 2\r\n"s, "ok"), Outcome::invalid},
      {"HTTP/1.1 200 O\0K\r\nContent-Length: 2\r\n\r\nok"s, Outcome::invalid},
  });
}

TEST(HTTPReply, GoesToTheEndOfTheConnectionWhenItDoesNotSayHowLongItIs) {
  expectRows({
      {reply("", ""), Outcome::completeAtEnd, ""},
      {reply("", "hello"), Outcome::completeAtEnd, "hello"},
      {reply("", "\r\n\0\xFF\n"s), Outcome::completeAtEnd, "\r\n\0\xFF\n"s},
      {reply("Content-Type: text/html; charset=utf-8\r\n", "hello"), Outcome::completeAtEnd,
       "hello", "utf-8"},
      {"HTTP/1.0 404 Not Found\r\nConnection: close\r\n\r\nnothing", Outcome::completeAtEnd,
       "nothing"},
      // But the end of the connection does not end a head.
      {"", Outcome::incomplete},
      {"HTTP/1.1 200 OK", Outcome::incomplete},
      {"HTTP/1.1 200 OK\r\n", Outcome::incomplete},
      {"HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n", Outcome::incomplete},
      {"HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n\r", Outcome::incomplete},
  });
}

// A reply whose head, with its last line end, has exactly so many bytes.
std::string replyWithHeadOf(size_t size, const std::string& headerLines, const std::string& rest) {
  const size_t others = reply("X: \r\n" + headerLines, "").size();
  return reply("X: " + std::string(size - others, 'x') + "\r\n" + headerLines, rest);
}

TEST(HTTPReplySlow, HasAHeadOfAtMost256KiB) {
  const std::string byLength = "Content-Length: 2\r\n";
  const std::string byChunks = "Transfer-Encoding: chunked\r\n";
  ASSERT_EQ(replyWithHeadOf(kMostHeadBytes, byLength, "ok").size(), kMostHeadBytes + 2);
  expectRows({
      {replyWithHeadOf(kMostHeadBytes, byLength, "ok"), Outcome::complete, "ok"},
      {replyWithHeadOf(kMostHeadBytes, "", "ok"), Outcome::completeAtEnd, "ok"},
      {replyWithHeadOf(kMostHeadBytes, byChunks, "2\r\nok\r\n0\r\n\r\n"), Outcome::complete, "ok"},
      {replyWithHeadOf(kMostHeadBytes + 1, byLength, "ok"), Outcome::invalid},
      {replyWithHeadOf(kMostHeadBytes + 1, "", "ok"), Outcome::invalid},
  });
}

TEST(HTTPReplySlow, CountsManyHeaderLinesLikeOneLongOne) {
  std::string lines;
  while (lines.size() < kMostHeadBytes)
    lines += "X: y\r\n z\r\n";
  expectReading(reply(lines, "ok"), {Outcome::invalid, {}, {}});
}

// What a server that means ill sends for ever is refused before it fills the memory.
TEST(HTTPReply, RefusesWhatNeverEnds) {
  const struct {
    const char* what;
    std::string start, repeated;
  } rows[] = {
      {"status line", "HTTP/1.1 200 ", "x"},
      {"header line", "HTTP/1.1 200 OK\r\nX: ", "y"},
      {"header line without a colon", "HTTP/1.1 200 OK\r\n", "x"},
      {"folded header line", "HTTP/1.1 200 OK\r\nX: y\r\n", " z\r\n"},
      {"header lines", "HTTP/1.1 200 OK\r\n", "X: y\r\n"},
      {"interim replies", "", "HTTP/1.1 100 Continue\r\n\r\n"},
      {"interim replies with headers", "", "HTTP/1.1 103 Early Hints\r\nX: y\r\n\r\n"},
      {"chunk size", chunked(""), "0"},
      {"chunk extension", chunked("5;"), "x"},
      {"trailer line", chunked("2\r\nok\r\n0\r\nX: "), "y"},
      {"trailers", chunked("2\r\nok\r\n0\r\n"), "X: y\r\n"},
  };
  for (const auto& row : rows) {
    HTTPReply parser;
    State state = parser.parse(row.start);
    size_t size = 0;
    for (; state == State::incomplete && size < 2 * kMostHeadBytes; size += row.repeated.size())
      state = parser.parse(row.repeated);
    EXPECT_EQ(state, State::invalid) << "endless " << row.what;
    EXPECT_STRNE(parser.fault, "") << "endless " << row.what;
  }
}

TEST(HTTPReplySlow, HasNoLimitForItsBodyNorForTheNumberOfChunks) {
  const std::string large(3 * kMostHeadBytes, '\n');
  std::string chunks, body;
  for (int number = 0; number < 100000; ++number) {
    chunks += "1;extension\r\n.\r\n";
    body += '.';
  }
  expectRows({
      {reply("Content-Length: " + std::to_string(large.size()) + "\r\n", large), Outcome::complete,
       large},
      {reply("", large), Outcome::completeAtEnd, large},
      {chunked("C0000\r\n" + large + "\r\n0\r\n\r\n"), Outcome::complete, large},
  });
  // Small chunks: fed whole and byte by byte will do.
  const std::string small = chunked(chunks + "0\r\n\r\n");
  EXPECT_EQ(read({small}), (Reading{Outcome::complete, body, {}}));
  EXPECT_EQ(read(bytesOf(small)), (Reading{Outcome::complete, body, {}}));
}

TEST(CharsetOfContentType, IsTheFirstCharsetParameter) {
  const struct {
    std::string contentType;
    String charset;
  } rows[] = {
      {"text/html; charset=utf-8", "utf-8"},
      {"text/html;charset=utf-8", "utf-8"},
      {"text/html;charset=Windows-1252", "Windows-1252"},
      {"text/html; CHARSET=UTF-8", "UTF-8"},
      {"text/html; ChArSeT=x", "x"},
      {"text/html ;\t charset=utf-8 \t", "utf-8"},
      {"text/html; charset = utf-8", "utf-8"},
      {"text/html; charset=iso_8859-1:1987", "iso_8859-1:1987"},
      // Quoted.
      {"text/html; charset=\"utf-8\"", "utf-8"},
      {"text/html; charset= \"utf-8\" ", "utf-8"},
      {"text/html; charset=\"ut\\f-8\"", "utf-8"},
      {"text/html; charset=\"a\\\"b\\\\c\"", "a\"b\\c"},
      {"text/html; charset=\"a;b\"", "a;b"},
      {"text/html; charset=\" utf-8\"", " utf-8"},
      {"text/html; charset=\"\"", ""},
      {"text/html; charset='utf-8'", "'utf-8'"},  // an apostrophe is no quote
      // Among other parameters.
      {"text/html; charset=utf-8; boundary=x", "utf-8"},
      {"text/html; charset=\"utf-8\"; boundary=x", "utf-8"},
      {"multipart/mixed; boundary=\"x\"; charset=utf-8; q=1", "utf-8"},
      {"text/html;;; ; charset=utf-8;", "utf-8"},
      {"text/html; title=\"x; charset=koi8-r\"; charset=utf-8", "utf-8"},
      {"text/html; title=\"x\\\"; charset=koi8-r\"; charset=utf-8", "utf-8"},
      {"text/html; title=\"x; charset=koi8-r\"", std::nullopt},
      {"text/html; title=\"x\\\"; charset=koi8-r\"", std::nullopt},
      // The first of several.
      {"text/html; charset=utf-8; charset=koi8-r", "utf-8"},
      {"text/html; charset=\"utf-8\"; Charset=koi8-r", "utf-8"},
      // None.
      {"", std::nullopt},
      {"text/html", std::nullopt},
      {"text/html;", std::nullopt},
      {"text/html; charset", std::nullopt},
      {"text/html; charset=", std::nullopt},
      {"text/html; charset= ; q=1", std::nullopt},
      {"text/html; xcharset=utf-8", std::nullopt},
      {"text/html; charsets=utf-8", std::nullopt},
      {"text/html; x-charset=utf-8; charset-x=utf-8", std::nullopt},
      {"text/html charset=utf-8", std::nullopt},
      {"text/html; q=charset=utf-8", std::nullopt},
  };
  for (const auto& row : rows)
    EXPECT_EQ(charsetOfContentType(row.contentType), row.charset) << row.contentType;
}

}  // namespace

}  // namespace quintora
