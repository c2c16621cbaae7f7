// Element access that never fails on a missing element.
#pragma once

#include "extras/String.h"

namespace quintora {

// A reference to the element at the index; to an absent string when the index is out of range.
const String& safeObjectAtIndex(const Array& receiver, uint64_t index);

// A reference to the element at the index, which counts from the end when it is negative (-1 is the
// last); to the empty string when there is no such element, and to an absent one for an absent
// receiver.
const String& stringFromArrayElement(const Array& receiver, int64_t index);

}  // namespace quintora
