// Preferences files. A plain reader of the same files finds the same values under the same keys.
#include "platform/Preferences.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>

#include "fuzz/Fuzz.h"
#include "fuzz/PlainText.h"

namespace quintora {

namespace {

// What stands between the two files in an input.
constexpr std::string_view kNextFile = "\n---\n";

// A file that is written anew for each input.
class File {
 public:
  explicit File(const std::string& folder) : folder_(folder) {
    require(mkdir(folder.c_str(), 0700) == 0, "there is room for a folder");
    file_ = open(path().c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    require(file_ >= 0, "there is room for a file");
  }
  ~File() {
    close(file_);
    unlink(path().c_str());
    rmdir(folder_.c_str());
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  void write(std::string_view contents) {
    const off_t size = static_cast<off_t>(contents.size());
    require(
        ftruncate(file_, size) == 0 && pwrite(file_, contents.data(), contents.size(), 0) == size,
        "the file can be written");
  }

 private:
  std::string path() const { return folder_ + "/org.example.Server.conf"; }

  const std::string folder_;
  int file_;
};

// The two places in which the preferences are looked for.
struct Places {
  Places() : first(folder() + "/first"), second(folder() + "/second") {
    setenv("XDG_CONFIG_HOME", (folder() + "/first").c_str(), 1);
    setenv("XDG_CONFIG_DIRS", (folder() + "/second").c_str(), 1);
  }
  ~Places() { rmdir(folder().c_str()); }

  static const std::string& folder() {
    static const std::string name = [] {
      const char* const temporary = std::getenv("TMPDIR");
      std::string pattern = std::string(temporary ? temporary : "/tmp") + "/fuzz-XXXXXX";
      require(mkdtemp(pattern.data()) != nullptr, "there is room for a folder");
      return pattern;
    }();
    return name;
  }

  File first;
  File second;
};

// All in UTF-8.
using Values = std::map<std::string, std::string>;

std::string withoutBlanks(std::string text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (!text.empty() && isBlank(text.front()))
    text.erase(0, 1);
  while (!text.empty() && isBlank(text.back()))
    text.pop_back();
  return text;
}

Values plainValues(std::string contents) {
  Values values;
  if (!plain::isUTF8(contents))
    return values;
  if (contents.compare(0, 3, "\xEF\xBB\xBF") == 0)
    contents.erase(0, 3);
  std::string line;
  for (const char c : contents + "\n") {
    if (c != '\n') {
      line += c;
      continue;
    }
    line = withoutBlanks(line);
    const size_t equals = line.find('=');
    if (equals != line.npos && line[0] != '#')
      values[withoutBlanks(line.substr(0, equals))] = withoutBlanks(line.substr(equals + 1));
    line.clear();
  }
  return values;
}

using State = Preferences::Source::State;

State plainState(const std::string& contents) {
  return plain::isUTF8(contents) ? State::read : State::notUTF8;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static Places places;
  const std::string_view input = inputText(bytes, size);
  const size_t middle = std::min(input.find(kNextFile), input.size());
  const std::string first(input.substr(0, middle));
  const std::string second(input.substr(std::min(middle + kNextFile.size(), input.size())));
  places.first.write(first);
  places.second.write(second);

  const Values later = plainValues(second);
  Values expected = plainValues(first);  // for each key the first file that has it
  expected.insert(later.begin(), later.end());

  Preferences preferences("org.example.Server");
  for (const auto& [key, value] : expected)
    require(preferences.objectForKey(key) == value, "each entry is found under its key");
  for (const char* key : {"QZQuintoraServerPort", "", "a", "#"})
    require(preferences.objectForKey(key).has_value() == (expected.count(key) > 0),
            "nothing is found under another key");
  require(!preferences.objectForKey(std::nullopt), "nothing is stored under no key");
  const std::vector<Preferences::Source> sources = preferences.sources();
  require(sources.size() == 2, "each file is a source");
  for (const Preferences::Source& source : sources)
    require(source.name && source.error == 0, "each source is named and can be read");
  require(sources[0].state == plainState(first), "the first file has been looked at");
  require(sources[1].state == State::notNeeded || sources[1].state == plainState(second),
          "the second file has been looked at if that was needed");
  return 0;
}

}  // namespace quintora
