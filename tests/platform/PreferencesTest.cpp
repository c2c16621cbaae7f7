// The preferences where they are files: what a file says, and which file holds.
#include "platform/Preferences.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/TemporaryFolder.h"

namespace quintora {

namespace {

using std::filesystem::path;

const std::string kDomain = "com.example.Server";
const std::string kFile = kDomain + ".conf";

// Finds nothing anywhere until a test puts something there.
class PreferencesTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(folder.path().empty());
    for (const path& each : {home, first, second})
      std::filesystem::create_directories(each);
    environment.set("HOME", folder.path() / "nowhere");
    environment.set("XDG_CONFIG_HOME", home);
    environment.set("XDG_CONFIG_DIRS", first.string() + ":" + second.string());
  }

  static String valueOf(const String& key) {
    return Preferences("com.example.Server").objectForKey(key);
  }

  const TemporaryFolder folder;
  const path home = folder.path() / "home";
  const path first = folder.path() / "first";
  const path second = folder.path() / "second";
  ScopedEnvironment environment;
};

TEST_F(PreferencesTest, AFileHasLinesOfKeyAndValue) {
  const struct {
    std::string contents;
    String key, value;
  } rows[] = {
      {"Key = value\n", "Key", "value"},
      {"Key=value\n", "Key", "value"},
      {"Key = value", "Key", "value"},  // the last line needs no end
      {"A = 1\nKey = value\nB = 2\n", "Key", "value"},
      {"Other = value\n", "Key", std::nullopt},
      {"Key = value\n", "key", std::nullopt},
      {"Key = value\n", "Ke", std::nullopt},
      {"Key = value\n", "Keys", std::nullopt},
      {"", "Key", std::nullopt},
      // Blanks around key and value are dropped, those within stay.
      {"  Key   =   value  \n", "Key", "value"},
      {"\tKey\t=\tvalue\t\n", "Key", "value"},
      {"My Key = a  b\n", "My Key", "a  b"},
      {"Key =  8081:9081, sales:9002 \n", "Key", "8081:9081, sales:9002"},
      {"Key = value\r\nOther = x\r\n", "Key", "value"},
      {"Other = x\r\nKey =\r\n", "Key", ""},
      // The first "=" ends the key.
      {"Key = a=b = c\n", "Key", "a=b = c"},
      {"Key == value\n", "Key", "= value"},
      // An empty value is a value.
      {"Key =\n", "Key", ""},
      {"Key = \t \n", "Key", ""},
      {"Key=", "Key", ""},
      // Empty lines and comments are skipped.
      {"\n\n  \n\t\n\r\nKey = value\n\n", "Key", "value"},
      {"# Key = comment\n#\nKey = value\n#Key = comment\n", "Key", "value"},
      {"# Key = comment\n", "Key", std::nullopt},
      {"# without an equals sign\nKey = value\n", "Key", "value"},
      {"Key = # value\n", "Key", "# value"},
      {"Key = a # b\n", "Key", "a # b"},
      // The last line for a key holds.
      {"Key = 1\nOther = 2\nKey = 3\n", "Key", "3"},
      {"Key = 1\nKey =\n", "Key", ""},
      // The text is UTF-8.
      {"Stra\xC3\x9F"
       "e = \xE6\x97\xA5\xF0\x9F\x92\xA9\n",
       "Stra\u00DFe", "\u65E5\U0001F4A9"},
      {"Key = caf\xC3\xA9\n", "Key", "caf\u00E9"},
  };
  for (const auto& row : rows) {
    writeFile(home / kFile, row.contents);
    EXPECT_EQ(valueOf(row.key), row.value) << testing::PrintToString(row.contents);
  }
}

