#include "bridge/ServerScript.h"

#include "extras/Message.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

namespace {

String entryListText(const Array& entries) { return componentsJoinedByString(entries, ",\n"); }

}  // namespace

String dictionaryEntry(const String& key, const String& value) {
  return composed({quiQuoted(key), ",", quiQuoted(value)});
}

String formDictionaryText(const Array& entries) {
  return composed({"initializeDictionary(\n", entryListText(entries), "\n)\n"});
}

String serverScriptStatement(const Array& variables, const String& form) {
  return composed({"setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n",
                   entryListText(variables), "\n),", form, ")\n"});
}

}  // namespace quintora
