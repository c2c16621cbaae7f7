#include "extras/NSArray+Extras.h"

namespace quintora {

namespace {

const String kAbsent;

}  // namespace

const String& safeObjectAtIndex(const Array& receiver, uint64_t index) {
  return receiver && index < receiver->size() ? (*receiver)[index] : kAbsent;
}

const String& stringFromArrayElement(const Array& receiver, int64_t index) {
  if (!receiver)
    return kAbsent;
  static const String empty = "";
  const int64_t count = static_cast<int64_t>(receiver->size());
  if (index < 0)
    index += count;
  if (index < 0 || index >= count)
    return empty;
  return (*receiver)[static_cast<uint64_t>(index)];
}

}  // namespace quintora
