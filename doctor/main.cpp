// Answers the question why an installed copy of the bridge does not answer. It decides, sends and
// reads with the bridge's own procedures, and only says what they find.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "bridge/ChooseConnection.h"
#include "bridge/FinishResponse.h"
#include "bridge/RequestCapture.h"
#include "bridge/RequestState.h"
#include "bridge/SendAppleEvent.h"
#include "bridge/SendLocalURL.h"
#include "bridge/ServerScript.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"
#include "platform/Process.h"

namespace quintora {

namespace {

constexpr int kHealthy = 0;
constexpr int kFinding = 1;
constexpr int kWrongUse = 2;

constexpr const char* kUsage =
    "usage: quintora-doctor [--probe] PATH\n"
    "\n"
    "Says how the copy of the bridge at PATH reaches its server, and what is in the way.\n"
    "\n"
    "  --probe  also send one harmless request, marked as this program's own, and show what\n"
    "           the bridge would print\n"
    "  --help   print this\n"
    "\n"
    "Preferences are looked for as this user and with this environment. A web server starts\n"
    "its CGI programs as another user and with few variables, as this does:\n"
    "\n"
    "  sudo -u www-data env -i /usr/bin/quintora-doctor --probe PATH\n"
    "\n"
    "Exit status: 0 healthy, 1 something was found, 2 wrong use.\n";

// What the report says so far, and whether that is good.
class Report {
 public:
  Report() : isColoured_(isTerminalOutput()) {}

  void section(const char* title) {
    std::printf(isColoured_ ? "\033[1m%s\033[0m\n" : "%s\n", title);
  }
  void fact(const String& sentence) { line("", ' ', sentence); }
  void good(const String& sentence) { line("\033[32m", '+', sentence); }
  void finding(const String& sentence) {
    line("\033[31m", '!', sentence);
    isHealthy_ = false;
  }
  bool isHealthy() const { return isHealthy_; }

 private:
  void line(const char* colour, char mark, const String& sentence) {
    const bool isPlain = !isColoured_ || *colour == '\0';
    std::printf("  %s%c%s %s\n", isPlain ? "" : colour, mark, isPlain ? "" : "\033[0m",
                lossyUTF8Data(sentence).c_str());
  }

