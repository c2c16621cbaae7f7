// A folder of a test's own, and variables of the environment for as long as the test lasts.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace quintora {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "platform-test-XXXXXX";
    if (const char* const made = mkdtemp(name.data()))
      path_ = std::filesystem::canonical(made);
  }
  ~TemporaryFolder() {
    if (!path_.empty())
      std::filesystem::remove_all(path_);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// Writes a file, and the folders that it stands in.
inline void writeFile(const std::filesystem::path& file, std::string_view contents) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << contents;
}

// Sets variables and puts all of them back in the end.
class ScopedEnvironment {
 public:
  ScopedEnvironment() = default;
  ~ScopedEnvironment() {
    for (const auto& [name, value] : before_)
      apply(name, value);
  }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  // An absent value removes the variable.
  void set(const std::string& name, const std::optional<std::string>& value) {
    const char* const before = std::getenv(name.c_str());
    before_.emplace(name, before ? std::optional<std::string>(before) : std::nullopt);
    apply(name, value);
  }

 private:
  static void apply(const std::string& name, const std::optional<std::string>& value) {
    if (value)
      setenv(name.c_str(), value->c_str(), 1);
    else
      unsetenv(name.c_str());
  }

  std::map<std::string, std::optional<std::string>> before_;
};

}  // namespace quintora