TEST_F(PreferencesTest, ALineWithoutAnEqualsSignCountsAsAbsent) {
  const struct {
    std::string contents;
    String value;
  } rows[] = {
      {"Key\n", std::nullopt},
      {"Key value\n", std::nullopt},
      {"no equals sign\nKey = value\n", "value"},
      {"Key = value\nno equals sign\n", "value"},
      {"Key = value\nKey\n", "value"},
  };
  for (const auto& row : rows) {
    writeFile(home / kFile, row.contents);
    EXPECT_EQ(valueOf("Key"), row.value) << testing::PrintToString(row.contents);
  }
}

TEST_F(PreferencesTest, AFileThatIsNotUTF8CountsAsAbsent) {
  writeFile(first / kFile, "Key = from the next folder\n");
  for (const std::string contents :
       {"Key = caf\xE9\n", "Key = value\nOther = \xFF\n", "# \xC3\nKey = value\n",
        "Key = value\n\xED\xA0\x80 = x\n", "Key = value \xE6\x97"}) {
    writeFile(home / kFile, contents);
    EXPECT_EQ(valueOf("Key"), "from the next folder") << testing::PrintToString(contents);
  }
}

TEST_F(PreferencesTest, AFileThatCannotBeReadCountsAsAbsent) {
  writeFile(first / kFile, "Key = from the next folder\n");
  const path file = home / kFile;
  const struct {
    const char* what;
    void (*make)(const path&);
  } rows[] = {
      {"no file", [](const path&) {}},
      {"a folder", [](const path& at) { std::filesystem::create_directory(at); }},
      {"a link to itself", [](const path& at) { std::filesystem::create_symlink(at, at); }},
      {"a link to nothing", [](const path& at) { std::filesystem::create_symlink("none", at); }},
      {"a file in the place of the folder",
       [](const path& at) {
         std::filesystem::remove(at.parent_path());
         writeFile(at.parent_path(), "Key = value\n");
       }},
  };
  for (const auto& row : rows) {
    std::filesystem::remove_all(file);
    row.make(file);
    EXPECT_EQ(valueOf("Key"), "from the next folder") << row.what;
  }
}

TEST_F(PreferencesTest, AFileWithoutPermissionCountsAsAbsent) {
  if (geteuid() == 0)
    GTEST_SKIP() << "Permissions do not bind the superuser.";
  writeFile(home / kFile, "Key = value\n");
  writeFile(first / kFile, "Key = from the next folder\n");
  chmod((home / kFile).c_str(), 0);
  EXPECT_EQ(valueOf("Key"), "from the next folder");
}

TEST_F(PreferencesTest, ForEachKeyTheFirstFileThatHasItHolds) {
  writeFile(home / kFile, "Everywhere = home\nEmpty =\nHome = home\n");
  writeFile(first / kFile, "Everywhere = first\nEmpty = first\nFirst = first\nBoth = first\n");
  writeFile(second / kFile,
            "Everywhere = second\nEmpty = second\nSecond = second\nBoth = second\n");
  const struct {
    String key, value;
  } rows[] = {
      {"Second", "second"}, {"Everywhere", "home"}, {"Empty", ""},          {"Home", "home"},
      {"First", "first"},   {"Both", "first"},      {"None", std::nullopt},
  };
  Preferences preferences("com.example.Server");
  for (const auto& row : rows) {
    EXPECT_EQ(preferences.objectForKey(row.key), row.value) << testing::PrintToString(row.key);
    EXPECT_EQ(valueOf(row.key), row.value) << testing::PrintToString(row.key);
  }
}

TEST_F(PreferencesTest, TheFileIsNamedAfterTheDomain) {
  writeFile(home / kFile, "Key = value\n");
  EXPECT_EQ(Preferences("com.example.Server").objectForKey("Key"), "value");
  EXPECT_EQ(Preferences("com.example.Serve").objectForKey("Key"), std::nullopt);
  EXPECT_EQ(Preferences("Server").objectForKey("Key"), std::nullopt);
}

TEST_F(PreferencesTest, AnAbsentKeyHasNoValue) {
  writeFile(home / kFile, "Key = value\n= empty\n");
  String key = "";
  key.reset();  // what lies in its place may still look like a text
  EXPECT_EQ(valueOf(key), std::nullopt);
}