  const bool isColoured_;
  bool isHealthy_ = true;
};

// A stored value and where it is from, as a person writes it down.
String stored(const char16_t* key, const String& value, Preferences& preferences) {
  if (!value)
    return stringWithFormat(u"%@ is not set.", {String(key)});
  return stringWithFormat(u"%@ is \"%@\", by %@.",
                          {String(key), value, preferences.placeOfKey(key)});
}

void reportCopy(Report& report, const char* path) {
  report.section("The copy");
  const String name = stringWithFileSystemRepresentation(path);
  const String failure = executionFailure(path);
  if (failure)
    report.finding(stringWithFormat(u"%@ cannot be run by this user: %@.", {name, failure}));
  else
    report.good(stringWithFormat(u"%@ can be run by this user.", {name}));
}

void reportPreferences(Report& report, const Preferences& preferences) {
  report.section("The preferences");
  for (const Preferences::Place& place : preferences.places()) {
    const String sentence = stringWithFormat(u"%@: %@", {place.name, place.state});
    if (place.isTrouble)
      report.finding(sentence);
    else
      report.fact(sentence);
  }
}

void reportMode(Report& report, const ConnectionChoice& choice, Preferences& preferences) {
  report.section("The mode");
  report.fact(stored(u"QZCGIConnectionProtocol", choice.protocol, preferences));
  report.fact(choice.isAppleEventMode ? u"It contains \"apple\": Apple-event mode."
                                      : u"That is tunnel mode.");
}

void reportPort(Report& report, const ConnectionChoice& choice, const String& commandName,
                Preferences& preferences) {
  report.section("The port");
  if (choice.nameText) {
    report.fact(stringWithFormat(u"The file name \"%@\" carries \"%@\" behind its first \"_\".",
                                 {commandName, choice.nameText}));
    report.fact(stored(u"QZQuintoraCloudServerPorts", choice.cloudPorts, preferences));
    report.fact(choice.tableEntry
                    ? stringWithFormat(u"Its entry \"%@\" holds.", {choice.tableEntry})
                    : u"So what the name carries is the port itself.");
  } else {
    report.fact(stringWithFormat(u"The file name \"%@\" holds no \"_\".", {commandName}));
    report.fact(stored(u"QZQuintoraServerPort", choice.serverPort, preferences));
    if (!choice.serverPort)
      report.fact(u"Without it the port is 8080.");
  }
  report.fact(
      stringWithFormat(u"As a number, \"%@\" is port %ld.", {choice.portText, choice.port}));
}

// Makes the environment that of a request which no visitor has sent: nothing of the caller's own,
// and marks by which a server can tell it.
void setProbeEnvironment() {
  for (const char16_t* name : kCGIVariables)
    setEnvironmentVariable(lossyUTF8Data(name).c_str(), nullptr);
  setEnvironmentVariable("CONTENT_LENGTH", nullptr);
  setEnvironmentVariable("REQUEST_METHOD", "GET");
  for (const char* mark : {"QUERY_STRING", "HTTP_USER_AGENT", "SERVER_SOFTWARE"})
    setEnvironmentVariable(mark, "quintora-doctor");
}

String timeSince(std::chrono::steady_clock::time_point start) {
  const auto time = std::chrono::steady_clock::now() - start;
  return stringWithFormat(u"%ld ms",
                          {std::chrono::duration_cast<std::chrono::milliseconds>(time).count()});
}

// What a visitor would get, and what he would wonder about in it.
void reportOutput(Report& report) {
  report.section("What the bridge would print");
  const Data output = lossyUTF8Data(FinishResponse(cgiResult));
  const Data printed = output.substr(0, output.find('\0'));
  if (printed.size() < output.size())
    report.finding(u"It ends at a NUL in the reply.");
  if (isEmpty(cgiResult) || printed.size() <= output.find("\r\n\r\n") + 4)
    report.finding(u"The page is empty.");
  if (!beginsWith(cgiResult, u"Content-type:") &&
      caseInsensitiveBeginsWith(cgiResult, u"Content-type:"))
    report.finding(
        u"The reply's own header is not exactly \"Content-type:\", so it shows as text.");
  std::fflush(stdout);
  writeStandardOutput(printed);
}

void probeTunnel(Report& report, const HTTPRequest& request) {
  const auto start = std::chrono::steady_clock::now();
  const HTTPResponse response = sendSynchronousRequest(request);
  const String time = timeSince(start);
  cgiResult = resultOfResponse(response);
  if (isReadableReply(response))
    report.good(stringWithFormat(u"It answered %lu bytes in the charset %@ after %@.",
                                 {response.data->size(), response.textEncodingName, time}));
  else
    report.finding(stringWithFormat(u"After %@: %@", {time, cgiResult}));
  reportOutput(report);
}

void reportTunnel(Report& report, bool isProbing) {
  report.section("The server");
  const std::optional<HTTPRequest> request = localRequest();
  if (request && isProbing) {
    probeTunnel(report, *request);
  } else if (!request) {
    SendLocalURL();  // which has nothing to send and says so
    report.finding(cgiResult);
    if (isProbing)
      reportOutput(report);
  } else if (const String failure = connectionFailure(*request)) {
    report.finding(failure);
  } else {
    report.good(stringWithFormat(u"Something on this machine takes connections on port %ld.",
                                 {quiZServerPort}));
    report.fact(u"Whether it is the server, --probe will tell.");
  }
}

void reportAppleEvents(Report& report, bool isProbing) {
  report.section("The server");
  if (!isProbing) {
    report.fact(u"Only an event shows whether it can be reached: --probe sends one.");
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  const bool hasReply =
      exchangeAppleEvent(serverScriptStatement(environmentVariables, postDataCode));
  const String time = timeSince(start);
  if (!hasReply)
    report.finding(stringWithFormat(u"After %@: %@", {time, cgiResult}));
  else if (!cgiResult)
    report.finding(stringWithFormat(u"It answered after %@, but not in UTF-8.", {time}));
  else
    report.good(stringWithFormat(u"It answered after %@.", {time}));
  reportOutput(report);
}

int examine(const char* path, bool isProbing) {
  Report report;
  const String bridgePath = stringWithFileSystemRepresentation(path);
  const String commandName = lastPathComponent(bridgePath);
  Preferences preferences(kServerDefaultsSuite);
  const ConnectionChoice choice = connectionFor(commandName, preferences);

  reportCopy(report, path);
  reportPreferences(report, preferences);
  reportMode(report, choice, preferences);
  if (!choice.isAppleEventMode)
    reportPort(report, choice, commandName, preferences);
  recordConnection(choice);
  setProbeEnvironment();
  CaptureRequest(bridgePath, commandName);
  if (postParameters)
    reportTunnel(report, isProbing);
  if (environmentVariables)
    reportAppleEvents(report, isProbing);
  return report.isHealthy() ? kHealthy : kFinding;
}

// There may be no memory for anything but this, and no more to be said.
[[noreturn]] void endOutOfMemory() {
  std::fflush(stdout);
  std::fputs("quintora-doctor: out of memory\n", stderr);
  std::_Exit(kFinding);
}

}  // namespace

}  // namespace quintora

int main(int argc, char** argv) {
  using namespace quintora;
  prepareProcess();
  std::set_new_handler(endOutOfMemory);
  bool isProbing = false;
  const char* path = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--help") == 0) {
      std::fputs(kUsage, stdout);
      return kHealthy;
    }
    const bool isOption = argv[i][0] == '-' && argv[i][1] != '\0';
    if (std::strcmp(argv[i], "--probe") == 0) {
      isProbing = true;
    } else if (isOption || path) {
      std::fputs(kUsage, stderr);
      return kWrongUse;
    } else {
      path = argv[i];
    }
  }
  if (!path || !*path) {
    std::fputs(kUsage, stderr);
    return kWrongUse;
  }
  return examine(path, isProbing);
}
