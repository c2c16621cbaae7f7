#include "bridge/ChooseConnection.h"

#include "tests/bridge/RequestTest.h"

namespace quintora {

namespace {

class ChooseConnectionTest : public RequestTest {
 protected:
  // A value of nothing leaves the key unset.
  using Value = std::optional<std::string>;

  void SetUp() override {
    RequestTest::SetUp();
    setVariable("XDG_CONFIG_HOME", folder_.path());
    setVariable("XDG_CONFIG_DIRS", folder_.path() / "none");
  }

  void setPreferences(const Value& protocol, const Value& port, const Value& table) const {
    std::string lines;
    if (protocol)
      lines += "QZCGIConnectionProtocol = " + *protocol + "\n";
    if (port)
      lines += "QZQuintoraServerPort = " + *port + "\n";
    if (table)
      lines += "QZQuintoraCloudServerPorts = " + *table + "\n";
    writeFile(folder_.path() / SERVER_DEFAULTS_SUITE ".conf", lines);
  }

 private:
  const TemporaryFolder folder_;
};

constexpr auto kAbsent = std::nullopt;
const Dictionary kNoParameters(std::in_place);
const Array kNoVariables(std::in_place);

TEST_F(ChooseConnectionTest, WithoutPreferencesIsTheTunnelToPort8080) {
  ChooseConnection("Gateway.cgi");
  EXPECT_EQ(postParameters, kNoParameters);
  EXPECT_EQ(environmentVariables, kAbsent);
  EXPECT_EQ(quiZServerPort, 8080);
}

TEST_F(ChooseConnectionTest, TakesThePortFromTheFileNameTheTableOrThePreferences) {
  const Value table = "8081:9081,sales:9002";
  const struct {
    const char* commandName;
    Value port, table;
    int64_t expected;
  } rows[] = {
      {"Gateway.cgi", kAbsent, kAbsent, 8080},
      {"Gateway.cgi", kAbsent, table, 8080},
      {"Gateway.cgi", "9000", table, 9000},
      {"Gateway_8081.cgi", "9000", kAbsent, 8081},
      {"Gateway_8081.cgi", kAbsent, table, 9081},
      {"Gateway_sales.cgi", kAbsent, table, 9002},
      {"Gateway_sales.cgi", kAbsent, kAbsent, 0},
      {"Gateway_sales.cgi", kAbsent, "8081:9081, sales:9002", 0},
      {"Gateway_8081_b.cgi", kAbsent, kAbsent, 8081},
      {"Gateway__8081.cgi", kAbsent, kAbsent, 0},
      {"Gate.way_8081.cgi", kAbsent, kAbsent, 0},
      // The stored port, used only where the name has no "_".
      {"Gateway.8081", "9000", kAbsent, 9000},
      {"", "9000", kAbsent, 9000},
      {"Gateway.cgi", "9000x", kAbsent, 9000},
      {"Gateway.cgi", "8080", "8080:9999", 8080},
      {"Gateway.cgi", "", kAbsent, 0},
      {"Gateway.cgi", "-5", kAbsent, -5},
      {"Gateway__x.cgi", "9000", kAbsent, 0},
      {"Gateway_sales.cgi", "9000", kAbsent, 0},
      // The second piece of the name, whatever it holds.
      {"Gateway_8081", kAbsent, kAbsent, 8081},
      {"_8081", kAbsent, kAbsent, 8081},
      {"_", kAbsent, kAbsent, 0},
      {"Gateway_.cgi", kAbsent, kAbsent, 0},
      {"Gateway_8081.b_9090.cgi", kAbsent, kAbsent, 8081},
      {".8081_9090", kAbsent, kAbsent, 8081},
      {"Gateway_8081abc.cgi", kAbsent, kAbsent, 8081},
      {"Gateway_abc.cgi", kAbsent, kAbsent, 0},
      {"Gateway_-1.cgi", kAbsent, kAbsent, -1},
      {"Gateway_0.cgi", kAbsent, kAbsent, 0},
      {"Gateway_ 8081.cgi", kAbsent, kAbsent, 8081},
      {"Gateway_65536.cgi", kAbsent, kAbsent, 65536},
      {"Gateway_99999999999999999999.cgi", kAbsent, kAbsent, INT64_MAX},
      {"Gateway_-99999999999999999999.cgi", kAbsent, kAbsent, INT64_MIN},
      // The table.
      {"Gateway_8081.cgi", kAbsent, "", 8081},
      {"Gateway_8081.cgi", kAbsent, ",,", 8081},
      {"Gateway_8081.cgi", kAbsent, "8081", 8081},
      {"Gateway_8081.cgi", kAbsent, "8081,8081:9001", 9001},
      {"Gateway_8081.cgi", kAbsent, "8081:9081:x", 9081},
      {"Gateway_8081.cgi", kAbsent, "8081: 9081", 9081},
      {"Gateway_8081.cgi", kAbsent, "x:1, 8081:9081", 8081},
      {"Gateway_8081.cgi", kAbsent, "8081 :9081", 8081},
      {"Gateway_8081.cgi", kAbsent, "x:1,8081:9001,8081:9002", 9001},
      {"Gateway_8081.cgi", kAbsent, "8081:9081,9081:9082", 9081},
      {"Gateway_8081.cgi", kAbsent, "9081:9082,8081:9081", 9081},
      {"Gateway_8081.cgi", kAbsent, "8081:", 0},
      {"Gateway_8081.cgi", kAbsent, "80810:9081,808:9082", 8081},
      {"Gateway_sales.cgi", kAbsent, "Sales:9002", 0},
      {"Gateway_sales.cgi", kAbsent, "sales:9002abc", 9002},
      {"Gateway__x.cgi", kAbsent, ":9001", 9001},
      {"Gateway_x.cgi", kAbsent, ":9001", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.commandName) + " with port " +
                 testing::PrintToString(row.port) + " and table " +
                 testing::PrintToString(row.table));
    setPreferences(kAbsent, row.port, row.table);
    ChooseConnection(row.commandName);
    EXPECT_EQ(quiZServerPort, row.expected);
    EXPECT_EQ(postParameters, kNoParameters);
  }
}

TEST_F(ChooseConnectionTest, TakesAppleEventsForAnyProtocolWithAppleInIt) {
  const struct {
    Value protocol;
    bool isAppleEventMode;
  } rows[] = {
      // clang-format off
      {"AppleEvents", true},
      {"apple", true},
      {"Apple Events", true},
      {"pineapple", true},
      {"APPLE", true},
      {"aPPLe", true},
      {"TCP/IP", false},
      {"HTTP", false},
      {"", false},
      {"appl", false},
      {"App le", false},
      {kAbsent, false},
      // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.protocol));
    setPreferences(row.protocol, kAbsent, kAbsent);
    ChooseConnection("Gateway.cgi");
    EXPECT_EQ(environmentVariables.has_value(), row.isAppleEventMode);
    EXPECT_EQ(postParameters.has_value(), !row.isAppleEventMode);
  }
}

TEST_F(ChooseConnectionTest, LeavesThePortAloneForAppleEvents) {
  setPreferences("AppleEvents", "9000", "8081:9081");
  for (const int64_t port : {0, 17}) {
    quiZServerPort = port;
    for (const String commandName : {"Gateway.cgi", "Gateway_8081.cgi"}) {
      ChooseConnection(commandName);
      EXPECT_EQ(quiZServerPort, port) << testing::PrintToString(commandName);
    }
  }
}

TEST_F(ChooseConnectionTest, EmptiesTheContainerOfTheModeAndRemovesTheOther) {
  for (const char* protocol : {"TCP/IP", "AppleEvents"}) {
    SCOPED_TRACE(protocol);
    setPreferences(protocol, kAbsent, kAbsent);
    postParameters = {{{"old", "entry"}}};
    environmentVariables = {{"old"}};
    ChooseConnection("Gateway.cgi");
    const bool isTunnelMode = protocol == std::string("TCP/IP");
    EXPECT_EQ(postParameters, isTunnelMode ? kNoParameters : Dictionary());
    EXPECT_EQ(environmentVariables, isTunnelMode ? Array() : kNoVariables);
  }
}

TEST_F(ChooseConnectionTest, TouchesNothingElse) {
  postDataCode = "code";
  cgiResult = "result";
  ChooseConnection("Gateway_8081.cgi");
  EXPECT_EQ(postDataCode, "code");
  EXPECT_EQ(cgiResult, "result");
}

}  // namespace

}  // namespace quintora