TEST_F(PreferencesTest, AMarkOfUTF8IsNoPartOfTheFirstKey) {
  writeFile(home / kFile, "\xEF\xBB\xBFKey = value\n");
  EXPECT_EQ(valueOf("Key"), "value");
}

TEST_F(PreferencesTest, EachFileIsReadOnce) {
  writeFile(home / kFile, "A = 1\nB = 2\n");
  Preferences preferences("com.example.Server");
  EXPECT_EQ(preferences.objectForKey("A"), "1");
  writeFile(home / kFile, "A = 3\nB = 4\n");
  EXPECT_EQ(preferences.objectForKey("B"), "2");
}

TEST_F(PreferencesTest, TheSourcesAreTheFilesInTheirOrderAndWhatWasFoundThere) {
  using State = Preferences::Source::State;
  const path third = folder.path() / "third";
  writeFile(third / kFile, "Key = third\n");
  environment.set("XDG_CONFIG_DIRS", first.string() + ":" + second.string() + ":" + third.string() +
                                         ":" + (folder.path() / "fourth").string());
  writeFile(first / kFile, "Key = caf\xE9\n");
  std::filesystem::create_directories(second / kFile);
  Preferences preferences("com.example.Server");
  for (const Preferences::Source& source : preferences.sources())
    EXPECT_EQ(source.state, State::notNeeded) << testing::PrintToString(source.name);
  EXPECT_EQ(preferences.sourceOfKey("Key"), (third / kFile).string());
  const std::vector<Preferences::Source> sources = preferences.sources();
  const struct {
    std::string name;
    State state;
  } rows[] = {
      {home / kFile, State::absent},
      {first / kFile, State::notUTF8},
      {second / kFile, State::unreadable},
      {third / kFile, State::read},
      {folder.path() / "fourth" / kFile, State::notNeeded},
  };
  ASSERT_EQ(sources.size(), std::size(rows));
  for (size_t index = 0; index < sources.size(); ++index) {
    EXPECT_EQ(sources[index].name, rows[index].name);
    EXPECT_EQ(sources[index].state, rows[index].state) << rows[index].name;
  }
  EXPECT_EQ(sources[2].error, EISDIR);
}

TEST_F(PreferencesTest, TheLinesOfASourceAreThoseOfItsFileAsTheyAreWritten) {
  using testing::ElementsAre;
  using testing::IsEmpty;
  const auto linesOfSource = [](const String& key = "Key") {
    Preferences preferences(kDomain);
    if (key)
      preferences.objectForKey(key);
    return preferences.sources()[0].lines;
  };
  EXPECT_THAT(linesOfSource(), IsEmpty()) << "of a file that is not there";
  writeFile(home / kFile, "\uFEFF# 1\r\n\n Key = value \n\uFEFFlast");
  EXPECT_THAT(linesOfSource(), ElementsAre("# 1", "", " Key = value ", "\uFEFFlast"));
  EXPECT_THAT(linesOfSource(std::nullopt), IsEmpty()) << "of a file that has not been read";
  writeFile(home / kFile, "Key = value\nKey = \xFF\n");
  EXPECT_THAT(linesOfSource(), IsEmpty()) << "of a file that cannot be used";
  writeFile(home / kFile, "");
  EXPECT_THAT(linesOfSource(), IsEmpty());
}

