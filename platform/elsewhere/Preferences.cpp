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
#include "extras/Pieces.h"
#include "extras/TextEncoding.h"

namespace quintora {

namespace {

struct ConfigurationFile {
  std::string path;
  bool isRead = false;
  int error = 0;       // why it could not be read
  Dictionary entries;  // absent until it is read, and when it cannot be or is not UTF-8
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
  char buffer[4096];
  ssize_t came;
  while (contents.size() < static_cast<size_t>(status.st_size) &&
         (came = read(file, buffer, sizeof buffer)) != 0) {
    if (came > 0)
      contents.append(buffer, static_cast<size_t>(came));
    else if (errno != EINTR)
      return false;
  }
  return true;
}

// The entries of a file's text. Whatever is no entry, a comment for instance, is skipped.
Dictionary entriesOf(std::u16string_view text) {
  constexpr const char16_t* kBlanks = u" \t\r";  // a line may end in CR LF
  Dictionary entries(std::in_place);
  if (text.substr(0, 1) == u"\uFEFF")  // an editor's mark of UTF-8
    text.remove_prefix(1);
  forEachPiece(text, u'\n', [&entries](std::u16string_view piece) {
    std::u16string_view value = trimmed(piece, kBlanks);
    if (value.find(u'=') == value.npos || value.front() == u'#')
      return;
    const std::u16string_view key = trimmed(cutPiece(value, u'='), kBlanks);
    entries->insert_or_assign(std::u16string(key), std::u16string(trimmed(value, kBlanks)));
  });
  return entries;
}

void readFile(ConfigurationFile& file) {
  file.isRead = true;
  // Opening a pipe without a writer would wait for one.
  const int descriptor = open(file.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  Data contents;
  if (descriptor < 0 || !readAll(descriptor, contents))
    file.error = errno;
  if (descriptor >= 0)
    close(descriptor);
  if (file.error != 0)
    return;
  const String text = initWithDataEncoding(contents, kUTF8TextEncoding);
  if (text)
    file.entries = entriesOf(*text);
}

// What was found, for the explanation.
Preferences::Place placeOf(const ConfigurationFile& file) {
  const String name = stringWithFileSystemRepresentation(file.path);
  if (!file.isRead)
    return {name, u"not needed", false};
  if (file.entries)
    return {name, u"read", false};
  if (file.error == 0)
    return {name, u"not UTF-8, so not looked at", true};
  if (file.error == ENOENT || file.error == ENOTDIR)
    return {name, u"not there", false};
  const String reason = initWithDataEncoding(std::strerror(file.error), kUTF8TextEncoding);
  return {name, stringWithFormat(u"cannot be read: %@", {reason}), true};
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
      if (!file.isRead)
        readFile(file);
      if (file.entries && file.entries->find(*key))
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
  forEachPiece(folders, ':', [&](std::string_view folder) { store_->add(folder, file); });
}

Preferences::~Preferences() = default;

String Preferences::objectForKey(const String& key) {
  const ConfigurationFile* const file = store_->fileWith(key);
  return file ? *file->entries->find(*key) : std::nullopt;
}

String Preferences::placeOfKey(const String& key) {
  const ConfigurationFile* const file = store_->fileWith(key);
  return file ? stringWithFileSystemRepresentation(file->path) : std::nullopt;
}

std::vector<Preferences::Place> Preferences::places() const {
  std::vector<Place> places;
  for (const ConfigurationFile& file : store_->files)
    places.push_back(placeOf(file));
  return places;
}

}  // namespace quintora
