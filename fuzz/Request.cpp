#include "fuzz/Request.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "bridge/ChooseConnection.h"
#include "bridge/RequestCapture.h"
#include "bridge/RequestState.h"

namespace quintora {

// The product's malloc, by the linker's --wrap.
extern "C" void* __real_malloc(size_t size);
extern "C" void* __wrap_malloc(size_t size) {
  return size > kMostMemory ? nullptr : __real_malloc(size);
}

namespace {

void setStandardInput(const std::string& bytes) {
  static const int file = [] {
    const int memory = memfd_create("body", MFD_CLOEXEC);
    require(memory >= 0 && dup2(memory, STDIN_FILENO) == STDIN_FILENO, "standard input is ours");
    return memory;
  }();
  const off_t size = static_cast<off_t>(bytes.size());
  require(ftruncate(file, size) == 0 && pwrite(file, bytes.data(), bytes.size(), 0) == size &&
              lseek(STDIN_FILENO, 0, SEEK_SET) == 0,
          "standard input can be filled");
}

void resetState() {
  postParameters.reset();
  environmentVariables.reset();
  quiZServerPort = 0;
  postDataCode.reset();
  cgiResult.reset();
}

}  // namespace

Request::Request(std::string_view input) {
  bool hasLength = false;
  while (!input.empty()) {
    const std::string_view line = input.substr(0, input.find('\n'));
    input.remove_prefix(std::min(line.size() + 1, input.size()));
    if (line.empty())
      break;
    const std::string variable(line.substr(0, line.find('\0')));
    if (variable.find('=') != variable.npos)
      environment.push_back(variable);
    hasLength = hasLength || variable.compare(0, 15, "CONTENT_LENGTH=") == 0;
  }
  body = input;
  if (!body.empty() && !hasLength)
    environment.push_back("CONTENT_LENGTH=" + std::to_string(body.size()));
}

Capture::Capture(const Request& request, bool isAppleEventMode) {
  setStandardInput(request.body);
  // setenv would keep every value that there ever was.
  std::vector<char*> variables;
  for (const std::string& variable : request.environment)
    variables.push_back(const_cast<char*>(variable.c_str()));
  variables.push_back(nullptr);
  char** const before = environ;
  environ = variables.data();

  ConnectionChoice choice;
  choice.isAppleEventMode = isAppleEventMode;
  choice.port = 8081;
  recordConnection(choice);
  endedRun_ = left_.endsIn([&] { CaptureRequest(kBridgePath, kCommandName); });
  environ = before;
}

Capture::~Capture() { resetState(); }

std::string wholeOf(HTTPBody& body, std::string_view seed) {
  Numbers numbers(seed);
  std::string bytes;
  for (;;) {
    std::vector<char> piece(15 + numbers.upTo(200));  // 16 bytes at least
    const size_t count = body.read(piece.data(), piece.size());
    require(count <= piece.size(), "a piece fits into its room");
    if (count == 0)
      break;
    bytes.append(piece.data(), count);
  }
  require(bytes.size() == body.size(), "a body has the length that it says");
  return bytes;
}

}  // namespace quintora
