#include "platform/URL.h"

#include <gmock/gmock.h>

namespace quintora {

namespace {

TEST(URLWithString, TakesHostPortAndPathApart) {
  const struct {
    String text;
    std::string host, port, path;
  } rows[] = {
      {u"http://127.0.0.1:8080/apache-tunnel/", "127.0.0.1", "8080", "/apache-tunnel/"},
      {u"http://localhost:80/", "localhost", "80", "/"},
      {u"http://Example-1.test:8080/a/b?c=d&e=~", "Example-1.test", "8080", "/a/b?c=d&e=~"},
      {u"http://h:8080//", "h", "8080", "//"},
      // Whether there is such a port is not for the text to say.
      {u"http://127.0.0.1:0/apache-tunnel/", "127.0.0.1", "0", "/apache-tunnel/"},
      {u"http://127.0.0.1:00080/", "127.0.0.1", "00080", "/"},
      {u"http://127.0.0.1:65536/", "127.0.0.1", "65536", "/"},
      {u"http://127.0.0.1:9223372036854775807/", "127.0.0.1", "9223372036854775807", "/"},
      {u"http://127.0.0.1:99999999999999999999999/", "127.0.0.1", "99999999999999999999999", "/"},
  };
  for (const auto& row : rows) {
    const std::optional<URL> url = URLWithString(row.text);
    ASSERT_TRUE(url.has_value()) << testing::PrintToString(row.text);
    EXPECT_EQ(url->host, row.host) << testing::PrintToString(row.text);
    EXPECT_EQ(url->port, row.port) << testing::PrintToString(row.text);
    EXPECT_EQ(url->path, row.path) << testing::PrintToString(row.text);
  }
}

TEST(URLWithString, RefusesEverythingElse) {
  const String rows[] = {
      std::nullopt,
      u"",
      u"http",
      u"http:",
      u"http://",
      // The port: digits only, and there.
      u"http://127.0.0.1:-1/apache-tunnel/",
      u"http://127.0.0.1:-9223372036854775808/apache-tunnel/",
      u"http://127.0.0.1:+80/",
      u"http://127.0.0.1:8o/",
      u"http://127.0.0.1:0x50/",
      u"http://127.0.0.1:80.0/",
      u"http://127.0.0.1:80:80/",
      u"http://127.0.0.1::80/",
      u"http://127.0.0.1:\uFF18\uFF10/",
      u"http://127.0.0.1:/",
      u"http://127.0.0.1/",
      u"http://127.0.0.1",
      // The path: there, too.
      u"http://127.0.0.1:80",
      u"http://127.0.0.1:80apache-tunnel/",
      u"http://127.0.0.1:80?a=b",
      // The host: a name or an IPv4 address.
      u"http://:80/",
      u"http:///apache-tunnel/",
      u"http://user@127.0.0.1:80/",
      u"http://user:80@127.0.0.1:80/",
      u"http://[::1]:80/",
      u"http://::1:80/",
      u"http://h\u00F6st:80/",
      u"http://h\xD800:80/",
      // The scheme.
      u"https://127.0.0.1:80/",
      u"ftp://127.0.0.1:80/",
      u"httpx://127.0.0.1:80/",
      u"xhttp://127.0.0.1:80/",
      u"http:/127.0.0.1:80/",
      u"http//127.0.0.1:80/",
      u"//127.0.0.1:80/",
      u"127.0.0.1:80/",
      u"/apache-tunnel/",
      // Blanks, control characters, and what is beyond ASCII.
      u" http://127.0.0.1:80/",
      u"http://127.0.0.1:80/ ",
      u"http://127.0.0.1:80/a b",
      u"http://127.0.0.1: 80/",
      u"http://127.0.0.1 :80/",
      u"http:// 127.0.0.1:80/",
      u"http://127.0.0.1:80/\n",
      u"http://127.0.0.1:80/\r\nX: y",
      u"http://127.0.0.1:80/\x7F",
      u"http://127.0.0.1:80/\u00E9",
      std::u16string(u"http://127.0.0.1:80/\0", 21),
      std::u16string(u"http://127.0.0.1\0:80/", 21),
  };
  for (const String& text : rows)
    EXPECT_FALSE(URLWithString(text).has_value()) << testing::PrintToString(text);
}

TEST(URLWithString, RefusesWhatNoURLHasInItsPath) {
  const String rows[] = {
      u"http://127.0.0.1:80/<a>", u"http://127.0.0.1:80/\"a\"", u"http://127.0.0.1:80/a\\b",
      u"http://127.0.0.1:80/a^b", u"http://127.0.0.1:80/`a`",   u"http://127.0.0.1:80/{a|b}",
      u"http://127.0.0.1:80/%",   u"http://127.0.0.1:80/%4",    u"http://127.0.0.1:80/%4g",
  };
  for (const String& text : rows)
    EXPECT_FALSE(URLWithString(text).has_value()) << testing::PrintToString(text);
}

}  // namespace

}  // namespace quintora
