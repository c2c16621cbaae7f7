#include "bridge/ServerScript.h"

#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

namespace {

String entryListText(const Array& entries) { return componentsJoinedByString(entries, u",\n"); }

}  // namespace

String dictionaryEntry(const String& key, const String& value) {
  return stringWithFormat(u"%@,%@", {quiQuoted(key), quiQuoted(value)});
}

String formDictionaryText(const Array& entries) {
  return stringWithFormat(u"initializeDictionary(\n%@\n)\n", {entryListText(entries)});
}

String serverScriptStatement(const Array& variables, const String& form) {
  return stringWithFormat(
      u"setappleeventvalue call({_TavrelLib},{httpRequest},initializeDictionary(\n%@\n),%@)\n",
      {entryListText(variables), form});
}

}  // namespace quintora
