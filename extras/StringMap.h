// The container behind a Dictionary: entries one after the other, and a hash table of their places.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quintora {

// A map from text to text that may be absent, in the order in which the keys first came. To set or
// find a key takes the same time however many there are, and although visitors choose them.
class StringMap {
 public:
  using value_type = std::pair<std::u16string, std::optional<std::u16string>>;
  using const_iterator = std::vector<value_type>::const_iterator;

  StringMap() = default;
  StringMap(std::initializer_list<value_type> entries);

  // Sets the key to the value, in place of an earlier one.
  void insert_or_assign(std::u16string&& key, std::optional<std::u16string>&& value);

  // The value of the key; null when it is not set.
  const std::optional<std::u16string>* find(std::u16string_view key) const;

  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }

 private:
  uint64_t hashOf(std::u16string_view key) const;
  size_t slotOf(std::u16string_view key, uint64_t hash) const;
  uint32_t slotFor(uint64_t hash, size_t place) const;
  size_t placeIn(uint32_t slot) const { return (slot & (slots_.size() - 1)) - 1; }
  void makeSlots();

  std::vector<value_type> entries_;
  // A power of two, at least half of them 0. The others hold an entry's place + 1 in as many bits
  // as number the slots, and bits of its key's hash in those above, so that hardly any key but the
  // right one is ever compared. Small, for large tables do not stay in the processor's cache.
  std::vector<uint32_t> slots_;
  uint64_t hashKey_[2] = {};
};

// Whether both have the same keys and values, in any order.
bool operator==(const StringMap& a, const StringMap& b);

}  // namespace quintora
