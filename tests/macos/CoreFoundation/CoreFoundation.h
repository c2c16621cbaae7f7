// Stands in for the system's header where there is no macOS: what the product uses of it, with the
// documented signatures, so that the sources for macOS are compiled and run in tests.
#pragma once

#include <cstdint>

extern "C" {

using Boolean = unsigned char;
using UInt8 = unsigned char;
using UInt32 = unsigned int;
using UniChar = uint16_t;
using CFIndex = long;
using CFTypeID = unsigned long;
using CFTypeRef = const void*;
using CFPropertyListRef = CFTypeRef;
using CFStringRef = const struct __CFString*;
using CFArrayRef = const struct __CFArray*;
using CFNumberRef = const struct __CFNumber*;
using CFAllocatorRef = const struct __CFAllocator*;
using CFStringEncoding = UInt32;
using CFNumberType = CFIndex;

struct CFRange {
  CFIndex location;
  CFIndex length;
};
inline CFRange CFRangeMake(CFIndex location, CFIndex length) { return {location, length}; }

extern const CFAllocatorRef kCFAllocatorDefault;
constexpr CFStringEncoding kCFStringEncodingInvalidId = 0xFFFFFFFFU;
constexpr CFNumberType kCFNumberSInt64Type = 4;
constexpr CFNumberType kCFNumberDoubleType = 13;

void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
CFTypeID CFStringGetTypeID();
CFTypeID CFNumberGetTypeID();

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef allocator, const UniChar* characters,
                                         CFIndex count);
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);
CFIndex CFStringGetLength(CFStringRef string);
void CFStringGetCharacters(CFStringRef string, CFRange range, UniChar* buffer);

CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef name);
unsigned long CFStringConvertEncodingToNSStringEncoding(CFStringEncoding encoding);
CFStringEncoding CFStringConvertNSStringEncodingToEncoding(unsigned long encoding);
Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding);

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

extern const CFStringRef kCFPreferencesCurrentUser;
extern const CFStringRef kCFPreferencesAnyUser;
extern const CFStringRef kCFPreferencesCurrentHost;
extern const CFStringRef kCFPreferencesAnyHost;

// Null when the domain has no keys for that user and host.
CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName,
                                    CFStringRef hostName);
CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID);
void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID);
Boolean CFPreferencesAppSynchronize(CFStringRef applicationID);

}  // extern "C"
