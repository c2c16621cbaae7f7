// Converts between CoreFoundation's strings and the product's.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "extras/String.h"
#include "extras/UTF16.h"

namespace quintora {

// Owns a reference that a function with Create or Copy in its name has returned; null is allowed.
template <typename Reference>
class Owned {
 public:
  explicit Owned(Reference reference) : reference_(reference) {}
  ~Owned() {
    if (reference_)
      CFRelease(reference_);
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;

  Reference get() const { return reference_; }

 private:
  const Reference reference_;
};

// A new object that the caller owns; null for an absent string.
inline CFStringRef createCFString(const String& text) {
  if (!text)
    return nullptr;
  const std::u16string units = unitsOf(*text);
  return CFStringCreateWithCharacters(kCFAllocatorDefault,
                                      reinterpret_cast<const UniChar*>(units.data()),
                                      static_cast<CFIndex>(units.size()));
}

// The object's string, code unit by code unit; absent for null.
inline String stringFromCFString(CFStringRef object) {
  if (!object)
    return std::nullopt;
  std::u16string units(static_cast<size_t>(CFStringGetLength(object)), u'\0');
  CFStringGetCharacters(object, CFRangeMake(0, static_cast<CFIndex>(units.size())),
                        reinterpret_cast<UniChar*>(units.data()));
  return textOfUnits(units);
}

}  // namespace quintora
