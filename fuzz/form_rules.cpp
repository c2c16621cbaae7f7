// Requests of every kind, in both modes. A plain implementation of the rules agrees with the
// product on what is sent to the server, to the last byte.
#include <algorithm>

#include "bridge/RequestState.h"
#include "bridge/SendLocalURL.h"
#include "bridge/ServerScript.h"
#include "fuzz/PlainForm.h"
#include "fuzz/PlainText.h"

namespace quintora {

namespace {

std::string utf8(const String& text) {
  require(text.has_value(), "nothing that is sent is absent");
  require(plain::isUTF8(*text), "nothing that is sent has half of a pair");
  return *text;
}

void checkMessage(const Request& request) {
  require(cgiResult.has_value() == plain::isTooLong(request), "a refused buffer is a message");
  require(!cgiResult || cgiResult == "Quintora CGI Error: Out of memory (form data).",
          "the message says that it is the form's");
}

void checkTunnelMode(const Request& request) {
  const Capture capture(request, false);
  require(capture.endedRun() == plain::mustEnd(request), "what cannot be decoded ends the run");
  if (capture.endedRun())
    return;
  checkMessage(request);
  require(postDataCode == "\"\"", "the form's text is the empty literal");
  require(!environmentVariables, "there is one container");

  const std::map<std::string, std::string> expected = plain::parameters(request);
  std::map<std::string, std::string> parameters;
  for (const auto& [key, value] : *postParameters)
    parameters.emplace(utf8(std::string(key)), utf8(std::string(value)));
  require(parameters == expected, "the parameters are the variables and the fields");

  // The order of the pairs has no meaning, and no pair has a "&".
  std::vector<std::string> expectedPairs;
  for (const auto& [key, value] : expected)
    expectedPairs.push_back(plain::encodedPair(key, value));
  FormBody body(postParameters);
  const HTTPRequest sent = localRequest(body);
  require(sent.method == "POST", "the request is a POST");
  std::vector<std::string> pairs;
  std::string rest = wholeOf(body, request.body) + "&";
  while (!rest.empty()) {
    pairs.push_back(rest.substr(0, rest.find('&')));
    rest = rest.substr(pairs.back().size() + 1);
  }
  std::sort(pairs.begin(), pairs.end());
  std::sort(expectedPairs.begin(), expectedPairs.end());
  require(pairs == expectedPairs, "the body is the pairs of the parameters");
  require(sent.headers ==
              decltype(sent.headers){
                  {"Content-Length", std::to_string(body.size())},
                  {"Content-Type", "application/x-www-form-urlencoded charset=utf-8"}},
          "the headers are the two that the server knows");
}

void checkAppleEventMode(const Request& request) {
  const Capture capture(request, true);
  require(!capture.endedRun(), "in Apple-event mode no request ends the run");
  checkMessage(request);
  require(!postParameters, "there is one container");
  std::vector<std::string> entries;
  for (const String& entry : *environmentVariables)
    entries.push_back(utf8(entry));
  require(entries == plain::entries(plain::variables(request)), "each variable has its entry");
  require(utf8(postDataCode) == plain::formText(request), "the form's text has its fields");
  require(
      utf8(serverScriptStatement(environmentVariables, postDataCode)) == plain::statement(request),
      "the statement has both dictionaries");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const Request request(inputText(bytes, size));
  checkTunnelMode(request);
  checkAppleEventMode(request);
  return 0;
}

}  // namespace quintora
