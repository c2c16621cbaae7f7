#include "tests/macos/StandIns.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

namespace {

enum : CFTypeID {
  kStringType = 7,
  kArrayType = 19,
  kBooleanType = 21,
  kNumberType = 22,
  kDateType = 42
};

struct Object {
  CFTypeID type;
  std::u16string text;
  double number;
  int64_t whole;                      // what the system makes of the number
  std::vector<CFTypeRef> elements{};  // of an array, which owns them
};

std::map<const void*, long> references;  // of each living object

// Of a value: the domain and the key.
using Place = std::pair<std::u16string, std::u16string>;
std::map<Place, Object> preferences;

// Of names in ASCII.
Place placeOf(const std::string& domain, const std::string& key) {
  return {{domain.begin(), domain.end()}, {key.begin(), key.end()}};
}

const void* create(const Object& copied) {
  const Object* const object = new Object(copied);
  references[object] = 1;
  return object;
}

const Object& living(CFTypeRef object) {
  EXPECT_EQ(references.count(object), 1u) << "an object is used that is not there";
  return *static_cast<const Object*>(object);
}

const std::u16string& textOf(CFStringRef string) {
  EXPECT_EQ(living(string).type, kStringType);
  return living(string).text;
}

// The charsets that this system knows: their numbers in CoreFoundation, and as text encodings.
struct Charset {
  const char16_t* name;  // lower-case
  CFStringEncoding encoding;
  unsigned long identifier;
  const char* converter;
};
const Charset kCharsets[] = {
    {u"ibm437", 0x0400, 0x80000400, "IBM437"},
};

std::u16string lowercase(std::u16string text) {
  for (char16_t& unit : text)
    unit = unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
  return text;
}

std::optional<std::u16string> converted(const char* charset, std::string bytes) {
  std::u16string text(bytes.size() + 1, u'\0');
  const iconv_t converter = iconv_open("UTF-16LE", charset);
  char* from = bytes.data();
  char* to = reinterpret_cast<char*>(text.data());
  size_t left = bytes.size();
  size_t room = text.size() * 2;
  const bool fits = iconv(converter, &from, &left, &to, &room) != static_cast<size_t>(-1);
  iconv_close(converter);
  text.resize(text.size() - room / 2);
  return fits ? std::optional<std::u16string>(text) : std::nullopt;
}

}  // namespace

// The system makes the smallest whole number of a real one that is too large, and of NaN.
void standInStoreNumber(const std::string& domain, const std::string& key, double number) {
  const bool isWithin = number >= -0x1p63 && number < 0x1p63;
  preferences[placeOf(domain, key)] = {kNumberType, u"", number,
                                       isWithin ? static_cast<int64_t>(number) : INT64_MIN};
}
void standInStoreWhole(const std::string& domain, const std::string& key, int64_t number) {
  preferences[placeOf(domain, key)] = {kNumberType, u"", static_cast<double>(number), number};
}
// Of an unsigned number that is too large it makes a negative one.
void standInStoreUnsigned(const std::string& domain, const std::string& key, uint64_t number) {
  preferences[placeOf(domain, key)] = {kNumberType, u"", static_cast<double>(number),
                                       static_cast<int64_t>(number)};
}
void standInStoreDate(const std::string& domain, const std::string& key) {
  preferences[placeOf(domain, key)] = {kDateType, u"", 0, 0};
}
void standInStoreBoolean(const std::string& domain, const std::string& key) {
  preferences[placeOf(domain, key)] = {kBooleanType, u"", 1, 1};
}
void standInClearPreferences() { preferences.clear(); }

long standInReferencesHeld() {
  long held = 0;
  for (const auto& [object, count] : references)
    held += count;
  return held;
}

const CFAllocatorRef kCFAllocatorDefault = nullptr;

void CFRelease(CFTypeRef object) {
  const auto found = references.find(object);
  if (found == references.end()) {
    ADD_FAILURE() << "an object is released that is not there";
    return;
  }
  if (--found->second == 0) {
    references.erase(found);
    for (const CFTypeRef element : static_cast<const Object*>(object)->elements)
      CFRelease(element);
    delete static_cast<const Object*>(object);
  }
}

