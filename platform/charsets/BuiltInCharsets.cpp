#include "platform/charsets/BuiltInCharsets.h"

#include <algorithm>
#include <iterator>

#include "extras/BlockWriter.h"
#include "extras/Characters.h"
#include "platform/charsets/Decoders.h"

namespace quintora {

namespace {

char* putPiece(char* to, const Piece& piece) {
  if (piece.character != kNothing)
    to = putUTF8(to, piece.character);
  return piece.combining == kNothing ? to : putUTF8(to, piece.combining);
}

// Between two blocks at most so many pieces are read, of two characters at most.
constexpr ptrdiff_t kPiecesAtOnce = 8;
static_assert(kPiecesAtOnce * 2 * 4 <= BlockWriter<char>::kMostAtOnce);

// `next` makes a piece of the front of some bytes, and nothing of those that do not fit.
template <typename Next>
std::optional<Data> decodedBy(Next next, std::string_view bytes) {
  Data text;
  text.reserve(bytes.size());  // much of most texts is markup; for more, a string makes room
  BlockWriter<char> writer(text);
  while (!bytes.empty()) {
    char* to = writer.place();
    for (ptrdiff_t i = 0; i < kPiecesAtOnce && !bytes.empty(); ++i) {
      const Piece piece = next(bytes);
      if (piece.bytes == 0)
        return std::nullopt;
      to = putPiece(to, piece);
      bytes.remove_prefix(piece.bytes);
    }
    writer.wroteUpTo(to);
  }
  writer.flush();
  return text;
}

// By a decoder that starts with a byte that is not ASCII.
template <typename Next>
std::optional<Data> decodedBeyondASCII(Next next, std::string_view bytes) {
  return decodedBy(
      [next](std::string_view rest) {
        const unsigned byte = byteAt(rest, 0);
        return byte < 0x80 ? Piece{1, byte} : next(rest);
      },
      bytes);
}

std::optional<Data> decodedBySingleBytes(std::string_view bytes, TextEncoding encoding) {
  const auto* const charset =
      std::find_if(std::begin(kSingleByteCharsets), std::end(kSingleByteCharsets),
                   [=](const SingleByteCharset& known) { return known.encoding == encoding; });
  if (charset == std::end(kSingleByteCharsets))
    return std::nullopt;
  return decodedBeyondASCII(
      [charset](std::string_view rest) {
        return pieceOf(1, charset->characters[byteAt(rest, 0) - 0x80]);
      },
      bytes);
}

}  // namespace

bool isBuiltInCharset(TextEncoding encoding) {
  // Every one of them can decode the empty text, and no other identifier can.
  return decodedByOurselves({}, encoding).has_value();
}

String decodedByOurselves(std::string_view bytes, TextEncoding encoding) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (encoding == kUTF8TextEncoding && bytes.substr(0, kByteOrderMark.size()) == kByteOrderMark)
    bytes.remove_prefix(kByteOrderMark.size());
  if (isBuiltInTextEncoding(encoding))
    return initWithDataEncoding(bytes, encoding);
  const std::optional<Data> text = decodedToUTF8(bytes, encoding);
  return text ? initWithDataEncoding(*text, kUTF8TextEncoding) : std::nullopt;
}

std::optional<Data> decodedToUTF8(std::string_view bytes, TextEncoding encoding) {
  switch (encoding) {
    case kEUCJPTextEncoding:
      return decodedBeyondASCII(eucJPPiece, bytes);
    case kShiftJISTextEncoding:
      return decodedBeyondASCII(shiftJISPiece, bytes);
    case kISO2022JPTextEncoding:
      return decodedBy([decoder = ISO2022JPDecoder()](
                           std::string_view rest) mutable { return decoder.next(rest); },
                       bytes);
    case kEUCKRTextEncoding:
      return decodedBeyondASCII(eucKRPiece, bytes);
    case kWindowsKoreanTextEncoding:
      return decodedBeyondASCII(windowsKoreanPiece, bytes);
    case kGB2312TextEncoding:
      return decodedBeyondASCII(gb2312Piece, bytes);
    case kGB18030TextEncoding:
      return decodedBeyondASCII(gb18030Piece, bytes);
    case kBig5TextEncoding:
      return decodedBeyondASCII(big5Piece, bytes);
    default:
      return decodedBySingleBytes(bytes, encoding);
  }
}

}  // namespace quintora
