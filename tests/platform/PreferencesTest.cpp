// The preferences where they are files: what a file says, and which file holds.
#include "platform/Preferences.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

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
    return Preferences(u"com.example.Server").objectForKey(key);
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
      {"Key = value\n", u"Key", u"value"},
      {"Key=value\n", u"Key", u"value"},
      {"Key = value", u"Key", u"value"},  // the last line needs no end
      {"A = 1\nKey = value\nB = 2\n", u"Key", u"value"},
      {"Other = value\n", u"Key", std::nullopt},
      {"Key = value\n", u"key", std::nullopt},
      {"Key = value\n", u"Ke", std::nullopt},
      {"Key = value\n", u"Keys", std::nullopt},
      {"", u"Key", std::nullopt},
      // Blanks around key and value are dropped, those within stay.
      {"  Key   =   value  \n", u"Key", u"value"},
      {"\tKey\t=\tvalue\t\n", u"Key", u"value"},
      {"My Key = a  b\n", u"My Key", u"a  b"},
      {"Key =  8081:9081, sales:9002 \n", u"Key", u"8081:9081, sales:9002"},
      {"Key = value\r\nOther = x\r\n", u"Key", u"value"},
      {"Other = x\r\nKey =\r\n", u"Key", u""},
      // The first "=" ends the key.
      {"Key = a=b = c\n", u"Key", u"a=b = c"},
      {"Key == value\n", u"Key", u"= value"},
      // An empty value is a value.
      {"Key =\n", u"Key", u""},
      {"Key = \t \n", u"Key", u""},
      {"Key=", u"Key", u""},
      // Empty lines and comments are skipped.
      {"\n\n  \n\t\n\r\nKey = value\n\n", u"Key", u"value"},
      {"# Key = comment\n#\nKey = value\n#Key = comment\n", u"Key", u"value"},
      {"# Key = comment\n", u"Key", std::nullopt},
      {"# without an equals sign\nKey = value\n", u"Key", u"value"},
      {"Key = # value\n", u"Key", u"# value"},
      {"Key = a # b\n", u"Key", u"a # b"},
      // The last line for a key holds.
      {"Key = 1\nOther = 2\nKey = 3\n", u"Key", u"3"},
      {"Key = 1\nKey =\n", u"Key", u""},
      // The text is UTF-8.
      {"Stra\xC3\x9F"
       "e = \xE6\x97\xA5\xF0\x9F\x92\xA9\n",
       u"Stra\u00DFe", u"\u65E5\U0001F4A9"},
      {"Key = caf\xC3\xA9\n", u"Key", u"caf\u00E9"},
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
      {"no equals sign\nKey = value\n", u"value"},
      {"Key = value\nno equals sign\n", u"value"},
      {"Key = value\nKey\n", u"value"},
  };
  for (const auto& row : rows) {
    writeFile(home / kFile, row.contents);
    EXPECT_EQ(valueOf(u"Key"), row.value) << testing::PrintToString(row.contents);
  }
}

TEST_F(PreferencesTest, AFileThatIsNotUTF8CountsAsAbsent) {
  writeFile(first / kFile, "Key = from the next folder\n");
  for (const std::string contents :
       {"Key = caf\xE9\n", "Key = value\nOther = \xFF\n", "# \xC3\nKey = value\n",
        "Key = value\n\xED\xA0\x80 = x\n", "Key = value \xE6\x97"}) {
    writeFile(home / kFile, contents);
    EXPECT_EQ(valueOf(u"Key"), u"from the next folder") << testing::PrintToString(contents);
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
    EXPECT_EQ(valueOf(u"Key"), u"from the next folder") << row.what;
  }
}

TEST_F(PreferencesTest, AFileWithoutPermissionCountsAsAbsent) {
  if (geteuid() == 0)
    GTEST_SKIP() << "Permissions do not bind the superuser.";
  writeFile(home / kFile, "Key = value\n");
  writeFile(first / kFile, "Key = from the next folder\n");
  chmod((home / kFile).c_str(), 0);
  EXPECT_EQ(valueOf(u"Key"), u"from the next folder");
}

TEST_F(PreferencesTest, ForEachKeyTheFirstFileThatHasItHolds) {
  writeFile(home / kFile, "Everywhere = home\nEmpty =\nHome = home\n");
  writeFile(first / kFile, "Everywhere = first\nEmpty = first\nFirst = first\nBoth = first\n");
  writeFile(second / kFile,
            "Everywhere = second\nEmpty = second\nSecond = second\nBoth = second\n");
  const struct {
    String key, value;
  } rows[] = {
      {u"Second", u"second"}, {u"Everywhere", u"home"}, {u"Empty", u""},         {u"Home", u"home"},
      {u"First", u"first"},   {u"Both", u"first"},      {u"None", std::nullopt},
  };
  Preferences preferences(u"com.example.Server");
  for (const auto& row : rows) {
    EXPECT_EQ(preferences.objectForKey(row.key), row.value) << testing::PrintToString(row.key);
    EXPECT_EQ(valueOf(row.key), row.value) << testing::PrintToString(row.key);
  }
}

