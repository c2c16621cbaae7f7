// Preferences from the user-defaults system, read by CoreFoundation. Foundation's interface would
// let process arguments override what is stored, and web servers pass a query without "=" as
// arguments: a visitor could choose the port.
#include "platform/Preferences.h"

#include <cmath>

#include "extras/Message.h"
#include "platform/macos/CoreFoundation.h"

namespace quintora {

namespace {

// A number's whole part in decimal; absent when it does not fit into 64 bits. In that case the
// system returns a different number without saying so: its result only tells whether a fraction was
// lost.
String textOfNumber(CFNumberRef number) {
  int64_t whole = 0;
  double exact = 0;
  CFNumberGetValue(number, kCFNumberSInt64Type, &whole);
  CFNumberGetValue(number, kCFNumberDoubleType, &exact);
  if (!(std::abs(exact - static_cast<double>(whole)) < 1))  // nor is a NaN
    return std::nullopt;
  return composed({whole});
}

// Strings as they are, numbers in decimal; absent for any other type.
String textOfValue(CFTypeRef value) {
  if (!value)
    return std::nullopt;
  if (CFGetTypeID(value) == CFStringGetTypeID())
    return stringFromCFString(static_cast<CFStringRef>(value));
  if (CFGetTypeID(value) == CFNumberGetTypeID())
    return textOfNumber(static_cast<CFNumberRef>(value));
  return std::nullopt;
}

void appendKeys(std::vector<std::string>& lines, CFArrayRef keys) {
  const CFIndex count = keys ? CFArrayGetCount(keys) : 0;
  for (CFIndex i = 0; i < count; ++i) {
    const auto* const key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i));
    lines.push_back(composed({stringFromCFString(key), " ="}));
  }
}

// A line for each key. CoreFoundation keeps them separately by user and host.
std::vector<std::string> keysOfDomain(CFStringRef domain) {
  std::vector<std::string> lines;
  for (const CFStringRef user : {kCFPreferencesCurrentUser, kCFPreferencesAnyUser}) {
    for (const CFStringRef host : {kCFPreferencesCurrentHost, kCFPreferencesAnyHost}) {
      const Owned<CFArrayRef> keys(CFPreferencesCopyKeyList(domain, user, host));
      appendKeys(lines, keys.get());
    }
  }
  return lines;
}

}  // namespace

struct Preferences::Store {
  Owned<CFStringRef> domain;

  // The system looks for a key that the domain does not have in the global domain, and does not say
  // where it found it.
  String name() const {
    return composed({stringFromCFString(domain.get()), " or the global domain"});
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

std::vector<Preferences::Source> Preferences::sources() const {
  return {{store_->name(), Source::State::read, 0, keysOfDomain(store_->domain.get())}};
}

String Preferences::sourceOfKey(const String& key) {
  return objectForKey(key) ? store_->name() : std::nullopt;
}

}  // namespace quintora
