#include "platform/http/HTTPReply.h"

#include <algorithm>
#include <cstdlib>

#include "extras/Characters.h"
#include "extras/Pieces.h"
#include "extras/TextEncoding.h"
#include "platform/Messages.h"

namespace quintora {

namespace {

// The limit for the head, interim replies included, and for the lines between two pieces of a
// chunked body: a server that never ends them must not fill the memory.
constexpr uint64_t kMostLineBytes = uint64_t{256} * 1024;

constexpr size_t kLineEndBytes = 2;  // CR LF

// A body gets all of its room at once when this part of it has arrived: one 128th.
constexpr uint64_t kPartThatEarnsRoom = 128;

// What counts as the size of a body of unknown length: nearly every page fits in.
constexpr uint64_t kUnknownBodyBytes = uint64_t{256} << 20;

std::string_view withoutBlanks(std::string_view text) { return trimmed(text, " \t"); }

// The number whose digits the text consists of, in base 10 or 16, up to 2^63 - 1; absent otherwise.
std::optional<uint64_t> numberFrom(std::string_view text, unsigned base) {
  uint64_t number = 0;
  for (const char c : text) {
    const unsigned digit = static_cast<unsigned>(hexadecimalDigit(c));  // -1 is a large one
    if (digit >= base || number > (static_cast<uint64_t>(INT64_MAX) - digit) / base)
      return std::nullopt;
    number = number * base + digit;
  }
  if (text.empty())
    return std::nullopt;
  return number;
}

// Cuts the value of a quoted-string off the text, which begins after the first quote. If the last
// quote is missing, the value ends with the text.
std::string cutQuotedString(std::string_view& text) {
  std::string value;
  while (!text.empty() && text.front() != '"') {
    if (text.front() == '\\' && text.size() > 1)
      text.remove_prefix(1);
    value += text.front();
    text.remove_prefix(1);
  }
  return value;
}

// Cuts "=" and the value of a parameter off the text. An unquoted value ends before a quote, which
// cannot be part of it. False when there is no value, or an empty unquoted one.
bool cutParameterValue(std::string_view& text, std::string& value) {
  if (text.substr(0, 1) != "=")
    return false;
  text.remove_prefix(1);
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  if (text.substr(0, 1) == "\"") {
    text.remove_prefix(1);
    value = cutQuotedString(text);
    return true;
  }
  const size_t end = std::min(text.find_first_of("\";"), text.size());
  value = withoutBlanks(text.substr(0, end));
  text.remove_prefix(end);
  return !value.empty();
}

// Cuts the chunk at the front off, together with the lines around it, and returns its bytes. Empty
// unless the chunk is here as a whole, its size line has digits only, and both lines are valid.
std::string_view cutPlainChunk(std::string_view& bytes) {
  const size_t mostDigits = std::min<size_t>(bytes.size(), 8);
  const auto endsLineAt = [&](size_t at) { return bytes[at] == '\r' && bytes[at + 1] == '\n'; };
  size_t digits = 0;
  uint64_t size = 0;
  for (int digit; digits < mostDigits && (digit = hexadecimalDigit(bytes[digits])) >= 0; ++digits)
    size = size * 16 + static_cast<unsigned>(digit);
  const size_t start = digits + kLineEndBytes;
  if (size == 0 || bytes.size() < start + size + kLineEndBytes || !endsLineAt(digits) ||
      !endsLineAt(start + size))
    return {};
  const std::string_view chunk = bytes.substr(start, size);
  bytes.remove_prefix(start + size + kLineEndBytes);
  return chunk;
}

// Whether there is so much memory. Unlike an operator new that fails, this does not end the run.
bool isAvailable(size_t size) {
  void* volatile const memory = std::malloc(size);  // volatile: or a compiler omits both calls
  std::free(memory);
  return memory != nullptr;
}

}  // namespace

HTTPReply::State HTTPReply::parse(std::string_view bytes) {
  hasBegun_ = hasBegun_ || !bytes.empty();
  while (!bytes.empty() && state_ == State::incomplete) {
    if (expect_ == Expect::chunkSize && line_.empty())
      parsePlainChunks(bytes);
    const bool isBody = expect_ == Expect::bodyOfLength || expect_ == Expect::bodyToEnd ||
                        expect_ == Expect::chunkData;
    bytes.remove_prefix(isBody ? parseBodyBytes(bytes) : parseLineBytes(bytes));
  }
  return state_;
}

HTTPReply::State HTTPReply::parseEnd() {
  if (expect_ == Expect::bodyToEnd && state_ == State::incomplete)
    state_ = State::complete;
  return state_;
}

void HTTPReply::fail(const char* what) {
  fault = what;
  state_ = State::invalid;
}

// Makes room for some bytes at the end of the body.
//
// Room that grows is copied, and for a moment there are both copies: twice the memory for a long
// body. So it gets all of its room as soon as that is credible. Room that is not used takes no
// memory, only addresses. Where these are limited, a body of unknown length must not take those
// that its conversion to UTF-8 needs, which may make a page three times as long.
void HTTPReply::makeRoom(size_t count) {
  const uint64_t filled = body.size() + count;
  if (filled <= body.capacity())
    return;
  const bool hasLength = expect_ == Expect::bodyOfLength;
  const uint64_t whole = hasLength ? body.size() + remaining_ : kUnknownBodyBytes;
  const bool isEarned = whole >= filled && whole / kPartThatEarnsRoom <= filled;
  if (isEarned && (whole == filled || isAvailable(hasLength ? whole : 4 * whole)))
    body.reserve(whole);
  else
    body.reserve(2 * filled);
}

size_t HTTPReply::parseBodyBytes(std::string_view bytes) {
  const std::string_view part = bytes.substr(0, std::min<uint64_t>(remaining_, bytes.size()));
  makeRoom(part.size());
  body += part;
  remaining_ -= part.size();
  if (remaining_ == 0) {
    if (expect_ == Expect::chunkData)
      expect_ = Expect::chunkEnd;
    else
      state_ = State::complete;
    lineBytes_ = 0;
  }
  return part.size();
}

// Does the same as parsing lines and bodies, for chunks that are here as a whole, in half the
// time: a server may send a long page in millions of chunks.
void HTTPReply::parsePlainChunks(std::string_view& bytes) {
  makeRoom(bytes.size());
  for (std::string_view chunk; !(chunk = cutPlainChunk(bytes)).empty();) {
    body += chunk;
    lineBytes_ = kLineEndBytes;
  }
}

// Lines end with CR LF. In the head and in trailers a lone LF is accepted, as section 2.2 allows;
// around chunks it would make a wrong size look right.
size_t HTTPReply::parseLineBytes(std::string_view bytes) {
  const size_t end = bytes.find('\n');
  const size_t taken = end == bytes.npos ? bytes.size() : end + 1;
  lineBytes_ += taken;
  if (lineBytes_ > kMostLineBytes) {
    fail(kLongLines);
    return taken;
  }
  if (end == bytes.npos) {
    line_ += bytes;
  } else if (line_.empty()) {
    parseEndedLine(bytes.substr(0, end));
  } else {
    line_.append(bytes, 0, end);
    parseEndedLine(line_);
    line_.clear();
  }
  return taken;
}

// The line is without its LF.
void HTTPReply::parseEndedLine(std::string_view line) {
  const bool isChunkLine = expect_ == Expect::chunkSize || expect_ == Expect::chunkEnd;
  const bool hasCarriageReturn = !line.empty() && line.back() == '\r';
  if (hasCarriageReturn)
    line.remove_suffix(1);
  if (isChunkLine && !hasCarriageReturn)
    fail(kMalformedChunkLine);
  else if (std::any_of(line.begin(), line.end(), [](char c) { return c == '\r' || c == '\0'; }))
    fail(kMalformedLine);
  else
    parseLine(line);
}

void HTTPReply::parseLine(std::string_view line) {
  switch (expect_) {
    case Expect::statusLine:
      return parseStatusLine(line);
    case Expect::headerLine:
      return parseHeaderLine(line);
    case Expect::chunkSize:
      return parseChunkSize(line);
    case Expect::chunkEnd:
      if (!line.empty())
        return fail(kLongChunk);
      expect_ = Expect::chunkSize;
      return;
    case Expect::trailerLine:
      if (line.empty())
        state_ = State::complete;
      return;
    default:
      return;
  }
}

// "HTTP/1.", a digit, a blank, a status of three digits and, before a reason phrase, a blank.
void HTTPReply::parseStatusLine(std::string_view line) {
  constexpr std::string_view kProtocol = "HTTP/1.";
  const std::optional<uint64_t> status =
      line.size() > 11 ? numberFrom(line.substr(9, 3), 10) : std::nullopt;
  if (line.substr(0, kProtocol.size()) != kProtocol || !status || *status < 100 ||
      !isASCIIDigit(line[7]) || line[8] != ' ' || (line.size() > 12 && line[12] != ' '))
    return fail(kMalformedStatusLine);
  status_ = static_cast<int>(*status);
  expect_ = Expect::headerLine;
}

void HTTPReply::parseHeaderLine(std::string_view line) {
  const bool isFolded = !line.empty() && (line.front() == ' ' || line.front() == '\t');
  if (isFolded) {
    if (field_.empty())
      return fail(kLonelyContinuation);
    field_ += ' ';
    field_ += withoutBlanks(line);
    return;
  }
  if (!field_.empty())
    parseField();
  field_ = line;
  if (line.empty() && state_ == State::incomplete)
    endHead();
}

void HTTPReply::parseField() {
  std::string_view value = field_;
  const std::string_view name = withoutBlanks(cutPiece(value, ':'));
  if (name.empty() || name.size() == field_.size())
    return fail(kMalformedHeaderLine);
  value = withoutBlanks(value);
  if (isEqualIgnoringASCIICase(name, "content-length"))
    parseContentLength(value);
  else if (isEqualIgnoringASCIICase(name, "transfer-encoding"))
    parseTransferEncoding(value);
  else if (isEqualIgnoringASCIICase(name, "content-type"))
    textEncodingName = charsetOfContentType(value);
}

// Section 6.3: a list of equal numbers counts as that number.
void HTTPReply::parseContentLength(std::string_view value) {
  forEachPiece(value, ',', [this](std::string_view piece) {
    const std::optional<uint64_t> number = numberFrom(withoutBlanks(piece), 10);
    if (!number || (contentLength_ && *contentLength_ != *number))
      contentLengthIsInvalid_ = true;
    else
      contentLength_ = number;
  });
}

// Codings other than chunked are not supported, so they are rejected; "identity", which older
// servers send, means none.
void HTTPReply::parseTransferEncoding(std::string_view value) {
  forEachPiece(value, ',', [this](std::string_view piece) {
    const std::string_view coding = withoutBlanks(piece);
    if (coding.empty() || isEqualIgnoringASCIICase(coding, "identity"))
      return;
    if (isChunked_ || !isEqualIgnoringASCIICase(coding, "chunked"))
      hasUnknownCoding_ = true;
    else
      isChunked_ = true;
  });
}

void HTTPReply::endHead() {
  const bool isInterim = status_ < 200;
  if (isInterim) {
    textEncodingName = std::nullopt;
    contentLength_ = std::nullopt;
    contentLengthIsInvalid_ = isChunked_ = hasUnknownCoding_ = false;
    expect_ = Expect::statusLine;
    return;
  }
  lineBytes_ = 0;
  const bool hasNoBody = status_ == 204 || status_ == 304;
  if (hasNoBody) {
    state_ = State::complete;
  } else if (contentLengthIsInvalid_) {
    fail(kInvalidContentLength);
  } else if (hasUnknownCoding_) {
    fail(kUnknownCoding);
  } else if (isChunked_) {
    expect_ = Expect::chunkSize;
  } else if (!contentLength_) {
    expect_ = Expect::bodyToEnd;
    remaining_ = UINT64_MAX;
  } else {
    expect_ = Expect::bodyOfLength;
    remaining_ = *contentLength_;
    if (remaining_ == 0)
      state_ = State::complete;
  }
}

// Hexadecimal digits and, after a ";", extensions, which are ignored.
void HTTPReply::parseChunkSize(std::string_view line) {
  const std::optional<uint64_t> size = numberFrom(withoutBlanks(cutPiece(line, ';')), 16);
  if (!size)
    return fail(kInvalidChunkSize);
  remaining_ = *size;
  expect_ = *size == 0 ? Expect::trailerLine : Expect::chunkData;
}

String charsetOfContentType(std::string_view contentType) {
  cutPiece(contentType, ';');  // the media type
  while (!contentType.empty()) {
    const size_t end = std::min(contentType.find_first_of("=;"), contentType.size());
    const std::string_view name = withoutBlanks(contentType.substr(0, end));
    contentType.remove_prefix(end);
    std::string value;
    const bool isGiven = cutParameterValue(contentType, value);
    cutPiece(contentType, ';');
    if (isGiven && isEqualIgnoringASCIICase(name, "charset"))
      return initWithDataEncoding(value, kISOLatin1TextEncoding);
  }
  return std::nullopt;
}

}  // namespace quintora
