// The container behind a Dictionary: entries one after the other, and a hash table of their places.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
  size_t slotOf(std::u16string_view key) const;
  void makeSlots();

  std::vector<value_type> entries_;
  std::vector<size_t>
      slots_;  // an entry's place + 1, or 0; a power of two, at least half of them 0
  uint64_t hashKey_[2] = {};
};

// Whether both have the same keys and values, in any order.
bool operator==(const StringMap& a, const StringMap& b);
