// Preferences from the user-defaults system, through CoreFoundation. The interface above it,
// Foundation's, would let the process arguments override what is stored, and web servers hand a
// query without "=" over as arguments: a visitor could choose the port.
#include "platform/Preferences.h"

#include <cmath>

#include "extras/NSString.h"
#include "platform/macos/CoreFoundation.h"

namespace quintora {

namespace {

// A number's whole part in decimal; absent where that has no room in 64 bits. The system then makes
// up another one and does not say so: its result tells only whether a fraction was lost.
String textOfNumber(CFNumberRef number) {
  int64_t whole = 0;
  double exact = 0;
  CFNumberGetValue(number, kCFNumberSInt64Type, &whole);
  CFNumberGetValue(number, kCFNumberDoubleType, &exact);
  if (!(std::abs(exact - static_cast<double>(whole)) < 1))  // nor is a NaN
    return std::nullopt;
  return stringWithFormat(u"%ld", {whole});
}

// Text as it is, numbers in decimal; any other type counts as not set.
String textOfValue(CFTypeRef value) {
  if (!value)
    return std::nullopt;
  if (CFGetTypeID(value) == CFStringGetTypeID())
    return stringFromCFString(static_cast<CFStringRef>(value));
  if (CFGetTypeID(value) == CFNumberGetTypeID())
    return textOfNumber(static_cast<CFNumberRef>(value));
  return std::nullopt;
}

}  // namespace

struct Preferences::Store {
  Owned<CFStringRef> domain;

  // A key that the domain does not have is looked for in the global one, and the system does not
  // say where it was.
  String place() const {
    return stringWithFormat(u"%@ or the global domain", {stringFromCFString(domain.get())});
  }
};

Preferences::Preferences(const String& domain) : store_(new Store{Owned(createCFString(domain))}) {}

Preferences::~Preferences() = default;

String Preferences::objectForKey(const String& key) {
  const Owned<CFStringRef> name(createCFString(key));
  if (!name.get() || !store_->domain.get())
    return std::nullopt;
  const Owned<CFPropertyListRef> value(CFPreferencesCopyAppValue(name.get(), store_->domain.get()));
  return textOfValue(value.get());
}

String Preferences::placeOfKey(const String& key) {
  return objectForKey(key) ? store_->place() : std::nullopt;
}

std::vector<Preferences::Place> Preferences::places() const {
  return {{store_->place(), u"the user defaults of this user and of all users", false}};
}

}  // namespace quintora
