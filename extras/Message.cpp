#include "extras/Message.h"

#include <iterator>

#include "extras/UTF16.h"

namespace quintora {

void Piece::appendTo(std::string& text) const {
  if (!isNumber_) {
    appendUnits(text, text_);
    return;
  }
  char digits[kMostDigits];
  char* const end = std::end(digits);
  char* first = end;
  uint64_t magnitude = isNegative_ ? 0 - number_ : number_;
  do {
    *--first = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (isNegative_)
    *--first = '-';
  text.append(first, end);
}

std::string composed(std::initializer_list<Piece> pieces) {
  size_t size = 0;
  for (const Piece& piece : pieces)
    size += piece.size();
  std::string text;
  text.reserve(size);
  for (const Piece& piece : pieces)
    piece.appendTo(text);
  return text;
}

}  // namespace quintora
