// Operations on the map from text to text.
#pragma once

#include "extras/String.h"

namespace quintora {

// Sets the key to the value, in place of an earlier one. An absent key or value ends the run
// (raiseException); an absent receiver is left alone. The arguments' order is the platform's
// (setObject:forKey:): the value comes first.
void setObjectForKey(Dictionary& receiver, std::optional<std::string_view> value,
                     std::optional<std::string_view> key);

// The value stored under the key, an empty one included, else the default itself; absent for an
// absent receiver.
String stringForKeyDefault(const Dictionary& receiver, const String& key,
                           const String& defaultString);

// The entries as a form-urlencoded body: "key=value" joined by "&", both escaped so that the body
// is ASCII: what is no URL character, "+" and "&" become escapes of their UTF-8 bytes; "=" stays,
// in keys too. A key or value that UTF-8 cannot hold stands as "(null)". Empty for an empty or an
// absent receiver.
Data encodePostData(const Dictionary& receiver);

// The same body in pieces, where it need not be in memory as a whole. The dictionary must stay as
// it is meanwhile.
class PostDataEncoder {
 public:
  explicit PostDataEncoder(const Dictionary& receiver);

  // Bytes of the whole body.
  uint64_t size() const { return size_; }

  // Writes the next bytes, as many as there is room for, which is kLeastRoom at least. Returns how
  // many there were, 0 at the end only.
  static constexpr size_t kLeastRoom = 5;
  size_t read(char* to, size_t room);

 private:
  bool startField(char*& to);

  StringMap::const_iterator next_;
  const StringMap::const_iterator end_;
  uint64_t size_ = 0;
  std::string_view field_;  // what is still to be written of a key or a value
  std::string_view value_;  // of the key that is being written
  bool isKey_ = false;
  bool isFirst_ = true;
};

}  // namespace quintora
