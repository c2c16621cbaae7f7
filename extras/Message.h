// Sentences with values in them. The compiler checks that their number is right; there is no format
// string to parse at run time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <type_traits>

#include "extras/String.h"

namespace quintora {

// A piece of a sentence: characters, a String (kAbsentText if absent) or an integer in decimal. It
// refers to its argument, so it must not outlive the call.
class Piece {
 public:
  Piece(const char* text) : text_(text) {}
  Piece(std::string_view text) : text_(text) {}
  Piece(const std::string& text) : text_(text) {}
  Piece(const String& text) : text_(text ? std::string_view(*text) : kAbsentText) {}
  Piece(std::nullptr_t) = delete;
  template <typename Integer, typename = std::enable_if_t<std::is_integral_v<Integer> &&
                                                          !std::is_same_v<Integer, bool> &&
                                                          !std::is_same_v<Integer, char>>>
  Piece(Integer number)
      : isNumber_(true), isNegative_(number < 0), number_(static_cast<uint64_t>(number)) {}

  void appendTo(std::string& text) const;
  size_t size() const { return isNumber_ ? kMostDigits : text_.size(); }

 private:
  static constexpr size_t kMostDigits = 20;  // of a 64-bit integer, its sign included

  std::string_view text_;
  bool isNumber_ = false;
  bool isNegative_ = false;
  uint64_t number_ = 0;
};

// Joins the pieces.
std::string composed(std::initializer_list<Piece> pieces);

// A sentence with this number of values: the texts before, between and after them.
template <size_t Values>
struct Message {
  std::string_view texts[Values + 1];

  // Takes as many arguments as there are values.
  template <typename... Value, typename = std::enable_if_t<sizeof...(Value) == Values>>
  std::string operator()(const Value&... values) const {
    size_t next = 0;
    std::string text(texts[next]);
    (..., (Piece(values).appendTo(text), text += texts[++next]));
    return text;
  }
};

}  // namespace quintora
