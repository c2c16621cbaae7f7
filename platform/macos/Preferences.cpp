// Preferences from the user-defaults system, through CoreFoundation. The interface above it,
// Foundation's, would let the process arguments override what is stored, and web servers hand a
// query without "=" over as arguments: a visitor could choose the port.
#include "platform/Preferences.h"

#include "extras/Message.h"
#include "platform/macos/CoreFoundation.h"

namespace quintora {

namespace {

// Text as it is and a number's whole part in decimal; any other type counts as not set.
String textOfValue(CFTypeRef value) {
  if (!value)
    return std::nullopt;
  if (CFGetTypeID(value) == CFStringGetTypeID())
    return stringFromCFString(static_cast<CFStringRef>(value));
  if (CFGetTypeID(value) != CFNumberGetTypeID())
    return std::nullopt;
  int64_t number = 0;
  // The result says only whether a fraction was lost.
  CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number);
  return composed({number});
}

}  // namespace

struct Preferences::Store {
  Owned<CFStringRef> domain;
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

std::vector<Preferences::Source> Preferences::sources() const {
  return {{stringFromCFString(store_->domain.get()), Source::State::read, 0}};
}

String Preferences::sourceOfKey(const String& key) {
  return objectForKey(key) ? stringFromCFString(store_->domain.get()) : std::nullopt;
}

}  // namespace quintora