CFTypeID CFGetTypeID(CFTypeRef object) { return living(object).type; }
CFTypeID CFStringGetTypeID() { return kStringType; }
CFTypeID CFNumberGetTypeID() { return kNumberType; }

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* characters, CFIndex count) {
  std::u16string text(static_cast<size_t>(count), u'\0');
  std::copy_n(characters, count, text.begin());
  return static_cast<CFStringRef>(create({kStringType, text, 0, 0}));
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
  EXPECT_TRUE(isExternalRepresentation);
  for (const Charset& charset : kCharsets) {
    if (charset.encoding != encoding)
      continue;
    const std::optional<std::u16string> text =
        converted(charset.converter,
                  std::string(reinterpret_cast<const char*>(bytes), static_cast<size_t>(count)));
    return text ? static_cast<CFStringRef>(create({kStringType, *text, 0, 0})) : nullptr;
  }
  ADD_FAILURE() << "decoding in an encoding that is not available";
  return nullptr;
}

CFIndex CFStringGetLength(CFStringRef string) {
  return static_cast<CFIndex>(textOf(string).size());
}

void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer) {
  const std::u16string part =
      textOf(string).substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
  std::copy(part.begin(), part.end(), buffer);
}

// As lenient as a system may be: a name counts up to the first character that is none of a name.
CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef name) {
  const std::u16string text = lowercase(textOf(name));
  for (const Charset& charset : kCharsets) {
    if (text.substr(0, text.find_first_of(u" /,")) == charset.name)
      return charset.encoding;
  }
  return kCFStringEncodingInvalidId;
}

unsigned long CFStringConvertEncodingToNSStringEncoding(CFStringEncoding encoding) {
  for (const Charset& charset : kCharsets) {
    if (charset.encoding == encoding)
      return charset.identifier;
  }
  return 0x80000000UL | encoding;
}

CFStringEncoding CFStringConvertNSStringEncodingToEncoding(unsigned long identifier) {
  for (const Charset& charset : kCharsets) {
    if (charset.identifier == identifier)
      return charset.encoding;
  }
  return static_cast<CFStringEncoding>(identifier & ~0x80000000UL);
}

Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding) {
  return std::any_of(std::begin(kCharsets), std::end(kCharsets), [=](const Charset& charset) {
    return charset.encoding == encoding && charset.converter;
  });
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  const Object& object = living(number);
  EXPECT_EQ(object.type, kNumberType);
  if (type == kCFNumberDoubleType) {
    *static_cast<double*>(value) = object.number;
    return true;
  }
  EXPECT_EQ(type, kCFNumberSInt64Type);
  *static_cast<int64_t*>(value) = object.whole;
  const double whole = static_cast<double>(object.whole);
  return whole >= object.number && whole <= object.number;
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  EXPECT_EQ(living(array).type, kArrayType);
  return static_cast<CFIndex>(living(array).elements.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  return living(array).elements.at(static_cast<size_t>(index));
}

// Only their identity counts.
const CFStringRef kCFPreferencesCurrentUser = reinterpret_cast<CFStringRef>("current user");
const CFStringRef kCFPreferencesAnyUser = reinterpret_cast<CFStringRef>("any user");
const CFStringRef kCFPreferencesCurrentHost = reinterpret_cast<CFStringRef>("current host");
const CFStringRef kCFPreferencesAnyHost = reinterpret_cast<CFStringRef>("any host");

// What the tests store is the current user's, on any host.
CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef user, CFStringRef host) {
  Object keys = {kArrayType, u"", 0, 0};
  for (const auto& [place, value] : preferences) {
    if (place.first == textOf(applicationID) && user == kCFPreferencesCurrentUser &&
        host == kCFPreferencesAnyHost)
      keys.elements.push_back(create({kStringType, place.second, 0, 0}));
  }
  return keys.elements.empty() ? nullptr : static_cast<CFArrayRef>(create(keys));
}

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID) {
  for (const std::u16string& domain : {textOf(applicationID), placeOf(kGlobalDomain, "").first}) {
    const auto stored = preferences.find({domain, textOf(key)});
    if (stored != preferences.end())
      return create(stored->second);
  }
  return nullptr;
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID) {
  const Place place(textOf(applicationID), textOf(key));
  if (value)
    preferences[place] = living(value);
  else
    preferences.erase(place);
}

Boolean CFPreferencesAppSynchronize(CFStringRef) { return true; }
