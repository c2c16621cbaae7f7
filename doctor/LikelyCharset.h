// What the bytes of a body look like, whatever the reply declares.
#pragma once

#include <optional>

#include "extras/TextEncoding.h"

namespace quintora {

struct LikelyMistake {
  const char* what;  // what the body probably is, a sentence
  const char* fix;   // what to do about it, a sentence
};

// Guesses from the bytes of a body whether it is something else than text in the charset that the
// reply declares.
std::optional<LikelyMistake> likelyMistake(std::string_view body, TextEncoding declared);

}  // namespace quintora
