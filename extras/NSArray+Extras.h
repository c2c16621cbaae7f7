// Element access that never fails on a missing element.
#pragma once

#include "extras/String.h"

namespace quintora {

// The very element at an index, or an absent text when the index is not below the count.
const String& safeObjectAtIndex(const Array& receiver, uint64_t index);

// The very element at an index, counted from the end when it is negative (-1 is the last), or the
// empty text when there is none; absent for an absent receiver.
const String& stringFromArrayElement(const Array& receiver, int64_t index);

}  // namespace quintora
