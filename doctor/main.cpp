// Answers the question why an installed copy of the bridge does not answer. It decides, sends and
// reads with the bridge's own procedures, and only says what they find.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "bridge/ChooseConnection.h"
#include "bridge/FinishResponse.h"
#include "bridge/Messages.h"
#include "bridge/RequestCapture.h"
#include "bridge/RequestState.h"
#include "bridge/SendAppleEvent.h"
#include "bridge/SendLocalURL.h"
#include "bridge/ServerScript.h"
#include "doctor/CopyVersion.h"
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
                sentence ? sentence->c_str() : "");
  }

  const bool isColoured_;
  bool isHealthy_ = true;
};

// A stored value and where it is from, as a person writes it down.
String stored(const char* key, const String& value, Preferences& preferences) {
  if (!value)
    return composed({key, " is not set."});
  return composed({key, " is \"", value, "\", by ", preferences.sourceOfKey(key), "."});
}

void reportCopy(Report& report, const char* path) {
  report.section("The copy");
  const String name = stringWithFileSystemRepresentation(path);
  const int error = executionError(path);
  if (error == 0)
    report.good(composed({name, " can be run by this user."}));
  else
    report.finding(composed({name, " cannot be run by this user: ",
                             error == EISDIR ? "it is a directory" : systemSentence(error), "."}));
  if (error == 0)
    report.fact(versionOfCopy(path));
}

// What was found where values may come from, and whether that keeps them from being read.
void reportSource(Report& report, const Preferences::Source& source) {
  using State = Preferences::Source::State;
  switch (source.state) {
    case State::notNeeded:
      return report.fact(composed({source.name, ": not needed"}));
    case State::read:
      return report.fact(composed({source.name, ": read"}));
    case State::absent:
      return report.fact(composed({source.name, ": not there"}));
    case State::notUTF8:
      return report.finding(composed({source.name, ": not UTF-8, so ignored"}));
    case State::unreadable:
      return report.finding(
          composed({source.name, ": cannot be read: ", systemSentence(source.error)}));
  }
}

void reportPreferences(Report& report, const Preferences& preferences) {
  report.section("The preferences");
  for (const Preferences::Source& source : preferences.sources())
    reportSource(report, source);
}

void reportMode(Report& report, const ConnectionChoice& choice, Preferences& preferences) {
  report.section("The mode");
  report.fact(stored("QZCGIConnectionProtocol", choice.protocol, preferences));
  report.fact(choice.isAppleEventMode ? "It contains \"apple\": Apple-event mode."
                                      : "That is tunnel mode.");
}

void reportPort(Report& report, const ConnectionChoice& choice, const String& commandName,
                Preferences& preferences) {
  report.section("The port");
  if (choice.nameText) {
    report.fact(composed({"The file name \"", commandName, "\" carries \"", choice.nameText,
                          "\" behind its first \"_\"."}));
    report.fact(stored("QZQuintoraCloudServerPorts", choice.cloudPorts, preferences));
    report.fact(choice.tableEntry ? composed({"Its entry \"", choice.tableEntry, "\" holds."})
                                  : "So what the name carries is the port itself.");
  } else {
    report.fact(composed({"The file name \"", commandName, "\" holds no \"_\"."}));
    report.fact(stored("QZQuintoraServerPort", choice.serverPort, preferences));
    if (!choice.serverPort)
      report.fact("Without it the port is 8080.");
  }
  report.fact(composed({"As a number, \"", choice.portText, "\" is port ", choice.port, "."}));
}

// Makes the environment that of a request which no visitor has sent: nothing of the caller's own,
// and marks by which a server can tell it.
void setProbeEnvironment() {
  for (const char* name : kCGIVariables)
    setEnvironmentVariable(name, nullptr);
  setEnvironmentVariable("CONTENT_LENGTH", nullptr);
  setEnvironmentVariable("REQUEST_METHOD", "GET");
  for (const char* mark : {"QUERY_STRING", "HTTP_USER_AGENT", "SERVER_SOFTWARE"})
    setEnvironmentVariable(mark, "quintora-doctor");
}

