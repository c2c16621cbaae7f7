// Answers the question why an installed copy of the bridge does not answer. It decides, sends and
// reads with the bridge's own procedures, and only says what they find.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bridge/ChooseConnection.h"
#include "bridge/FinishResponse.h"
#include "bridge/RequestCapture.h"
#include "bridge/RequestState.h"
#include "bridge/SendAppleEvent.h"
#include "bridge/SendLocalURL.h"
#include "bridge/ServerScript.h"
#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"
#include "platform/Process.h"

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
    "Preferences are those of the user that runs this program; a web server's CGI programs\n"
    "run as another one: sudo -u www-data quintora-doctor PATH (on macOS: -u _www).\n"
    "\n"
    "Exit status: 0 healthy, 1 something was found, 2 wrong use.\n";

// What the report says so far, and whether that is good.
class Report {
 public:
  Report() : isColoured_(isTerminalOutput()) {}

  void section(const char* title) { std::printf("%s%s%s\n", bold(), title, plain()); }
  void fact(const String& sentence) { line(" ", "", sentence); }
  void good(const String& sentence) { line("+", isColoured_ ? "\033[32m" : "", sentence); }
  void finding(const String& sentence) {
    line("!", isColoured_ ? "\033[31m" : "", sentence);
    isHealthy_ = false;
  }
  bool isHealthy() const { return isHealthy_; }

 private:
  void line(const char* mark, const char* colour, const String& sentence) {
    std::printf("  %s%s%s %s\n", colour, mark, plain(), lossyUTF8Data(sentence).c_str());
  }
  const char* bold() const { return isColoured_ ? "\033[1m" : ""; }
  const char* plain() const { return isColoured_ ? "\033[0m" : ""; }

  const bool isColoured_;
  bool isHealthy_ = true;
};

// A stored value as a person writes it down.
String shown(const String& value) {
  return value ? stringWithFormat(u"\"%@\"", {value}) : u"not set";
}

void reportCopy(Report& report, const String& path) {
  report.section("The copy");
  const String failure = executionFailure(lossyUTF8Data(path));
  if (failure)
    report.finding(stringWithFormat(u"%@ cannot be run by this user: %@.", {path, failure}));
  else
    report.good(stringWithFormat(u"%@ can be run by this user.", {path}));
}

void reportPreferences(Report& report, const Preferences& preferences) {
  report.section("The preferences");
  for (const Preferences::Place& place : preferences.places())
    report.fact(stringWithFormat(u"%@: %@", {place.name, place.state}));
}

void reportMode(Report& report, const ConnectionChoice& choice) {
  report.section("The mode");
  report.fact(stringWithFormat(u"QZCGIConnectionProtocol is %@.", {shown(choice.protocol)}));
  report.fact(choice.isAppleEventMode ? u"It contains \"apple\": Apple-event mode."
                                      : u"That is tunnel mode.");
}

void reportPort(Report& report, const ConnectionChoice& choice, const String& commandName) {
  report.section("The port");
  if (choice.nameText) {
    report.fact(stringWithFormat(u"The file name \"%@\" carries \"%@\" behind its first \"_\".",
                                 {commandName, choice.nameText}));
    report.fact(stringWithFormat(u"QZQuintoraCloudServerPorts is %@.", {shown(choice.cloudPorts)}));
    if (choice.tableEntry)
      report.fact(stringWithFormat(u"Its entry \"%@\" holds.", {choice.tableEntry}));
    else
      report.fact(u"No entry of it holds, so the text itself is the port.");
  } else {
    report.fact(stringWithFormat(u"The file name \"%@\" holds no \"_\".", {commandName}));
    report.fact(stringWithFormat(u"QZQuintoraServerPort is %@.", {shown(choice.serverPort)}));
    if (!choice.serverPort)
      report.fact(u"Without it the port is 8080.");
  }
  const String port =
      stringWithFormat(u"The text \"%@\" is port %ld.", {choice.portText, choice.port});
  if (choice.port < 1 || choice.port > 65535)
    report.finding(stringWithFormat(u"%@ There is no such port.", {port}));
  else
    report.good(port);
}

