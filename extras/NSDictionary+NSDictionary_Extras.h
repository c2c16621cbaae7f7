// Operations on the map from string to string.
#pragma once

#include "extras/String.h"

namespace quintora {

// Sets the key to the value, replacing an earlier one. An absent key or value ends the run
// (raiseException); an absent receiver stays absent. The value comes before the key, as in the
// platform's setObject:forKey:.
void setObjectForKey(Dictionary& receiver, std::optional<std::string_view> value,
                     std::optional<std::string_view> key);

// The value of the key, which may be empty; the default when the key is not set. Absent for an
// absent receiver.
String stringForKeyDefault(const Dictionary& receiver, const String& key,
                           const String& defaultString);

// The entries as a form-urlencoded body: "key=value" joined by "&". "+", "&" and all that is not a
// URL character are percent-escaped as UTF-8, so the body is ASCII; "=" stays, in keys too. A key
// or value that UTF-8 cannot hold becomes "(null)". Empty for an empty or an absent receiver.
Data encodePostData(const Dictionary& receiver);

// Produces the same body piece by piece, so that it is never in memory as a whole. The dictionary
// must not change meanwhile.
class PostDataEncoder {
 public:
  explicit PostDataEncoder(const Dictionary& receiver);

  // The size of the whole body in bytes.
  uint64_t size() const { return size_; }

  // Writes the next bytes, as many as there is room for. The room must be at least kLeastRoom.
  // Returns how many bytes it wrote: 0 only at the end.
  static constexpr size_t kLeastRoom = 5;
  size_t read(char* to, size_t room);

 private:
  std::string_view encodable(std::string_view text) const;
  bool startField(char*& to);

  StringMap::const_iterator next_;
  const StringMap::const_iterator end_;
  const bool mayHaveSurrogates_;
  uint64_t size_ = 0;
  std::string_view field_;  // the unwritten rest of a key or a value
  std::string_view value_;  // the value of the key that is being written
  bool isKey_ = false;
  bool isFirst_ = true;
};

}  // namespace quintora