String timeSince(std::chrono::steady_clock::time_point start) {
  const auto time = std::chrono::steady_clock::now() - start;
  return composed({std::chrono::duration_cast<std::chrono::milliseconds>(time).count(), " ms"});
}

// Whether nothing but line ends follows the header, whichever line ends that has.
bool hasEmptyBody(std::string_view page) {
  const size_t end = std::min(page.find("\n\n"), page.find("\n\r\n"));
  return page.find_first_not_of("\r\n", end) == page.npos;
}

// What a visitor would get, and what is odd about it.
void reportOutput(Report& report) {
  report.section("What the bridge would print");
  FinishedResponse response = FinishResponse(cgiResult);
  const size_t size = response.text.size();
  cutAtNUL(response);
  if (response.text.size() < size)
    report.finding("It ends at a NUL in the reply.");
  const std::string printed = response.whole();
  if (isEmpty(cgiResult) || hasEmptyBody(printed))
    report.finding("The page is empty.");
  if (!beginsWith(cgiResult, "Content-type:") &&
      caseInsensitiveBeginsWith(cgiResult, "Content-type:"))
    report.finding("The reply's own header is not exactly \"Content-type:\", so it shows as text.");
  std::fflush(stdout);
  writeStandardOutput(printed);
}

// Why the text of a reply is empty though its body is not.
void reportCharset(Report& report, const HTTPResponse& response) {
  const TextEncoding encoding = textEncodingFromIANACharSetName(response.textEncodingName);
  if (!decodeData({}, encoding)) {
    report.finding(composed({"The charset \"", response.textEncodingName, "\" is unknown."}));
    return;
  }
  const std::string& body = *response.data;
  const size_t fitting = fittingBytes(body, encoding);
  if (fitting == body.size())
    return;
  const unsigned char byte = static_cast<unsigned char>(body[fitting]);
  report.finding(composed({"Byte ", fitting + 1, " of the reply, hexadecimal ",
                           radixstrValueBytes(16, byte, 1), ", is not valid in the charset \"",
                           response.textEncodingName, "\"."}));
}

void probeTunnel(Report& report, const HTTPRequest& request) {
  const auto start = std::chrono::steady_clock::now();
  const HTTPResponse response = sendSynchronousRequest(request);
  const String time = timeSince(start);
  cgiResult = resultOfResponse(response);
  if (isReadableReply(response)) {
    report.good(composed({"It answered ", response.data->size(), " bytes in the charset ",
                          response.textEncodingName, " after ", time, "."}));
    reportCharset(report, response);
  } else {
    report.finding(composed({"After ", time, ": ", cgiResult}));
  }
  reportOutput(report);
}

void reportTunnel(Report& report, bool isProbing) {
  report.section("The server");
  if (!isPortOfURL(quiZServerPort)) {
    cgiResult = kMalformedURL;
    report.finding(cgiResult);
    if (isProbing)
      reportOutput(report);
    return;
  }
  FormBody body(postParameters);
  const HTTPRequest request = localRequest(body);
  if (isProbing) {
    probeTunnel(report, request);
  } else if (const String failure = connectionFailure(request)) {
    report.finding(failure);
  } else {
    report.good(
        composed({"Something on this machine takes connections on port ", quiZServerPort, "."}));
    report.fact("Whether it is the server, --probe will tell.");
  }
}

void reportAppleEvents(Report& report, bool isProbing) {
  report.section("The server");
  if (!isProbing) {
    report.fact("Only an event shows whether it can be reached: --probe sends one.");
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  const bool hasReply =
      exchangeAppleEvent(serverScriptStatement(environmentVariables, postDataCode));
  const String time = timeSince(start);
  if (!hasReply)
    report.finding(composed({"After ", time, ": ", cgiResult}));
  else if (!cgiResult)
    report.finding(composed({"It answered after ", time, ", but not in UTF-8."}));
  else
    report.good(composed({"It answered after ", time, "."}));
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
