// The request as one statement of the server's scripting language.
#pragma once

#include "extras/String.h"

namespace quintora {

// The literal of the empty string.
inline constexpr const char* kEmptyLiteral = "\"\"";

// One key and one value, both quoted; an absent one becomes (null), without quotes.
std::string dictionaryEntry(const String& key, const String& value);

// Appends an entry to the text of a list of entries.
void appendEntry(std::string& entryList, std::string_view entry);

// The call that makes a dictionary of the form's entries. It ends with a line feed.
String formDictionaryText(std::string_view entryList);

// The statement that passes both dictionaries to the server's procedure and returns its value. The
// form is either formDictionaryText or kEmptyLiteral; an absent argument becomes (null).
String serverScriptStatement(const Array& variables, const String& form);

}  // namespace quintora
