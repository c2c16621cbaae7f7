#include "doctor/CopyVersion.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "extras/Message.h"
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

std::string sentence(std::FILE* file) {
  const std::string version = versionInFile(file);
  if (!version.empty())
    return composed({"Its version is ", version, "."});
  if (std::ferror(file))
    return composed({"Its version cannot be read: ", systemSentence(errno), "."});
  return "The file has no version mark: it is older than this program, or not the bridge.";
}

}  // namespace

std::string versionOfCopy(const char* path) {
  std::FILE* file = std::fopen(path, "rb");
  if (!file)
    return composed({"Its version cannot be read: ", systemSentence(errno), "."});
  std::string said = sentence(file);
  std::fclose(file);
  return said;
}

}  // namespace quintora
