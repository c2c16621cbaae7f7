// A hash for texts that strangers choose.
#pragma once

#include <cstdint>
#include <string_view>

namespace quintora {

// SipHash-1-3 (Aumasson and Bernstein, 2012) of the text's units as bytes, the lower one first.
uint64_t sipHash(const uint64_t (&key)[2], std::u16string_view text);

}  // namespace quintora
