// String operations that never fail on bad positions, and the bridge's own conversions of text.
// The word Exact in a name means a case-sensitive test; without it containment ignores case.
#pragma once

#include "extras/String.h"

namespace quintora {

// The UTF-16 code units from `from` up to, not including, `to`. A negative `from` counts from the
// end (-1 is the last unit), and so does a negative `to` (-1 is the end of the text, -2 leaves off
// the last unit). Both are clamped into the text, as unsigned numbers: a start before the beginning
// becomes the end and yields the empty text, an end before the beginning becomes the end, too.
String substringFunnelFromTo(const String& receiver, int64_t from, int64_t to);

// The units from `from`, clamped as above, on for `length` units; a sum below 0 becomes the end.
String substringFunnelFromLength(const String& receiver, int64_t from, int64_t length);

// The text without n units at its start and m at its end, by the clamped substring from n to
// -(m + 1): an m greater than the length leaves off nothing, up to 2^63; from there on that end
// is a position from the start, 2^64 - 1 - m.
String trimFromStartFromEnd(const String& receiver, uint64_t n, uint64_t m);
String trimFromStart(const String& receiver, uint64_t n);
String trimFromEnd(const String& receiver, uint64_t n);

bool isEmpty(const String& receiver);
bool isNotEmpty(const String& receiver);

// Exact comparisons of the clamped first and last units with s. Every text begins with the empty
// one; only the empty text ends with it.
bool beginsWith(const String& receiver, const String& s);
bool endsWith(const String& receiver, const String& s);
bool beginsWithEndsWith(const String& receiver, const String& a, const String& b);
bool caseInsensitiveBeginsWith(const String& receiver, const String& s);

bool isNotEqualToString(const String& receiver, const String& s);
bool caseInsensitiveMatch(const String& receiver, const String& s);

// Containment. Nothing contains the empty text, and the empty text contains nothing.
bool caseInsensitiveContainsString(const String& receiver, const String& s);
bool containsExactString(const String& receiver, const String& s);
bool notContainsString(const String& receiver, const String& s);
bool notContainsExactString(const String& receiver, const String& s);

// Whether the receiver contains, exactly, an element of the list; false for an empty or absent one.
bool containsAnyString(const String& receiver, const Array& list);

// Replaces every occurrence of each unit of the list, one after the other in the order of the
// list, by "%" and the unit's code in at least two upper-case hexadecimal digits. A later unit of
// the list is also replaced inside the escapes that an earlier one left.
String percentEscapeList(String receiver, const String& list);

// The value's digits in a radix from 2 to 36, upper-case. Radix 2 and 16 are filled with zeros to
// the width of `bytes` bytes and are never cut; any other radix has no width. A fill of more than
// 64 zeros, a digit beyond 35 and a radix below 2 end the run (raiseException).
String radixstrValueBytes(uint64_t radix, uint64_t value, uint64_t bytes);

// The text of bytes whose encoding nobody declared: UTF-16 when there are more than two and they
// begin with a mark or a zero byte, else UTF-8; Mac OS Roman when that fails. Never absent.
String stringWithUnknownEncodingData(Data data);

// The text as a literal of the server's language: each double quote in it doubled, one put before
// it and one after. Nothing else is escaped; line ends, braces and backslashes stand raw.
String quiQuoted(const String& receiver);

}  // namespace quintora
