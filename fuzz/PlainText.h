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

// An unpaired surrogate becomes U+FFFD.
std::string toUTF8(std::u16string_view text);

}  // namespace plain

}  // namespace quintora
