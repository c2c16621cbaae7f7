#include "platform/URL.h"

#include <algorithm>

#include "extras/Characters.h"
#include "extras/TextEncoding.h"

namespace quintora {

namespace {

bool isHostCharacter(char c) { return isASCIIDigit(c) || isASCIILetter(c) || c == '-' || c == '.'; }

// Reserved and unreserved characters; the bridge writes no escapes.
bool isPathCharacter(char c) {
  return isHostCharacter(c) ||
         std::string_view("_~!$&'()*+,;=:@/?#[]").find(c) != std::string_view::npos;
}

// Takes the characters at the start of the text that satisfy the test.
template <typename Test>
std::string take(std::string_view& text, Test test) {
  const auto end = std::find_if_not(text.begin(), text.end(), test);
  std::string taken(text.begin(), end);
  text.remove_prefix(taken.size());
  return taken;
}

}  // namespace

std::optional<URL> URLWithString(const String& text) {
  constexpr std::string_view kScheme = "http://";
  const Data bytes = lossyUTF8Data(text);
  std::string_view rest = bytes;
  if (rest.substr(0, kScheme.size()) != kScheme)
    return std::nullopt;
  rest.remove_prefix(kScheme.size());
  URL url;
  url.host = take(rest, isHostCharacter);
  const std::string colon = take(rest, [](char c) { return c == ':'; });
  url.port = take(rest, isASCIIDigit<char>);
  if (url.host.empty() || colon != ":" || url.port.empty() || rest.substr(0, 1) != "/")
    return std::nullopt;
  url.path = take(rest, isPathCharacter);
  if (!rest.empty())
    return std::nullopt;
  return url;
}

}  // namespace quintora
