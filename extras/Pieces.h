// Cuts strings at ASCII separators, without copies.
#pragma once

#include <algorithm>
#include <string_view>

namespace quintora {

// Cuts the piece before the first separator off the text, together with the separator, and returns
// the piece: all of the text where there is no separator.
inline std::string_view cutPiece(std::string_view& text, char separator) {
  const std::string_view piece = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(piece.size() + 1, text.size()));
  return piece;
}

// Calls with each piece between separators, empty ones included: always one more than there are
// separators.
template <typename Call>
void forEachPiece(std::string_view text, char separator, Call call) {
  for (size_t from = 0, end = 0; end != text.npos; from = end + 1) {
    end = text.find(separator, from);
    call(text.substr(from, end - from));
  }
}

// The text without the characters of a set at its start and end.
inline std::string_view trimmed(std::string_view text, const char* set) {
  const size_t first = text.find_first_not_of(set);
  if (first == text.npos)
    return {};
  return text.substr(first, text.find_last_not_of(set) - first + 1);
}

}  // namespace quintora
