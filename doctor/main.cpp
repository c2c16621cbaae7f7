// Finds out why an installed copy of the bridge does not work. It chooses the connection, sends and
// reads with the bridge's own functions and reports their results. It also looks for mistakes that
// the bridge itself does not report.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "bridge/ChooseConnection.h"
#include "bridge/RequestCapture.h"
#include "doctor/Connection.h"
#include "doctor/Copy.h"
#include "doctor/Server.h"
#include "extras/NSString.h"
#include "platform/Process.h"

namespace quintora {

namespace {

constexpr int kHealthy = 0;
constexpr int kFinding = 1;
constexpr int kWrongUse = 2;

// printf's format; its value is how to run this program from any directory.
constexpr const char* kUsage =
    "usage: quintora-doctor [--probe] PATH\n"
    "       quintora-doctor --help | --version\n"
    "\n"
    "Says how the copy of the bridge at PATH reaches its server, and what is in the way.\n"
    "\n"
    "  --probe    also send one harmless request, marked as this program's own, and show what\n"
    "             the bridge would print\n"
    "  --help     print this\n"
    "  --version  print the version\n"
    "\n"
    "Preferences are looked for as this user and with this environment. A web server starts\n"
    "its CGI programs as another user and with few variables, as this does:\n"
    "\n"
    "  sudo -u www-data env -i %s --probe PATH\n"
    "\n"
    "Exit status: 0 healthy, 1 something was found, 2 wrong use.\n";

// Replaces the caller's CGI variables by those of a harmless request, with marks by which a server
// can recognise it.
void setProbeEnvironment() {
  for (const char* name : kCGIVariables)
    setEnvironmentVariable(name, nullptr);
  setEnvironmentVariable("CONTENT_LENGTH", nullptr);
  setEnvironmentVariable("REQUEST_METHOD", "GET");
  for (const char* mark : {"QUERY_STRING", "HTTP_USER_AGENT", "SERVER_SOFTWARE"})
    setEnvironmentVariable(mark, "quintora-doctor");
}

int examine(const char* path, bool isProbing) {
  Report report;
  const String bridgePath = stringWithFileSystemRepresentation(path);
  const String commandName = lastPathComponent(bridgePath);
  Preferences preferences(kServerDefaultsSuite);
  const ConnectionChoice choice = connectionFor(commandName, preferences);

  reportCopy(report, path);
  const size_t findingsOfCopy = report.countOfFindings();
  reportPreferences(report, preferences);
  reportMode(report, choice, preferences);
  if (!choice.isAppleEventMode)
    reportPort(report, choice, commandName, preferences);
  const bool hasLikelyCause = report.countOfFindings() > findingsOfCopy;
  recordConnection(choice);
  setProbeEnvironment();
  CaptureRequest(bridgePath, commandName);
  reportServer({report, choice, isProbing, hasLikelyCause});
  report.conclude();
  return report.isHealthy() ? kHealthy : kFinding;
}

int sayVersion() {
  std::puts("quintora-doctor " PROJECT_VERSION);
  return kHealthy;
}

int sayUsage(std::FILE* file, const char* program, int status) {
  const bool isPath = std::strchr(program, '/') != nullptr;
  std::fprintf(file, kUsage, isPath ? program : "\"$(command -v quintora-doctor)\"");
  return status;
}

int wrongUse(const char* program, const char* what, const char* argument) {
  std::fprintf(stderr, "quintora-doctor: %s%s\n", what, argument);
  return sayUsage(stderr, program, kWrongUse);
}

int run(int count, const char* const* arguments) {
  bool isProbing = false;
  const char* const program = count > 0 ? arguments[0] : "";
  const char* path = "";
  for (int i = 1; i < count; ++i) {
    const std::string_view argument = arguments[i];
    if (argument == "--help")
      return sayUsage(stdout, program, kHealthy);
    if (argument == "--version")
      return sayVersion();
    if (argument == "--probe")
      isProbing = true;
    else if (argument.size() > 1 && argument.front() == '-')
      return wrongUse(program, "unknown option: ", arguments[i]);
    else if (*path != '\0')
      return wrongUse(program, "more than one path: ", arguments[i]);
    else
      path = arguments[i];
  }
  return *path == '\0' ? wrongUse(program, "no path", "") : examine(path, isProbing);
}

// Allocates nothing: there is no memory left.
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
  return run(argc, argv);
}
