#include "extras/StringMap.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "extras/String.h"

namespace {

constexpr size_t kFirstSlots = 128;
constexpr size_t kMostSlots = size_t{1} << 31;  // of those reached by steps of four, in 32 bits

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
  const uint64_t hash = hashOf(key);
  uint32_t& slot = slots_[slotOf(key, hash)];
  if (slot != 0) {
    entries_[placeIn(slot)].second = std::move(value);
    return;
  }
  slot = slotFor(hash, entries_.size());
  entries_.emplace_back(std::move(key), std::move(value));
}

const std::optional<std::u16string>* StringMap::find(std::u16string_view key) const {
  const uint32_t slot = slots_.empty() ? 0 : slots_[slotOf(key, hashOf(key))];
  return slot == 0 ? nullptr : &entries_[placeIn(slot)].second;
}

uint64_t StringMap::hashOf(std::u16string_view key) const { return SipHash(hashKey_).of(key); }

// What a slot holds for an entry. The slot's number comes from the lower half of the hash.
uint32_t StringMap::slotFor(uint64_t hash, size_t place) const {
  const uint32_t placeBits = static_cast<uint32_t>(slots_.size() - 1);
  return (static_cast<uint32_t>(hash >> 32) & ~placeBits) | static_cast<uint32_t>(place + 1);
}

// The slot of the key's entry, or the empty one that would be.
size_t StringMap::slotOf(std::u16string_view key, uint64_t hash) const {
  const size_t last = slots_.size() - 1;
  size_t at = hash & last;
  for (uint32_t slot; (slot = slots_[at]) != 0; at = (at + 1) & last) {
    const size_t place = placeIn(slot);
    if (slot == slotFor(hash, place) && entries_[place].first == key)
      break;
  }
  return at;
}

// Makes four times the slots. The key of the hash is what nobody outside knows: the time to the
// nanosecond, and where the system has put this process in memory.
void StringMap::makeSlots() {
  if (slots_.size() >= kMostSlots)
    raiseException();
  slots_.assign(std::max(kFirstSlots, 4 * slots_.size()), 0);
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  hashKey_[0] = reinterpret_cast<uintptr_t>(slots_.data()) ^ static_cast<uint64_t>(now) << 16;
  hashKey_[1] = reinterpret_cast<uintptr_t>(&kFirstSlots) ^ reinterpret_cast<uintptr_t>(&now) << 24;
  entries_.reserve(slots_.size() / 2);
  const size_t last = slots_.size() - 1;
  for (size_t place = 0; place < entries_.size(); ++place) {
    const uint64_t hash = hashOf(entries_[place].first);
    size_t at = hash & last;
    while (slots_[at] != 0)  // no two keys are equal
      at = (at + 1) & last;
    slots_[at] = slotFor(hash, place);
  }
}

bool operator==(const StringMap& a, const StringMap& b) {
  return a.size() == b.size() && std::all_of(a.begin(), a.end(), [&b](const auto& entry) {
           const auto* const value = b.find(entry.first);
           return value && *value == entry.second;
         });
}
