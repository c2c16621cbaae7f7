#include "extras/StringMap.h"

#include <algorithm>
#include <chrono>

#include "extras/SipHash.h"
#include "extras/String.h"

namespace quintora {

namespace {

constexpr size_t kFirstSlots = 128;
constexpr size_t kMostSlots = size_t{1} << 31;  // of those reached by steps of four, in 32 bits

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

// Without the key of the hash nobody can choose texts that fall into one slot, which would take the
// square of their number.
uint64_t StringMap::hashOf(std::u16string_view key) const { return sipHash(hashKey_, key); }

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

}  // namespace quintora
