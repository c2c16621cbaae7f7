// Preferences where there is no user-defaults system: the file DOMAIN.conf, UTF-8 text of
// "Key = value" lines, in the folders that version 0.8 of the XDG Base Directory rules names.
#include "platform/Preferences.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "extras/NSString.h"
#include "extras/TextEncoding.h"

namespace {

struct ConfigurationFile {
  std::string path;
  String state;            // what was found; absent until it is read
  bool isTrouble = false;  // something is there and cannot be used
  Dictionary entries;      // absent until it is read, and when it cannot be
};

// The contents of an ordinary file; absent, with errno, when they cannot be had.
std::optional<Data> contentsOfFile(const std::string& path) {
  // Opening a pipe without a writer would wait for one, and a device may have no end.
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0)
    return std::nullopt;
  Data contents;
  char buffer[4096];
  ssize_t came = -1;
  struct stat status = {};
  if (fstat(file, &status) == 0 && !S_ISREG(status.st_mode))
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  else
    while ((came = read(file, buffer, sizeof buffer)) > 0 || (came < 0 && errno == EINTR))
      contents.append(buffer, static_cast<size_t>(came > 0 ? came : 0));
  const int error = errno;
  close(file);
  errno = error;
  return came < 0 ? std::nullopt : std::optional<Data>(std::move(contents));
}

std::u16string_view withoutBlanks(std::u16string_view text) {
  constexpr std::u16string_view kBlanks = u" \t\r";  // a line may end in CR LF
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos)
    return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The entries of a file's text. Whatever is no entry, a comment for instance, is skipped.
Dictionary entriesOf(std::u16string_view text) {
  Dictionary entries(std::in_place);
  if (text.substr(0, 1) == u"\uFEFF")  // an editor's mark of UTF-8
    text.remove_prefix(1);
  while (!text.empty()) {
    const size_t end = text.find(u'\n');
    const std::u16string_view line = withoutBlanks(text.substr(0, end));
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    const size_t equals = line.find(u'=');
    if (equals == line.npos || line.front() == u'#')
      continue;
    entries->insert_or_assign(std::u16string(withoutBlanks(line.substr(0, equals))),
                              std::u16string(withoutBlanks(line.substr(equals + 1))));
  }
  return entries;
}

void readFile(ConfigurationFile& file) {
  const std::optional<Data> contents = contentsOfFile(file.path);
  const int error = errno;
  const String text = contents ? initWithDataEncoding(*contents, kUTF8TextEncoding) : std::nullopt;
  if (text) {
    file.state = u"read";
    file.entries = entriesOf(*text);
  } else if (contents) {
    file.state = u"not UTF-8, so not looked at";
    file.isTrouble = true;
  } else {
    file.isTrouble = error != ENOENT && error != ENOTDIR;
    file.state =
        file.isTrouble
            ? stringWithFormat(u"cannot be read: %@",
                               {initWithDataEncoding(std::strerror(error), kUTF8TextEncoding)})
            : u"not there";
  }
}

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

}  // namespace

struct Preferences::Store {
  std::vector<ConfigurationFile> files;  // in the order in which they are asked for a key

  // Folders that are not absolute do not count.
  void add(std::string_view folder, const std::string& name) {
    if (!folder.empty() && folder.front() == '/') {
      files.emplace_back();
      files.back().path = std::string(folder) + name;
    }
  }

  // The first file that has the key; null when none has. Files are read as they are needed.
  const ConfigurationFile* fileWith(const String& key) {
    if (!key)
      return nullptr;
    for (ConfigurationFile& file : files) {
      if (!file.state)
        readFile(file);
      if (file.entries && file.entries->count(*key) > 0)
        return &file;
    }
    return nullptr;
  }
};

Preferences::Preferences(const String& domain) : store_(std::make_unique<Store>()) {
  const std::string file = "/" + lossyUTF8Data(domain) + ".conf";
  const std::string_view home = variable("XDG_CONFIG_HOME");
  if (!home.empty())
    store_->add(home, file);
  else
    store_->add(variable("HOME"), "/.config" + file);
  std::string_view folders = variable("XDG_CONFIG_DIRS");
  if (folders.empty())
    folders = "/etc/xdg";
  while (!folders.empty()) {
    const size_t end = folders.find(':');
    store_->add(folders.substr(0, end), file);
    folders.remove_prefix(end == folders.npos ? folders.size() : end + 1);
  }
}

Preferences::~Preferences() = default;

String Preferences::objectForKey(const String& key) {
  const ConfigurationFile* const file = store_->fileWith(key);
  return file ? file->entries->at(*key) : std::nullopt;
}

String Preferences::placeOfKey(const String& key) {
  const ConfigurationFile* const file = store_->fileWith(key);
  return file ? stringWithFileSystemRepresentation(file->path) : std::nullopt;
}

std::vector<Preferences::Place> Preferences::places() const {
  std::vector<Place> places;
  for (const ConfigurationFile& file : store_->files) {
    places.push_back({stringWithFileSystemRepresentation(file.path),
                      file.state ? file.state : u"not needed", file.isTrouble});
  }
  return places;
}
