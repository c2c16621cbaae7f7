#include "doctor/StoredKeys.h"

#include <algorithm>

#include "extras/Characters.h"
#include "extras/Message.h"
#include "extras/NSString+Extras.h"
#include "extras/Pieces.h"

namespace quintora {

namespace {

constexpr std::string_view kKeys[] = {"QZCGIConnectionProtocol", "QZQuintoraServerPort",
                                      "QZQuintoraCloudServerPorts"};

// At most this many wrong, missing or extra letters make a key a misspelling of another.
constexpr size_t kMostMistakes = 3;

// The Levenshtein distance between two keys, ignoring case.
size_t mistakesBetween(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j < row.size(); ++j)
    row[j] = j;
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = row[0]++;
    for (size_t j = 0; j < b.size(); ++j) {
      const bool isSame = lowercaseASCII(a[i]) == lowercaseASCII(b[j]);
      const size_t replaced = diagonal + (isSame ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

// The key that was meant; empty when it was none of them.
std::string_view keyMeantBy(std::string_view written) {
  const size_t longest = std::size(kKeys[2]) + kMostMistakes;
  for (const std::string_view key : kKeys) {
    if (written.size() <= longest && mistakesBetween(written, key) <= kMostMistakes)
      return key;
  }
  return {};
}

bool isComment(std::string_view line) { return line.empty() || line.find_first_of("#;/") == 0; }

}  // namespace

Findings findingsOfLine(const String& source, std::string_view line) {
  line = trimmed(line, " \t");
  if (isComment(line))
    return {};
  const bool isEntry = line.find('=') != line.npos;
  const std::string_view written =
      trimmed(line.substr(0, line.find_first_of(isEntry ? "=" : " \t:")), " \t");
  const std::string_view key = keyMeantBy(written);
  if (key.empty() || (isEntry && written == key))
    return {};
  const std::string found =
      isEntry ? composed({source, " sets ", excerpt(written), ", which is nearly ", key, "."})
              : composed({source, " has a line without \"=\": ", excerpt(line), "."});
  return {{Weight::harms, found, composed({"It is ignored: ", key, " is not set by it."}),
           composed({"Write \"", key, " = VALUE\"; upper and lower case matter."})}};
}

String similarKeyOfLine(std::string_view line) {
  line = trimmed(line, " \t");
  const std::string key(trimmed(line.substr(0, line.find('=')), " \t"));
  if (isComment(line) || line.find('=') == line.npos || !keyMeantBy(key).empty())
    return std::nullopt;
  const bool isSimilar =
      caseInsensitiveContainsString(key, "port") || caseInsensitiveContainsString(key, "protocol");
  return isSimilar ? String(key) : std::nullopt;
}

}  // namespace quintora
