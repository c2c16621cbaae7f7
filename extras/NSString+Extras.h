// String operations that accept any position, and conversions of the bridge's own. "Exact" in a
// name means a case-sensitive test; without it containment ignores case.
#pragma once

#include "extras/String.h"

namespace quintora {

// The UTF-16 code units from `from` up to, not including, `to`. A negative `from` counts from the
// end: -1 is the last unit. So does a negative `to`: -1 is the end of the string, -2 omits the last
// unit. Both are clamped as unsigned numbers, so a position before the beginning becomes the end,
// too: such a `from` yields the empty string.
String substringFunnelFromTo(const String& receiver, int64_t from, int64_t to);

// `length` units from `from` on, clamped as above; a negative sum of the two becomes the end.
String substringFunnelFromLength(const String& receiver, int64_t from, int64_t length);

// The string without n units at its start and m at its end: the substring from n to -(m + 1),
// clamped as above. An m greater than the length therefore removes nothing. From 2^63 on, -(m + 1)
// is not negative as a signed number and counts from the start.
String trimFromStartFromEnd(const String& receiver, uint64_t n, uint64_t m);
String trimFromStart(const String& receiver, uint64_t n);
String trimFromEnd(const String& receiver, uint64_t n);

bool isEmpty(const String& receiver);
bool isNotEmpty(const String& receiver);

// Compare the first or last units with s, exactly. Every string begins with the empty one; only the
// empty string ends with it.
bool beginsWith(const String& receiver, const String& s);
bool endsWith(const String& receiver, const String& s);
bool beginsWithEndsWith(const String& receiver, const String& a, const String& b);
bool caseInsensitiveBeginsWith(const String& receiver, const String& s);

bool isNotEqualToString(const String& receiver, const String& s);
bool caseInsensitiveMatch(const String& receiver, const String& s);

// Nothing contains the empty string, and the empty string contains nothing.
bool caseInsensitiveContainsString(const String& receiver, const String& s);
bool containsExactString(const String& receiver, const String& s);
bool notContainsString(const String& receiver, const String& s);
bool notContainsExactString(const String& receiver, const String& s);

// Whether the receiver contains, exactly, an element of the list; false for an empty or absent one.
bool containsAnyString(const String& receiver, const Array& list);

// Replaces each unit of the list, in the list's order, by "%" and the unit's code in at least two
// upper-case hexadecimal digits. A later unit of the list is also replaced within the escapes of an
// earlier one.
String percentEscapeList(String receiver, const String& list);

// The value's digits in a radix from 2 to 36, upper-case. In radix 2 and 16 leading zeros fill the
// width of `bytes` bytes, and a longer value is not cut; other radices have no width. More than 64
// zeros, a digit above 35 and a radix below 2 end the run (raiseException).
String radixstrValueBytes(uint64_t radix, uint64_t value, uint64_t bytes);

// Decodes bytes of undeclared encoding: as UTF-16 when there are more than two and they begin with
// a byte-order mark or a zero byte, else as UTF-8; as Mac OS Roman when that fails. Never absent.
String stringWithUnknownEncodingData(Data data);

// The string as a literal of the server's language: in double quotes, with each double quote in it
// doubled. Nothing else is escaped, not even line ends, braces and backslashes.
String quiQuoted(const String& receiver);

}  // namespace quintora
