// The platform's own string operations under their platform names, the same on every system.
// As everywhere: on an absent receiver they yield false, zero or absent.
#pragma once

#include "extras/String.h"
#include "extras/TextEncoding.h"

namespace quintora {

// The location that a search reports when it finds nothing.
inline constexpr int64_t NSNotFound = INT64_MAX;

// In UTF-16 code units.
struct NSRange {
  int64_t location;
  uint64_t length;
};

// A search option: ignore case. Characters match when their simple upper-case mappings do.
inline constexpr unsigned NSCaseInsensitiveSearch = 1;

// Exact equality, unit by unit. An absent argument is equal to nothing.
bool isEqualToString(const String& receiver, const String& other);

// The first occurrence of the needle. An empty or an absent needle is never found.
NSRange rangeOfString(const String& receiver, const String& needle);
NSRange rangeOfStringOptions(const String& receiver, const String& needle, unsigned options);

// Whether rangeOfString finds the needle.
bool containsString(const String& receiver, const String& needle);

// Full Unicode upper-casing, which may change the length; unpaired surrogates stay as they are.
String uppercaseString(const String& receiver);

// Replaces every occurrence of the target, left to right and without overlap; what was put in is
// not searched again. An empty or absent target leaves the text as it is; an absent replacement
// removes the target.
String stringByReplacingOccurrencesOfStringWithString(String receiver, const String& target,
                                                      const String& replacement);

// The pieces between separators, empty ones kept: always one more than there are separators. The
// separator must not be empty or absent: that ends the run (raiseException).
Array componentsSeparatedByString(const String& receiver, const String& separator);

// The elements with the separator, if there is one, between each two; an absent element stands as
// "(null)". An empty list gives the empty text.
String componentsJoinedByString(const Array& receiver, const String& separator);

// The decimal number at the start of the text: white space (the Unicode property White_Space) is
// skipped, a sign may follow, then ASCII digits up to the first other character. 0 without digits;
// clamped to the bounds of 64 bits.
int64_t integerValue(const String& receiver);

// The text after the last "/"; slashes at the end are not looked at.
String lastPathComponent(const String& receiver);

// The text of a path or file name, which may hold any bytes: UTF-8, or Mac OS Roman where it is
// not. Never absent.
String stringWithFileSystemRepresentation(Data bytes);

// Replaces each byte of the text's UTF-8 form that is not a legal URL character (RFC 2396: not
// unreserved, not reserved) by "%" and two upper-case hexadecimal digits. "#", "[" and "]" are
// escaped too. Absent for a text with half of a surrogate pair, which UTF-8 cannot hold, and for
// any encoding but UTF-8.
String stringByAddingPercentEscapesUsingEncoding(const String& receiver, TextEncoding encoding);

// Replaces each "%" and two hexadecimal digits, of either case, by that byte and reads the result
// as UTF-8. Absent when a "%" has no two digits behind it or the bytes are not valid UTF-8.
String stringByRemovingPercentEncoding(const String& receiver);

// The same for the bytes of a text in UTF-8 that are not needed afterwards: the result stands in
// their memory.
std::optional<std::string_view> removePercentEncodingInPlace(char* bytes, size_t count);

}  // namespace quintora
