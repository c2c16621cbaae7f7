#include "fuzz/PlainForm.h"

#include "fuzz/PlainText.h"

namespace quintora {

namespace plain {

namespace {

const char* const kNames[] = {"SERVER_SOFTWARE",      "QUERY_STRING",    "REMOTE_ADDR",
                              "REMOTE_PORT",          "REQUEST_METHOD",  "SERVER_ADDR",
                              "SERVER_ADMIN",         "SERVER_NAME",     "SERVER_PORT",
                              "SERVER_SIGNATURE",     "HTTP_ACCEPT",     "HTTP_ACCEPT_ENCODING",
                              "HTTP_ACCEPT_LANGUAGE", "HTTP_CONNECTION", "HTTP_HOST",
                              "HTTP_REFERER",         "HTTP_USER_AGENT", "HTTP_COOKIE"};

const std::string kWhiteSpace[] = {
    "\t",           "\n",           "\v",           "\f",           "\r",           " ",
    "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82",
    "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88",
    "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F",
    "\xE3\x80\x80"};

bool startsWith(const std::string& text, const std::string& start) {
  return text.substr(0, start.size()) == start;
}

// The value of a variable: empty when it is not set, absent when it is not UTF-8.
std::optional<std::string> variable(const Request& request, const std::string& name) {
  for (const std::string& entry : request.environment) {
    if (!startsWith(entry, name + "="))
      continue;
    const std::string value = entry.substr(name.size() + 1);
    return isUTF8(value) ? std::optional<std::string>(value) : std::nullopt;
  }
  return "";
}

// The digits of a positive number without leading zeros; empty for any other text.
std::string positiveDigits(std::string text) {
  bool hasSkipped = true;
  while (hasSkipped) {
    hasSkipped = false;
    for (const std::string& blank : kWhiteSpace) {
      if (startsWith(text, blank)) {
        text = text.substr(blank.size());
        hasSkipped = true;
      }
    }
  }
  if (startsWith(text, "-"))
    return "";
  if (startsWith(text, "+"))
    text = text.substr(1);
  std::string digits;
  for (const char c : text) {
    if (c < '0' || c > '9')
      break;
    if (c != '0' || !digits.empty())
      digits += c;
  }
  return digits;
}

// CONTENT_LENGTH's digits.
std::string lengthDigits(const Request& request) {
  return positiveDigits(variable(request, "CONTENT_LENGTH").value_or(""));
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts = {""};
  for (const char c : text) {
    if (c == separator)
      parts.push_back("");
    else
      parts.back() += c;
  }
  return parts;
}

int digitOf(char c) {
  const std::string digits = "0123456789abcdef0123456789ABCDEF";
  const size_t at = digits.find(c);
  return c == '\0' || at == digits.npos ? -1 : static_cast<int>(at % 16);
}

std::optional<std::string> decoded(const std::string& text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+') {
      bytes += ' ';
    } else if (text[i] == '%') {
      if (text.size() - i < 3 || digitOf(text[i + 1]) < 0 || digitOf(text[i + 2]) < 0)
        return std::nullopt;
      bytes += static_cast<char>(digitOf(text[i + 1]) * 16 + digitOf(text[i + 2]));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return isUTF8(bytes) ? std::optional<std::string>(bytes) : std::nullopt;
}

std::string escaped(const std::string& text) {
  const std::string kept =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.!~*'();/?:@=$,";
  const std::string digits = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    const size_t byte = static_cast<unsigned char>(c);
    if (kept.find(c) != kept.npos)
      result += c;
    else
      result += std::string("%") + digits[byte / 16] + digits[byte % 16];
  }
  return result;
}

std::string quoted(const std::optional<std::string>& text) {
  if (!text)
    return "(null)";
  std::string literal = "\"";
  for (const char c : *text)
    literal += c == '"' ? std::string("\"\"") : std::string(1, c);
  return literal + "\"";
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (size_t i = 0; i < lines.size(); ++i)
    text += (i > 0 ? ",\n" : "") + lines[i];
  return text;
}

}  // namespace

std::vector<Field> variables(const Request& request) {
  std::vector<Field> fields;
  for (const char* name : kNames)
    fields.push_back({name, variable(request, name)});
  return fields;
}

bool isTooLong(const Request& request) {
  const std::string digits = lengthDigits(request);
  return digits.size() > 9 || (!digits.empty() && std::stoul(digits) + 100 > kMostMemory);
}

std::optional<std::vector<Field>> form(const Request& request) {
  const std::string digits = lengthDigits(request);
  if (digits.empty() || isTooLong(request))
    return std::nullopt;
  std::string body = request.body.substr(0, std::stoul(digits));
  body = body.substr(0, body.find('\0'));
  std::vector<Field> fields;
  if (!isUTF8(body))
    return fields;
  for (const std::string& piece : split(body, '&')) {
    std::vector<std::string> parts = split(piece, '=');
    parts.push_back("");
    fields.push_back({decoded(parts[0]), decoded(parts[1])});
  }
  return fields;
}

bool mustEnd(const Request& request) {
  for (const auto& fields : {variables(request), form(request).value_or(std::vector<Field>())}) {
    for (const Field& field : fields) {
      if (!field.key || !field.value)
        return true;
    }
  }
  return false;
}

std::map<std::string, std::string> parameters(const Request& request) {
  std::map<std::string, std::string> result;
  for (const Field& field : variables(request))
    result["ApacheTunnel_" + *field.key] = *field.value;
  result["ApacheTunnel_CLIPATH"] = kBridgePath;
  result["ApacheTunnel_CLICOMMAND"] = kCommandName;
  for (const Field& field : form(request).value_or(std::vector<Field>()))
    result[*field.key] = *field.value;
  return result;
}

std::string encodedPair(const std::string& key, const std::string& value) {
  return escaped(key) + "=" + escaped(value);
}

std::vector<std::string> entries(const std::vector<Field>& fields) {
  std::vector<std::string> lines;
  for (const Field& field : fields)
    lines.push_back(quoted(field.key) + "," + quoted(field.value));
  return lines;
}

std::string formText(const Request& request) {
  const auto fields = form(request);
  return fields ? "initializeDictionary(\n" + joined(entries(*fields)) + "\n)\n" : "\"\"";
}

std::string statement(const Request& request) {
  return "setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n" +
         joined(entries(variables(request))) + "\n)," + formText(request) + ")\n";
}

}  // namespace plain

}  // namespace quintora
