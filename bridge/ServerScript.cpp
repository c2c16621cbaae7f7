#include "bridge/ServerScript.h"

#include "extras/Message.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

namespace {

constexpr const char* kEntrySeparator = ",\n";

}  // namespace

std::string dictionaryEntry(const String& key, const String& value) {
  return composed({quiQuoted(key), ",", quiQuoted(value)});
}

void appendEntry(std::string& entryList, std::string_view entry) {
  if (!entryList.empty())
    entryList += kEntrySeparator;
  entryList += entry;
}

String formDictionaryText(std::string_view entryList) {
  return composed({"initializeDictionary(\n", entryList, "\n)\n"});
}

String serverScriptStatement(const Array& variables, const String& form) {
  return composed({"setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n",
                   componentsJoinedByString(variables, kEntrySeparator), "\n),", form, ")\n"});
}

}  // namespace quintora
