// Replies of a server. However their bytes come, the outcome is the same; what a server sends is
// what is received.
#include "platform/http/HTTPReply.h"

#include <cstdio>
#include <cstring>

#include "fuzz/Fuzz.h"

namespace quintora {

namespace {

using State = HTTPReply::State;

void requireEqual(const HTTPReply& a, State stateOfA, const HTTPReply& b, State stateOfB) {
  require(stateOfA == stateOfB, "the state does not depend on the pieces");
  require(a.body == b.body, "the body does not depend on the pieces");
  require(a.textEncodingName == b.textEncodingName, "the charset does not depend on the pieces");
  require(std::strcmp(a.fault, b.fault) == 0, "the fault does not depend on the pieces");
  require(a.hasBegun() == b.hasBegun(), "the beginning does not depend on the pieces");
}

// Takes all of it, at most so many bytes at once.
State takeInPieces(HTTPReply& reply, std::string_view bytes, size_t most, Numbers& numbers) {
  State state = reply.parse({});
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, numbers.upTo(most));
    state = reply.parse(piece);
    bytes.remove_prefix(piece.size());
  }
  return state;
}

void checkPieces(std::string_view bytes) {
  Numbers numbers(bytes);
  HTTPReply whole;
  const State stateOfWhole = whole.parse(bytes);
  for (const size_t most : {size_t{1}, size_t{3}, bytes.size() + 1}) {
    HTTPReply reply;
    const State state = takeInPieces(reply, bytes, most, numbers);
    requireEqual(whole, stateOfWhole, reply, state);
    const State stateInTheEnd = reply.parseEnd();
    HTTPReply other = whole;
    requireEqual(other, other.parseEnd(), reply, stateInTheEnd);
    require(reply.parseEnd() == stateInTheEnd, "there is one end");
  }
  require((stateOfWhole == State::invalid) == (*whole.fault != '\0'), "a fault says what it is");
  require(whole.body.size() <= bytes.size(), "a body has no more bytes than came");
  require(whole.hasBegun() == !bytes.empty(), "the first byte is the beginning");
  if (stateOfWhole != State::incomplete) {
    HTTPReply more = whole;
    requireEqual(whole, stateOfWhole, more, more.parse("7\r\nanother\r\n0\r\n\r\n"));
  }
}

std::string hexadecimal(size_t number) {
  char text[20];
  std::snprintf(text, sizeof text, "%zx", number);
  return text;
}

std::string chunked(std::string_view body, Numbers& numbers) {
  std::string bytes;
  while (!body.empty()) {
    const std::string_view chunk = body.substr(0, numbers.upTo(body.size()));
    bytes += hexadecimal(chunk.size()) + "\r\n";
    bytes += chunk;
    bytes += "\r\n";
    body.remove_prefix(chunk.size());
  }
  return bytes + "0\r\n\r\n";
}

// The body arrives, complete with its last byte and not earlier.
void checkArrival(const std::string& bytes, std::string_view body, bool endsWithConnection) {
  Numbers numbers(bytes);
  HTTPReply reply;
  const std::string_view allButOne = std::string_view(bytes).substr(0, bytes.size() - 1);
  require(takeInPieces(reply, allButOne, 64, numbers) == State::incomplete, "it is not all yet");
  const State state = reply.parse(std::string_view(bytes).substr(allButOne.size()));
  require(state == (endsWithConnection ? State::incomplete : State::complete), "it is all");
  require(reply.parseEnd() == State::complete, "the end of the connection is no fault");
  require(reply.body == body, "what was sent is received");
}

void checkTransfer(std::string_view body) {
  Numbers numbers(body);
  const std::string start = "HTTP/1.1 200 OK\r\nContent-Type: text/plain; charset=utf-8\r\n";
  checkArrival(start + "\r\n" + std::string(body), body, true);
  checkArrival(start + "Transfer-Encoding: chunked\r\n\r\n" + chunked(body, numbers), body, false);
  if (!body.empty()) {
    const std::string length = "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    checkArrival(start + length + std::string(body), body, false);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string_view input = inputText(bytes, size);
  checkPieces(input);
  checkTransfer(input);
  return 0;
}

}  // namespace quintora
