#include "doctor/Connection.h"

#include <algorithm>

#include "doctor/PortTable.h"
#include "doctor/StoredKeys.h"
#include "doctor/StoredValue.h"
#include "extras/Message.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"
#include "platform/Process.h"

namespace quintora {

namespace {

constexpr const char* kIgnoredSource =
    "Its values are ignored: mode and port may not be the intended ones.";

std::string_view tableOf(const ConnectionChoice& choice) {
  return choice.cloudPorts ? std::string_view(*choice.cloudPorts) : std::string_view();
}

void reportReadSource(Report& report, const Preferences::Source& source) {
  report.fact(composed({source.name, ": read"}));
  std::string others;
  for (const std::string& line : source.lines) {
    report.add(findingsOfLine(source.name, line));
    if (const String key = similarKeyOfLine(line))
      others += composed({others.empty() ? "" : ", ", excerpt(*key)});
  }
  if (!others.empty())
    report.fact(composed({"It also sets keys that the bridge does not read: ", others, "."}));
}

// Reports the state of a source; one that exists but cannot be used is a finding.
void reportSource(Report& report, const Preferences::Source& source) {
  using State = Preferences::Source::State;
  switch (source.state) {
    case State::notNeeded:
      return report.fact(composed({source.name, ": not needed"}));
    case State::read:
      return reportReadSource(report, source);
    case State::absent:
      return report.fact(composed({source.name, ": not there"}));
    case State::notUTF8:
      return report.finding({Weight::harms, composed({source.name, " is not UTF-8."}),
                             kIgnoredSource, "Save the file as UTF-8."});
    case State::unreadable:
      return report.finding(
          {Weight::harms,
           composed({source.name, " cannot be read: ", systemSentence(source.error), "."}),
           kIgnoredSource, "Let this user read the file."});
  }
}

// Whether the value contains "apple" only in what was meant as a comment.
bool isAppleInComment(std::string_view value) {
  const size_t comment = std::min(value.find_first_of("#;"), value.find("//"));
  return comment != value.npos &&
         !caseInsensitiveContainsString(std::string(value.substr(0, comment)), "apple");
}

void reportQuotes(Report& report, const char* key, const String& value) {
  if (value && value->find_first_of("\"'") != std::string::npos)
    report.finding({Weight::harms, composed({"The value of ", key, " has quotation marks."}),
                    "They are part of the value, and a port after one is not recognised.",
                    composed({"Write ", key, " without quotation marks."})});
}

void reportLeftover(Report& report, const ConnectionChoice& choice) {
  const std::string_view leftover = leftoverOf(*choice.portText);
  if (choice.tableEntry || choice.port == 0 || leftover.empty())
    return;
  report.finding({Weight::surprises,
                  composed({"The number in ", quoted(*choice.portText), " is followed by ",
                            excerpt(leftover), "."}),
                  composed({"That is ignored: the port is ", choice.port, "."}),
                  choice.nameText ? "Rename the copy if another port is meant."
                                  : "Write a number only: trailing comments are not supported."});
}

void reportTable(Report& report, const ConnectionChoice& choice, Preferences& preferences) {
  reportValue(report, "QZQuintoraCloudServerPorts", choice.cloudPorts, preferences);
  const std::string keys = keysOfTable(tableOf(choice));
  if (choice.tableEntry)
    report.fact(composed({"Its entry ", quoted(*choice.tableEntry), " is in effect."}));
  else if (!keys.empty())
    report.fact(
        composed({"It has no entry for ", quoted(*choice.nameText), "; its keys are ", keys, "."}));
  if (!choice.tableEntry)
    report.fact("So the file-name tag itself is the port.");
  reportQuotes(report, "QZQuintoraCloudServerPorts", choice.cloudPorts);
  report.add(findingsOfTable(tableOf(choice)));
}

}  // namespace

void reportPreferences(Report& report, const Preferences& preferences) {
  report.section("The preferences");
  for (const Preferences::Source& source : preferences.sources())
    reportSource(report, source);
}

void reportMode(Report& report, const ConnectionChoice& choice, Preferences& preferences) {
  report.section("The mode");
  reportValue(report, "QZCGIConnectionProtocol", choice.protocol, preferences);
  report.fact(choice.isAppleEventMode ? "It contains \"apple\": Apple-event mode."
                                      : "That is tunnel mode.");
  if (choice.isAppleEventMode && isAppleInComment(*choice.protocol))
    report.finding({Weight::harms,
                    "\"apple\" is in a comment after the value of QZCGIConnectionProtocol.",
                    "The comment is part of the value, so this copy is in Apple-event mode.",
                    "Put the comment on a line of its own that begins with \"#\"."});
}

void reportPort(Report& report, const ConnectionChoice& choice, const String& commandName,
                Preferences& preferences) {
  report.section("The port");
  if (choice.nameText) {
    report.fact(composed({"The file-name tag of ", quoted(*commandName),
                          ", what follows its first \"_\", is ", quoted(*choice.nameText), "."}));
    reportTable(report, choice, preferences);
  } else {
    report.fact(composed({"The file name ", quoted(*commandName), " has no \"_\"."}));
    reportValue(report, "QZQuintoraServerPort", choice.serverPort, preferences);
    if (!choice.serverPort)
      report.fact("Without it the port is 8080.");
    reportQuotes(report, "QZQuintoraServerPort", choice.serverPort);
  }
  reportLeftover(report, choice);
  const bool isNumber = *choice.portText == composed({choice.port});
  report.fact(isNumber ? composed({"The port is ", choice.port, "."})
                       : composed({"The port is ", choice.port, ", the number read from ",
                                   quoted(*choice.portText), "."}));
}

}  // namespace quintora
