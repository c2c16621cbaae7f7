// What a request must become, by the rules alone: text is UTF-8 bytes, everything is copied, and
// nothing of the product is used.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/Request.h"

namespace quintora {

namespace plain {

struct Field {
  std::optional<std::string> key;  // absent when it cannot be decoded
  std::optional<std::string> value;
};

// The CGI variables under their own names, in their order.
std::vector<Field> variables(const Request& request);

// The form; absent when none is read. Empty when it is not UTF-8.
std::optional<std::vector<Field>> form(const Request& request);

// Whether the memory for the form is refused.
bool isTooLong(const Request& request);

// Whether tunnel mode must end the run.
bool mustEnd(const Request& request);

// What is posted in tunnel mode.
std::map<std::string, std::string> parameters(const Request& request);

// The pair that is posted for an entry.
std::string encodedPair(const std::string& key, const std::string& value);

// In Apple-event mode: the entries of the variables, the form's text, and the statement.
std::vector<std::string> entries(const std::vector<Field>& fields);
std::string formText(const Request& request);
std::string statement(const Request& request);

}  // namespace plain

}  // namespace quintora
