// One request, from the web server to the Quintora Server and back. No step checks how an earlier
// one went: each records its outcome in the request state, and the last outcome is printed.
#include <utility>

#include "bridge/ChooseConnection.h"
#include "bridge/FinishResponse.h"
#include "bridge/Messages.h"
#include "bridge/RequestCapture.h"
#include "bridge/RequestState.h"
#include "bridge/SendAppleEvent.h"
#include "bridge/SendLocalURL.h"
#include "bridge/ServerScript.h"
#include "extras/NSString.h"
#include "platform/Process.h"

namespace quintora {

namespace {

// The path by which the web server started the bridge; empty when the argument list is.
String pathOfBridge(int count, const char* const* arguments) {
  return stringWithFileSystemRepresentation(count > 0 && arguments[0] ? arguments[0] : "");
}

}  // namespace

}  // namespace quintora

int main(int argc, char** argv) {
  using namespace quintora;
  prepareProcess();
  answerWhenOutOfMemory(kDefaultHeader, kOutOfMemory);
  const String bridgePath = pathOfBridge(argc, argv);
  const String commandName = lastPathComponent(bridgePath);

  ChooseConnection(commandName);
  CaptureRequest(bridgePath, commandName);
  const String statement = serverScriptStatement(environmentVariables, postDataCode);

  if (postParameters)
    SendLocalURL();
  if (environmentVariables)
    SendAppleEvent(statement);

  FinishedResponse response = FinishResponse(std::move(cgiResult));
  cutAtNUL(response);
  endStandardInput();
  writeStandardOutput(response.header, response.text, response.lineEnd);
  endProcess();
}