TEST_F(PreferencesTest, NoFileStaysOpen) {
  writeFile(home / kFile, "Key = value\n");
  std::filesystem::create_directories(first / kFile);
  const auto nextDescriptor = [] {
    const int next = dup(STDERR_FILENO);
    close(next);
    return next;
  };
  const int before = nextDescriptor();
  Preferences preferences("com.example.Server");
  EXPECT_EQ(preferences.objectForKey("Other"), std::nullopt);
  EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(PreferencesTest, NothingIsReadBeforeItIsNeeded) {
  Preferences preferences("com.example.Server");
  writeFile(home / kFile, "Key = home\n");
  EXPECT_EQ(preferences.objectForKey("Key"), "home");
  writeFile(first / kFile, "Other = first\n");
  EXPECT_EQ(preferences.objectForKey("Other"), "first");
}

TEST_F(PreferencesTest, TheUsersFolderIsInTheHomeFolderUnlessItIsSet) {
  const path own = folder.path() / "user";
  writeFile(own / ".config" / kFile, "Key = from .config\n");
  writeFile(home / kFile, "Key = from the variable\n");
  environment.set("HOME", own);
  const struct {
    std::optional<std::string> variable;
    String value;
  } rows[] = {
      {std::nullopt, "from .config"},
      {"", "from .config"},
      {home, "from the variable"},
      {home / "", "from the variable"},
      {folder.path() / "none", std::nullopt},  // set is set, found or not
  };
  for (const auto& row : rows) {
    environment.set("XDG_CONFIG_HOME", row.variable);
    EXPECT_EQ(valueOf("Key"), row.value) << testing::PrintToString(row.variable);
  }
}

TEST_F(PreferencesTest, WithoutAHomeFolderTheOthersRemain) {
  writeFile(first / kFile, "Key = first\n");
  environment.set("XDG_CONFIG_HOME", std::nullopt);
  for (const std::optional<std::string>& variable : {std::optional<std::string>(), {""}}) {
    environment.set("HOME", variable);
    EXPECT_EQ(valueOf("Key"), "first");
  }
}

TEST_F(PreferencesTest, TheSystemsFoldersAreTakenInTheirOrder) {
  writeFile(first / kFile, "Key = first\n");
  writeFile(second / kFile, "Key = second\n");
  const std::string a = first, b = second, none = folder.path() / "none";
  const struct {
    std::string variable;
    String value;
  } rows[] = {
      {a + ":" + b, "first"}, {b + ":" + a, "second"},    {none + ":" + b, "second"},
      {b, "second"},          {"::" + b + ":", "second"}, {none, std::nullopt},
  };
  for (const auto& row : rows) {
    environment.set("XDG_CONFIG_DIRS", row.variable);
    EXPECT_EQ(valueOf("Key"), row.value) << row.variable;
  }
}

// The domain leads from the default folder to that of the test, for what a system has in the
// default folder is not a test's to change.
TEST_F(PreferencesTest, TheSystemsFolderIsEtcXdgUnlessItIsSet) {
  const path usual = "/etc/xdg";
  if (!std::filesystem::is_directory(usual))
    GTEST_SKIP() << "This machine has no " << usual;
  writeFile(first / kFile, "Key = value\n");
  const path way = (first / kDomain).lexically_relative(usual);
  for (const std::optional<std::string>& variable : {std::optional<std::string>(), {""}}) {
    environment.set("XDG_CONFIG_DIRS", variable);
    EXPECT_EQ(Preferences(way.string()).objectForKey("Key"), "value");
  }
  environment.set("XDG_CONFIG_DIRS", second);
  EXPECT_EQ(Preferences(way.string()).objectForKey("Key"), std::nullopt);
}

TEST_F(PreferencesTest, FoldersThatAreNotAbsoluteDoNotCount) {
  writeFile(folder.path() / "relative" / kFile, "Key = relative\n");
  writeFile(folder.path() / ".config" / kFile, "Key = relative\n");
  writeFile(second / kFile, "Key = second\n");
  const path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  environment.set("XDG_CONFIG_DIRS", "relative:./relative:" + second.string());
  environment.set("XDG_CONFIG_HOME", "relative");
  EXPECT_EQ(valueOf("Key"), "second") << "XDG_CONFIG_HOME and XDG_CONFIG_DIRS";
  environment.set("XDG_CONFIG_HOME", std::nullopt);
  environment.set("HOME", ".");
  EXPECT_EQ(valueOf("Key"), "second") << "HOME";
  std::filesystem::current_path(before);
}

}  // namespace

}  // namespace quintora
