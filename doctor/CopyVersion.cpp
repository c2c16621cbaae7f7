#include "doctor/CopyVersion.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "extras/Message.h"
#include "extras/NSString.h"
#include "extras/Pieces.h"
#include "platform/Process.h"

namespace quintora {

namespace {

// In the bridge's file: this, the version and a NUL.
constexpr std::string_view kMark = "Quintora.cgi ";
constexpr size_t kLongestMark = 64;

// The version in a mark that is whole; empty without one.
std::string_view versionInBytes(std::string_view bytes) {
  for (size_t at = bytes.find(kMark); at != bytes.npos; at = bytes.find(kMark, at + 1)) {
    const std::string_view rest = bytes.substr(at + kMark.size());
    const size_t end = rest.find_first_not_of("0123456789.");
    if (end != 0 && end != rest.npos && rest[end] == '\0')
      return rest.substr(0, end);
  }
  return {};
}

// Piece by piece, for the file may be anything. A mark may lie across two pieces.
std::string versionInFile(std::FILE* file) {
  std::string bytes;
  char piece[16 << 10];
  while (const size_t count = std::fread(piece, 1, sizeof piece, file)) {
    bytes.erase(0, bytes.size() - std::min(bytes.size(), kLongestMark));
    bytes.append(piece, count);
    if (const std::string_view version = versionInBytes(bytes); !version.empty())
      return std::string(version);
  }
  return {};
}

// Whether the first of two versions, numbers with dots between them, is lower.
bool isOlder(std::string_view version, std::string_view other) {
  while (!version.empty() || !other.empty()) {
    const int64_t number = integerValue(std::string(cutPiece(version, '.')));
    const int64_t otherNumber = integerValue(std::string(cutPiece(other, '.')));
    if (number != otherNumber)
      return number < otherNumber;
  }
  return false;
}

Finding findingOfAge(std::string found) {
  return {Weight::surprises, std::move(found), "An upgrade may not have reached this copy.",
          "Replace the copy by the installed bridge, or by a link to it, which is upgraded with "
          "it."};
}

void reportReadVersion(Report& report, std::string_view version) {
  if (version.empty())
    return report.finding(findingOfAge(
        "The file has no version mark: it is older than this program, or not the bridge."));
  report.fact(composed({"Its version is ", version, "."}));
  if (isOlder(version, PROJECT_VERSION))
    report.finding(findingOfAge(
        composed({"The copy, ", version, ", is older than this program, " PROJECT_VERSION "."})));
}

}  // namespace

void reportVersion(Report& report, const char* path) {
  std::FILE* const file = std::fopen(path, "rb");
  const std::string version = file ? versionInFile(file) : "";
  if (!file || (version.empty() && std::ferror(file)))
    report.fact(composed({"Its version cannot be read: ", systemSentence(errno), "."}));
  else
    reportReadVersion(report, version);
  if (file)
    std::fclose(file);
}

}  // namespace quintora
