#include "doctor/PortTable.h"

#include <algorithm>

#include "extras/Message.h"
#include "extras/NSString.h"
#include "extras/Pieces.h"

namespace quintora {

namespace {

constexpr const char* kBlanks = " \t\r\n";
constexpr const char* kFormOfTable =
    "Write QZQuintoraCloudServerPorts as key:port,key:port, as in 8081:9081,sales:9002.";

// An entry of a table, as the bridge reads it.
struct Entry {
  explicit Entry(std::string_view written) : text(written) {
    isEntry = text.find(':') != text.npos;
    key = cutPiece(written, ':');
    hasMore = written.find(':') != written.npos;
    port = cutPiece(written, ':');
  }
  std::string_view text, key, port;
  bool isEntry = false;  // has a colon
  bool hasMore = false;  // has a second colon
};

std::vector<Entry> entriesOf(std::string_view table) {
  std::vector<Entry> entries;
  forEachPiece(table, ',', [&](std::string_view text) {
    if (!trimmed(text, kBlanks).empty())
      entries.emplace_back(text);
  });
  return entries;
}

Finding findingOfEntry(const Entry& entry, const char* what, const char* effect) {
  return {Weight::surprises,
          composed({"The entry ", excerpt(entry.text), " of the port table ", what, "."}), effect,
          kFormOfTable};
}

void checkKey(Findings& findings, const Entry& entry) {
  if (trimmed(entry.key, kBlanks) != entry.key)
    findings.push_back(
        findingOfEntry(entry, "has a blank before or after its key",
                       "The blank is part of the key, so the entry is not found without it."));
  else if (entry.key.find_first_of("_.") != entry.key.npos)
    findings.push_back(findingOfEntry(
        entry, "has a \"_\" or \".\" in its key",
        "A file-name tag ends before these characters, so the entry is never found."));
}

void checkPort(Findings& findings, const Entry& entry) {
  const int64_t port = integerValue(std::string(entry.port));
  if (entry.hasMore)
    findings.push_back(
        findingOfEntry(entry, "has a second \":\"", "What follows the second \":\" is ignored."));
  else if (port < 1 || port > 65535)
    findings.push_back(findingOfEntry(entry, "has no port from 1 to 65535",
                                      "A copy with this file-name tag only shows a message."));
  else if (!leftoverOf(entry.port).empty())
    findings.push_back(findingOfEntry(entry, "has more than a number after the \":\"",
                                      "The number is the port; what follows it is ignored."));
}

}  // namespace

std::string_view leftoverOf(std::string_view portText) {
  const size_t digits = portText.find_first_of("0123456789");
  const size_t end = portText.find_first_not_of("0123456789", std::min(digits, portText.size()));
  return end == portText.npos ? std::string_view() : trimmed(portText.substr(end), kBlanks);
}

std::string keysOfTable(std::string_view table) {
  std::string keys;
  for (const Entry& entry : entriesOf(table)) {
    if (entry.isEntry)
      keys += composed({keys.empty() ? "" : ", ", excerpt(entry.key)});
  }
  return keys;
}

Findings findingsOfTable(std::string_view table) {
  Findings findings;
  std::vector<std::string_view> keys;
  for (const Entry& entry : entriesOf(table)) {
    if (!entry.isEntry) {
      findings.push_back(findingOfEntry(entry, "has no \":\"", "It is ignored."));
      continue;
    }
    if (std::find(keys.begin(), keys.end(), entry.key) != keys.end())
      findings.push_back(
          findingOfEntry(entry, "has the same key as an earlier one", "The earlier entry wins."));
    keys.push_back(entry.key);
    checkKey(findings, entry);
    checkPort(findings, entry);
  }
  return findings;
}

}  // namespace quintora
