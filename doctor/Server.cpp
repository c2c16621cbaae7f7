#include "doctor/Server.h"

#include <chrono>
#include <cstdio>

#include "bridge/FinishResponse.h"
#include "bridge/Messages.h"
#include "bridge/RequestState.h"
#include "bridge/SendAppleEvent.h"
#include "bridge/SendLocalURL.h"
#include "bridge/ServerScript.h"
#include "doctor/Advice.h"
#include "doctor/Page.h"
#include "doctor/Reply.h"
#include "extras/NSString+Extras.h"
#include "platform/Process.h"

namespace quintora {

namespace {

class StopWatch {
 public:
  String read() const {
    using std::chrono::milliseconds;
    const auto time = std::chrono::steady_clock::now() - start_;
    return composed({std::chrono::duration_cast<milliseconds>(time).count(), " ms"});
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

void reportNUL(Report& report, size_t end, bool isEmpty) {
  report.finding({isEmpty ? Weight::stops : Weight::harms,
                  composed({"The page has a NUL after ", bytes(end), "."}),
                  isEmpty ? "The output ends there: every visitor sees an empty page."
                          : "The output ends there: the page is cut off.",
                  "Let the server send no NUL."});
}

// Shows what the bridge would print, and reports on it as a page. isEmptyExplained: an earlier
// finding says why the page is empty.
void reportOutput(Report& report, bool isEmptyExplained = false) {
  report.section("What the bridge would print");
  FinishedResponse response = FinishResponse(cgiResult);
  const size_t end = response.text.find('\0');
  cutAtNUL(response);
  const std::string printed = response.whole();
  std::fflush(stdout);
  writeStandardOutput(isTerminalOutput() ? printable(printed, "\t\r\n") : printed,
                      endsWith(printed, "\n") ? "" : "\n");
  report.section("The page");
  report.fact(composed({"It has ", bytes(printed.size()), ", its header included."}));
  if (end != std::string::npos)
    reportNUL(report, end, isEmptyPage(response));
  else if (!isEmptyExplained && isEmptyPage(response))
    report.finding({Weight::stops, "The page is empty.", "Every visitor sees an empty page.",
                    "Let the server send a page after the header."});
  report.add(findingsOfPage(response));
}

String secondsOf(std::chrono::milliseconds time) {
  return composed({std::chrono::duration_cast<std::chrono::seconds>(time).count(), " seconds"});
}

void reportFailure(const Examination& examination, const String& sentence) {
  const char* const first = examination.hasLikelyCause
                                ? "First correct what is found about the preferences, which may be "
                                  "the cause. Otherwise: "
                                : "";
  examination.report.finding({Weight::stops, *sentence, kInsteadOfPage,
                              composed({first, fixOfFailure(*sentence, examination.choice)})});
}

void probeTunnel(const Examination& examination, const HTTPRequest& request) {
  Report& report = examination.report;
  report.fact(composed({"Waiting up to ", secondsOf(request.timeoutInterval), " for the reply."}));
  const StopWatch watch;
  const HTTPResponse response = sendSynchronousRequest(request);
  const String time = watch.read();
  cgiResult = resultOfResponse(response);
  bool isReadable = false;
  if (response.data) {
    report.good(composed({"The reply came after ", time, "."}));
    isReadable = reportReply(report, response);
  } else {
    report.fact(composed({"The exchange failed after ", time, "."}));
    reportFailure(examination, response.localizedDescription);
  }
  reportOutput(report, /*isEmptyExplained=*/!isReadable);
}

void lookAtPort(const Examination& examination, const HTTPRequest& request) {
  if (const String failure = connectionFailure(request))
    return reportFailure(examination, failure);
  examination.report.good(
      composed({"Something on this machine accepts connections on port ", request.port, "."}));
  examination.report.fact("--probe shows whether it is the server.");
}

void reportTunnel(const Examination& examination) {
  FormBody body(postParameters);
  const HTTPRequest request = localRequest(body);
  if (isPortOfURL(request.port))
    return examination.isProbing ? probeTunnel(examination, request)
                                 : lookAtPort(examination, request);
  cgiResult = kMalformedURL;
  reportFailure(examination, cgiResult);
  if (examination.isProbing)
    reportOutput(examination.report);
}

void reportAppleEvents(Report& report, bool isProbing) {
  if (!isProbing)
    return report.fact("Only an event shows whether the server can be reached: --probe sends one.");
  report.fact("Waiting up to about a minute for the reply.");
  const StopWatch watch;
  const bool hasReply =
      exchangeAppleEvent(serverScriptStatement(environmentVariables, postDataCode));
  const String time = watch.read();
  if (!hasReply)
    report.finding({Weight::stops, *cgiResult, kInsteadOfPage,
                    "Start the server. On systems other than macOS this mode is for development "
                    "only: remove QZCGIConnectionProtocol for tunnel mode."});
  else if (!cgiResult)
    report.finding({Weight::stops, "The reply is not UTF-8.",
                    "Every visitor sees \"(null)\" and no page.",
                    "Let the server reply in UTF-8."});
  else
    report.good(composed({"The reply came after ", time, "."}));
  reportOutput(report);
}

}  // namespace

void reportServer(const Examination& examination) {
  examination.report.section("The server");
  if (examination.choice.isAppleEventMode)
    reportAppleEvents(examination.report, examination.isProbing);
  else
    reportTunnel(examination);
}

}  // namespace quintora
