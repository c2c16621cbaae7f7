// Reads the reply to one POST from the bytes of its connection, by RFC 9112.
#pragma once

#include "extras/String.h"

namespace quintora {

class HTTPReply {
 public:
  enum class State { incomplete, complete, invalid };

  // Parses the next bytes, as many or as few as came. After the end of the reply, which does not
  // need the end of the connection, further bytes are ignored.
  State parse(std::string_view bytes);

  // Takes note that the connection has ended in order. A reply that has said how long it is and is
  // not, or that has not got as far, stays incomplete.
  State parseEnd();

  // Whether any byte has come.
  bool hasBegun() const { return hasBegun_; }

  // Of the last status line; 0 before one has come.
  int status() const { return status_; }

  // The body without its transfer coding. Content codings stay as they are.
  Data body;

  // The charset parameter of the Content-Type; absent without one.
  String textEncodingName;

  // What is wrong with an invalid reply, to follow "is not valid HTTP: ".
  const char* fault = "";

 private:
  enum class Expect {
    statusLine,
    headerLine,
    bodyOfLength,
    bodyToEnd,
    chunkSize,
    chunkData,
    chunkEnd,
    trailerLine
  };

  void parseEndedLine(std::string_view line);
  void parseLine(std::string_view line);
  void parseStatusLine(std::string_view line);
  void parseHeaderLine(std::string_view line);
  void parseField();
  void parseContentLength(std::string_view value);
  void parseTransferEncoding(std::string_view value);
  void endHead();
  void parseChunkSize(std::string_view line);
  size_t parseBodyBytes(std::string_view bytes);
  void parsePlainChunks(std::string_view& bytes);
  void makeRoom(size_t count);
  size_t parseLineBytes(std::string_view bytes);
  void fail(const char* what);

  Expect expect_ = Expect::statusLine;
  State state_ = State::incomplete;
  bool hasBegun_ = false;
  int status_ = 0;
  std::string line_;        // the start of a line whose end has not come
  std::string field_;       // the last header line, to which folded lines are added
  uint64_t lineBytes_ = 0;  // bytes of lines since the start, the head or a piece of the body
  uint64_t remaining_ = 0;  // bytes of the body or chunk still to come
  std::optional<uint64_t> contentLength_;
  bool contentLengthIsInvalid_ = false;
  bool isChunked_ = false;
  bool hasUnknownCoding_ = false;
};

// The charset parameter of a Content-Type value (RFC 9110, sections 5.6.6 and 8.3): quoted or not,
// its name in any case, the first of several. Absent when there is none; an unquoted empty one
// counts as none. Blanks around name and value are dropped.
String charsetOfContentType(std::string_view contentType);

}  // namespace quintora