// Captures a request that no visitor has sent. A server can tell it by the first four variables.
void captureProbe(const String& path, const String& commandName) {
  setenv("REQUEST_METHOD", "GET", 1);
  setenv("QUERY_STRING", "quintora-doctor", 1);
  setenv("HTTP_USER_AGENT", "quintora-doctor", 1);
  setenv("SERVER_SOFTWARE", "quintora-doctor", 1);
  unsetenv("CONTENT_LENGTH");
  for (const char16_t* name : kCGIVariables)
    AddEnvironmentVariable(name);
  setObjectForKey(postParameters, path, tunnelKey(u"CLIPATH"));
  setObjectForKey(postParameters, commandName, tunnelKey(u"CLICOMMAND"));
  AddPostData();
}

void showOutput(Report& report) {
  report.section("What the bridge would print");
  std::fflush(stdout);
  writeStandardOutput(lossyUTF8Data(FinishResponse(cgiResult)).c_str());
}

String secondsSince(std::chrono::steady_clock::time_point start) {
  const auto time = std::chrono::steady_clock::now() - start;
  const auto count = std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
  return stringWithFormat(u"%ld milliseconds", {count});
}

void probeTunnel(Report& report, const HTTPRequest& request) {
  const auto start = std::chrono::steady_clock::now();
  const HTTPResponse response = sendSynchronousRequest(request);
  const String time = secondsSince(start);
  cgiResult = resultOfResponse(response);
  if (!response.data) {
    report.finding(stringWithFormat(u"After %@: %@", {time, response.localizedDescription}));
  } else if (response.data->empty()) {
    report.finding(stringWithFormat(u"It answered after %@, with an empty body.", {time}));
  } else if (!response.textEncodingName) {
    report.finding(stringWithFormat(u"It answered %lu bytes after %@, but declares no charset.",
                                    {response.data->size(), time}));
  } else {
    report.good(stringWithFormat(u"It answered %lu bytes after %@, in the charset %@.",
                                 {response.data->size(), time, response.textEncodingName}));
    if (isEmpty(cgiResult))
      report.finding(u"The body is not valid in that charset, or nobody knows the charset.");
  }
  showOutput(report);
}

void reportTunnel(Report& report, bool isProbing) {
  report.section("The server");
  const std::optional<HTTPRequest> request = localRequest();
  if (!request) {
    report.finding(u"No URL can be made of this port.");
    return;
  }
  if (isProbing) {
    probeTunnel(report, *request);
    return;
  }
  const String failure = connectionFailure(*request);
  if (failure) {
    report.finding(failure);
    return;
  }
  report.good(stringWithFormat(u"Something on this machine takes connections on port %ld.",
                               {quiZServerPort}));
  report.fact(u"Whether it is the server, --probe will tell.");
}

void reportAppleEvents(Report& report, bool isProbing) {
  report.section("The server");
  if (!isProbing) {
    report.fact(u"Only an event shows whether it can be reached: --probe sends one.");
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  SendAppleEvent(serverScriptStatement(environmentVariables, postDataCode));
  const String time = secondsSince(start);
  if (!cgiResult)
    report.finding(stringWithFormat(u"It answered after %@, but not in UTF-8.", {time}));
  else if (beginsWith(cgiResult, u"Quintora CGI error"))
    report.finding(stringWithFormat(u"After %@: %@", {time, cgiResult}));
  else
    report.good(stringWithFormat(u"It answered after %@.", {time}));
  showOutput(report);
}

int examine(const char* argument, bool isProbing) {
  Report report;
  const String path = stringWithFileSystemRepresentation(argument);
  const String commandName = lastPathComponent(path);
  Preferences preferences(kServerDefaultsSuite);
  const ConnectionChoice choice = connectionFor(commandName, preferences);

  reportCopy(report, path);
  reportPreferences(report, preferences);
  reportMode(report, choice);
  if (!choice.isAppleEventMode)
    reportPort(report, choice, commandName);
  ChooseConnection(commandName);
  captureProbe(path, commandName);
  if (postParameters)
    reportTunnel(report, isProbing);
  if (environmentVariables)
    reportAppleEvents(report, isProbing);
  return report.isHealthy() ? kHealthy : kFinding;
}

}  // namespace

int main(int argc, char** argv) {
  prepareProcess("Out of memory.");
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
