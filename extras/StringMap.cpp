#include "extras/StringMap.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace {

constexpr size_t kFirstSlots = 128;

constexpr uint64_t rotatedLeft(uint64_t value, int bits) {
  return value << bits | value >> (64 - bits);
}

// SipHash-1-3 (Aumasson and Bernstein, 2012): without the key nobody can choose texts that fall
// into one slot, which would take the square of their number.
class SipHash {
 public:
  explicit SipHash(const uint64_t (&key)[2])
      : v0_(key[0] ^ 0x736F6D6570736575),
        v1_(key[1] ^ 0x646F72616E646F6D),
        v2_(key[0] ^ 0x6C7967656E657261),
        v3_(key[1] ^ 0x7465646279746573) {}

  // Words of four units; the last one has the length, too.
  uint64_t of(std::u16string_view text) {
    const uint64_t size = text.size();
    uint64_t word = 0;
    for (; text.size() >= 4; text.remove_prefix(4)) {
      std::memcpy(&word, text.data(), sizeof word);
      take(word);
    }
    word = size << 48;
    for (size_t i = 0; i < text.size(); ++i)
      word ^= static_cast<uint64_t>(text[i]) << (16 * i);
    take(word);
    v2_ ^= 0xFF;
    for (int i = 0; i < 3; ++i)
      round();
    return v0_ ^ v1_ ^ v2_ ^ v3_;
  }

 private:
  void take(uint64_t word) {
    v3_ ^= word;
    round();
    v0_ ^= word;
  }
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

StringMap::StringMap(std::initializer_list<value_type> entries) {
  for (value_type entry : entries)
    insert_or_assign(std::move(entry.first), std::move(entry.second));
}

void StringMap::insert_or_assign(std::u16string&& key, std::optional<std::u16string>&& value) {
  if (entries_.size() >= slots_.size() / 2)
    makeSlots();
  size_t& slot = slots_[slotOf(key)];
  if (slot != 0) {
    entries_[slot - 1].second = std::move(value);
    return;
  }
  entries_.emplace_back(std::move(key), std::move(value));
  slot = entries_.size();
}

const std::optional<std::u16string>* StringMap::find(std::u16string_view key) const {
  const size_t slot = slots_.empty() ? 0 : slots_[slotOf(key)];
  return slot == 0 ? nullptr : &entries_[slot - 1].second;
}

// The slot that holds the key's place, or the empty one that would.
size_t StringMap::slotOf(std::u16string_view key) const {
  const size_t mask = slots_.size() - 1;
  size_t at = SipHash(hashKey_).of(key) & mask;
  while (slots_[at] != 0 && entries_[slots_[at] - 1].first != key)
    at = (at + 1) & mask;
  return at;
}

// Makes four times the slots. The key of the hash is what nobody outside knows: the time to the
// nanosecond, and where the system has put this process in memory.
void StringMap::makeSlots() {
  slots_.assign(std::max(kFirstSlots, 4 * slots_.size()), 0);
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  hashKey_[0] = reinterpret_cast<uintptr_t>(slots_.data()) ^ static_cast<uint64_t>(now) << 16;
  hashKey_[1] = reinterpret_cast<uintptr_t>(&kFirstSlots) ^ reinterpret_cast<uintptr_t>(&now) << 24;
  entries_.reserve(slots_.size() / 2);
  for (size_t i = 0; i < entries_.size(); ++i)
    slots_[slotOf(entries_[i].first)] = i + 1;
}

bool operator==(const StringMap& a, const StringMap& b) {
  return a.size() == b.size() && std::all_of(a.begin(), a.end(), [&b](const auto& entry) {
           const auto* const value = b.find(entry.first);
           return value && *value == entry.second;
         });
}
