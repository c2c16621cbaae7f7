// The keys of a domain. CoreFoundation keeps them separately by user and host.
#include "platform/StoredLines.h"

#include "extras/Message.h"
#include "platform/macos/CoreFoundation.h"

namespace quintora {

namespace {

void appendKeys(std::vector<std::string>& lines, CFArrayRef keys) {
  const CFIndex count = keys ? CFArrayGetCount(keys) : 0;
  for (CFIndex i = 0; i < count; ++i) {
    const auto* const key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i));
    lines.push_back(composed({stringFromCFString(key), " ="}));
  }
}

}  // namespace

std::vector<std::string> storedLines(const String& domain, const Preferences::Source&) {
  std::vector<std::string> lines;
  const Owned<CFStringRef> application(createCFString(domain));
  for (const CFStringRef user : {kCFPreferencesCurrentUser, kCFPreferencesAnyUser}) {
    for (const CFStringRef host : {kCFPreferencesCurrentHost, kCFPreferencesAnyHost}) {
      const Owned<CFArrayRef> keys(CFPreferencesCopyKeyList(application.get(), user, host));
      appendKeys(lines, keys.get());
    }
  }
  return lines;
}

}  // namespace quintora
