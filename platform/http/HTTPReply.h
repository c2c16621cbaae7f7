// Parses the reply to one POST from the bytes of its connection, by RFC 9112.
#pragma once

#include "extras/String.h"

namespace quintora {

class HTTPReply {
 public:
  enum class State { incomplete, complete, invalid };

  // Parses the next bytes, however many they are. Bytes after the end of the reply are ignored.
  State parse(std::string_view bytes);

  // To be called when the connection was closed in order. That completes only a body without a
  // declared length; any other reply that is not complete stays incomplete.
  State parseEnd();

  // Whether any byte has come.
  bool hasBegun() const { return hasBegun_; }

  // The status of the last status line; 0 before there is one.
  int status() const { return status_; }

  // The body without its transfer coding. Content codings stay as they are.
  Data body;

  // The charset parameter of the Content-Type; absent without one.
  String textEncodingName;

  // What is wrong with an invalid reply, as the end of a sentence (kInvalidReply).
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
  uint64_t remaining_ = 0;  // bytes of the body or chunk still to come; UINT64_MAX if unknown
  std::optional<uint64_t> contentLength_;
  bool contentLengthIsInvalid_ = false;
  bool isChunked_ = false;
  bool hasUnknownCoding_ = false;
};

// The first charset parameter of a Content-Type value (RFC 9110, sections 5.6.6 and 8.3), quoted or
// not, its name in any case. Absent when there is none; an unquoted empty value is ignored. Blanks
// around name and value are dropped.
String charsetOfContentType(std::string_view contentType);

}  // namespace quintora
