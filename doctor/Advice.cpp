#include "doctor/Advice.h"

#include "doctor/PortTable.h"
#include "doctor/Report.h"
#include "doctor/StoredValue.h"
#include "extras/Message.h"
#include "platform/Messages.h"

namespace quintora {

namespace {

// What follows a piece of advice.
enum class More { nothing, port, listener };

struct Advice {
  std::string_view part;  // of the HTTP client's sentence
  const char* fix;
  More more;
};

constexpr const char* kSeeLog =
    "See the server's log. If this is its HTTPS port, use its HTTP port. ";

// The first one whose part the sentence contains wins.
constexpr Advice kAdvices[] = {
    {kRefused.texts[1], "Start the server. If it has another port: ", More::port},
    {kIdle.texts[1], "Find out what keeps the server busy, such as a dialog on its screen.",
     More::nothing},
    {kClosedWithoutReply.texts[1], kSeeLog, More::listener},
    {kExchangeFailed.texts[0], kSeeLog, More::listener},
    {kClosedTooSoon.texts[1],
     "See the server's log, and compare its Content-Length with what it sends. ", More::listener},
    {kMalformedStatusLine,
     "Use the server's HTTP port. This may be an HTTPS port, or another program's. ",
     More::listener},
    {kInvalidReply.texts[1], "Correct the server's reply, unless another program has the port. ",
     More::listener},
};

std::string fixOfPort(const ConnectionChoice& choice) {
  if (choice.tableEntry)
    return composed(
        {"Correct the entry ", quoted(*choice.tableEntry), " of QZQuintoraCloudServerPorts."});
  if (!choice.nameText)
    return composed({"Set QZQuintoraServerPort to the server's port, a number alone, in ",
                     sourceForKey("QZQuintoraServerPort"), "."});
  const std::string keys = choice.cloudPorts ? keysOfTable(*choice.cloudPorts) : "";
  return composed(
      {"Rename the copy, for example to Gateway_8081.cgi for port 8081, or add an entry for ",
       quoted(*choice.nameText), " to QZQuintoraCloudServerPorts in ",
       sourceForKey("QZQuintoraCloudServerPorts"), keys.empty() ? "" : ", which has entries for ",
       keys, keys.empty() ? "" : "; upper and lower case matter", "."});
}

}  // namespace

std::string findingListener(int64_t port) {
  return composed({"To see which program listens there: sudo ss -ltnp 'sport = :", port,
                   "' (Linux), sudo lsof -nP -iTCP:", port, " -sTCP:LISTEN (macOS)."});
}

std::string fixOfFailure(std::string_view sentence, const ConnectionChoice& choice) {
  const bool isPort = choice.port >= 1 && choice.port <= 65535;
  if (!isPort)
    return fixOfPort(choice);
  for (const Advice& advice : kAdvices) {
    if (sentence.find(advice.part) == sentence.npos)
      continue;
    if (advice.more == More::nothing)
      return advice.fix;
    return composed(
        {advice.fix, advice.more == More::port ? fixOfPort(choice) : findingListener(choice.port)});
  }
  return "Find out why the system refuses this. The web server's user may be confined, for example "
         "by SELinux, AppArmor or systemd.";
}

}  // namespace quintora
