// Forms and variables of a request. What is posted is legal, means the same fields as were
// captured, and means them again when it comes back as a form; both modes carry the same.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "bridge/RequestCapture.h"
#include "bridge/RequestState.h"
#include "bridge/SendLocalURL.h"
#include "extras/NSString.h"
#include "fuzz/PlainForm.h"

namespace quintora {

namespace {

using Fields = std::map<std::string, std::string>;

bool isUpperHexadecimal(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }

bool isLetterOrDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

void checkCharacters(const std::string& body) {
  for (size_t i = 0; i < body.size(); ++i) {
    if (body[i] == '%') {
      require(
          i + 2 < body.size() && isUpperHexadecimal(body[i + 1]) && isUpperHexadecimal(body[i + 2]),
          "an escape has two upper-case digits");
      i += 2;
    } else {
      require(isLetterOrDigit(body[i]) ||
                  (body[i] != '\0' && std::strchr("-_.!~*'();/?:@&=$,", body[i])),
              "a body has legal characters only");
    }
  }
}

// What the pairs of a body mean, keys and values still joined, sorted. A receiver cannot tell the
// "=" behind a key from one within it.
std::vector<std::string> meaningOf(const std::string& body) {
  std::vector<std::string> pairs;
  const Array pieces = componentsSeparatedByString(body, "&");
  for (const String& pair : *pieces) {
    require(containsString(pair, "="), "a pair has a key and a value");
    const String meaning = stringByRemovingPercentEncoding(pair);
    require(meaning.has_value(), "what was escaped can be read");
    pairs.push_back(*meaning);
  }
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

std::vector<std::string> meaningOf(const Fields& fields) {
  std::vector<std::string> pairs;
  for (const auto& [key, value] : fields)
    pairs.push_back(key + "=" + value);
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

// The literal at the front, cut off the text.
std::string cutLiteral(std::string_view& text) {
  std::string value;
  require(text.substr(0, 1) == "\"", "a literal begins with a quote");
  for (text.remove_prefix(1);; text.remove_prefix(1)) {
    require(!text.empty(), "a literal ends with a quote");
    if (text.front() == '"') {
      text.remove_prefix(1);
      if (text.substr(0, 1) != "\"")
        return value;
    }
    value += text.front();
  }
}

// Adds what the entries in a list of the server's language mean.
void addEntries(std::string_view list, const std::string& prefix, Fields& fields) {
  while (!list.empty()) {
    const std::string key = prefix + cutLiteral(list);
    require(list.substr(0, 1) == ",", "a key and a value have a comma between them");
    list.remove_prefix(1);
    fields[key] = cutLiteral(list);
    require(list.empty() || list.substr(0, 2) == ",\n", "entries have a comma between them");
    list.remove_prefix(std::min<size_t>(2, list.size()));
  }
}

// What tunnel mode would have for the state of Apple-event mode.
Fields fieldsOfStatement() {
  Fields fields;
  for (const String& entry : *environmentVariables)
    addEntries(*entry, "ApacheTunnel_", fields);
  fields["ApacheTunnel_CLIPATH"] = kBridgePath;
  fields["ApacheTunnel_CLICOMMAND"] = kCommandName;
  std::string_view form = *postDataCode;
  if (form == "\"\"")
    return fields;
  constexpr std::string_view kBegin = "initializeDictionary(\n";
  constexpr std::string_view kEnd = "\n)\n";
  require(form.size() >= kBegin.size() + kEnd.size() && form.substr(0, kBegin.size()) == kBegin &&
              form.substr(form.size() - kEnd.size()) == kEnd,
          "the form's text is a dictionary");
  form.remove_prefix(kBegin.size());
  form.remove_suffix(kEnd.size());
  addEntries(form, "", fields);
  return fields;
}

bool hasEqualsSign(const Fields& fields) {
  return std::any_of(fields.begin(), fields.end(), [](const auto& field) {
    return containsString(field.first, "=") || containsString(field.second, "=");
  });
}

// The fields that tunnel mode captures, and the body in which it posts them; empty when the request
// ends the run.
std::pair<Fields, std::string> captured(const Request& request) {
  const Capture capture(request, false);
  require(capture.endedRun() == plain::mustEnd(request), "what cannot be decoded ends the run");
  if (capture.endedRun())
    return {};
  const StringMap before = *postParameters;
  FormBody body(postParameters);
  const HTTPRequest sent = localRequest(body);
  const std::string bytes = wholeOf(body, request.body);
  require(sent.headers[0].second == std::to_string(bytes.size()), "the length is the body's");
  require(encodePostData(postParameters) == bytes, "a body in pieces is the same");
  require(*postParameters == before, "encoding changes nothing");
  Fields fields;
  for (const auto& [key, value] : before)
    fields.emplace(key, value);
  return {fields, bytes};
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Request request(inputText(bytes, size));
  const auto [fields, body] = captured(request);
  if (fields.empty())
    return 0;
  require(fields.size() >= std::size(kCGIVariables) + 2, "each variable is sent");
  checkCharacters(body);
  require(meaningOf(body) == meaningOf(fields), "what is posted means what was captured");
  {
    const Capture capture(request, true);
    require(fieldsOfStatement() == fields, "both modes carry the same");
  }
  if (hasEqualsSign(fields))  // of which a form loses all but the first
    return 0;
  request.body = body;
  request.environment.insert(request.environment.begin(),
                             "CONTENT_LENGTH=" + std::to_string(body.size()));
  require(captured(request).first == fields, "what is posted means the same when it comes again");
  return 0;
}

}  // namespace quintora
