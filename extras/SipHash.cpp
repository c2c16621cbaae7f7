#include "extras/SipHash.h"

#include <cstring>

namespace quintora {

namespace {

constexpr uint64_t rotatedLeft(uint64_t value, int bits) {
  return value << bits | value >> (64 - bits);
}

class State {
 public:
  explicit State(const uint64_t (&key)[2])
      : v0_(key[0] ^ 0x736F6D6570736575),
        v1_(key[1] ^ 0x646F72616E646F6D),
        v2_(key[0] ^ 0x6C7967656E657261),
        v3_(key[1] ^ 0x7465646279746573) {}

  void take(uint64_t word) {
    v3_ ^= word;
    round();
    v0_ ^= word;
  }

  uint64_t finished() {
    v2_ ^= 0xFF;
    for (int i = 0; i < 3; ++i)
      round();
    return v0_ ^ v1_ ^ v2_ ^ v3_;
  }

 private:
  void round() {
    v0_ += v1_;
    v1_ = rotatedLeft(v1_, 13) ^ v0_;
    v0_ = rotatedLeft(v0_, 32);
    v2_ += v3_;
    v3_ = rotatedLeft(v3_, 16) ^ v2_;
    v0_ += v3_;
    v3_ = rotatedLeft(v3_, 21) ^ v0_;
    v2_ += v1_;
    v1_ = rotatedLeft(v1_, 17) ^ v2_;
    v2_ = rotatedLeft(v2_, 32);
  }

  uint64_t v0_, v1_, v2_, v3_;
};

}  // namespace

// Reads words of eight bytes in little-endian order, which every supported processor has. The last
// word also holds the number of bytes.
uint64_t sipHash(const uint64_t (&key)[2], std::string_view bytes) {
  State state(key);
  const uint64_t size = bytes.size();
  uint64_t word = 0;
  for (; bytes.size() >= sizeof word; bytes.remove_prefix(sizeof word)) {
    std::memcpy(&word, bytes.data(), sizeof word);
    state.take(word);
  }
  word = 0;
  bytes.copy(reinterpret_cast<char*>(&word), bytes.size());  // not memcpy: there may be no data
  state.take(word | size << 56);
  return state.finished();
}

}  // namespace quintora