TEST_F(PreferencesTest, TheFileIsNamedAfterTheDomain) {
  writeFile(home / kFile, "Key = value\n");
  EXPECT_EQ(Preferences(u"com.example.Server").objectForKey(u"Key"), u"value");
  EXPECT_EQ(Preferences(u"com.example.Serve").objectForKey(u"Key"), std::nullopt);
  EXPECT_EQ(Preferences(u"Server").objectForKey(u"Key"), std::nullopt);
}

TEST_F(PreferencesTest, AnAbsentKeyHasNoValue) {
  writeFile(home / kFile, "Key = value\n= empty\n");
  String key = u"";
  key.reset();  // what lies in its place may still look like a text
  EXPECT_EQ(valueOf(key), std::nullopt);
}

TEST_F(PreferencesTest, AMarkOfUTF8IsNoPartOfTheFirstKey) {
  writeFile(home / kFile, "\xEF\xBB\xBFKey = value\n");
  EXPECT_EQ(valueOf(u"Key"), u"value");
}

TEST_F(PreferencesTest, EachFileIsReadOnce) {
  writeFile(home / kFile, "A = 1\nB = 2\n");
  Preferences preferences(u"com.example.Server");
  EXPECT_EQ(preferences.objectForKey(u"A"), u"1");
  writeFile(home / kFile, "A = 3\nB = 4\n");
  EXPECT_EQ(preferences.objectForKey(u"B"), u"2");
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
  Preferences preferences(u"com.example.Server");
  EXPECT_EQ(preferences.objectForKey(u"Other"), std::nullopt);
  EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(PreferencesTest, NothingIsReadBeforeItIsNeeded) {
  Preferences preferences(u"com.example.Server");
  writeFile(home / kFile, "Key = home\n");
  EXPECT_EQ(preferences.objectForKey(u"Key"), u"home");
  writeFile(first / kFile, "Other = first\n");
  EXPECT_EQ(preferences.objectForKey(u"Other"), u"first");
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
      {std::nullopt, u"from .config"},        {"", u"from .config"},
      {home, u"from the variable"},           {home / "", u"from the variable"},
      {folder.path() / "none", std::nullopt},  // set is set, found or not
  };
  for (const auto& row : rows) {
    environment.set("XDG_CONFIG_HOME", row.variable);
    EXPECT_EQ(valueOf(u"Key"), row.value) << testing::PrintToString(row.variable);
  }
}

TEST_F(PreferencesTest, WithoutAHomeFolderTheOthersRemain) {
  writeFile(first / kFile, "Key = first\n");
  environment.set("XDG_CONFIG_HOME", std::nullopt);
  for (const std::optional<std::string>& variable : {std::optional<std::string>(), {""}}) {
    environment.set("HOME", variable);
    EXPECT_EQ(valueOf(u"Key"), u"first");
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
      {a + ":" + b, u"first"}, {b + ":" + a, u"second"},    {none + ":" + b, u"second"},
      {b, u"second"},          {"::" + b + ":", u"second"}, {none, std::nullopt},
  };
  for (const auto& row : rows) {
    environment.set("XDG_CONFIG_DIRS", row.variable);
    EXPECT_EQ(valueOf(u"Key"), row.value) << row.variable;
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
    EXPECT_EQ(Preferences(way.u16string()).objectForKey(u"Key"), u"value");
  }
  environment.set("XDG_CONFIG_DIRS", second);
  EXPECT_EQ(Preferences(way.u16string()).objectForKey(u"Key"), std::nullopt);
}

TEST_F(PreferencesTest, FoldersThatAreNotAbsoluteDoNotCount) {
  writeFile(folder.path() / "relative" / kFile, "Key = relative\n");
  writeFile(folder.path() / ".config" / kFile, "Key = relative\n");
  writeFile(second / kFile, "Key = second\n");
  const path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  environment.set("XDG_CONFIG_DIRS", "relative:./relative:" + second.string());
  environment.set("XDG_CONFIG_HOME", "relative");
  EXPECT_EQ(valueOf(u"Key"), u"second") << "XDG_CONFIG_HOME and XDG_CONFIG_DIRS";
  environment.set("XDG_CONFIG_HOME", std::nullopt);
  environment.set("HOME", ".");
  EXPECT_EQ(valueOf(u"Key"), u"second") << "HOME";
  std::filesystem::current_path(before);
}

}  // namespace

}  // namespace quintora
