// String operations that have the names and results of the platform's own, on every system. As
// everywhere, they yield false, zero or absent for an absent receiver.
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

// A search option: ignore case. Characters match when their simple upper-case mappings are equal.
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

// Replaces every occurrence of the target, from left to right and without overlap; replacements are
// not searched again. An empty or absent target leaves the string as it is; an absent replacement
// removes the target.
String stringByReplacingOccurrencesOfStringWithString(String receiver, const String& target,
                                                      const String& replacement);

// The pieces between separators, empty ones kept: always one more than there are separators. The
// separator must not be empty or absent: that ends the run (raiseException).
Array componentsSeparatedByString(const String& receiver, const String& separator);

// Joins the elements, with the separator, if it is not absent, between them. An absent element
// becomes "(null)". An empty list yields the empty string.
String componentsJoinedByString(const Array& receiver, const String& separator);

// The decimal number at the start of the string: white space (the Unicode property White_Space),
// which is skipped, an optional sign, then ASCII digits up to the first other character. 0 without
// digits; clamped to the range of int64_t.
int64_t integerValue(const String& receiver);

// The part after the last "/", ignoring slashes at the end.
String lastPathComponent(const String& receiver);

// Decodes a path or file name, which may have any bytes: as UTF-8 or, when they are not valid
// UTF-8, as Mac OS Roman. Never absent.
String stringWithFileSystemRepresentation(Data bytes);

// Replaces each byte of the string's UTF-8 form that is not a URL character (unreserved or reserved
// in RFC 2396) by "%" and two upper-case hexadecimal digits; "#", "[" and "]" are escaped, too.
// Absent for a string with an unpaired surrogate, which UTF-8 cannot hold, and for any encoding but
// UTF-8.
String stringByAddingPercentEscapesUsingEncoding(const String& receiver, TextEncoding encoding);

// Replaces each "%" and two hexadecimal digits, of either case, by that byte and reads the result
// as UTF-8. Absent when two digits do not follow a "%", or when the bytes are not valid UTF-8.
String stringByRemovingPercentEncoding(const String& receiver);

// The same in place, for valid UTF-8 that is not needed afterwards: the result is a part of its
// memory.
std::optional<std::string_view> removePercentEncodingInPlace(char* bytes, size_t count);

}  // namespace quintora
