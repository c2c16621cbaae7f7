#include "platform/charsets/BuiltInCharsets.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "extras/Characters.h"
#include "platform/charsets/Decoders.h"

namespace quintora {

namespace {

char* putSequence(char* to, const Sequence& sequence) {
  if (sequence.character != kNothing)
    to = putUTF8(to, sequence.character);
  return sequence.combining == kNothing ? to : putUTF8(to, sequence.combining);
}

// The most that the text can take: three bytes for each byte that is not ASCII. Unused room is
// never touched, so it costs nothing.
size_t mostBytesOf(std::string_view bytes) {
  const auto beyondASCII = std::count_if(
      bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  return bytes.size() + 2 * static_cast<size_t>(beyondASCII);
}

// `next` reads the sequence at the front of the bytes. The text is written by way of a block that
// stays in the processor's cache.
template <typename Next>
std::optional<Data> decodedBy(Next next, std::string_view bytes) {
  constexpr ptrdiff_t kLongestText = 8;  // of a sequence: two characters
  char block[4096];
  Data text;
  text.reserve(mostBytesOf(bytes));
  while (!bytes.empty()) {
    char* to = block;
    while (!bytes.empty() && std::end(block) - to >= kLongestText) {
      const Sequence sequence = next(bytes);
      if (sequence.bytes == 0)
        return std::nullopt;
      to = putSequence(to, sequence);
      bytes.remove_prefix(sequence.bytes);
    }
    text.append(block, to);
  }
  return text;
}

// For a function that reads sequences which begin with a byte that is not ASCII.
template <typename Next>
std::optional<Data> decodedBeyondASCII(Next next, std::string_view bytes) {
  return decodedBy(
      [next](std::string_view rest) {
        const unsigned byte = byteAt(rest, 0);
        return byte < 0x80 ? Sequence{1, byte} : next(rest);
      },
      bytes);
}

// For a decoder with a state.
template <typename Decoder>
std::optional<Data> decodedByStates(std::string_view bytes) {
  return decodedBy(
      [decoder = Decoder()](std::string_view rest) mutable { return decoder.next(rest); }, bytes);
}

// The result for charsets that browsers do not decode, because bytes that pass a filter as text
// could become markup: a single U+FFFD instead of any content.
Data replacement(std::string_view bytes) { return bytes.empty() ? "" : "\xEF\xBF\xBD"; }

std::optional<Data> decodedBySingleBytes(std::string_view bytes, TextEncoding encoding) {
  const auto* const charset =
      std::find_if(std::begin(kSingleByteCharsets), std::end(kSingleByteCharsets),
                   [=](const SingleByteCharset& known) { return known.encoding == encoding; });
  if (charset == std::end(kSingleByteCharsets))
    return std::nullopt;
  return decodedBeyondASCII(
      [charset](std::string_view rest) {
        return sequenceOf(1, charset->characters[byteAt(rest, 0) - 0x80]);
      },
      bytes);
}

}  // namespace

bool isBuiltInCharset(TextEncoding encoding) {
  // Each of them decodes the empty string, and no other identifier does.
  return decodedByOurselves({}, encoding).has_value();
}

String decodedByOurselves(Data bytes, TextEncoding encoding) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (encoding == kUTF8TextEncoding && bytes.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0)
    bytes.erase(0, kByteOrderMark.size());
  return isBuiltInTextEncoding(encoding) ? initWithDataEncoding(std::move(bytes), encoding)
                                         : decodedToUTF8(bytes, encoding);
}

std::optional<Data> decodedToUTF8(std::string_view bytes, TextEncoding encoding) {
  switch (encoding) {
    case kEUCJPTextEncoding:
      return decodedBeyondASCII(eucJPSequence, bytes);
    case kShiftJISTextEncoding:
      return decodedBeyondASCII(shiftJISSequence, bytes);
    case kISO2022JPTextEncoding:
      return decodedByStates<ISO2022JPDecoder>(bytes);
    case kISO2022KRTextEncoding:
      return decodedByStates<ISO2022KRDecoder>(bytes);
    case kHZTextEncoding:
      return decodedByStates<HZDecoder>(bytes);
    case kEUCKRTextEncoding:
      return decodedBeyondASCII(eucKRSequence, bytes);
    case kWindowsKoreanTextEncoding:
      return decodedBeyondASCII(windowsKoreanSequence, bytes);
    case kGB2312TextEncoding:
      return decodedBeyondASCII(gb2312Sequence, bytes);
    case kGB18030TextEncoding:
      return decodedBeyondASCII(gb18030Sequence, bytes);
    case kBig5TextEncoding:
      return decodedBeyondASCII(big5Sequence, bytes);
    case kReplacementTextEncoding:
      return replacement(bytes);
    default:
      return decodedBySingleBytes(bytes, encoding);
  }
}

}  // namespace quintora
