// A keyed hash for strings that an attacker may choose.
#pragma once

#include <cstdint>
#include <string_view>

namespace quintora {

// SipHash-1-3 (Aumasson and Bernstein, 2012) of the bytes.
uint64_t sipHash(const uint64_t (&key)[2], std::string_view bytes);

}  // namespace quintora
