// Preferences where there is no user-defaults system: the file DOMAIN.conf, UTF-8 text of "Key =
// value" lines, in the directories of the XDG Base Directory rules, version 0.8.
#include "platform/Preferences.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "extras/Message.h"
#include "extras/NSString.h"
#include "extras/Pieces.h"
#include "platform/posix/Descriptors.h"

namespace quintora {

namespace {

using State = Preferences::Source::State;

struct ConfigurationFile {
  std::string path;
  State state = State::notNeeded;
  int error = 0;
  Data contents;
};

// Reads all of an open file; false with errno.
bool readAll(int file, Data& contents) {
  struct stat status = {};
  if (fstat(file, &status) < 0)
    return false;
  if (!S_ISREG(status.st_mode)) {  // a device may have no end
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
  }
  contents.resize(static_cast<size_t>(status.st_size));
  size_t done = 0;
  ssize_t count = 1;
  while (count > 0 && done < contents.size()) {
    count = uninterrupted([&] { return read(file, &contents[done], contents.size() - done); });
    done += static_cast<size_t>(std::max<ssize_t>(count, 0));
  }
  contents.resize(done);
  return count >= 0;
}

// The value of a key in a file's text, the last one of several; absent if there is none. Lines that
// are not entries, such as comments, are skipped.
std::optional<std::string_view> valueIn(std::string_view text, std::string_view key) {
  constexpr const char* kBlanks = " \t\r";  // a line may end in CR LF
  std::optional<std::string_view> found;
  forEachPiece(text, '\n', [&](std::string_view line) {
    std::string_view value = trimmed(line, kBlanks);
    if (value.find('=') != value.npos && value.front() != '#' &&
        trimmed(cutPiece(value, '='), kBlanks) == key)
      found = trimmed(value, kBlanks);
  });
  return found;
}

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty())
    lines.emplace_back(trimmed(cutPiece(text, '\n'), "\r"));
  return lines;
}

void removeByteOrderMark(Data& text) {
  constexpr std::string_view kByteOrderMark = "\uFEFF";  // an editor's mark of UTF-8
  if (text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0)
    text.erase(0, kByteOrderMark.size());
}

State stateOfError(int error) {
  return error == ENOENT || error == ENOTDIR ? State::absent : State::unreadable;
}

void readFile(ConfigurationFile& file) {
  // O_NONBLOCK: opening a pipe would wait for a writer.
  const Descriptor opened(openat(AT_FDCWD, file.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (opened.number() < 0)
    file.error = opened.error();
  else if (!readAll(opened.number(), file.contents))
    file.error = errno;
  if (file.error != 0)
    file.state = stateOfError(file.error);
  else
    file.state = isValidUTF8(file.contents) ? State::read : State::notUTF8;
  if (file.state == State::read)
    removeByteOrderMark(file.contents);
  else
    file.contents.clear();
}

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

struct Preferences::Store {
  std::vector<ConfigurationFile> files;  // in the order of precedence

  // Relative paths are ignored.
  void add(std::string_view folder, const std::string& name) {
    if (!folder.empty() && folder.front() == '/') {
      files.emplace_back();
      files.back().path = std::string(folder) + name;
    }
  }

  struct Found {
    const ConfigurationFile& file;
    std::string_view value;
  };

  // The value in the first file that sets the key; absent when none does. A file is read when it is
  // first needed.
  std::optional<Found> find(const String& key) {
    for (ConfigurationFile& file : files) {
      if (file.state == State::notNeeded)
        readFile(file);
      if (const auto value = key ? valueIn(file.contents, *key) : std::nullopt)
        return Found{file, *value};
    }
    return std::nullopt;
  }
};

Preferences::Preferences(const String& domain) : store_(std::make_unique<Store>()) {
  const std::string file = composed({"/", domain, ".conf"});
  const std::string_view home = variable("XDG_CONFIG_HOME");
  if (!home.empty())
    store_->add(home, file);
  else
    store_->add(variable("HOME"), "/.config" + file);
  std::string_view folders = variable("XDG_CONFIG_DIRS");
  if (folders.empty())
    folders = "/etc/xdg";
  forEachPiece(folders, ':', [&](std::string_view folder) { store_->add(folder, file); });
}

Preferences::~Preferences() = default;

String Preferences::objectForKey(const String& key) {
  const auto found = store_->find(key);
  return found ? String(found->value) : std::nullopt;
}

std::vector<Preferences::Source> Preferences::sources() const {
  std::vector<Source> sources;
  for (const ConfigurationFile& file : store_->files)
    sources.push_back({stringWithFileSystemRepresentation(file.path), file.state, file.error,
                       linesOf(file.contents)});
  return sources;
}

String Preferences::sourceOfKey(const String& key) {
  const auto found = store_->find(key);
  return found ? stringWithFileSystemRepresentation(found->file.path) : std::nullopt;
}

}  // namespace quintora
