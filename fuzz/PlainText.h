// UTF-8 and UTF-16 as their definitions have them, for comparison with the product, of which this
// uses nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quintora {

namespace plain {

// Absent unless all of it is well-formed.
std::optional<std::u16string> fromUTF8(std::string_view bytes);

bool isUTF8(std::string_view bytes);

// An unpaired surrogate becomes three bytes by the same rule, though they are no UTF-8: so the
// product keeps it.
std::string toUTF8(std::u16string_view text);

// Of a text of the product's. Absent unless the text is what toUTF8 makes of some units.
std::optional<std::u16string> unitsOf(std::string_view text);

// Each byte becomes the character with its number.
std::u16string fromLatin1(std::string_view bytes);

}  // namespace plain

}  // namespace quintora
