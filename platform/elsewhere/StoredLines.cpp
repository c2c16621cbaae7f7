#include "platform/StoredLines.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "extras/Pieces.h"

namespace quintora {

namespace {

constexpr std::string_view kByteOrderMark = "\uFEFF";

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

std::vector<std::string> storedLines(const String&, const Preferences::Source& source) {
  std::vector<std::string> lines;
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(source.name->c_str(), "re"));
  char* line = nullptr;
  size_t room = 0;
  while (file && getline(&line, &room, file.get()) >= 0)
    lines.emplace_back(trimmed(line, "\r\n"));
  std::free(line);
  if (!lines.empty() && lines[0].compare(0, kByteOrderMark.size(), kByteOrderMark) == 0)
    lines[0].erase(0, kByteOrderMark.size());
  return lines;
}

}  // namespace quintora
